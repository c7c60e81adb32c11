#include "dialogs/magneto_calibration_dialog.h"

#include <chrono>
#include <cstdint>
#include <utility>

#include <boost/system/system_error.hpp>

#include <QCoreApplication>
#include <QDebug>
#include <QEvent>
#include <QScopeGuard>
#include <QVector3D>

#include "dialogs/busy_cursor.h"
#include "dialogs/disabled_widgets.h"
#include "driver/imu.h"
#include "fit/fit_judgement.h"
#include "fit/quality_metrics.h"
#include "ui_magneto_calibration_dialog.h"

using namespace std::chrono_literals;

namespace {

constexpr auto kSamplePeriod = 200ms;
// With this number of samples or fewer, a fit is meaningless and no corrected points are shown.
constexpr std::size_t kTooFewSamples = 20;
constexpr unsigned int kBlockSize = 128;

// Returns the result of a command, or false, 0 or an empty value if the port fails.
template <typename Command>
auto valueOrDefault(Command command) -> decltype(command())
{
    try {
        return command();
    } catch (const boost::system::system_error &error) {
        qWarning("device command failed: %s", error.what());
        return {};
    }
}

// The second number of a request for the stored points. For a full block the device expects the end
// offset. For the remaining bytes it expects their number without the 32 spare bytes that end a
// block.
unsigned int blockSize(unsigned int offset, unsigned int total)
{
    return total - offset >= kBlockSize ? offset + kBlockSize : total - offset - 32;
}

std::vector<std::array<float, 3>> groupIntoPoints(const std::vector<float> &floats)
{
    std::vector<std::array<float, 3>> points;
    points.reserve(floats.size() / 3);
    for (std::size_t i = 0; i + 3 <= floats.size(); i += 3)
        points.push_back({floats[i], floats[i + 1], floats[i + 2]});
    return points;
}

QString formatG(float value)
{
    return QString::number(static_cast<double>(value), 'g', 6);
}

QString fixedPoint(float value)
{
    return QString::number(static_cast<double>(value), 'f', 4);
}

} // namespace

MagnetoCalibrationDialog::MagnetoCalibrationDialog(imu *device, QWidget *parent,
                                                   unsigned short prevMask)
    : QDialog(parent)
    , m_ui(std::make_unique<Ui_MagnetoCalibrationDialog>())
    , m_device(device)
    , m_sampleTimer(this)
    , m_prevMask(prevMask)
{
    using Self = MagnetoCalibrationDialog;
    m_ui->setupUi(this);
    connect(m_ui->push_close, &QPushButton::clicked, this, &Self::onCloseClicked);
    connect(m_ui->push_start_calib, &QPushButton::clicked, this, &Self::startCalibration);
    connect(m_ui->push_stop_calib, &QPushButton::clicked, this, &Self::stopCalibration);
    connect(m_ui->push_apply_calib, &QPushButton::clicked, this, &Self::applyCalibration);
    connect(m_ui->push_save_device, &QPushButton::clicked, this, &Self::saveDevice);
    connect(&m_sampleTimer, &QTimer::timeout, this, &Self::updateMagData);
    m_sampleTimer.start(kSamplePeriod);
    m_ui->push_save_device->setEnabled(false);
    qDebug() << "Mask:" << m_prevMask;
}

MagnetoCalibrationDialog::~MagnetoCalibrationDialog() = default;

void MagnetoCalibrationDialog::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::LanguageChange) {
        m_ui->retranslateUi(this);
        showQuality();
    }
    QDialog::changeEvent(event);
}

void MagnetoCalibrationDialog::log(const QString &line)
{
    m_ui->plainTextEdit->appendPlainText(line);
}

// --- Collecting --------------------------------------------------------------------------------

void MagnetoCalibrationDialog::startCalibration()
{
    m_samples.clear();
    m_collecting = true;
    log(tr("Calibration started..."));
    m_ui->openGLSphere->setSamples({}, {});
}

void MagnetoCalibrationDialog::updateMagData()
{
    if (!m_device || !m_collecting)
        return;
    const std::vector<float> reading = m_device->getMagneticFieldRaw();
    if (reading.empty())
        return;
    m_samples.push_back({reading[0], reading[1], reading[2]});
    showCorrectedSamples();
}

