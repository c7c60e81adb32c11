#include <cerrno>
#include <stdexcept>

#include <boost/system/system_error.hpp>

#include <QTest>

#include "app/exception_report.h"

using namespace Qt::StringLiterals;

class TestExceptionReport : public QObject
{
    Q_OBJECT

    static QString report(int error)
    {
        return exceptionReport(
            boost::system::system_error(error, boost::system::system_category(), "open"));
    }

private slots:
    void namesTheError()
    {
        QCOMPARE(exceptionReport(std::runtime_error("broken")), u"Unhandled error: broken"_s);
        QVERIFY(report(EACCES).startsWith(u"Unhandled error: open: Permission denied"_s));
    }

    void explainsHowToGetPermission()
    {
        QVERIFY(report(EACCES).contains(u"dialout"_s));
        QVERIFY(report(EACCES).contains(u"udev"_s));
    }

    void hintMatchesTheError_data()
    {
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("hint");
        QTest::newRow("node is gone") << ENOENT << u"plugged in"_s;
        QTest::newRow("device is gone") << ENODEV << u"plugged in"_s;
        QTest::newRow("port is taken") << EBUSY << u"in use by another program"_s;
    }

    void hintMatchesTheError()
    {
        QFETCH(int, error);
        QFETCH(QString, hint);
        QVERIFY(report(error).contains(hint));
        QVERIFY(!report(error).contains(u"dialout"_s));
    }

    void noHintWithoutAKnownCause() { QVERIFY(!report(EIO).contains(u'(')); }
};

QTEST_APPLESS_MAIN(TestExceptionReport)
#include "test_exception_report.moc"
