// The dialog and a simulated device, connected by a pty.

#include <cmath>
#include <limits>
#include <memory>

#include <boost/make_shared.hpp>

#include <QApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include "dialogs/magneto_calibration_dialog.h"
#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/fit/made_ellipsoid.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"
#include "views/magneto_gl_widget.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr unsigned short kMaskBefore = 0x0044; // quaternion and calibrated field
constexpr unsigned short kMaskWhileOpen = 0x0144;

constexpr int kAttempts = 102; // attempts to read one block of stored points

const QString kTooFew = u"Do not apply: fewer than 9 samples do not determine an ellipsoid."_s;
const QString kNotFinite =
    u"Do not apply: the fit is not finite. Turn the device through all directions."_s;
const QString kNotAnEllipsoid =
    u"Do not apply: the surface through the samples is not an ellipsoid. "
    "Turn the device through all directions."_s;
const QString kTooFewDirections =
    u"Do not apply: samples from so few directions do not determine an ellipsoid. "
    "Turn the device through all directions."_s;

using Packet = std::vector<unsigned char>;

sim::DeviceOptions options()
{
    sim::DeviceOptions options;
    options.motion = sim::Motion::Tumble;
    options.settings.baud = 921600;
    options.startUp = 0ms;
    return options;
}

MadeEllipsoid someEllipsoid()
{
    return {{40, 50, 60},
            Eigen::AngleAxisd(0.4, Eigen::Vector3d(1, 1, 1).normalized()).toRotationMatrix(),
            {12.5, -7.25, 3}};
}

} // namespace

class TestMagnetoCalibrationDialog : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void opens();
    void takesOneReadingATick();
    void takesEachReadingOnce();
    void showsACloudFromTheTwentyFirstSample();
    void stopShowsTheFit();
    void startForgetsTheSamplesBefore();
    void warnsOnceAboutAMeaninglessFit_data();
    void warnsOnceAboutAMeaninglessFit();

    void asksForStoredBlocks_data();
    void asksForStoredBlocks();
    void loadSilencesTheDevice();
    void loadFitsStoredPoints();
    void loadLeavesOutABlockThatFails();
    void loadDropsIncompletePoints();
    void loadIsRefusedWhileCollecting();

    void appliesTheIdentityAtFirst();
    void applySendsNothingThatIsNotFinite_data();
    void applySendsNothingThatIsNotFinite();
    void applyFailsWithoutConnection();
    void applyFailsOnABrokenPort();
    void closeRestoresTheMask();
    void escapeAndTitleBarLeaveTheMask();

    void calibratesADevice();

private:
    template <typename Widget>
    Widget *find(const QString &name)
    {
        return m_dialog->findChild<Widget *>(name);
    }
    double figure(const QString &edit) { return find<QLineEdit>(edit)->text().toDouble(); }
    QStringList log()
    {
        const QString text = find<QPlainTextEdit>(u"plainTextEdit"_s)->toPlainText();
        return text.split(u'\n', Qt::SkipEmptyParts);
    }
    MagnetoGLWidget *view() { return find<MagnetoGLWidget>(u"openGLSphere"_s); }
    QTimer *timer() { return m_dialog->findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly); }
    QPushButton *save() { return find<QPushButton>(u"push_save_device"_s); }
    void click(const QString &button)
    {
        QTest::mouseClick(find<QPushButton>(button), Qt::LeftButton);
    }

    // Whether the device has ignored some commands and will ignore more, so that waiting for an
    // answer is useless.
    bool isTalkingToDeafEars() const;
    // Injects a reading as if the device had sent it; with kMaskBefore the device sends none
    // itself.
    void feed(const ellipsoid::Reading &reading);
    void setMask(unsigned short mask);
    sim::DeviceSettings working()
    {
        return m_device->inspect([](const sim::ImuSimulator &d) { return d.memory().active; });
    }
    void store(std::vector<unsigned char> bytes);
    void storePoints(const ellipsoid::Readings &points);
    // The received commands that have this code at this byte offset, in order.
    std::vector<Packet> commands(unsigned char code, std::size_t at = 4);

    boost::shared_ptr<imu> m_driver;
    std::unique_ptr<sim::ImuSimulatorServer> m_device;
    std::unique_ptr<MagnetoCalibrationDialog> m_dialog;
};

