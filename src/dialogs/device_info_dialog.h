#pragma once

#include <memory>

#include <QDialog>

class QTimer;
class Ui_DeviceInfoDialog;
class imu;

// Shows the settings and versions that the device reports, and requests them twice a second. GUI
// thread only; each refresh blocks it until the device answers or the driver gives up.
class DeviceInfoDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(DeviceInfoDialog)

public:
    // The driver is borrowed; without one all fields stay empty.
    DeviceInfoDialog(imu *device, QWidget *parent);
    ~DeviceInfoDialog() override;

protected:
    void changeEvent(QEvent *event) override;

private slots:
    void updateFromDevice();
    void onCloseClicked();

private:
    void showReceived();

    std::unique_ptr<Ui_DeviceInfoDialog> m_ui;
    imu *m_imu;
    QTimer *m_refreshTimer;

    // Values of the last refresh, kept because the driver returns each value only once and a change
    // of language shows them again.
    int m_dataRateHz = 0;
    unsigned short m_outputs = 0;
};
