#include "app/main_window.h"

#include <optional>

#include <boost/system/system_error.hpp>

#include <QActionGroup>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDebug>
#include <QEvent>
#include <QLocale>
#include <QMessageBox>
#include <QShortcut>

#include "app/exception_report.h"
#include "app/frame_pacer.h"
#include "app/statistics.h"
#include "app/thread_priority.h"
#include "dialogs/about.h"
#include "dialogs/busy_cursor.h"
#include "dialogs/device_info_dialog.h"
#include "dialogs/help.h"
#include "dialogs/magneto_calibration_dialog.h"
#include "dialogs/settings_dialog.h"
#include "driver/imu.h"
#include "ui_main_window.h"
#include "views/rpy_plotter.h"

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kLogoSize(60, 35);
// The panel fits four numbers of six digits; the pose view gets the remaining width.
const QList<int> kPaneWidths{520, 632};

template <class Dialog, class... Arguments>
void runDialog(Arguments... arguments)
{
    std::optional<Dialog> dialog;
    {
        const BusyCursor busy; // the constructor queries the device
        dialog.emplace(arguments...);
    }
    dialog->exec();
}

} // namespace

// --- Start and end -----------------------------------------------------------------------------

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent)
    , m_ui(std::make_unique<Ui::MainWindow>())
{
    m_ui->setupUi(this);
    m_ui->label_header_logo->setFixedSize(kLogoSize);
    m_ui->splitter_main->setSizes(kPaneWidths);
    m_ui->splitter_main->setStretchFactor(1, 1);
    startDriver();

    m_langPath = QCoreApplication::applicationDirPath() + "/languages"_L1;
    createLanguageMenu();
    loadLanguage(u"en"_s);

    connectWorkerSignals();
    m_dataWorker = std::make_unique<PanelWorker>(*this, *m_imu, m_dataReceived);
    m_dataThread = std::thread(&MainWindow::updateImuData, this);
    createViews();
    connectActions();
}

// Destroying m_dataThread then ends the process: the worker never ends and nothing joins it.
MainWindow::~MainWindow()
{
    m_imu->stop();
    try {
        m_imu->disconnect();
    } catch (const std::exception &error) {
        qWarning().noquote() << exceptionReport(error); // the port closes with the process anyway
    }
    m_ui.reset();
}

// Starts the threads before any port is open, so that opening a port does not have to start one.
void MainWindow::startDriver()
{
    m_imu.reset(new imu(this));
    m_imu->start();
}

void MainWindow::connectWorkerSignals()
{
    connect(this, &MainWindow::dataRateWrite, this, &MainWindow::rateWrite);
    connect(this, &MainWindow::DataQuaternionWrite, this, &MainWindow::QuaternionWrite);
    connect(this, &MainWindow::DataEulerWrite, this, &MainWindow::EulerWrite);
    connect(this, &MainWindow::DataAccelerationWrite, this, &MainWindow::AccelerationWrite);
    connect(this, &MainWindow::DataAngularRateWrite, this, &MainWindow::AngularRateWrite);
    connect(this, &MainWindow::DataMagneticFieldWrite, this, &MainWindow::MagneticFieldWrite);
    connect(this, &MainWindow::DataCovarianceWrite, this, &MainWindow::CovarianceWrite);
    connect(this, &MainWindow::DataPressureWrite, this, &MainWindow::PressureWrite);
}

void MainWindow::createViews()
{
    new FramePacer(this);
    m_rpyPlotter = new RpyPlotter(this);
    m_rpyPlotter->attach(m_ui->graphicsView_rpy);
    connect(m_imu.get(), &imu::quaternionUpdated, m_rpyPlotter, &RpyPlotter::addQuaternion);
    connect(m_imu.get(), &imu::quaternionUpdated, m_ui->PoseWidget, &PoseGLWidget::setQuaternion);
    if (Statistics::isEnabled())
        new Statistics(*m_imu, this);
}

// The device actions start enabled although no device is connected, because the warning explains
// more than a disabled entry does. A failed search or a disconnect disables them.
void MainWindow::connectActions()
{
    connect(m_ui->actionShowDeviceInfo_2, &QAction::triggered, this, &MainWindow::openDeviceInfo);
    connect(m_ui->actionOpenSettings, &QAction::triggered, this, &MainWindow::openSettings);
    connect(m_ui->actionCalibration, &QAction::triggered, this,
            &MainWindow::openMagnetoCalibration);
    m_dataWorker->startRateWindow();
    updateUiConnectionState(true);
    connect(m_ui->actionAboutDialog, &QAction::triggered, this,
            [this] { AboutDialog(this).exec(); });
    connect(m_ui->actionHelpDialog, &QAction::triggered, this, [this] { HelpDialog(this).exec(); });
    // Ctrl+Q has no menu entry.
    connect(new QShortcut(Qt::CTRL | Qt::Key_Q, this), &QShortcut::activated, this,
            &MainWindow::close);
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    endSearch();
    QMainWindow::closeEvent(event);
}

