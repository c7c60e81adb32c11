#include "cli/calibration_report.h"

#include <algorithm>
#include <charconv>

#include <nlohmann/json.hpp>

namespace cli {

namespace {

using ellipsoid::Calibration;
using ellipsoid::kSections;
using nlohmann::ordered_json;

// Independent of the locale.
std::string number(double value, std::chars_format format, int precision)
{
    std::array<char, 64> text{};
    const auto result =
        std::to_chars(text.data(), text.data() + text.size(), value, format, precision);
    return {text.data(), result.ptr};
}

std::string general(double value)
{
    return number(value, std::chars_format::general, 6);
}

std::string percent(double value)
{
    return number(100 * value, std::chars_format::fixed, 2) + " %";
}

std::string padded(std::string text, std::size_t width)
{
    text.resize(std::max(width, text.size() + 1), ' ');
    return text;
}

ordered_json rowsOf(const Eigen::Matrix3f &matrix)
{
    ordered_json rows = ordered_json::array();
    for (Eigen::Index row = 0; row < 3; ++row)
        rows.push_back({matrix(row, 0), matrix(row, 1), matrix(row, 2)});
    return rows;
}

ordered_json coverageOf(const Calibration &calibration)
{
    std::string sections;
    for (std::size_t i = 0; i < kSections; ++i)
        sections += calibration.coverage.test(i) ? '1' : '0';
    return {{"covered", calibration.coverage.count()},
            {"of", kSections},
            {"fraction", ellipsoid::covered(calibration.coverage)},
            {"sections", sections}};
}

std::string matrixText(const Eigen::Matrix3f &matrix)
{
    std::string text;
    for (Eigen::Index row = 0; row < 3; ++row) {
        text += row == 0 ? padded("matrix", 12) : std::string(12, ' ');
        for (Eigen::Index column = 0; column < 3; ++column)
            text += padded(general(static_cast<double>(matrix(row, column))), 14);
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

} // namespace

session::MagneticCalibration toDevice(const ellipsoid::Correction &correction)
{
    session::MagneticCalibration calibration;
    const Eigen::Vector3f bias = -correction.bias;
    std::copy_n(bias.data(), calibration.bias.size(), calibration.bias.begin());
    std::copy_n(correction.matrix.data(), calibration.matrix.size(), calibration.matrix.begin());
    return calibration;
}

ordered_json toJson(const Calibration &calibration)
{
    ordered_json result{{"verdict", word(calibration.verdict)}};
    ordered_json reasons = ordered_json::array();
    for (const ellipsoid::Reason &reason : calibration.reasons)
        reasons.push_back({{"about", word(reason.aspect)},
                           {"verdict", word(reason.verdict)},
                           {"text", reason.text}});
    result["reasons"] = reasons;
    result["readings"] = calibration.readings;
    result["used"] = calibration.used;
    result["not_finite"] = calibration.notFinite;
    if (!calibration.isDetermined())
        return result;
    const Eigen::Vector3f &centre = calibration.correction.bias;
    const Eigen::Vector3d &axes = calibration.halfAxes;
    result["coverage"] = coverageOf(calibration);
    result["residual"] = {{"before", calibration.residualBefore},
                          {"after", calibration.residualAfter}};
    result["field_strength"] = calibration.fieldStrength;
    result["half_axes"] = {axes[0], axes[1], axes[2]};
    result["offset"] = calibration.offset;
    result["iterations"] = calibration.iterations;
    // As the window shows them: calibrated = matrix * (raw + bias).
    result["bias"] = {-centre[0], -centre[1], -centre[2]};
    result["matrix"] = rowsOf(calibration.correction.matrix);
    return result;
}

std::string toText(const Calibration &calibration)
{
    std::string text;
    for (const ellipsoid::Reason &reason : calibration.reasons)
        text += padded(word(reason.verdict), 12) + word(reason.aspect) + ": " + reason.text + "\n";
    if (calibration.isDetermined()) {
        text += padded("bias", 12);
        for (const float value : calibration.correction.bias)
            text += padded(general(-static_cast<double>(value)), 14);
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n' + matrixText(calibration.correction.matrix);
    }
    return text + padded("verdict", 12) + word(calibration.verdict) + "\n";
}

std::string toLine(const Calibration &calibration)
{
    const std::string readings = std::to_string(calibration.readings) + " readings";
    if (!calibration.isDetermined())
        return readings + ", turn the device through all directions";
    return readings + ", coverage " + std::to_string(calibration.coverage.count()) + "/" +
           std::to_string(kSections) + ", residual " + percent(calibration.residualBefore) +
           " -> " + percent(calibration.residualAfter) + ", " + word(calibration.verdict);
}

} // namespace cli