void TestMagnetoCalibrationDialog::initTestCase()
{
    m_driver = boost::make_shared<imu>(nullptr);
    m_driver->setSleeper([this](std::chrono::milliseconds duration) {
        std::this_thread::sleep_for(isTalkingToDeafEars() ? 1ms : duration);
    });
    m_driver->start();
}

void TestMagnetoCalibrationDialog::init()
{
    m_device = std::make_unique<sim::ImuSimulatorServer>(options());
    setMask(kMaskBefore);
    QVERIFY(m_driver->connect(m_device->path(), 921600, 8, 0, 1));
    QVERIFY(QTest::qWaitFor([this] { return !m_driver->getQuaternion().empty(); }, kWaitLimitMs));
    while (!m_driver->getMagneticFieldRaw().empty())
        continue;
    m_device->clearReceivedCommands();
    m_dialog = std::make_unique<MagnetoCalibrationDialog>(m_driver.get(), nullptr, kMaskBefore);
    m_dialog->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_dialog.get(), kWaitLimitMs));
}

void TestMagnetoCalibrationDialog::cleanup()
{
    m_dialog.reset();
    m_driver->disconnect();
    m_device.reset();
}

bool TestMagnetoCalibrationDialog::isTalkingToDeafEars() const
{
    return m_device && m_device->change([](sim::ImuSimulator &device) {
        const auto &left = device.faults().ignoreFirst;
        return left.count(20) != 0 && left.at(20) > 0 && left.at(20) < kAttempts;
    });
}

void TestMagnetoCalibrationDialog::feed(const ellipsoid::Reading &reading)
{
    Packet packet{'S', 'D', 19, 0, 14};
    packet.resize(19);
    protocol::writeField(&packet[5], reading);
    protocol::writeField(&packet[17], protocol::checksum({&packet[4], 13}));
    packet.resize(packet.size() + kDecoderPadding);
    QVERIFY(m_driver->processPacket(packet.data(), 19));
}

void TestMagnetoCalibrationDialog::setMask(unsigned short mask)
{
    m_device->change([mask](sim::ImuSimulator &device) {
        sim::DeviceSettings settings = device.memory().active;
        settings.outputs = mask;
        device.setSettings(settings);
    });
}

void TestMagnetoCalibrationDialog::store(std::vector<unsigned char> bytes)
{
    m_device->change(
        [&](sim::ImuSimulator &d) { d.calibrationStore().setBytes(std::move(bytes)); });
}

void TestMagnetoCalibrationDialog::storePoints(const ellipsoid::Readings &points)
{
    m_device->change([&](sim::ImuSimulator &d) { d.calibrationStore().setPoints(points); });
}

// Leaves out a command that repeats the one before it: how often a waiting driver repeats a command
// depends on the machine's speed.
std::vector<Packet> TestMagnetoCalibrationDialog::commands(unsigned char code, std::size_t at)
{
    std::vector<Packet> found;
    for (const Packet &packet : m_device->receivedCommands()) {
        const bool repeated = !found.empty() && found.back() == packet;
        if (packet.size() > at && packet[at] == code && !repeated)
            found.push_back(packet);
    }
    return found;
}

// Opening sends no command, because the calling window has already switched the output on.
void TestMagnetoCalibrationDialog::opens()
{
    QSignalSpy ticks(timer(), &QTimer::timeout);
    QTRY_VERIFY(ticks.size() >= 2);
    QVERIFY(m_device->receivedCommands().empty());
    QVERIFY(log().isEmpty());
    QVERIFY(!save()->isEnabled());
}

