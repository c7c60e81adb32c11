// The statistics log, which shows a developer where samples get lost. It is off by default.

#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <QLoggingCategory>
#include <QTest>

#include "app/statistics.h"
#include "tests/driver/scripted_driver.h"
#include "tests/fixtures/wait_limit.h"

using bytes::code;
using bytes::floats;
using bytes::packet;
using namespace Qt::StringLiterals;

namespace {

const QByteArray kQuaternion = packet('D', code(2) + floats({0, 0, 0, 1}));
const QByteArray kEuler = packet('D', code(5) + floats({1, 2, 3}));

QStringList g_told;

void recordMessage(QtMsgType, const QMessageLogContext &context, const QString &text)
{
    if (qstrcmp(context.category, "vornix.statistics") == 0)
        g_told.append(text);
}

QByteArray damaged(QByteArray packet)
{
    packet.back() = static_cast<char>(packet.back() + 1);
    return packet;
}

} // namespace

class TestStatistics : public QObject
{
    Q_OBJECT

private slots:
    void areOffUnlessAskedFor();
    void areLoggedOnceASecond();
    void countWhatOpeningDiscards();
};

void TestStatistics::areOffUnlessAskedFor()
{
    QVERIFY(!Statistics::isEnabled());
    QLoggingCategory::setFilterRules(u"vornix.statistics=true"_s);
    QVERIFY(Statistics::isEnabled());
}

void TestStatistics::areLoggedOnceASecond()
{
    QLoggingCategory::setFilterRules(u"vornix.statistics=true"_s);
    const QtMessageHandler before = qInstallMessageHandler(recordMessage);
    ScriptedDriver script;
    const Statistics statistics(script.driver, nullptr);
    // Feeds from another thread, as the reader does; the delivery to the window's thread is queued.
    std::thread([&] {
        script.feed(kQuaternion + damaged(kQuaternion) + kEuler + kQuaternion);
    }).join();
    QTRY_VERIFY(g_told.size() >= 2);
    qInstallMessageHandler(before);
    const QString expected =
        u"sessions=1 discarded=0 packets=3 damaged=1 samples=2 delivered=2 waiting=0"_s;
    QCOMPARE(g_told.first(2), (QStringList{expected, expected}));
}

void TestStatistics::countWhatOpeningDiscards()
{
    PtyPort port;
    const int host = ::open(port.path().c_str(), O_RDWR | O_NOCTTY); // keeps written bytes
    QVERIFY(port.write(kQuaternion));
    QTRY_COMPARE(port.unreadByHost(), int(kQuaternion.size()));
    imu driver(nullptr);
    driver.connect(port.path(), 115200, 8, 0, 1);
    QCOMPARE(driver.statistics().discardedBytes, std::uint64_t(kQuaternion.size()));
    driver.disconnect();
    driver.connect(port.path(), 115200, 8, 0, 1);
    QCOMPARE(driver.statistics().sessions, std::uint64_t(2));
    QCOMPARE(driver.statistics().discardedBytes, std::uint64_t(kQuaternion.size()));
    ::close(host);
}

QTEST_GUILESS_MAIN(TestStatistics)
#include "test_statistics.moc"