void MainWindow::updateUiConnectionState(bool enabled)
{
    m_ui->actionShowDeviceInfo_2->setEnabled(enabled);
    m_ui->actionOpenSettings->setEnabled(enabled);
    m_ui->actionCalibration->setEnabled(enabled);
}

// --- Dialogs -----------------------------------------------------------------------------------

void MainWindow::openDeviceInfo()
{
    if (!m_connected)
        return warnNotConnected();
    reportingPortErrors([this] { runDialog<DeviceInfoDialog>(m_imu.get(), this); });
}

void MainWindow::openSettings()
{
    if (!m_connected)
        return warnNotConnected();
    reportingPortErrors([this] { runDialog<SettingsDialog>(m_imu.get(), this); });
}

void MainWindow::openMagnetoCalibration()
{
    if (!m_connected)
        return warnNotConnected();
    reportingPortErrors([this] {
        raiseOutputs();
        runDialog<MagnetoCalibrationDialog>(m_imu.get(), this, m_savedOutputs);
    });
}

// Only the calibration dialog uses the raw magnetic field, so the device streams it only while that
// dialog is open. Its Close button restores the saved mask.
void MainWindow::raiseOutputs()
{
    const BusyCursor busy;
    m_imu->loadSettings();
    m_savedOutputs = m_imu->getOutputs();
    m_imu->setOutputs(
        static_cast<unsigned short>(m_savedOutputs | protocol::OUT_MAGNETIC_FIELD_RAW));
}

void MainWindow::reportingPortErrors(const std::function<void()> &command)
{
    try {
        command();
    } catch (const boost::system::system_error &error) {
        qWarning().noquote() << exceptionReport(error);
        const PortError kept{error.code(), QString::fromLocal8Bit(error.what())};
        QMessageBox::critical(this, tr("Serial Error"), portErrorText(kept));
    }
}

void MainWindow::warnNotConnected()
{
    QMessageBox::warning(this, tr("Not connected"), tr("Please connect to a device first."));
}

// --- Data panel --------------------------------------------------------------------------------

// Polling without pause takes each sample within microseconds. The thread has a low priority,
// because the reader thread and the window are more urgent.
void MainWindow::updateImuData()
{
    becomeBackgroundThread("vornix-data");
    for (;;)
        m_dataWorker->poll();
}

// Called once a second. Also sets the status row from the connection flags, except during a search,
// whose own messages stay visible.
void MainWindow::rateWrite(QString text)
{
    m_ui->label_datarate->setText(text);
    if (m_connecting)
        return;
    m_ui->label_status->setText(m_connected ? connectedText(m_portPath, m_baudRate)
                                            : tr("Not connected"));
}

void MainWindow::QuaternionWrite(QString text)
{
    m_ui->label_quat->showValue(text);
}

void MainWindow::EulerWrite(QString text)
{
    m_ui->label_euler->showValue(text);
}

void MainWindow::AccelerationWrite(QString text)
{
    m_ui->label_linAcceleration->showValue(text);
}

void MainWindow::AngularRateWrite(QString text)
{
    m_ui->label_angularRate->showValue(text);
}

void MainWindow::MagneticFieldWrite(QString text)
{
    m_ui->label_magfield->showValue(text);
}

void MainWindow::CovarianceWrite(QString text)
{
    m_ui->label_covariance->showValue(text);
}

void MainWindow::PressureWrite(QString text)
{
    m_ui->label_pressure->showValue(text);
}

// --- Language ----------------------------------------------------------------------------------

void MainWindow::createLanguageMenu()
{
    struct Language
    {
        QString name;
        QString code;
    };
    const Language languages[] = {{tr("English"), u"en"_s}, {tr("Türkçe"), u"tr"_s}};

    auto *group = new QActionGroup(this);
    group->setExclusive(true);
    for (const auto &[name, code] : languages) {
        QAction *action = m_ui->menuLanguage->addAction(name);
        action->setCheckable(true);
        action->setData(code);
        group->addAction(action);
    }
    connect(group, &QActionGroup::triggered, this, &MainWindow::slotLanguageChanged);
    checkLanguageAction(u"en"_s);
}

void MainWindow::slotLanguageChanged(QAction *action)
{
    if (action)
        loadLanguage(action->data().toString());
}

// A missing or unreadable file is not an error: the texts are then the English ones in the source.
// English therefore needs no file.
void MainWindow::loadLanguage(const QString &code)
{
    if (code == m_currentLanguage)
        return;
    m_currentLanguage = code;
    QLocale::setDefault(QLocale(code));
    QCoreApplication::removeTranslator(&m_translator);
    if (m_translator.load(m_langPath + "/translate_"_L1 + code + ".qm"_L1)) {
        m_translator.loadQtTexts(code);
        QCoreApplication::installTranslator(&m_translator);
    }
    checkLanguageAction(code);
}

void MainWindow::checkLanguageAction(const QString &code)
{
    const QList<QAction *> actions = m_ui->menuLanguage->actions();
    for (QAction *action : actions) {
        if (action->isCheckable())
            action->setChecked(action->data().toString() == code);
    }
}

void MainWindow::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        m_ui->retranslateUi(this);
        showPortError();
    }
    QMainWindow::changeEvent(event);
}