void TestMagnetoCalibrationDialog::takesOneReadingATick()
{
    QCOMPARE(timer()->interval(), 200);
    timer()->stop();
    QSignalSpy raw(m_dialog.get(), &MagnetoCalibrationDialog::newRawSample);
    click(u"push_start_calib"_s);
    int ticks = 0;
    const auto comesInTwice = [this] {
        feed({1, 2, 3});
        feed({3, 2, 1});
    };
    connect(timer(), &QTimer::timeout, m_dialog.get(), [&] {
        if (++ticks == 3)
            timer()->stop();
        comesInTwice();
    });
    comesInTwice();
    timer()->start();
    QTRY_COMPARE(ticks, 3);
    click(u"push_stop_calib"_s);
    QCOMPARE(log().size(), 4);
    QVERIFY2(log()[2].contains(u"N=3, "_s), qPrintable(log()[2]));
    QCOMPARE(log()[3], kTooFew);
    QVERIFY(raw.isEmpty());
    QVERIFY(m_device->receivedCommands().empty());
}

void TestMagnetoCalibrationDialog::takesEachReadingOnce()
{
    timer()->stop();
    feed({1, 2, 3});
    m_dialog->updateMagData(); // not collecting, so the reading is not taken
    click(u"push_start_calib"_s);
    m_dialog->updateMagData();
    m_dialog->updateMagData();
    m_dialog->updateMagData();
    click(u"push_stop_calib"_s);
    QVERIFY2(log()[2].contains(u"N=1, "_s), qPrintable(log()[2]));
    QCOMPARE(figure(u"biasZLineEdit"_s), 3.0);
}

void TestMagnetoCalibrationDialog::showsACloudFromTheTwentyFirstSample()
{
    timer()->stop();
    find<QLineEdit>(u"scaleXLineEdit"_s)->setText(u"kept"_s);
    find<QLineEdit>(u"samplesLineEdit"_s)->setText(u"kept"_s);
    click(u"push_start_calib"_s);
    const auto samples = Maker(1).samples(someEllipsoid(), 30);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        feed(samples[i]);
        m_dialog->updateMagData();
        const std::size_t expected = i < 20 ? 0 : i + 1;
        QCOMPARE(view()->correctedSamples().size(), expected);
        QVERIFY(view()->rawSamples().empty());
    }
    for (const QVector3D &point : view()->correctedSamples())
        QVERIFY2(std::abs(point.length() - 1) < 1e-5F, qPrintable(QString::number(point.length())));
    QCOMPARE(find<QLineEdit>(u"scaleXLineEdit"_s)->text(), u"kept"_s);
    QCOMPARE(find<QLineEdit>(u"samplesLineEdit"_s)->text(), u"kept"_s);
    QCOMPARE(log(), QStringList{u"Calibration started..."_s});
}

