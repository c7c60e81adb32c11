#pragma once

#include <cstdint>

#include "session/device.h"

namespace cli {

class Runtime;

// Switches additional outputs on while it exists. If the device streams them already, nothing is
// sent. The device must have reported its settings.
class OutputsChange
{
public:
    // Throws a Failure if the device does not confirm.
    OutputsChange(Runtime &runtime, session::Device &device, std::uint16_t added);
    // restore() without an exception; a failure is reported on standard error.
    ~OutputsChange();
    OutputsChange(const OutputsChange &) = delete;
    OutputsChange &operator=(const OutputsChange &) = delete;

    // Sets the outputs to what they were. Throws a Failure that states what the device streams now.
    void restore();

private:
    Runtime &m_runtime;
    session::Device &m_device;
    std::uint16_t m_before;
    bool m_isChanged;
};

} // namespace cli
