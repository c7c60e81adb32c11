// The download of calibration points from memories of every kind of size: whole pages, a shorter
// last block, too few bytes for a point, none, and a size that changes meanwhile.

#include <boost/make_shared.hpp>

#include <QApplication>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include "dialogs/magneto_calibration_dialog.h"
#include "tests/dialogs/device_fixture.h"
#include "tests/fit/made_ellipsoid.h"
#include "tests/fixtures/test_main.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

namespace {

constexpr std::uint16_t kMask = 0x0144;
constexpr unsigned char kCalibrationData = 20;

// The two arguments of each request for points, without repetitions.
using Requests = QList<QPair<quint32, quint32>>;

quint32 argument(const Bytes &command, std::size_t offset)
{
    quint32 value = 0;
    for (std::size_t i = 4; i > 0; --i)
        value = value << 8 | command[offset + i - 1];
    return value;
}

Requests requests(const Commands &commands)
{
    Requests found;
    for (const Bytes &command : commands) {
        if (command[4] == kCalibrationData)
            found.append({argument(command, 5), argument(command, 9)});
    }
    return found;
}

} // namespace

class TestMagnetoCalibrationSizes : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { m_fixture.disconnect(); }
    void loads_data();
    void loads();
    void sizeChanges_data();
    void sizeChanges();

private:
    QStringList load();
    // The device has this many points, and a memory of this size.
    void fill(unsigned points, std::optional<std::size_t> bytes);
    bool isDisturbed(const QList<int> &failed) const;

    DeviceFixture m_fixture;
};

void TestMagnetoCalibrationSizes::fill(unsigned points, std::optional<std::size_t> bytes)
{
    sim::DeviceOptions options = deviceWith(921600, 100, kMask);
    options.startUp = std::chrono::milliseconds(0);
    QVERIFY(m_fixture.connectTo(options));
    m_fixture.change([points, bytes](sim::ImuSimulator &device) {
        device.calibrationStore().setPoints(
            Maker(1).samples({{40, 50, 60}}, static_cast<int>(points)));
        if (bytes)
            device.calibrationStore().resize(*bytes);
    });
    m_fixture.haste = 20;
}

// Whether the driver repeated a request that the device answers. On a busy machine the answer can
// arrive after the shortened wait, and then serves the request for the next block.
bool TestMagnetoCalibrationSizes::isDisturbed(const QList<int> &failed) const
{
    const Commands all = m_fixture.device().receivedCommands();
    for (auto each = all.begin(); (each = std::adjacent_find(each, all.end())) != all.end();
         ++each) {
        if ((*each)[4] == kCalibrationData && !failed.contains(int(argument(*each, 5))))
            return true;
    }
    return false;
}

// Clicks "Load Calibration" and returns the log up to the number of points.
QStringList TestMagnetoCalibrationSizes::load()
{
    MagnetoCalibrationDialog dialog(m_fixture.driver(), nullptr, kMask);
    dialog.show();
    dialog.findChild<QPushButton *>(u"pushButton"_s)->click();
    const QStringList log =
        dialog.findChild<QPlainTextEdit *>(u"plainTextEdit"_s)->toPlainText().split(u'\n');
    return log.mid(0, log.indexOf(u"Calibration stopped."_s));
}