void TestMagnetoCalibrationDialog::stopShowsTheFit()
{
    timer()->stop();
    click(u"push_start_calib"_s);
    // On an ellipsoid around (1, 2.5, -30) with half axes 2, 3.25 and 40.
    for (const ellipsoid::Reading &reading : ellipsoid::Readings{{3, 2.5F, -30},
                                                                 {-1, 2.5F, -30},
                                                                 {1, 5.75F, -30},
                                                                 {1, -0.75F, -30},
                                                                 {1, 2.5F, 10},
                                                                 {1, 2.5F, -70},
                                                                 {2.2F, 5.1F, -30},
                                                                 {2.2F, -0.1F, -30},
                                                                 {-0.2F, 5.1F, -30},
                                                                 {-0.2F, -0.1F, -30},
                                                                 {2.2F, 2.5F, 2},
                                                                 {2.2F, 2.5F, -62},
                                                                 {-0.2F, 2.5F, 2},
                                                                 {-0.2F, 2.5F, -62},
                                                                 {1, 4.45F, 2},
                                                                 {1, 4.45F, -62},
                                                                 {1, 0.55F, 2},
                                                                 {1, 0.55F, -62}}) {
        feed(reading);
        m_dialog->updateMagData();
    }
    click(u"push_stop_calib"_s);
    QCOMPARE(find<QLineEdit>(u"biasXLineEdit"_s)->text(), u"1"_s);
    QCOMPARE(find<QLineEdit>(u"biasYLineEdit"_s)->text(), u"2.5"_s);
    QCOMPARE(find<QLineEdit>(u"biasZLineEdit"_s)->text(), u"-30"_s);
    QCOMPARE(find<QLineEdit>(u"scaleXLineEdit"_s)->text(), u"2"_s);
    QCOMPARE(find<QLineEdit>(u"scaleYLineEdit"_s)->text(), u"3.25"_s);
    QCOMPARE(find<QLineEdit>(u"scaleZLineEdit"_s)->text(), u"40"_s);
    QCOMPARE(find<QLineEdit>(u"avgNormLineEdit"_s)->text(), u"1.0000"_s);
    QCOMPARE(find<QLineEdit>(u"stdDevLineEdit"_s)->text(), u"0.0000"_s);
    QCOMPARE(find<QLineEdit>(u"samplesLineEdit"_s)->text(), u"18"_s);
    QCOMPARE(find<QLineEdit>(u"qualityLineEdit"_s)->text(), u"Good"_s);
    QCOMPARE(log().size(), 3);
    QCOMPARE(log()[1], u"Calibration stopped."_s);
    QVERIFY2(log()[2].startsWith(u"Final Quality: avg|p|=1, std|p|="_s), qPrintable(log()[2]));
    QVERIFY2(log()[2].endsWith(u", N=18, Good"_s), qPrintable(log()[2]));
    QVERIFY(view()->correctedSamples().empty());
    feed({1, 1, 1});
    m_dialog->updateMagData();
    click(u"push_stop_calib"_s);
    QVERIFY2(log().last().contains(u"N=18, "_s), "stopped, so nothing is added");
}

void TestMagnetoCalibrationDialog::startForgetsTheSamplesBefore()
{
    timer()->stop();
    click(u"push_start_calib"_s);
    for (const auto &sample : Maker(1).samples(someEllipsoid(), 25)) {
        feed(sample);
        m_dialog->updateMagData();
    }
    QCOMPARE(view()->correctedSamples().size(), 25U);
    click(u"push_start_calib"_s);
    QVERIFY(view()->correctedSamples().empty());
    click(u"push_stop_calib"_s);
    QCOMPARE(log().last(), u"No samples collected!"_s);
}

void TestMagnetoCalibrationDialog::warnsOnceAboutAMeaninglessFit_data()
{
    QTest::addColumn<ellipsoid::Readings>("samples");
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("warning");
    QTest::newRow("a device at rest") << ellipsoid::Readings(36, ellipsoid::Reading{12, -7, 40})
                                      << u"Good"_s << kTooFewDirections;
    ellipsoid::Readings waist;
    for (int i = 0; i < 48; ++i) {
        const float around = static_cast<float>(i) * 0.7F;
        const float height = static_cast<float>(i % 7 - 3) / 3;
        const float radius = std::sqrt(1 + height * height);
        waist.push_back(
            {40 * radius * std::cos(around), 40 * radius * std::sin(around), 40 * height});
    }
    QTest::newRow("a hyperboloid") << waist << u"Bad"_s << kNotAnEllipsoid;
}

