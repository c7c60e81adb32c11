#pragma once

#include <array>
#include <functional>
#include <memory>

#include <QDialog>

#include "dialogs/settings_choices.h"

class QCheckBox;
class Ui_SettingsDialog;
class imu;

// Reads the device's stored settings once, when it is built, and writes them on Save. Every device
// command blocks the window until the device has answered. GUI thread only.
class SettingsDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(SettingsDialog)

public:
    // The driver is borrowed; without one the dialog shows its form and writes nothing.
    SettingsDialog(imu *dev, QWidget *parent);
    ~SettingsDialog() override;

    unsigned short buildOutputsMask() const;
    void applyOutputsMask(unsigned short mask);
    bool parseBaud(unsigned int &baud) const;
    bool parseRate(unsigned short &rateHz) const;

protected:
    void changeEvent(QEvent *event) override;

private slots:
    void onSaveClicked();
    void onFactoryClicked();
    void onCancelClicked();
    void onPresetChanged(int idx);

private:
    using OutputBoxes = std::array<QCheckBox *, settings::OutputBoxCount>;
    using Command = std::function<bool()>;

    OutputBoxes outputBoxes() const;
    QStringList presetTexts() const;
    void populateCombosIfEmpty();
    void loadFromDeviceToUi();

    bool writeToDevice(unsigned short rateHz, unsigned int baud, unsigned short mask);
    bool changeBaud(unsigned int baud);
    unsigned int currentBaud();
    // Runs a device command. If it fails, shows that in a message box.
    bool runOrReport(const Command &command, const QString &failure);

    std::unique_ptr<Ui_SettingsDialog> m_ui;
    imu *m_imu;
    // Baud rate that the device last reported or accepted; 0 if it never answered. Kept here
    // because the driver returns a value only once, and opening the dialog has already taken it.
    unsigned int m_deviceBaud = 0;
};
