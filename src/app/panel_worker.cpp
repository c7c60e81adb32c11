#include "app/panel_worker.h"

#include <limits>
#include <utility>

#include "app/main_window.h"
#include "app/sample_text.h"
#include "app/trial_sample_flag.h"
#include "driver/imu.h"

namespace {

constexpr qint64 kRateWindowMs = 999;

} // namespace

PanelWorker::PanelWorker(MainWindow &window, imu &driver, TrialSampleFlag &sampleArrived)
    : m_window(window)
    , m_driver(driver)
    , m_sampleArrived(sampleArrived)
{
}

void PanelWorker::startRateWindow()
{
    m_rateTimer.start();
    m_rateTimerStarted = true;
}

void PanelWorker::poll()
{
    forwardQuaternion();
    forward(&imu::getEuler, &MainWindow::DataEulerWrite);
    forward(&imu::getAccelerations, &MainWindow::DataAccelerationWrite);
    forward(&imu::getRates, &MainWindow::DataAngularRateWrite);
    forward(&imu::getMagneticField, &MainWindow::DataMagneticFieldWrite);
    forward(&imu::getCovariances, &MainWindow::DataCovarianceWrite);
    forwardPressure();
    reportRate();
}

// Only a quaternion counts as proof that a device streams.
void PanelWorker::forwardQuaternion()
{
    const TrialSampleFlag::Trial trial = m_sampleArrived.current();
    const std::vector<float> xyzw = m_driver.getQuaternion();
    if (xyzw.empty())
        return;
    emit m_window.DataQuaternionWrite(sampleText(xyzw));
    m_sampleArrived.set(trial);
}

void PanelWorker::forward(VectorGetter get, TextSignal write)
{
    const std::vector<float> values = (m_driver.*get)();
    if (!values.empty())
        emit(m_window.*write)(sampleText(values));
}

// The block that the protocol calls altitude carries the pressure.
void PanelWorker::forwardPressure()
{
    const float pressure = m_driver.getAltitude();
    if (!(pressure > std::numeric_limits<float>::max()))
        emit m_window.DataPressureWrite(sampleText(pressure));
}

// Uses the count of the driver, because on a busy machine this thread misses some quaternions. That
// count continues over all connections.
void PanelWorker::reportRate()
{
    if (!m_rateTimerStarted || m_rateTimer.elapsed() <= kRateWindowMs)
        return;
    const std::uint64_t samples = m_driver.statistics().samples;
    m_rateTimer.restart();
    const std::uint64_t before = std::exchange(m_samplesBefore, samples);
    emit m_window.dataRateWrite(MainWindow::tr("Receiving %1 Hz").arg(samples - before));
}