// The quality word stays the same; a log line below it warns that the fit is meaningless.
void TestMagnetoCalibrationDialog::warnsOnceAboutAMeaninglessFit()
{
    QFETCH(ellipsoid::Readings, samples);
    QFETCH(QString, word);
    QFETCH(QString, warning);
    timer()->stop();
    click(u"push_start_calib"_s);
    for (const ellipsoid::Reading &sample : samples) {
        feed(sample);
        m_dialog->updateMagData();
    }
    QCOMPARE(log(), QStringList{u"Calibration started..."_s});
    click(u"push_stop_calib"_s);
    QCOMPARE(find<QLineEdit>(u"qualityLineEdit"_s)->text(), word);
    QCOMPARE(log().size(), 4);
    QVERIFY2(log()[2].endsWith(u", N=%1, %2"_s.arg(samples.size()).arg(word)),
             qPrintable(log()[2]));
    QCOMPARE(log()[3], warning);
}

void TestMagnetoCalibrationDialog::asksForStoredBlocks_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<std::vector<Packet>>("requests");
    QTest::newRow("none") << 0 << std::vector<Packet>{};
    const Packet first{'S', 'C', 15, 0, 20, 0, 0, 0, 0, 128, 0, 0, 0, 148, 0};
    const Packet second{'S', 'C', 15, 0, 20, 128, 0, 0, 0, 0, 1, 0, 0, 149, 0};
    QTest::newRow("20: fewer than the spare bytes")
        << 20
        << std::vector<Packet>{
               {'S', 'C', 15, 0, 20, 0, 0, 0, 0, 0xF4, 0xFF, 0xFF, 0xFF, 0x05, 0x04}};
    QTest::newRow("128") << 128 << std::vector<Packet>{first};
    QTest::newRow("160: nothing left but spare bytes")
        << 160
        << std::vector<Packet>{first, {'S', 'C', 15, 0, 20, 128, 0, 0, 0, 0, 0, 0, 0, 148, 0}};
    QTest::newRow("256") << 256 << std::vector<Packet>{first, second};
    QTest::newRow("300") << 300
                         << std::vector<Packet>{
                                first,
                                second,
                                {'S', 'C', 15, 0, 20, 0, 1, 0, 0, 12, 0, 0, 0, 33, 0}};
}

void TestMagnetoCalibrationDialog::asksForStoredBlocks()
{
    QFETCH(int, size);
    QFETCH(std::vector<Packet>, requests);
    store(Packet(static_cast<std::size_t>(size)));
    click(u"pushButton"_s);
    QCOMPARE(commands(20), requests);

    QStringList expected{u"Reading %1 bytes ..."_s.arg(size)};
    for (std::size_t i = 0; i < requests.size(); ++i)
        expected << u"Reading block %1"_s.arg(i * 128);
    QStringList written = log();
    written.removeAll(u" Read failed"_s);
    QCOMPARE(written.mid(0, expected.size()), expected);
    QCOMPARE(size == 0, written.size() == 1);
}

// The order matters: outputs off before the first request, mask restored after the last.
void TestMagnetoCalibrationDialog::loadSilencesTheDevice()
{
    setMask(0x0107);
    store(Packet(128));
    click(u"pushButton"_s);
    std::vector<int> order;
    for (const Packet &packet : m_device->receivedCommands()) {
        if (packet[4] == 13 && packet[5] == 9)
            order.push_back(packet[6] | packet[7] << 8);
        else if (packet[4] == 20 || packet[4] == 21)
            order.push_back(-packet[4]);
    }
    order.erase(std::unique(order.begin(), order.end()), order.end());
    QCOMPARE(order, (std::vector<int>{0, -21, -20, 0x0107}));
    QCOMPARE(working().outputs, 0x0107);
}

