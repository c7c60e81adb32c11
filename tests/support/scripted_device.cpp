#include "tests/support/scripted_device.h"

#include <poll.h>

ScriptedDevice::ScriptedDevice(PtyPort &port, Script script, Stream stream)
    : m_port(port)
    , m_script(std::move(script))
    , m_stream(std::move(stream))
    , m_thread([this] { run(); })
{
}

ScriptedDevice::~ScriptedDevice()
{
    m_ending = true;
    m_thread.join();
}

QList<QByteArray> ScriptedDevice::commands() const
{
    const std::lock_guard lock(m_lock);
    return m_commands;
}

qsizetype ScriptedDevice::commandCount() const
{
    const std::lock_guard lock(m_lock);
    return m_commands.size();
}

void ScriptedDevice::run()
{
    QByteArray pending;
    while (!m_ending) {
        const QByteArray received = m_port.readAvailable();
        if (received.isEmpty())
            ::poll(nullptr, 0, 1);
        pending += received;
        answerCommands(pending);
        if (m_stream)
            m_port.write(m_stream(), std::chrono::milliseconds(0)); // drops what does not fit
    }
}

void ScriptedDevice::answerCommands(QByteArray &pending)
{
    while (pending.size() >= 6) {
        const qsizetype length =
            static_cast<unsigned char>(pending[2]) | static_cast<unsigned char>(pending[3]) << 8;
        if (!pending.startsWith("SC") || length < 6) {
            pending.remove(0, 1);
            continue;
        }
        if (pending.size() < length)
            return;
        const QByteArray command = pending.first(length);
        pending.remove(0, length);
        {
            const std::lock_guard lock(m_lock);
            m_commands.append(command);
        }
        if (m_script)
            m_port.write(m_script(command));
    }
}
