#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include <Eigen/Core>

#include <QDialog>
#include <QTimer>

#include "fit/ellipsoid_fit.h"

class QVector3D;
class Ui_MagnetoCalibrationDialog;
class imu;

// Collects raw magnetometer readings while the user turns the device, or loads the points stored in
// it, fits an ellipsoid, shows how good the fit is, and writes the correction to the device.
//
// The caller switches the device's raw output on beforehand and passes the previous outputs mask.
// Only the Close button restores that mask; Escape and the title bar do not. Each of the three also
// ends a download between two blocks.
//
// GUI thread only. Device commands block the window until the device answers. A command that fails,
// also by an error of the port, is reported in the dialog's log only, never in a message box.
class MagnetoCalibrationDialog : public QDialog
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(MagnetoCalibrationDialog)

public:
    // The driver is borrowed; without one nothing is read and every write fails.
    MagnetoCalibrationDialog(imu *device, QWidget *parent, unsigned short prevMask);
    ~MagnetoCalibrationDialog() override;

    // The matrix A and the centre b of (p - b)^T A (p - b) = 1.
    static Eigen::Matrix3f fitEllipsoidGN(const std::vector<std::array<float, 3>> &samples,
                                          Eigen::Vector3f &bias);
    // Mean and standard deviation of |correction (p - bias)|, also shown in the results panel.
    // NaN without samples, and the panel stays as it is.
    void computeQualityMetrics(const std::vector<std::array<float, 3>> &samples,
                               const Eigen::Vector3f &bias, const Eigen::Matrix3f &correction,
                               float &avgNorm, float &stdNorm);
    // One-word rating of a standard deviation.
    static QString qualityLabel(float stdNorm);

signals:
    void newRawSample(float x, float y, float z);

public slots:
    void onCloseClicked();
    void startCalibration();
    void stopCalibration();
    void updateMagData();
    void applyCalibration();
    void saveDevice();
    void on_pushButton_clicked(); // "Load Calibration"

protected:
    void changeEvent(QEvent *event) override;
    void done(int result) override;

private:
    void fitCorrection();
    void showCorrectedSamples();
    void showParameters();
    void showQuality();
    void warnOfUndeterminedFit();
    void loadStoredPoints();
    std::vector<float> readStoredFloats(unsigned int total);
    QString appliedText(const Eigen::Vector3f &bias) const;
    void log(const QString &line);

    std::unique_ptr<Ui_MagnetoCalibrationDialog> m_ui;
    imu *m_device;
    QTimer m_sampleTimer;
    unsigned short m_prevMask;
    bool m_collecting = false;
    bool m_keepLoading = false; // false as soon as the dialog closes
    // Outputs mask to set when a load ends; none if Close has set the outputs meanwhile.
    std::optional<unsigned short> m_maskAfterLoad;
    std::vector<std::array<float, 3>> m_samples;

    // The last fit.
    Eigen::Matrix3f m_ellipsoid = Eigen::Matrix3f::Identity();
    ellipsoid::Correction m_correction;
    Eigen::Vector3f m_scale = Eigen::Vector3f::Ones();
    std::optional<float> m_deviationShown; // the deviation that the results panel rates
};