void TestMagnetoCalibrationSizes::loads_data()
{
    QTest::addColumn<unsigned>("points");
    QTest::addColumn<int>("bytes"); // -1: whole pages
    QTest::addColumn<Requests>("expected");
    QTest::addColumn<QList<int>>("failed"); // offsets of the blocks without points
    QTest::addColumn<int>("loaded");
    const auto row = [](const char *name, unsigned points, int bytes, const Requests &expected,
                        const QList<int> &failed, int loaded) {
        QTest::newRow(name) << points << bytes << expected << failed << loaded;
    };
    row("none", 0, -1, {}, {}, -1);
    row("one page", 6, -1, {{0, 128}}, {}, 6);
    row("four pages", 24, -1, {{0, 128}, {128, 256}, {256, 384}, {384, 512}}, {}, 24);
    row("a page filled up with its last point", 7, -1, {{0, 128}, {128, 256}}, {}, 12);
    row("one byte", 24, 1, {{0, 4294967265U}}, {0}, 0);
    row("less than 32 bytes", 24, 20, {{0, 4294967284U}}, {0}, 0);
    row("32 bytes", 24, 32, {{0, 0}}, {0}, 0);
    row("one block, shorter", 24, 100, {{0, 68}}, {}, 3);
    row("one byte less than a page", 24, 127, {{0, 95}}, {}, 6);
    row("one byte more than a page", 24, 129, {{0, 128}, {128, 4294967265U}}, {128}, 6);
    row("last block less than 32 bytes", 24, 276, {{0, 128}, {128, 256}, {256, 4294967284U}}, {256},
        12);
    row("last block of 32 bytes", 24, 288, {{0, 128}, {128, 256}, {256, 0}}, {256}, 12);
    row("last block with three floats", 24, 300, {{0, 128}, {128, 256}, {256, 12}}, {256}, 12);
    // 12 floats, of which ten are of points: three points and a third of one.
    row("last block with a remainder", 24, 336, {{0, 128}, {128, 256}, {256, 48}}, {}, 15);
    row("last block, all but one byte", 24, 383, {{0, 128}, {128, 256}, {256, 95}}, {}, 18);
}

void TestMagnetoCalibrationSizes::loads()
{
    QFETCH(const unsigned, points);
    QFETCH(const int, bytes);
    QFETCH(const Requests, expected);
    QFETCH(const QList<int>, failed);
    QFETCH(const int, loaded);
    QStringList found;
    for (int attempt = 1; attempt <= 20; ++attempt) {
        fill(points, bytes < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(bytes)));
        found = load();
        if (!isDisturbed(failed))
            break;
    }
    const int size = bytes < 0 ? static_cast<int>((points + 5) / 6 * 128) : bytes;
    QStringList log{u"Reading %1 bytes ..."_s.arg(size)};
    for (int offset = 0; offset < size; offset += 128) {
        log << u"Reading block %1"_s.arg(offset);
        if (failed.contains(offset))
            log << u" Read failed"_s;
    }
    if (loaded >= 0)
        log << u"Data load successful from device: %1 points"_s.arg(loaded);
    QCOMPARE(found, log);
    QCOMPARE(requests(m_fixture.commands()), expected);
    QCOMPARE(m_fixture.memory().active.outputs, kMask);
}

void TestMagnetoCalibrationSizes::sizeChanges_data()
{
    QTest::addColumn<std::size_t>("after");
    QTest::addColumn<QList<int>>("failed");
    QTest::addColumn<QStringList>("log");
    const QString success = u"Data load successful from device: %1 points"_s;
    const QStringList begin{u"Reading 256 bytes ..."_s, u"Reading block 0"_s};
    QTest::newRow("shrinks") << std::size_t(128) << QList<int>{128}
                             << begin + QStringList{u"Reading block 128"_s, u" Read failed"_s,
                                                    success.arg(6)};
    QTest::newRow("vanishes") << std::size_t(0) << QList<int>{0, 128}
                              << begin + QStringList{u" Read failed"_s, u"Reading block 128"_s,
                                                     u" Read failed"_s, success.arg(0)};
    QTest::newRow("grows") << std::size_t(512) << QList<int>{}
                           << begin + QStringList{u"Reading block 128"_s, success.arg(12)};
}

void TestMagnetoCalibrationSizes::sizeChanges()
{
    QFETCH(const std::size_t, after);
    QFETCH(const QList<int>, failed);
    QFETCH(const QStringList, log);
    QStringList found;
    for (int attempt = 1; attempt <= 20; ++attempt) {
        fill(12, std::nullopt);
        m_fixture.change([after](sim::ImuSimulator &device) {
            device.faults().calibrationSizeAfterQuery = after;
        });
        found = load();
        if (!isDisturbed(failed))
            break;
    }
    QCOMPARE(found, log);
    QCOMPARE(m_fixture.memory().active.outputs, kMask);
}

VORNIX_TEST_MAIN(TestMagnetoCalibrationSizes, QApplication)
#include "test_magneto_calibration_sizes.moc"
