#include "tests/fixtures/test_main.h"

#include <QAction>
#include <QActionGroup>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QTest>

#include "app/application.h"
#include "app/main_window.h"
#include "tests/fixtures/wait_limit.h"

using namespace Qt::StringLiterals;

namespace {

class LanguageChanges : public QObject
{
public:
    int count = 0;

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::LanguageChange)
            ++count;
        return false;
    }
};

// Filters the events of the application, which gets a LanguageChange event at each installation and
// removal of a translator. The application posts the windows' own events.
class TranslatorChanges : public QObject
{
public:
    int count = 0;

    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (object == qApp && event->type() == QEvent::LanguageChange)
            ++count;
        return false;
    }
};

} // namespace

// Uses a test translation, so that the test does not depend on the wording of the real one.
class TestMainWindowLanguage : public QObject
{
    Q_OBJECT

    MainWindow *m_window = nullptr;
    QAction *m_english = nullptr;
    QAction *m_turkish = nullptr;
    LanguageChanges m_changes;

    QString text(const QString &label) const
    {
        return m_window->findChild<QLabel *>(label)->text();
    }

    // Qt's text for the button of a message box.
    static QString buttonText() { return QCoreApplication::translate("QPlatformTheme", "OK"); }

    QString scanText() const { return m_window->findChild<QAction *>(u"actionScan"_s)->text(); }

    static QString translationFile()
    {
        return QCoreApplication::applicationDirPath() + u"/languages/translate_tr.qm"_s;
    }

