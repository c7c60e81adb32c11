#include "cli/outputs_change.h"

#include "cli/exit_status.h"
#include "cli/runtime.h"

namespace cli {

OutputsChange::OutputsChange(Runtime &runtime, session::Device &device, std::uint16_t added)
    : m_runtime(runtime)
    , m_device(device)
    , m_before(device.knownSettings()->outputs)
    , m_isChanged((m_before & added) != added)
{
    if (!m_isChanged)
        return;
    const auto error = m_device.setOutputs(static_cast<std::uint16_t>(m_before | added));
    if (error) {
        // The device may have obeyed without an answer.
        m_device.setOutputs(m_before);
        throwIf(error, m_device.path() + ": switching the output on");
    }
}

OutputsChange::~OutputsChange()
{
    try {
        restore();
    } catch (const Failure &failure) {
        m_runtime.note(failure.what());
    }
}

void OutputsChange::restore()
{
    if (!m_isChanged)
        return;
    m_isChanged = false;
    if (const auto error = m_device.setOutputs(m_before))
        throw Failure(exitStatusOf(error),
                      m_device.path() + ": the outputs were not restored (" + error.message() +
                          "); the device streams additional outputs until it is switched off");
}

} // namespace cli