void MagnetoCalibrationDialog::stopCalibration()
{
    m_collecting = false;
    log(tr("Calibration stopped."));
    if (m_samples.empty()) {
        log(tr("No samples collected!"));
        return;
    }
    const BusyCursor busy;
    fitCorrection();
    m_scale = m_correction.scale();
    showParameters();

    float mean = 0;
    float deviation = 0;
    computeQualityMetrics(m_samples, m_correction.bias, m_correction.matrix, mean, deviation);
    log(tr("Final Quality: avg|p|=%1, std|p|=%2, N=%3, %4")
            .arg(formatG(mean), formatG(deviation), QString::number(m_samples.size()),
                 qualityLabel(deviation)));
    warnOfUndeterminedFit();
}

// --- The fit -----------------------------------------------------------------------------------

Eigen::Matrix3f
MagnetoCalibrationDialog::fitEllipsoidGN(const std::vector<std::array<float, 3>> &samples,
                                         Eigen::Vector3f &bias)
{
    const ellipsoid::Fit fit = ellipsoid::fit(samples);
    bias = fit.centre;
    return fit.shape;
}

void MagnetoCalibrationDialog::fitCorrection()
{
    Eigen::Vector3f centre;
    m_ellipsoid = fitEllipsoidGN(m_samples, centre);
    m_correction = ellipsoid::deriveCorrection(m_ellipsoid, centre);
}

void MagnetoCalibrationDialog::showCorrectedSamples()
{
    std::vector<QVector3D> corrected;
    if (m_samples.size() > kTooFewSamples) {
        fitCorrection();
        corrected.reserve(m_samples.size());
        for (const auto &sample : m_samples) {
            const Eigen::Vector3f point = m_correction.corrected(sample);
            corrected.emplace_back(point.x(), point.y(), point.z());
        }
    }
    m_ui->openGLSphere->setSamples({}, corrected);
}

void MagnetoCalibrationDialog::showParameters()
{
    m_ui->biasXLineEdit->setText(formatG(m_correction.bias.x()));
    m_ui->biasYLineEdit->setText(formatG(m_correction.bias.y()));
    m_ui->biasZLineEdit->setText(formatG(m_correction.bias.z()));
    m_ui->scaleXLineEdit->setText(formatG(m_scale.x()));
    m_ui->scaleYLineEdit->setText(formatG(m_scale.y()));
    m_ui->scaleZLineEdit->setText(formatG(m_scale.z()));
}

void MagnetoCalibrationDialog::computeQualityMetrics(
    const std::vector<std::array<float, 3>> &samples, const Eigen::Vector3f &bias,
    const Eigen::Matrix3f &correction, float &avgNorm, float &stdNorm)
{
    const auto metrics = ellipsoid::qualityMetrics(samples, {bias, correction});
    avgNorm = metrics.mean;
    stdNorm = metrics.deviation;
    if (samples.empty())
        return;
    m_ui->avgNormLineEdit->setText(fixedPoint(avgNorm));
    m_ui->stdDevLineEdit->setText(fixedPoint(stdNorm));
    m_ui->samplesLineEdit->setText(QString::number(samples.size()));
    m_deviationShown = stdNorm;
    showQuality();
}

void MagnetoCalibrationDialog::showQuality()
{
    if (m_deviationShown)
        m_ui->qualityLineEdit->setText(qualityLabel(*m_deviationShown));
}

QString MagnetoCalibrationDialog::qualityLabel(float stdNorm)
{
    switch (ellipsoid::verdictOn(stdNorm)) {
    case ellipsoid::Verdict::Good:
        return tr("Good");
    case ellipsoid::Verdict::Acceptable:
        return tr("Acceptable");
    case ellipsoid::Verdict::Bad:
        break;
    }
    return tr("Bad");
}

// The rating logged before this uses only the deviation, which is just as small if many ellipsoids
// fit.
void MagnetoCalibrationDialog::warnOfUndeterminedFit()
{
    switch (ellipsoid::judge(m_samples, m_ellipsoid, m_correction)) {
    case ellipsoid::Judgement::Determined:
        return;
    case ellipsoid::Judgement::TooFewSamples:
        log(tr("Do not apply: fewer than 9 samples do not determine an ellipsoid."));
        return;
    case ellipsoid::Judgement::NotFinite:
        log(tr("Do not apply: the fit is not finite. Turn the device through all directions."));
        return;
    case ellipsoid::Judgement::NotAnEllipsoid:
        log(tr("Do not apply: the surface through the samples is not an ellipsoid. "
               "Turn the device through all directions."));
        return;
    case ellipsoid::Judgement::TooFewDirections:
        log(tr("Do not apply: samples from so few directions do not determine an ellipsoid. "
               "Turn the device through all directions."));
        return;
    }
}

// --- The device --------------------------------------------------------------------------------