    // Language changes are posted, so this waits until the window has received one.
    void choose(QAction *language)
    {
        const int before = m_changes.count;
        language->trigger();
        QTRY_VERIFY(m_changes.count > before);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(QDir().mkpath(QFileInfo(translationFile()).path()));
        QFile::remove(translationFile());
        QVERIFY(QFile::copy(QCoreApplication::applicationDirPath() + u"/trial_tr.qm"_s,
                            translationFile()));
        QLocale::setDefault(QLocale(u"de"_s));
        m_window = new MainWindow;
        m_window->installEventFilter(&m_changes);
        const QList<QAction *> entries = m_window->findChild<QMenu *>(u"menuLanguage"_s)->actions();
        QCOMPARE(entries.size(), 2);
        m_english = entries[0];
        m_turkish = entries[1];
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window, kWaitLimitMs));
    }

    void init()
    {
        if (!m_english->isChecked())
            choose(m_english);
        QCoreApplication::processEvents();
        m_changes.count = 0;
    }

    void menu()
    {
        QCOMPARE(m_english->text(), u"English"_s);
        QCOMPARE(m_english->data().toString(), u"en"_s);
        QCOMPARE(m_turkish->text(), u"Türkçe"_s);
        QCOMPARE(m_turkish->data().toString(), u"tr"_s);
        for (const QAction *entry : {m_english, m_turkish}) {
            QVERIFY(entry->isCheckable());
            QVERIFY(entry->actionGroup());
            QVERIFY(entry->actionGroup()->isExclusive());
            QCOMPARE(entry->actionGroup()->parent(), m_window);
        }
        QCOMPARE(m_english->actionGroup(), m_turkish->actionGroup());
    }

    void everyStartIsInEnglish()
    {
        QVERIFY(m_english->isChecked());
        QVERIFY(!m_turkish->isChecked());
        QCOMPARE(QLocale().language(), QLocale::English);
        QCOMPARE(scanText(), u"Scan for Devices"_s);
    }

    void switchingThereAndBack()
    {
        choose(m_turkish);
        QVERIFY(m_turkish->isChecked());
        QVERIFY(!m_english->isChecked());
        QCOMPARE(QLocale().language(), QLocale::Turkish);
        QCOMPARE(scanText(), u"Tara (deneme)"_s);
        QCOMPARE(buttonText(), u"Tamam"_s);

        choose(m_english);
        QVERIFY(m_english->isChecked());
        QVERIFY(!m_turkish->isChecked());
        QCOMPARE(QLocale().language(), QLocale::English);
        QCOMPARE(scanText(), u"Scan for Devices"_s);
        QCOMPARE(buttonText(), u"OK"_s);
    }

    // The program's and Qt's catalogue change together: the window gets one event, which resets its
    // labels once.
    void aSwitchIsOneEvent()
    {
        TranslatorChanges changes;
        qApp->installEventFilter(&changes);
        m_turkish->trigger();
        QCOMPARE(changes.count, 1);
        m_english->trigger();
        QCOMPARE(changes.count, 2);
    }

    // A language switch sets every text of the form to its design value. If the worker reports the
    // rate during the switch, two labels already hold new texts, so the switch is repeated.
    void aSwitchResetsTheLabels()
    {
        int rates = 0;
        QObject context;
        connect(m_window, &MainWindow::dataRateWrite, &context, [&] { ++rates; });
        do {
            if (!m_english->isChecked())
                choose(m_english);
            emit m_window->DataQuaternionWrite(u"1, 0, 0, 0"_s);
            QCOMPARE(text(u"label_quat"_s), u"1, 0, 0, 0"_s);
            rates = 0;
            choose(m_turkish);
        } while (rates > 0);
        QCOMPARE(text(u"label_quat"_s), u"Hiç (deneme)"_s);
        QCOMPARE(text(u"label_status"_s), u"Durum: (deneme)"_s);
        QCOMPARE(text(u"label_datarate"_s), u"Data Rate: 0 Hz"_s); // this text has no translation
        QVERIFY(!m_window->findChild<QLabel *>(u"label_header_logo"_s)->pixmap().isNull());
    }

    // Texts built in code, by the GUI thread or the worker, are in the new language the next time
    // they are built.
    void textsBuiltInCodeFollowTheLanguage()
    {
        choose(m_turkish);
        QTRY_COMPARE(text(u"label_datarate"_s), u"Hız 0 Hz (deneme)"_s);
        QCOMPARE(text(u"label_status"_s), u"Yok (deneme)"_s);
        m_window->findChild<QAction *>(u"actionConnect_2"_s)->trigger();
        QCOMPARE(text(u"label_status"_s), u"Önce tara (deneme)"_s);
    }

    void choosingTheLanguageInForceDoesNothing()
    {
        emit m_window->DataQuaternionWrite(u"1, 0, 0, 0"_s);
        m_english->trigger();
        QCoreApplication::processEvents();
        QCOMPARE(m_changes.count, 0);
        QCOMPARE(text(u"label_quat"_s), u"1, 0, 0, 0"_s);
        QVERIFY(m_english->isChecked());
    }

    void withoutAReadableFileTheTextsAreEnglish_data()
    {
        QTest::addColumn<bool>("withFolder");
        QTest::addColumn<QByteArray>("contents"); // contents of the file; null for no file
        QTest::newRow("no file") << true << QByteArray();
        QTest::newRow("no folder") << false << QByteArray();
        QTest::newRow("an empty file") << true << QByteArray("");
        QTest::newRow("not a translation") << true << QByteArray("Merhaba!");
    }

    // No message appears, and the menu shows the requested language. This test is the last, because
    // the translation file stays removed.
    void withoutAReadableFileTheTextsAreEnglish()
    {
        QFETCH(bool, withFolder);
        QFETCH(QByteArray, contents);
        QDir folder(QFileInfo(translationFile()).path());
        QVERIFY(folder.removeRecursively());
        if (withFolder)
            QVERIFY(folder.mkpath(u"."_s));
        if (!contents.isNull()) {
            QFile file(translationFile());
            QVERIFY(file.open(QIODevice::WriteOnly));
            QCOMPARE(file.write(contents), contents.size());
        }
        m_turkish->trigger();
        QCoreApplication::processEvents();
        QVERIFY(m_turkish->isChecked());
        QVERIFY(!m_english->isChecked());
        QCOMPARE(scanText(), u"Scan for Devices"_s);
        QCOMPARE(buttonText(), u"OK"_s);
        QCOMPARE(m_changes.count, 0);
        QVERIFY(!QApplication::activeModalWidget());

        m_english->trigger();
        QCoreApplication::processEvents();
        QVERIFY(m_english->isChecked());
        QCOMPARE(m_changes.count, 0);
    }
};

VORNIX_TEST_MAIN(TestMainWindowLanguage, Application)
#include "test_main_window_language.moc"
