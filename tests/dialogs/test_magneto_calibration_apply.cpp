// The calibration dialog and a simulated device: applying a fit and saving it.

#include <cmath>
#include <limits>

#include <QApplication>

#include "tests/dialogs/calibration_fixture.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

namespace {

const QString kNotFinite =
    u"Do not apply: the fit is not finite. Turn the device through all directions."_s;

} // namespace

class TestMagnetoCalibrationApply : public QObject, private CalibrationFixture
{
    Q_OBJECT

private slots:
    void initTestCase() { startDriver(); }
    void init() { openDialog(); }
    void cleanup() { closeDialog(); }

    void appliesTheIdentityAtFirst();
    void applySendsNothingThatIsNotFinite_data();
    void applySendsNothingThatIsNotFinite();
    void applyFailsWithoutConnection();
    void applyFailsOnABrokenPort();
    void calibratesADevice();
};

void TestMagnetoCalibrationApply::appliesTheIdentityAtFirst()
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

void TestMagnetoCalibrationApply::applySendsNothingThatIsNotFinite_data()
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    QTest::addColumn<float>("reading");
    QTest::newRow("not a number") << kNan;
    QTest::newRow("too large to be squared") << 1e25F;
}

// The echo of such a value never compares equal, so the driver would repeat the command forever.
void TestMagnetoCalibrationApply::applySendsNothingThatIsNotFinite()
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
    const auto before = m_device->receivedCommands();
    click(u"push_apply_calib"_s);
    QCOMPARE(log().last(), u"Failed to apply calibration to device."_s);
    QVERIFY(!save()->isEnabled());
    // A late repetition of the last command may still arrive.
    const auto after = m_device->receivedCommands();
    QVERIFY(std::all_of(after.begin() + std::ssize(before), after.end(),
                        [&](const auto &each) { return each == before.back(); }));
}

void TestMagnetoCalibrationApply::applyFailsWithoutConnection()
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
void TestMagnetoCalibrationApply::applyFailsOnABrokenPort()
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

// The complete procedure with the device's noisy readings: collect while it tumbles, apply, save.
void TestMagnetoCalibrationApply::calibratesADevice()
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

VORNIX_TEST_MAIN(TestMagnetoCalibrationApply, QApplication)
#include "test_magneto_calibration_apply.moc"