void MagnetoCalibrationDialog::on_pushButton_clicked()
{
    // A download processes events, so another click could call this again.
    if (!m_device || m_collecting || m_keepLoading)
        return;
    const BusyCursor busy;
    const auto ended = qScopeGuard([this] { m_keepLoading = false; });
    m_keepLoading = true;
    valueOrDefault([this] { return m_device->loadSettings(); });
    m_maskAfterLoad = m_device->getOutputs();
    // Stops streaming while the blocks are read.
    valueOrDefault([this] { return m_device->setOutputs(0); });
    loadStoredPoints();
    if (const auto mask = std::exchange(m_maskAfterLoad, std::nullopt))
        valueOrDefault([this, mask] { return m_device->setOutputs(*mask); });
}

void MagnetoCalibrationDialog::loadStoredPoints()
{
    const unsigned int total =
        valueOrDefault([this] { return m_device->getCalibrationDataSize(); });
    log(tr("Reading %1 bytes ...").arg(total));
    if (total == 0)
        return;
    const std::vector<float> floats = readStoredFloats(total);
    if (!m_keepLoading)
        return;
    log(tr("Data load successful from device: %1 points").arg(floats.size() / 3));
    m_samples = groupIntoPoints(floats);
    showCorrectedSamples();
    stopCalibration();
}

// Leaves out blocks that cannot be read: the points of the others still determine an ellipsoid.
std::vector<float> MagnetoCalibrationDialog::readStoredFloats(unsigned int total)
{
    // A second load or another command would run inside this one. The Close button stays enabled.
    const DisabledWidgets disabled({m_ui->push_start_calib, m_ui->push_stop_calib, m_ui->pushButton,
                                    m_ui->push_apply_calib, m_ui->push_save_device},
                                   m_ui->plainTextEdit);
    std::vector<float> floats;
    for (std::uint64_t at = 0; at < total && m_keepLoading; at += kBlockSize) {
        const auto offset = static_cast<unsigned int>(at);
        const std::vector<float> block = valueOrDefault([this, offset, total] {
            return m_device->getCalibrationData(offset, blockSize(offset, total));
        });
        floats.insert(floats.end(), block.begin(), block.end());
        log(tr("Reading block %1").arg(offset));
        if (block.empty())
            log(tr(" Read failed"));
        // Repaints the log and lets the user close the dialog: the device states the size, and
        // reading that many blocks can take hours.
        QCoreApplication::processEvents();
    }
    return floats;
}

void MagnetoCalibrationDialog::applyCalibration()
{
    Eigen::Vector3f bias = -m_correction.bias;
    Eigen::Matrix3f matrix = m_correction.matrix;
    // Refuses values that are not finite: the driver retries until the echo equals what it sent,
    // and NaN never equals anything.
    const bool applied =
        m_device && bias.allFinite() && matrix.allFinite() && valueOrDefault([&] {
            const BusyCursor busy;
            return m_device->setMagneticFieldCalibrationData(bias.data(), matrix.data());
        });
    log(applied ? appliedText(bias) : tr("Failed to apply calibration to device."));
    m_ui->push_save_device->setEnabled(applied);
}

// Lists the matrix row by row; it is sent column by column.
QString MagnetoCalibrationDialog::appliedText(const Eigen::Vector3f &bias) const
{
    QString text = tr("Applied calibration: Bias = [%1, %2, %3], "
                      "L = [%4, %5, %6, %7, %8, %9, %10, %11, %12]")
                       .arg(fixedPoint(bias.x()), fixedPoint(bias.y()), fixedPoint(bias.z()));
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column)
            text = text.arg(static_cast<double>(m_correction.matrix(row, column)), 0, 'E', 4);
    }
    return text;
}

void MagnetoCalibrationDialog::saveDevice()
{
    const bool saved = m_device && valueOrDefault([this] {
                           const BusyCursor busy;
                           return m_device->saveSettings();
                       });
    log(saved ? tr("Calibration saved to device flash.")
              : tr("Failed to save calibration to device."));
}

void MagnetoCalibrationDialog::onCloseClicked()
{
    qDebug() << "Close button clicked. Restoring outputs with prevMask =" << m_prevMask;
    if (m_device) {
        const BusyCursor busy;
        valueOrDefault([this] { return m_device->setOutputs(m_prevMask); });
    }
    m_maskAfterLoad.reset();
    close();
}

// Close, Escape and the title bar all call this.
void MagnetoCalibrationDialog::done(int result)
{
    m_keepLoading = false;
    QDialog::done(result);
}
