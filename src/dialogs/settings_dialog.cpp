#include "dialogs/settings_dialog.h"

#include <exception>

#include <boost/system/system_error.hpp>

#include <QEvent>
#include <QMessageBox>

#include "dialogs/busy_cursor.h"
#include "driver/imu.h"
#include "ui_settings_dialog.h"

namespace {

// A text that is no item changes nothing: the combo boxes are not editable.
void selectText(QComboBox *combo, const QString &text)
{
    const int index = combo->findText(text, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (index >= 0)
        combo->setCurrentIndex(index);
    else
        combo->setCurrentText(text);
}

QString errorText(const std::exception &error)
{
    return QString::fromLocal8Bit(error.what());
}

} // namespace

SettingsDialog::SettingsDialog(imu *dev, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui_SettingsDialog>())
    , m_imu(dev)
{
    m_ui->setupUi(this);
    connect(m_ui->push_save, &QPushButton::clicked, this, &SettingsDialog::onSaveClicked);
    connect(m_ui->push_factory, &QPushButton::clicked, this, &SettingsDialog::onFactoryClicked);
    connect(m_ui->push_cancel, &QPushButton::clicked, this, &SettingsDialog::onCancelClicked);
    connect(m_ui->comboBox_preset, &QComboBox::currentIndexChanged, this,
            &SettingsDialog::onPresetChanged);
    populateCombosIfEmpty();
    loadFromDeviceToUi();
}

SettingsDialog::~SettingsDialog() = default;

// --- The form ----------------------------------------------------------------------------------

void SettingsDialog::populateCombosIfEmpty()
{
    if (m_ui->comboBox_baud->count() == 0)
        m_ui->comboBox_baud->addItems(settings::spareBaudTexts());
    if (m_ui->comboBox_quaternion_rate->count() == 0)
        m_ui->comboBox_quaternion_rate->addItems(settings::spareRateTexts());
}

SettingsDialog::OutputBoxes SettingsDialog::outputBoxes() const
{
    return {m_ui->check_quaternion, m_ui->check_euler, m_ui->check_pressure,   m_ui->check_lin_acc,
            m_ui->check_ang_rates,  m_ui->check_mag,   m_ui->check_covariance, m_ui->check_sync};
}

unsigned short SettingsDialog::buildOutputsMask() const
{
    settings::CheckedBoxes checked{};
    const OutputBoxes boxes = outputBoxes();
    for (std::size_t box = 0; box < boxes.size(); ++box)
        checked[box] = boxes[box]->isChecked();
    return settings::outputsMask(checked);
}

void SettingsDialog::applyOutputsMask(unsigned short mask)
{
    const settings::CheckedBoxes checked = settings::checkedBoxes(mask);
    const OutputBoxes boxes = outputBoxes();
    for (std::size_t box = 0; box < boxes.size(); ++box)
        boxes[box]->setChecked(checked[box]);
}

bool SettingsDialog::parseBaud(unsigned int &baud) const
{
    return settings::parseBaud(m_ui->comboBox_baud->currentText(), baud);
}

bool SettingsDialog::parseRate(unsigned short &rateHz) const
{
    return settings::parseRate(m_ui->comboBox_quaternion_rate->currentText(), rateHz);
}

QStringList SettingsDialog::presetTexts() const
{
    return {tr("Custom"),
            tr("Quaternion only"),
            tr("Euler angles only"),
            tr("Quaternion + inertial data"),
            tr("Quaternion + inertial data + barometer"),
            tr("Full output")};
}

void SettingsDialog::onPresetChanged(int idx)
{
    const auto preset = presetTexts().indexOf(m_ui->comboBox_preset->itemText(idx));
    applyOutputsMask(preset < 0 ? 0 : settings::presetMask(static_cast<settings::Preset>(preset)));
}

void SettingsDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange)
        m_ui->retranslateUi(this);
    QDialog::changeEvent(event);
}

