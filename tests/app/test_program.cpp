#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QTest>

#include "tests/fixtures/wait_limit.h"
#include "tests/fixtures/x11_windows.h"

using namespace Qt::StringLiterals;

// Starts the built program as a process and tests it from outside.
class TestProgram : public QObject
{
    Q_OBJECT

    QProcess m_program;

private slots:
    void init()
    {
        m_program.setProgram(QStringLiteral(VORNIX_PROGRAM));
        m_program.start();
        QVERIFY2(m_program.waitForStarted(), qPrintable(m_program.errorString()));
    }

    void cleanup()
    {
        if (m_program.state() != QProcess::NotRunning) {
            m_program.kill();
            m_program.waitForFinished();
        }
    }

    // The worker thread never ends. Closing must still cause no abort and no message.
    void closingTheWindowEndsTheProgram()
    {
        bool asked = false;
        QTRY_VERIFY(asked = asked || askToClose(m_program.processId()));
        QTRY_COMPARE(m_program.state(), QProcess::NotRunning);
        const QByteArray said = m_program.readAllStandardError();
        QVERIFY2(!said.contains("terminate"), said);
        QVERIFY2(!said.contains("Sanitizer"), said);
        QVERIFY2(!said.contains("runtime error"), said);
        QCOMPARE(m_program.exitStatus(), QProcess::NormalExit);
        QVERIFY2(m_program.exitCode() == 0, said);
    }

    // On X11 a window does not name its menu entry, so a dock compares the window class with
    // StartupWMClass of the entry.
    void menuEntryNamesTheWindowClass()
    {
        QByteArray seen;
        QTRY_VERIFY(!(seen = windowClass(m_program.processId())).isEmpty());
        QFile entry(QStringLiteral(VORNIX_DESKTOP_ENTRY));
        QVERIFY2(entry.open(QIODevice::ReadOnly), qPrintable(entry.errorString()));
        QVERIFY(entry.readAll().split('\n').contains("StartupWMClass=" + seen));
    }
};

QTEST_MAIN(TestProgram)
#include "test_program.moc"
