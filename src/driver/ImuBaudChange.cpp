// Changing the speed of a line while it is in use: the device answers the command, if at all, at a
// speed the host does not listen to yet, so the only proof is that it streams at the new one.

#include "driver/ImuDriver.h"

#include <iostream>

using namespace std::chrono_literals;

namespace {

constexpr auto kStep = 100ms;
constexpr int kFirstWaitSteps = 21;
constexpr int kRetryWaitSteps = 3 + 19;

// A device that just changed speed may take its time to answer: twelve tries a second apart (the
// last pause is short), 499 times over.
constexpr int kLoadCycles = 499;
constexpr int kLoadsPerCycle = 12;

// Flushed at once: whoever watches standard output sees how far a slow change has come.
void say(const char *text)
{
    std::cout << text << std::endl;
}

} // namespace

bool imu::setBaudRate_(unsigned int baud)
{
    const boost::mutex::scoped_lock lock(m_lock);
    return m_connected && writeWhole(m_commands.setBaudRate(baud));
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

// The command goes out at the baud rate it was written at, so it leaves before the port is closed.
void imu::reconnect(unsigned int baud)
{
    m_link.awaitSent();
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
