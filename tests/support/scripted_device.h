#pragma once

#include "tests/support/pty_port.h"

#include <QList>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

// Answers the host by a script: cuts what the host sends into command packets, keeps them, and
// writes back what the script says. Runs on a thread of its own until destroyed; while it lives it
// alone uses the port.
class ScriptedDevice
{
public:
    // Called on the device's thread with one whole command packet; returns the bytes to answer.
    using Script = std::function<QByteArray(const QByteArray &command)>;
    // Called on the device's thread about every millisecond; returns bytes to stream.
    using Stream = std::function<QByteArray()>;

    explicit ScriptedDevice(PtyPort &port, Script script = {}, Stream stream = {});
    ~ScriptedDevice();
    ScriptedDevice(const ScriptedDevice &) = delete;
    ScriptedDevice &operator=(const ScriptedDevice &) = delete;

    // The command packets so far, in order.
    QList<QByteArray> commands() const;
    qsizetype commandCount() const;

private:
    void run();
    void answerCommands(QByteArray &pending);

    PtyPort &m_port;
    const Script m_script;
    const Stream m_stream;
    mutable std::mutex m_lock;
    QList<QByteArray> m_commands; // guarded by m_lock
    std::atomic<bool> m_ending{false};
    std::thread m_thread;
};