void TestMagnetoCalibrationDialog::loadFitsStoredPoints()
{
    storePoints(Maker(1).samples(someEllipsoid(), 24));
    click(u"pushButton"_s);
    QCOMPARE(
        log().mid(0, 7),
        (QStringList{u"Reading 512 bytes ..."_s, u"Reading block 0"_s, u"Reading block 128"_s,
                     u"Reading block 256"_s, u"Reading block 384"_s,
                     u"Data load successful from device: 24 points"_s, u"Calibration stopped."_s}));
    QCOMPARE(log().size(), 8);
    QVERIFY2(log()[7].startsWith(u"Final Quality: avg|p|=1, std|p|="_s), qPrintable(log()[7]));
    QVERIFY2(log()[7].endsWith(u", N=24, Good"_s), qPrintable(log()[7]));
    QVERIFY(std::abs(figure(u"biasXLineEdit"_s) - 12.5) < 1e-3);
    QVERIFY(std::abs(figure(u"biasYLineEdit"_s) + 7.25) < 1e-3);
    QVERIFY(std::abs(figure(u"biasZLineEdit"_s) - 3) < 1e-3);
    QCOMPARE(view()->correctedSamples().size(), 24U);
    QVERIFY(view()->rawSamples().empty());
    for (const QVector3D &point : view()->correctedSamples())
        QVERIFY(std::abs(point.length() - 1) < 1e-4F);

    // With fewer points the view clears the cloud.
    storePoints(Maker(1).samples(someEllipsoid(), 18));
    click(u"pushButton"_s);
    QVERIFY(view()->correctedSamples().empty());
    QVERIFY2(log().last().contains(u"N=18, "_s), qPrintable(log().last()));
}

// The device ignores all attempts for the first block.
void TestMagnetoCalibrationDialog::loadLeavesOutABlockThatFails()
{
    storePoints(Maker(1).samples(someEllipsoid(), 30));
    m_device->change([](sim::ImuSimulator &d) { d.faults().ignoreFirst[20] = kAttempts; });
    click(u"pushButton"_s);
    QCOMPARE(log().mid(0, 5),
             (QStringList{u"Reading 640 bytes ..."_s, u"Reading block 0"_s, u" Read failed"_s,
                          u"Reading block 128"_s, u"Reading block 256"_s}));
    QVERIFY(log().contains(u"Data load successful from device: 24 points"_s));
    QVERIFY2(log().last().endsWith(u", N=24, Good"_s), qPrintable(log().last()));
    QCOMPARE(log().count(u" Read failed"_s), 1);
}

// 80 bytes are requested as (0, 48), twelve floats. The driver uses ten of them: three points and
// one spare float, which is dropped. With fewer than twelve floats the read fails.
void TestMagnetoCalibrationDialog::loadDropsIncompletePoints()
{
    Packet bytes(80);
    for (std::size_t i = 0; i < 12; ++i)
        protocol::writeField(&bytes[4 * i], static_cast<float>(i + 1));
    store(bytes);
    click(u"pushButton"_s);
    QCOMPARE(log().mid(0, 3), (QStringList{u"Reading 80 bytes ..."_s, u"Reading block 0"_s,
                                           u"Data load successful from device: 3 points"_s}));
    QVERIFY2(log()[log().size() - 2].contains(u"N=3, "_s), qPrintable(log().join(u'\n')));
    QCOMPARE(log().last(), kTooFew);

    store(Packet(64));
    click(u"pushButton"_s);
    QCOMPARE(log().mid(log().size() - 5),
             (QStringList{u"Reading block 0"_s, u" Read failed"_s,
                          u"Data load successful from device: 0 points"_s,
                          u"Calibration stopped."_s, u"No samples collected!"_s}));
}

void TestMagnetoCalibrationDialog::loadIsRefusedWhileCollecting()
{
    store(Packet(128));
    click(u"push_start_calib"_s);
    click(u"pushButton"_s);
    QCOMPARE(log(), QStringList{u"Calibration started..."_s});
    QVERIFY(m_device->receivedCommands().empty());
}

