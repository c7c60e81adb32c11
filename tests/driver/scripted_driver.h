#pragma once

#include "driver/ImuDriver.h"

#include "tests/support/bytes.h"
#include "tests/support/pty_port.h"

#include <QList>
#include <QMap>

#include <functional>

// A connected driver without a reader thread, whose test plays the device while the driver sleeps:
// sleeps are logged instead of slept, and what the device says during one of them is fed to the
// driver there. So each poll sees exactly what the test means it to see.
class ScriptedDriver
{
public:
    // Thrown out of a sleep, and so out of an operation that would go on for ever.
    struct GaveUp
    {
    };

    ScriptedDriver()
    {
        driver.setSleeper([this](std::chrono::milliseconds duration) { slept(duration); });
        driver.connect(port.path(), 115200, 8, 0, 1);
    }

    void feed(const QByteArray &bytes)
    {
        for (const char byte : bytes)
            driver.receiveByte(static_cast<unsigned char>(byte));
    }

    // The device says this during the given sleep, counted from 1.
    void answerDuring(int sleep, const QByteArray &bytes) { m_answers[sleep] += bytes; }
    // Another thread of the program does this during the given sleep.
    void during(int sleep, std::function<void()> action) { m_actions[sleep] = std::move(action); }
    void giveUpAfter(int sleeps) { m_limit = sleeps; }

    // Milliseconds of each sleep so far.
    const QList<int> &sleeps() const { return m_sleeps; }
    qsizetype sleepsOf(int durationMs) const { return m_sleeps.count(durationMs); }
    void forgetSleeps() { m_sleeps.clear(); }

    // All the host has sent; waits until it is `size` bytes. What was written is there to be read.
    QByteArray sent(qsizetype size)
    {
        if (m_sent.size() < size)
            m_sent += port.read(size - m_sent.size());
        m_sent += port.readAvailable();
        return std::exchange(m_sent, {});
    }

    PtyPort port;
    imu driver{nullptr};

private:
    void slept(std::chrono::milliseconds duration)
    {
        m_sleeps.append(static_cast<int>(duration.count()));
        m_sent += port.readAvailable();
        feed(m_answers.value(static_cast<int>(m_sleeps.size())));
        if (const auto action = m_actions.value(static_cast<int>(m_sleeps.size())))
            action();
        if (m_sleeps.size() == m_limit)
            throw GaveUp();
    }

    QMap<int, QByteArray> m_answers;
    QMap<int, std::function<void()>> m_actions;
    QList<int> m_sleeps;
    QByteArray m_sent;
    qsizetype m_limit = -1;
};

// Whether the operation was still at it when the script gave up.
template <typename Operation>
bool neverReturns(ScriptedDriver &script, int sleeps, Operation operation)
{
    script.giveUpAfter(sleeps);
    try {
        operation();
    } catch (const ScriptedDriver::GaveUp &) {
        script.giveUpAfter(-1);
        return true;
    }
    return false;
}
