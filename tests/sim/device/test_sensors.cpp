// The errors of the sensors: noise, bias, drift with temperature, saturation.

#include <cmath>

#include <QTest>

#include "sim/device/sensors.h"

using namespace std::chrono_literals;
using sim::Time;

namespace {

constexpr Time kInterval = 10ms;

// The x rate of a device at rest, `count` samples at 100 Hz.
std::vector<double> ratesAtRest(const sim::SensorOptions &options, int count)
{
    const sim::Sensors sensors(sim::Motion::Still, 1, options);
    std::vector<double> rates;
    for (int i = 0; i < count; ++i)
        rates.push_back(static_cast<double>(sensors.sample(i * kInterval, {}).rates[0]));
    return rates;
}

// The Allan deviation for groups of `size` samples: over all pairs of neighbouring groups, the root
// of half the mean square of the difference of their means.
double allanDeviation(const std::vector<double> &values, std::size_t size)
{
    std::vector<double> sums{0};
    for (const double value : values)
        sums.push_back(sums.back() + value);
    double total = 0;
    std::size_t count = 0;
    for (std::size_t i = 0; i + 2 * size <= values.size(); ++i, ++count) {
        const double difference = sums[i + 2 * size] - 2 * sums[i + size] + sums[i];
        total += std::pow(difference / static_cast<double>(size), 2);
    }
    return std::sqrt(total / (2 * static_cast<double>(count)));
}

bool isAbout(double found, double expected, double tolerance)
{
    return std::abs(found - expected) <= tolerance * expected;
}

} // namespace

class TestSensors : public QObject
{
    Q_OBJECT

private slots:
    void allanDeviationFollowsTheNoise_data();
    void allanDeviationFollowsTheNoise();
    void allanDeviationFollowsTheDrift();
    void biasIsAdded();
    void warmsUp();
    void ratesSaturate();
    void vibrationAccelerates();
};

void TestSensors::allanDeviationFollowsTheNoise_data()
{
    QTest::addColumn<double>("noise");
    QTest::newRow("0.002") << 0.002;
    QTest::newRow("0.0005") << 0.0005;
}

// White noise: the deviation falls with the root of the averaging time. A constant bias has none.
void TestSensors::allanDeviationFollowsTheNoise()
{
    QFETCH(const double, noise);
    sim::SensorOptions options;
    options.rateNoise = noise;
    options.rateBias = 0.01;
    const std::vector<double> rates = ratesAtRest(options, 60'000);
    for (const std::size_t size : {1, 10, 100, 1000}) {
        const double found = allanDeviation(rates, size);
        const double expected = noise / std::sqrt(static_cast<double>(size));
        QVERIFY2(isAbout(found, expected, size < 1000 ? 0.05 : 0.25),
                 qPrintable(QString::number(found / expected)));
    }
}

// A bias that changes by `slope` per second has the deviation slope * time / sqrt(2). In the first
// seconds the device warms up by 15 K / 300 s.
void TestSensors::allanDeviationFollowsTheDrift()
{
    sim::SensorOptions options;
    options.rateNoise = 0.001;
    options.rateDrift = 0.01;
    const std::vector<double> rates = ratesAtRest(options, 3000);
    const double slope = options.rateDrift * 15 / 300;
    const double time = 10;
    const double found = allanDeviation(rates, 1000);
    QVERIFY2(isAbout(found, slope * time / std::sqrt(2), 0.1), qPrintable(QString::number(found)));
    // At the shortest time the noise prevails.
    QVERIFY(isAbout(allanDeviation(rates, 1), options.rateNoise, 0.1));
}

void TestSensors::biasIsAdded()
{
    sim::SensorOptions options;
    options.rateBias = 0.25;
    double sum = 0;
    for (const double rate : ratesAtRest(options, 1000))
        sum += rate;
    QVERIFY(std::abs(sum / 1000 - 0.25) < 0.001);
}

void TestSensors::warmsUp()
{
    QCOMPARE(sim::warmUp(0s), 0.0);
    QVERIFY(std::abs(sim::warmUp(300s) - 9.48) < 0.01);
    QVERIFY(std::abs(sim::warmUp(1h) - 15) < 0.001);
}

void TestSensors::ratesSaturate()
{
    sim::SensorOptions options;
    options.rateBias = 100;
    QCOMPARE(ratesAtRest(options, 1).front(), sim::kRateRange);
    options.rateBias = -100;
    QCOMPARE(ratesAtRest(options, 1).front(), -sim::kRateRange);
}

// Over whole periods the mean is 0 and the deviation that of a sine.
void TestSensors::vibrationAccelerates()
{
    const sim::Sensors sensors(sim::Motion::Vibration, 1);
    double sum = 0;
    double squares = 0;
    constexpr int kCount = 10'000;
    for (int i = 0; i < kCount; ++i) {
        const double z = static_cast<double>(sensors.sample(i * 1ms, {}).accelerations[2]);
        sum += z;
        squares += z * z;
    }
    QVERIFY(std::abs(sum / kCount) < 0.01);
    QVERIFY(isAbout(std::sqrt(squares / kCount), 3 / std::sqrt(2), 0.01));
}

QTEST_APPLESS_MAIN(TestSensors)
#include "test_sensors.moc"