void TestMagnetoCalibrationDialog::appliesTheIdentityAtFirst()
{
    click(u"push_apply_calib"_s);
    // The bias is negated, so it is minus zero: 0x80000000. One is 0x3F800000.
    const Packet expected{'S',  'C', 56,   0,    13, 15,                               //
                          0,    0,   0,    0x80, 0,  0,  0,    0x80, 0, 0, 0,    0x80, //
                          0,    0,   0x80, 0x3F, 0,  0,  0,    0,    0, 0, 0,    0,    //
                          0,    0,   0,    0,    0,  0,  0x80, 0x3F, 0, 0, 0,    0,    //
                          0,    0,   0,    0,    0,  0,  0,    0,    0, 0, 0x80, 0x3F, //
                          0xD9, 0x03};
    // The driver repeats the command until the echo arrives.
    const auto sent = m_device->receivedCommands();
    QVERIFY(!sent.empty());
    QCOMPARE(sent, std::vector<Packet>(sent.size(), expected));
    QCOMPARE(log(), QStringList{u"Applied calibration: Bias = [0.0000, 0.0000, 0.0000], "
                                "L = [1.0000E+00, 0.0000E+00, 0.0000E+00, 0.0000E+00, 1.0000E+00, "
                                "0.0000E+00, 0.0000E+00, 0.0000E+00, 1.0000E+00]"_s});
    QVERIFY(save()->isEnabled());
}

void TestMagnetoCalibrationDialog::applySendsNothingThatIsNotFinite_data()
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    QTest::addColumn<float>("reading");
    QTest::newRow("not a number") << kNan;
    QTest::newRow("too large to be squared") << 1e25F;
}

// The echo of such a value never compares equal, so the driver would repeat the command forever.
void TestMagnetoCalibrationDialog::applySendsNothingThatIsNotFinite()
{
    QFETCH(float, reading);
    click(u"push_apply_calib"_s);
    QVERIFY(save()->isEnabled());
    timer()->stop();
    click(u"push_start_calib"_s);
    for (const auto &sample : Maker(1).samples(someEllipsoid(), 30)) {
        feed(sample);
        m_dialog->updateMagData();
    }
    feed({1, reading, 3});
    m_dialog->updateMagData();
    click(u"push_stop_calib"_s);
    QCOMPARE(log().last(), kNotFinite);
    QCOMPARE(log().count(kNotFinite), 1);
    m_device->clearReceivedCommands();
    click(u"push_apply_calib"_s);
    QCOMPARE(log().last(), u"Failed to apply calibration to device."_s);
    QVERIFY(!save()->isEnabled());
    QVERIFY(m_device->receivedCommands().empty());
}

void TestMagnetoCalibrationDialog::applyFailsWithoutConnection()
{
    click(u"push_apply_calib"_s);
    QVERIFY(save()->isEnabled());
    m_driver->disconnect();
    click(u"push_save_device"_s);
    QCOMPARE(log().last(), u"Failed to save calibration to device."_s);
    QVERIFY(save()->isEnabled());
    click(u"push_apply_calib"_s);
    QCOMPARE(log().last(), u"Failed to apply calibration to device."_s);
    QVERIFY(!save()->isEnabled());
}

// The cable is pulled: every write throws, and the dialog shows its own message.
void TestMagnetoCalibrationDialog::applyFailsOnABrokenPort()
{
    click(u"push_apply_calib"_s);
    m_device->unplug();
    click(u"push_save_device"_s);
    QCOMPARE(log().last(), u"Failed to save calibration to device."_s);
    click(u"push_apply_calib"_s);
    QCOMPARE(log().last(), u"Failed to apply calibration to device."_s);
    QVERIFY(!save()->isEnabled());
    click(u"pushButton"_s);
    QCOMPARE(log().last(), u"Reading 0 bytes ..."_s);
    click(u"push_close"_s);
    QVERIFY(!m_dialog->isVisible());
}

void TestMagnetoCalibrationDialog::closeRestoresTheMask()
{
    setMask(kMaskWhileOpen);
    QTest::ignoreMessage(QtDebugMsg, "Close button clicked. Restoring outputs with prevMask = 68");
    click(u"push_close"_s);
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(working().outputs, kMaskBefore);
    const auto sent = m_device->receivedCommands();
    QCOMPARE(sent, std::vector<Packet>(sent.size(),
                                       Packet{'S', 'C', 12, 0, 13, 9, 0x44, 0, 16, 17, 123, 0}));
    QVERIFY(!sent.empty());
}

