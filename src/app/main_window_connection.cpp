// Scan, connecting and disconnecting.

#include "app/main_window.h"

#include <optional>
#include <utility>

#include <boost/system/system_error.hpp>

#include <QCoreApplication>
#include <QInputDialog>
#include <QScopedValueRollback>

#include "app/baud_search.h"
#include "app/port_error_text.h"
#include "app/usb_ports.h"
#include "dialogs/busy_cursor.h"
#include "driver/imu.h"
#include "ui_main_window.h"

using namespace Qt::StringLiterals;

namespace {

// Set on every connection, because the device may have another value stored.
constexpr float kZeroThreshold = 0.02F;

} // namespace

void MainWindow::on_actionScan_triggered()
{
    scanSerialPorts();
}

QStringList MainWindow::scanSerialPorts()
{
    m_availablePorts = usbSerialNames(systemPortNames());
    m_ui->label_status->setText(
        m_availablePorts.isEmpty()
            ? tr("No USB serial ports found!")
            : tr("Scan complete: %1...").arg(m_availablePorts.join(", "_L1)));
    return m_availablePorts;
}

void MainWindow::on_actionConnect_2_triggered()
{
    if (m_availablePorts.isEmpty()) {
        m_ui->label_status->setText(tr("Please run Scan first, no ports available."));
        return;
    }
    bool accepted = false;
    const QString name =
        QInputDialog::getItem(this, tr("Select Serial Port"), tr("Available Ports:"),
                              m_availablePorts, 0, false, &accepted);
    if (!accepted || name.isEmpty()) {
        m_ui->label_status->setText(tr("Connection cancelled"));
        return;
    }
    searchBaudRate("/dev/"_L1 + name);
}

// Searches do not nest. A search processes events; if the user chooses another port meanwhile, the
// running search ends first, and then the port chosen last is searched.
void MainWindow::searchBaudRate(const QString &path)
{
    m_chosenPort = path;
    if (m_search) {
        m_search->cancel();
        return;
    }
    try {
        while (!m_chosenPort.isEmpty())
            searchOn(std::exchange(m_chosenPort, {}));
    } catch (const boost::system::system_error &error) {
        setPortError(PortError{error.code(), QString::fromLocal8Bit(error.what())});
        throw;
    }
}

// If the port cannot be opened, the exception propagates and m_connecting stays true. The status
// then keeps the name of the failed port instead of changing to "Not connected" a second later.
void MainWindow::searchOn(const QString &path)
{
    setPortError(std::nullopt);
    m_connecting = true;
    m_connected = false;
    m_imu->disconnect(); // the driver opens no port while another is open
    BaudSearch search(*m_imu, m_dataReceived, [] { QCoreApplication::processEvents(); }, {});
    const QScopedValueRollback running(m_search, &search);
    const std::optional<int> baud = search.run(path.toStdString(), [&](int candidate) {
        m_ui->label_status->setText(tr("Trying %1 @ %2 baud...").arg(path).arg(candidate));
    });
    if (search.isCancelled())
        m_connecting = false;
    else if (baud)
        deviceFound(path, *baud);
    else
        noDeviceFound();
}

// The search then returns without changing the status; the caller sets it.
void MainWindow::endSearch()
{
    m_chosenPort.clear();
    if (m_search)
        m_search->cancel();
}

void MainWindow::deviceFound(const QString &path, int baud)
{
    m_ui->label_status->setText(connectedText(path, baud));
    m_portPath = path;
    m_baudRate = baud;
    m_connected = true;
    m_connecting = false;
    updateUiConnectionState(true);
    const BusyCursor busy;
    m_imu->setZeroThreshold(kZeroThreshold);
}

void MainWindow::noDeviceFound()
{
    m_connected = false;
    m_connecting = false;
    updateUiConnectionState(false);
    m_ui->label_status->setText(tr("Connection failed (no valid baud found)"));
}

void MainWindow::on_actionDisconnect_4_triggered()
{
    endSearch();
    reportingPortErrors([this] { m_imu->disconnect(); });
    m_connected = false;
    m_connecting = false;
    setPortError(std::nullopt);
    updateUiConnectionState(false);
    m_ui->label_status->setText(tr("Not connected"));
}

void MainWindow::setPortError(const std::optional<PortError> &error)
{
    m_portError = error;
    showPortError();
}

// Uses the tooltip and the accessible description, because the status text is that of the search.
void MainWindow::showPortError()
{
    const QString report = m_portError ? portErrorText(*m_portError) : QString();
    m_ui->label_status->setToolTip(report);
    m_ui->label_status->setAccessibleDescription(report);
}

QString MainWindow::connectedText(const QString &path, int baud) const
{
    return tr("Connected to %1 @ %2 baud").arg(path).arg(baud);
}
