#pragma once

#include <span>

#include <QString>

// How the data panel writes a sample: each number with up to six significant digits, in fixed or
// exponent form whichever is shorter, joined by ", ". No unit is converted.
QString sampleText(std::span<const float> values);
QString sampleText(float value);
