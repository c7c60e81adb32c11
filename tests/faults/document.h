#pragma once

#include <string>

namespace faults {

// docs/fault-matrix.md: what the rules say of every operation and fault, in Markdown.
std::string document();

} // namespace faults
