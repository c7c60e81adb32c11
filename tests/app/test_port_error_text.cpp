#include <cerrno>

#include <QTest>

#include "app/port_error_text.h"

using namespace Qt::StringLiterals;

class TestPortErrorText : public QObject
{
    Q_OBJECT

    static QString text(int error)
    {
        const boost::system::error_code code(error, boost::system::system_category());
        return portErrorText({code, u"open: "_s + QString::fromStdString(code.message())});
    }

private slots:
    void namesTheError()
    {
        QVERIFY(text(EACCES).startsWith(u"The serial port failed:\nopen: Permission denied"_s));
    }

    void hintMatchesTheError_data()
    {
        QTest::addColumn<int>("error");
        QTest::addColumn<QStringList>("words");
        QTest::newRow("not permitted") << EACCES << QStringList{u"dialout"_s, u"udev"_s};
        QTest::newRow("taken") << EBUSY << QStringList{u"in use by another program"_s};
        QTest::newRow("node is gone") << ENOENT << QStringList{u"scan again"_s};
        QTest::newRow("pulled, pty") << EIO << QStringList{u"choose Disconnect"_s};
        QTest::newRow("pulled, adapter") << ENODEV << QStringList{u"choose Disconnect"_s};
        QTest::newRow("pulled, no address") << ENXIO << QStringList{u"choose Disconnect"_s};
    }

    // The hint follows the error after an empty line.
    void hintMatchesTheError()
    {
        QFETCH(int, error);
        QFETCH(QStringList, words);
        const QStringList paragraphs = text(error).split(u"\n\n"_s);
        QCOMPARE(paragraphs.size(), 2);
        for (const QString &word : words)
            QVERIFY2(paragraphs[1].contains(word), qPrintable(paragraphs[1]));
    }

    void noHintWithoutAKnownCause() { QVERIFY(!text(EINVAL).contains(u"\n\n"_s)); }
};

QTEST_APPLESS_MAIN(TestPortErrorText)
#include "test_port_error_text.moc"
