#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include <QElapsedTimer>
#include <QString>

class MainWindow;
class TrialSampleFlag;
class imu;

// One iteration of the window's worker thread: takes new samples from the driver and emits their
// texts as signals of the window. Once a second it also emits the sample rate.
//
// Construct it on the GUI thread before the worker thread starts; only the worker thread calls
// poll(). Window, driver and flag are borrowed.
class PanelWorker
{
    Q_DISABLE_COPY_MOVE(PanelWorker)

public:
    PanelWorker(MainWindow &window, imu &driver, TrialSampleFlag &sampleArrived);

    // Call it once, from the GUI thread. No rate is reported before.
    void startRateWindow();
    void poll();

private:
    using VectorGetter = std::vector<float> (imu::*)();
    using TextSignal = void (MainWindow::*)(QString);

    void forwardQuaternion();
    void forward(VectorGetter get, TextSignal write);
    void forwardPressure();
    void reportRate();

    MainWindow &m_window;
    imu &m_driver;
    TrialSampleFlag &m_sampleArrived;
    std::atomic<bool> m_rateTimerStarted{false};
    QElapsedTimer m_rateTimer;         // worker thread, once started
    std::uint64_t m_samplesBefore = 0; // decoded before the rate window began
};
