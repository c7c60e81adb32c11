#include <cerrno>
#include <system_error>

#include <QTest>

#include "cli/exit_status.h"
#include "session/error.h"

using cli::ExitStatus;
using session::Error;

class TestExitStatus : public QObject
{
    Q_OBJECT

private slots:
    void followsTheError_data();
    void followsTheError();
};

void TestExitStatus::followsTheError_data()
{
    QTest::addColumn<std::error_code>("error");
    QTest::addColumn<int>("status");
    const auto ofSystem = [](int number) {
        return std::error_code(number, std::system_category());
    };
    QTest::newRow("none") << std::error_code() << 0;
    QTest::newRow("no space") << ofSystem(ENOSPC) << 1;
    QTest::newRow("no port") << ofSystem(ENOENT) << 3;
    QTest::newRow("port without adapter") << ofSystem(ENODEV) << 3;
    QTest::newRow("port without driver") << ofSystem(ENXIO) << 3;
    QTest::newRow("vanishes while it is opened") << ofSystem(EIO) << 3;
    QTest::newRow("vanishes") << make_error_code(Error::LinkLost) << 3;
    QTest::newRow("permission") << ofSystem(EACCES) << 4;
    QTest::newRow("not permitted") << ofSystem(EPERM) << 4;
    QTest::newRow("busy") << ofSystem(EBUSY) << 5;
    QTest::newRow("no answer") << make_error_code(Error::NoAnswer) << 6;
    QTest::newRow("not found") << make_error_code(Error::NotFound) << 6;
    QTest::newRow("refused") << make_error_code(Error::Refused) << 7;
    QTest::newRow("interrupted") << make_error_code(Error::Stopped) << 130;
}

void TestExitStatus::followsTheError()
{
    QFETCH(const std::error_code, error);
    QFETCH(const int, status);
    QCOMPARE(static_cast<int>(cli::exitStatusOf(error)), status);
}

QTEST_GUILESS_MAIN(TestExitStatus)

#include "test_exit_status.moc"
