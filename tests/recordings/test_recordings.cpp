// Plays recorded lines to the driver and compares every sample with the result of decode.py, an
// independent decoder.

#include <mutex>

#include <boost/make_shared.hpp>

#include <QCoreApplication>
#include <QDir>
#include <QTest>

#include "sim/line/pty_server.h"
#include "sim/recording/replay.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"
#include "tests/recordings/line_player.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Kind = recording::RecordedEvent::Kind;

namespace {

struct Line
{
    recording::Recording recording;
    Expectation expectation;
};

Line read(const QString &name)
{
    const std::string base = (QStringLiteral(VORNIX_RECORDINGS "/") + name).toStdString();
    return {recording::readRecording(base + ".rec"), readExpectation(base + ".expected")};
}

QStringList names()
{
    QStringList found;
    for (const QString &file : QDir(QStringLiteral(VORNIX_RECORDINGS)).entryList({u"*.rec"_s}))
        found.append(file.chopped(4));
    return found;
}

bool has(const Line &line, Kind kind)
{
    const auto &events = line.recording.events;
    return std::any_of(events.begin(), events.end(),
                       [kind](const auto &event) { return event.kind == kind; });
}

} // namespace

class TestRecordings : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void thereAreEnough();
    void everySample_data();
    void everySample();
    void asFastAsTheDriverReads_data();
    void asFastAsTheDriverReads();
    void replayedSessionsAnswer_data();
    void replayedSessionsAnswer();

private:
    std::vector<std::string> announced() const
    {
        const std::lock_guard lock(m_mutex);
        return m_heard;
    }
    void announce(const char *name, std::initializer_list<float> values)
    {
        const std::lock_guard lock(m_mutex);
        m_heard.push_back(blockText(name, values.begin(), values.size()));
    }

    boost::shared_ptr<imu> m_driver;
    // The driver's sleeper; by default it returns at once.
    std::function<void(std::chrono::milliseconds)> m_sleep;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_heard; // guarded by m_mutex; blocks in signal order
};

void TestRecordings::initTestCase()
{
    m_driver = boost::make_shared<imu>(nullptr);
    m_driver->setSleeper([this](std::chrono::milliseconds duration) {
        if (m_sleep)
            m_sleep(duration);
    });
    const auto direct = Qt::DirectConnection;
    connect(
        m_driver.get(), &imu::quaternionUpdated, this,
        [this](float x, float y, float z, float w) {
            announce("quaternion", {x, y, z, w});
        },
        direct);
    connect(
        m_driver.get(), &imu::MagneticFieldUpdated, this,
        [this](float x, float y, float z) {
            announce("field", {x, y, z});
        },
        direct);
    connect(
        m_driver.get(), &imu::MagneticFieldRawUpdated, this,
        [this](float x, float y, float z) {
            announce("raw", {x, y, z});
        },
        direct);
    m_driver->start();
}

void TestRecordings::cleanup()
{
    m_driver->disconnect();
    m_sleep = nullptr;
    const std::lock_guard lock(m_mutex);
    m_heard.clear();
}

void TestRecordings::thereAreEnough()
{
    QVERIFY(names().size() >= 20);
}

void TestRecordings::everySample_data()
{
    QTest::addColumn<QString>("name");
    for (const QString &name : names())
        QTest::newRow(qPrintable(name)) << name;
}

void TestRecordings::everySample()
{
    QFETCH(const QString, name);
    const Line line = read(name);
    QVERIFY(!line.expectation.packets.empty());
    LinePlayer player(*m_driver, line.recording, line.expectation);
    m_sleep = [&player](std::chrono::milliseconds duration) { player.slept(duration); };
    try {
        player.play();
    } catch (const LinePlayer::Mismatch &mismatch) {
        QFAIL(mismatch.what());
    }
    QVERIFY(announced() == line.expectation.announcements());
}

void TestRecordings::asFastAsTheDriverReads_data()
{
    QTest::addColumn<QString>("name");
    for (const QString &name : names()) {
        const Line line = read(name);
        if (!has(line, Kind::FromHost) && !has(line, Kind::Unplug))
            QTest::newRow(qPrintable(name)) << name;
    }
}

// Sends packet after packet without a pause, as vornix-sim does.
void TestRecordings::asFastAsTheDriverReads()
{
    QFETCH(const QString, name);
    Line line = read(name);
    // The replay starts when the driver has sent something and so is ready.
    line.recording.events.insert(line.recording.events.begin(),
                                 {.kind = Kind::FromHost, .bytes = {0}});
    sim::PtyServer server(std::make_unique<sim::Replay>(line.recording, std::nullopt));
    m_driver->connect(server.path(), static_cast<int>(line.recording.header.baud), 8, 0, 1);
    m_driver->loadSettings_();
    const std::vector<std::string> expected = line.expectation.announcements();
    QTRY_VERIFY(announced().size() >= expected.size());
    QVERIFY(announced() == expected);
}

void TestRecordings::replayedSessionsAnswer_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<unsigned int>("speed");
    QTest::addColumn<int>("outputs");
    QTest::newRow("asks for the settings") << u"settings-loaded"_s << 115200U << 0x24;
    QTest::newRow("changes the speed") << u"speed-changed"_s << 230400U << 0x04;
}

// Replays in real time: the driver sends the recorded commands at its own times, and the replay
// waits for them.
void TestRecordings::replayedSessionsAnswer()
{
    QFETCH(const QString, name);
    QFETCH(const unsigned int, speed);
    QFETCH(const int, outputs);
    m_sleep = [](std::chrono::milliseconds duration) { std::this_thread::sleep_for(duration); };
    sim::PtyServer server(std::make_unique<sim::Replay>(read(name).recording, 1.0, kWaitLimit));
    m_driver->connect(server.path(), 115200, 8, 0, 1);
    QTRY_VERIFY(!announced().empty());
    QVERIFY(speed == 115200 ? m_driver->loadSettings() : m_driver->setBaudRate(speed));
    QCOMPARE(int(m_driver->getOutputs()), outputs);
    QCOMPARE(m_driver->getSerialNumber(), 0xC0FFEEU);
}

VORNIX_TEST_MAIN(TestRecordings, QCoreApplication)
#include "test_recordings.moc"
