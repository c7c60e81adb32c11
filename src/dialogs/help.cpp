#include "dialogs/help.h"

#include <QEvent>

#include "dialogs/manufacturer.h"
#include "ui_help.h"

using namespace Qt::StringLiterals;

namespace {

// The logo is 172 x 100 and its label at most 80 x 40: margins at the sides keep its proportions.
constexpr QMargins kLogoMargins{5, 0, 6, 0};

} // namespace

HelpDialog::HelpDialog(QWidget *parent)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui_HelpDialog>())
{
    m_ui->setupUi(this);
    m_ui->labelLogo->setContentsMargins(kLogoMargins);
    applyTitleStyle();
    setupHelpContent();
    connect(m_ui->pushButton_close, &QPushButton::clicked, this, &QDialog::accept);
}

HelpDialog::~HelpDialog() = default;

void HelpDialog::applyTitleStyle()
{
    m_ui->labelTitle->setStyleSheet(u"font-weight: bold; font-size: 14pt;"_s);
}

void HelpDialog::setupHelpContent()
{
    m_ui->labelTitle->setText(tr("Kestrova - User Guide"));
    //: The user guide. Names in bold are those of the windows; %1 is the address of a website.
    const QString guide = tr(
        "<h3>Getting Started</h3>"
        "<p><b>1. Scanning for Devices</b><br>Plug the device in and choose "
        "<i>Connection → Scan for Devices</i>. The status line lists the ports found.</p>"
        "<p><b>2. Connecting to a Device</b><br>Choose <i>Connection → Connect</i> and pick "
        "the port of your device; ports show only after a scan, so if it is missing, check the "
        "cable and scan again. If the port cannot be opened, join the group <i>dialout</i> and "
        "log in again, or close the program that uses it. The baud rate is detected "
        "automatically, which takes a few seconds.</p>"
        "<p><b>3. Viewing Device Data</b><br>The data panel shows the latest values:</p>"
        "<ul>"
        "<li><b>Quaternion (unitless):</b> orientation in x, y, z, w order</li>"
        "<li><b>Euler Angles (°):</b> roll, pitch and yaw in degrees</li>"
        "<li><b>Covariance (rad²):</b> uncertainty of the orientation</li>"
        "<li><b>Magnetic Field (unitless):</b> calibrated magnetometer readings</li>"
        "<li><b>Linear Acceleration (m/s²):</b> acceleration without gravity</li>"
        "<li><b>Angular Rate (rad/s):</b> rotational velocity</li>"
        "<li><b>Pressure (hPa):</b> barometric pressure</li>"
        "</ul>"
        "<h3>Configuration</h3>"
        "<p><b>Device Settings</b><br>Choose <i>Settings → Open Settings</i>. "
        "<b>Save to Device</b> writes what you chose:</p>"
        "<ul>"
        "<li><b>Serial Port Settings:</b> the baud rate of the device</li>"
        "<li><b>Output Selection:</b> which data the device sends. Keep the quaternion "
        "checked: connecting finds a device by it.</li>"
        "<li><b>Data Rate:</b> how often it sends them, 50 Hz to 1000 Hz. Connecting never tries "
        "1000000 baud and cannot find a device that is set to it: choose 921600 and fewer "
        "outputs.</li>"
        "<li><b>Presets:</b> common selections in one step</li>"
        "</ul>"
        "<p><b>Magnetometer Calibration</b><br>Choose "
        "<i>Settings → Magnetometer Calibration</i>, away from iron and electric motors:</p>"
        "<ol>"
        "<li>Press <b>Start Calibration</b>.</li>"
        "<li>Turn the device slowly until it has pointed in every direction.</li>"
        "<li>Press <b>Stop Calibration</b> and check the quality.</li>"
        "<li>Press <b>Apply Calibration</b> to send the correction to the device.</li>"
        "<li>Press <b>Save to Device</b> to keep it when the power is off.</li>"
        "</ol>"
        "<h3>Visualization</h3>"
        "<ul>"
        "<li><b>3D Orientation Display:</b> the attitude of the device. Drag with the left "
        "mouse button to orbit and with the right one to pan; turn the wheel to zoom.</li>"
        "<li><b>RPY Graph:</b> roll, pitch and yaw over the latest samples.</li>"
        "</ul>"
        "<h3>Additional Features</h3>"
        "<p><b>Device Info</b><br><i>Connection → Device Info</i> shows the serial number and "
        "the firmware version. Have both at hand when you <a href=\"%1\">contact us</a>.</p>"
        "<p><b>Language Selection</b><br>Choose English or Turkish from the <i>Language</i> "
        "menu; it applies at once.</p>"
        "<p><b>Factory Reset</b><br>Press <b>Revert to Factory Settings</b> in "
        "<i>Settings → Open Settings</i>, then restart the device.</p>");
    m_ui->labelContent->setText(guide.arg(QString::fromUtf8(manufacturer::kWebsite)));
}

void HelpDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        // Also sets the logo label's empty text, which keeps the picture because the text was empty
        // before.
        m_ui->retranslateUi(this);
        applyTitleStyle();
        setupHelpContent();
    }
    QDialog::changeEvent(event);
}
