// The dialog and a simulated device, connected by a pty: collecting samples, closing.

#include <cmath>
#include <limits>

#include <QApplication>
#include <QSignalSpy>

#include "tests/dialogs/calibration_fixture.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

namespace {

const QString kNotAnEllipsoid =
    u"Do not apply: the surface through the samples is not an ellipsoid. "
    "Turn the device through all directions."_s;
const QString kTooFewDirections =
    u"Do not apply: samples from so few directions do not determine an ellipsoid. "
    "Turn the device through all directions."_s;

} // namespace

class TestMagnetoCalibrationDialog : public QObject, private CalibrationFixture
{
    Q_OBJECT

private slots:
    void initTestCase() { startDriver(); }
    void init() { openDialog(); }
    void cleanup() { closeDialog(); }

    void opens();
    void takesOneReadingATick();
    void takesEachReadingOnce();
    void showsACloudFromTheTwentyFirstSample();
    void stopShowsTheFit();
    void startForgetsTheSamplesBefore();
    void warnsOnceAboutAMeaninglessFit_data();
    void warnsOnceAboutAMeaninglessFit();
    void closeRestoresTheMask();
    void escapeAndTitleBarLeaveTheMask();
};

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

void TestMagnetoCalibrationDialog::closeRestoresTheMask()
{
    setMask(kMaskWhileOpen);
    // The last two bytes of the command's payload are those of the command before it.
    QVERIFY(m_driver->loadSettings());
    m_device->clearReceivedCommands();
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

VORNIX_TEST_MAIN(TestMagnetoCalibrationDialog, QApplication)
#include "test_magneto_calibration_dialog.moc"