void TestMagnetoCalibrationDialog::escapeAndTitleBarLeaveTheMask()
{
    setMask(kMaskWhileOpen);
    QTest::keyClick(m_dialog.get(), Qt::Key_Escape);
    QVERIFY(!m_dialog->isVisible());
    m_dialog->show();
    QVERIFY(m_dialog->close()); // same path as the title bar's close button
    QVERIFY(m_device->receivedCommands().empty());
    QCOMPARE(working().outputs, kMaskWhileOpen);
}

// The complete procedure with the device's noisy readings: collect while it tumbles, apply, save.
void TestMagnetoCalibrationDialog::calibratesADevice()
{
    setMask(kMaskWhileOpen);
    timer()->setInterval(15); // at 200 ms so many readings take a minute
    click(u"push_start_calib"_s);
    QTRY_VERIFY_WITH_TIMEOUT(view()->correctedSamples().size() >= 300, 5 * kWaitLimitMs);
    click(u"push_stop_calib"_s);
    QCOMPARE(find<QLineEdit>(u"qualityLineEdit"_s)->text(), u"Good"_s);
    const auto truth = m_device->inspect(
        [](const sim::ImuSimulator &d) { return d.sensors().magnetic().hardIron(); });
    QVERIFY(std::abs(figure(u"biasXLineEdit"_s) - truth.x()) < 0.5);
    QVERIFY(std::abs(figure(u"biasYLineEdit"_s) - truth.y()) < 0.5);
    QVERIFY(std::abs(figure(u"biasZLineEdit"_s) - truth.z()) < 0.5);

    click(u"push_apply_calib"_s);
    const sim::MagneticCalibration applied = working().magnetic;
    QVERIFY2(log().last().startsWith(u"Applied calibration: Bias = [%1, "_s.arg(
                 static_cast<double>(applied.bias[0]), 0, 'f', 4)),
             qPrintable(log().last()));
    QCOMPARE(QString::number(static_cast<double>(-applied.bias[0]), 'g', 6),
             find<QLineEdit>(u"biasXLineEdit"_s)->text());
    QCOMPARE(QString::number(static_cast<double>(1 / applied.matrix[4]), 'g', 6),
             find<QLineEdit>(u"scaleYLineEdit"_s)->text());
    // The matrix is sent column by column and is upper triangular: zeros below the diagonal.
    QVERIFY(applied.matrix[1] == 0.0F && applied.matrix[2] == 0.0F && applied.matrix[5] == 0.0F);
    QVERIFY(applied.matrix[3] != 0.0F && applied.matrix[6] != 0.0F && applied.matrix[7] != 0.0F);
    // The log shows the matrix row by row: U01 is its second entry, and the fourth one sent.
    QVERIFY2(log().last().contains(
                 u"L = [%1, %2, "_s.arg(static_cast<double>(applied.matrix[0]), 0, 'E', 4)
                     .arg(static_cast<double>(applied.matrix[3]), 0, 'E', 4)),
             qPrintable(log().last()));

    click(u"push_save_device"_s);
    QCOMPARE(log().last(), u"Calibration saved to device flash."_s);
    m_device->powerCycle();
    QCOMPARE(working().magnetic, applied);
    m_device->inspect([&applied](const sim::ImuSimulator &device) {
        for (int second = 0; second < 60; ++second) {
            const Eigen::Vector3d raw = device.sensors().rawField(std::chrono::seconds(second));
            QVERIFY(std::abs(sim::corrected(raw, applied).norm() - 1) < 0.05);
        }
    });
}

VORNIX_TEST_MAIN(TestMagnetoCalibrationDialog, QApplication)

#include "test_magneto_calibration_dialog.moc"
