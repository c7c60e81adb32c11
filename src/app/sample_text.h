#pragma once

#include <span>

#include <QString>

// Text of a sample in the data panel: each number with up to six significant digits, in fixed or
// exponent form, whichever is shorter, joined by ", ". No unit is converted.
QString sampleText(std::span<const float> values);
QString sampleText(float value);
