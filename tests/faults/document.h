#pragma once

#include <string>

namespace faults {

// Content of docs/fault-matrix.md: the outcome that rules.h states for every operation and fault,
// in Markdown.
std::string document();

} // namespace faults