// --- The device --------------------------------------------------------------------------------

void SettingsDialog::loadFromDeviceToUi()
{
    if (!m_imu)
        return;
    try {
        const BusyCursor busy;
        m_imu->loadSettings();
    } catch (const std::exception &error) {
        // Handled like a device that does not answer: the form keeps its own values, and Save
        // reports the error of the port.
        qWarning("settings not read: %s", error.what());
    }
    m_deviceBaud = static_cast<unsigned int>(m_imu->getBaudRate());
    if (m_deviceBaud != 0)
        selectText(m_ui->comboBox_baud, QString::number(m_deviceBaud));
    if (const int rateHz = m_imu->getDataRate(); rateHz != 0)
        selectText(m_ui->comboBox_quaternion_rate, settings::rateText(rateHz));
    if (const unsigned short mask = m_imu->getOutputs(); mask != 0)
        applyOutputsMask(mask);
    selectText(m_ui->comboBox_preset, tr("Custom"));
}

void SettingsDialog::onSaveClicked()
{
    if (!m_imu) {
        reject();
        return;
    }
    unsigned short rateHz = 0;
    if (!parseRate(rateHz)) {
        QMessageBox::warning(this, tr("Invalid Data Rate"), tr("Please select a valid data rate."));
        return;
    }
    unsigned int baud = 0;
    if (!parseBaud(baud)) {
        QMessageBox::warning(this, tr("Invalid Baud Rate"), tr("Please select a valid baud rate."));
        return;
    }
    try {
        if (writeToDevice(rateHz, baud, buildOutputsMask()))
            accept();
    } catch (const boost::system::system_error &error) {
        QMessageBox::critical(this, tr("Serial Error"),
                              tr("Serial set_option failed:\n%1").arg(errorText(error)));
    } catch (const std::exception &error) {
        QMessageBox::critical(this, tr("Error"), errorText(error));
    }
}

// Runs the steps in this order without a rollback: after a failed step the device keeps what was
// written before.
bool SettingsDialog::writeToDevice(unsigned short rateHz, unsigned int baud, unsigned short mask)
{
    return runOrReport([&] { return m_imu->setDataRate(rateHz); },
                       tr("Failed to set Data Rate.")) &&
           changeBaud(baud) &&
           runOrReport([&] { return m_imu->setOutputs(mask); }, tr("Failed to set Outputs.")) &&
           runOrReport([&] { return m_imu->saveSettings(); },
                       tr("Failed to save settings to device."));
}

bool SettingsDialog::changeBaud(unsigned int baud)
{
    const unsigned int current = currentBaud();
    if (current == 0 || current == baud)
        return true;
    if (!runOrReport([&] { return m_imu->setBaudRate(baud); }, tr("Failed to change Baud Rate.")))
        return false;
    m_deviceBaud = baud;
    return true;
}

unsigned int SettingsDialog::currentBaud()
{
    if (const int reported = m_imu->getBaudRate(); reported != 0)
        m_deviceBaud = static_cast<unsigned int>(reported);
    return m_deviceBaud;
}

bool SettingsDialog::runOrReport(const Command &command, const QString &failure)
{
    const bool done = [&] {
        const BusyCursor busy;
        return command();
    }();
    if (!done)
        QMessageBox::warning(this, tr("Device Error"), failure);
    return done;
}

void SettingsDialog::onFactoryClicked()
{
    if (!m_imu) {
        reject();
        return;
    }
    try {
        if (!runOrReport([this] { return m_imu->revertToFactorySettings(); },
                         tr("Factory reset failed.")))
            return;
        QMessageBox::information(
            this, tr("Device Factory Settings"),
            tr("Reverting to factory settings is successful.\n"
               "Please restart the device in order for the settings to take effect."));
        accept();
    } catch (const std::exception &error) {
        QMessageBox::critical(this, tr("Error"), errorText(error));
    }
}

void SettingsDialog::onCancelClicked()
{
    reject();
}
