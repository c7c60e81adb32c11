#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include <QElapsedTimer>
#include <QString>

class MainWindow;
class TrialFlag;
class imu;

// What the window's worker thread does in one turn of its loop: takes the driver's new samples,
// emits their texts as signals of the window, and once a second the rate.
//
// Constructed on the GUI thread before the worker starts; poll() is the worker's alone. Window,
// driver and flag are borrowed.
class PanelWorker
{
    Q_DISABLE_COPY_MOVE(PanelWorker)

public:
    PanelWorker(MainWindow &window, imu &driver, TrialFlag &sampleArrived);

    // Once, from the GUI thread; no rate is reported before.
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
    TrialFlag &m_sampleArrived;
    std::atomic<bool> m_rateTimerStarted{false};
    QElapsedTimer m_rateTimer;         // worker thread, once started
    std::uint64_t m_samplesBefore = 0; // decoded before the rate window began
};
