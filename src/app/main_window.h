#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include <boost/shared_ptr.hpp>

#include <QMainWindow>
#include <QStringList>

#include "app/interface_translator.h"
#include "app/panel_worker.h"
#include "app/port_error_text.h"
#include "app/trial_sample_flag.h"

class BaudSearch;
class imu;
class RpyPlotter;
namespace Ui {
class MainWindow;
}

// The main window. It owns the driver, finds and connects a device, and shows its samples as
// numbers, plot and pose.
//
// Everything runs on the GUI thread except updateImuData(), the loop of the worker thread. That
// thread never ends, so destroying the window ends the process through std::terminate.
class MainWindow : public QMainWindow
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(MainWindow)

public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

signals:
    // Emitted by the worker thread, with the text to show.
    void dataRateWrite(QString text);
    void DataQuaternionWrite(QString text);
    void DataEulerWrite(QString text);
    void DataAccelerationWrite(QString text);
    void DataAngularRateWrite(QString text);
    void DataMagneticFieldWrite(QString text);
    void DataCovarianceWrite(QString text);
    void DataPressureWrite(QString text);

public slots:
    void on_actionScan_triggered();
    // Closes the open port and searches for the baud rate of the device on the port that the user
    // chooses. A search takes up to 11 s and processes pending events. If a search is running
    // already, this returns at once, and that search continues with the port chosen last. Errors of
    // the port are shown with the status and thrown as boost::system::system_error.
    void on_actionConnect_2_triggered();
    // Also ends a running search.
    void on_actionDisconnect_4_triggered();

    // Modal dialogs. If no device is connected, a warning is shown instead. Errors of the port are
    // reported in a message box.
    void openDeviceInfo();
    void openSettings();
    void openMagnetoCalibration();

    // The worker's loop: polls the driver without pause and never returns.
    void updateImuData();

    void rateWrite(QString text);
    void QuaternionWrite(QString text);
    void EulerWrite(QString text);
    void AccelerationWrite(QString text);
    void AngularRateWrite(QString text);
    void MagneticFieldWrite(QString text);
    void CovarianceWrite(QString text);
    void PressureWrite(QString text);

    void slotLanguageChanged(QAction *action);

protected:
    void changeEvent(QEvent *event) override;
    // Ends a running search, so that the process can end.
    void closeEvent(QCloseEvent *event) override;

private:
    void startDriver();
    void connectWorkerSignals();
    void createViews();
    void connectActions();

    void createLanguageMenu();
    void loadLanguage(const QString &code);
    void checkLanguageAction(const QString &code);

    QStringList scanSerialPorts();
    void searchBaudRate(const QString &path);
    void searchOn(const QString &path);
    void endSearch();
    void deviceFound(const QString &path, int baud);
    void noDeviceFound();
    void updateUiConnectionState(bool enabled);
    QString connectedText(const QString &path, int baud) const;
    void warnNotConnected();

    void raiseOutputs();
    // Runs a command. Reports an error of the port in a message box and does not throw it further.
    void reportingPortErrors(const std::function<void()> &command);
    void setPortError(const std::optional<PortError> &error);
    void showPortError();

    // Constant after construction.
    std::unique_ptr<Ui::MainWindow> m_ui;
    boost::shared_ptr<imu> m_imu;
    RpyPlotter *m_rpyPlotter = nullptr;
    QString m_langPath;

    // Shared with the worker thread. Declared before it, so that they are destroyed after it.
    TrialSampleFlag m_dataReceived;
    std::unique_ptr<PanelWorker> m_dataWorker;
    std::thread m_dataThread;

    // GUI thread only.
    std::uint16_t m_savedOutputs = 0;
    QStringList m_availablePorts;
    bool m_connected = false;
    bool m_connecting = false;            // stays true if the port cannot be opened
    BaudSearch *m_search = nullptr;       // null if none runs
    QString m_chosenPort;                 // to search next; empty if none
    std::optional<PortError> m_portError; // of the last search
    QString m_portPath;
    int m_baudRate = 0;
    InterfaceTranslator m_translator;
    QString m_currentLanguage;
};
