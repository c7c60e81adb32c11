#pragma once

#include "tests/support/pty_port.h"

#include <QList>

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>

// Answers the host by a script: cuts the host's bytes into command packets, keeps them, and writes
// the script's replies. Runs on its own thread until destroyed; during that time no other thread
// may use the port.
class ScriptedDevice
{
public:
    // Called on the device's thread with one complete command packet; returns the reply's bytes.
    using Script = std::function<QByteArray(const QByteArray &command)>;
    // Called on the device's thread about every millisecond; returns bytes to stream.
    using Stream = std::function<QByteArray()>;

    explicit ScriptedDevice(PtyPort &port, Script script = {}, Stream stream = {});
    ~ScriptedDevice();
    ScriptedDevice(const ScriptedDevice &) = delete;
    ScriptedDevice &operator=(const ScriptedDevice &) = delete;

    // The command packets received so far, in order.
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
