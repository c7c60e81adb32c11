// Changes the baud rate of a line in use. The device answers the command, if at all, at a baud rate
// that the host does not use yet, so the only proof of success is that it streams at the new one.

#include "driver/imu.h"

#include <iostream>

using namespace std::chrono_literals;

namespace {

constexpr auto kStep = 100ms;
constexpr int kFirstWaitSteps = 21;
constexpr int kRetryWaitSteps = 3 + 19;

// A device may answer late after a change of the baud rate. Settings are therefore loaded in up to
// 499 cycles of 12 attempts, 1 s apart; the pause after the last attempt of a cycle is 0.1 s.
constexpr int kLoadCycles = 499;
constexpr int kLoadsPerCycle = 12;

// Flushes, so that standard output shows the progress of a slow change.
void say(const char *text)
{
    std::cout << text << std::endl;
}

} // namespace

bool imu::setBaudRate_(unsigned int baud)
{
    return send(command_table::kSetBaudRate, [&] { return m_commands.setBaudRate(baud); });
}

bool imu::setBaudRate(unsigned int baud)
{
    if (!m_connected)
        return false;
    const unsigned int oldBaud = m_store.baudRate;

    say("set baud rate");
    std::array<float, 4> stale;
    getQuaternion_(stale.data());
    setBaudRate_(baud);

    say("reconnect");
    reconnect(baud);
    for (int steps = kFirstWaitSteps; !streamsAfter(steps); steps = kRetryWaitSteps) {
        reconnect(oldBaud);
        say("change to new baud rate");
        setBaudRate_(baud);
        reconnect(baud);
    }

    sleep(kStep);
    loadSettingsAfterBaudChange();
    return getBaudRate() != 0;
}

// Waits until the command is sent, because it must leave at the old baud rate, before the port is
// closed.
void imu::reconnect(unsigned int baud)
{
    m_port.awaitSent();
    std::string port;
    {
        const boost::mutex::scoped_lock lock(m_lock);
        port = m_portName;
    }
    disconnect();
    connect(port, static_cast<int>(baud), 8, 0, 1);
}

bool imu::streamsAfter(int steps)
{
    for (int step = 0; step < steps; ++step)
        sleep(kStep);
    return m_streaming;
}

void imu::loadSettingsAfterBaudChange()
{
    for (int cycle = 0; cycle < kLoadCycles; ++cycle) {
        for (int load = 1; load <= kLoadsPerCycle; ++load) {
            if (loadSettings())
                return;
            sleep(load < kLoadsPerCycle ? 1000ms : 100ms);
        }
    }
}
