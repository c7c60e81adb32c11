#include "dialogs/device_info_dialog.h"

#include <chrono>

#include <boost/system/system_error.hpp>

#include <QEvent>
#include <QTimer>

#include "dialogs/device_info_text.h"
#include "dialogs/steady_text.h"
#include "driver/imu.h"
#include "ui_device_info_dialog.h"

using namespace std::chrono_literals;

DeviceInfoDialog::DeviceInfoDialog(imu *device, QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui_DeviceInfoDialog>())
    , m_imu(device)
    , m_refreshTimer(new QTimer(this))
{
    m_ui->setupUi(this);
    connect(m_ui->push_close, &QPushButton::clicked, this, &DeviceInfoDialog::onCloseClicked);
    connect(m_refreshTimer, &QTimer::timeout, this, &DeviceInfoDialog::updateFromDevice);
    m_refreshTimer->start(500ms);
    updateFromDevice();
}

DeviceInfoDialog::~DeviceInfoDialog() = default;

// line_com stays empty: the main window's status row names the port.
void DeviceInfoDialog::updateFromDevice()
{
    if (!m_imu)
        return;
    try {
        m_imu->loadSettings();
    } catch (const boost::system::system_error &error) {
        // Handled like any failed read: the dialog shows the present values of the driver.
        qWarning("device info not read: %s", error.what());
    }
    // Does not set unchanged text again, because users select and copy text in these fields.
    steady_text::show(*m_ui->line_baud, QString::number(m_imu->getBaudRate()));
    steady_text::show(*m_ui->line_sn, device_info::hexText(m_imu->getSerialNumber()));
    steady_text::show(*m_ui->line_fw, device_info::firmwareText(m_imu->getFirmwareVersion()));
    m_dataRateHz = m_imu->getDataRate();
    m_outputs = m_imu->getOutputs();
    showReceived();
}

void DeviceInfoDialog::showReceived()
{
    steady_text::show(*m_ui->plainText_received,
                      tr("Data rate: %1 Hz").arg(m_dataRateHz) + u'\n' +
                          tr("Outputs: 0x%1").arg(device_info::hexText(m_outputs)));
}

void DeviceInfoDialog::onCloseClicked()
{
    close();
}

void DeviceInfoDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        m_ui->retranslateUi(this);
        if (m_imu)
            showReceived();
    }
    QDialog::changeEvent(event);
}
