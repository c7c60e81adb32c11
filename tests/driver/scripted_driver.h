#pragma once

#include <functional>

#include <QList>
#include <QMap>

#include "driver/imu.h"
#include "tests/fixtures/bytes.h"
#include "tests/fixtures/pty_port.h"

// A connected driver without a reader thread. The driver's sleeps return at once and are logged;
// the bytes that the test scripts for a sleep are fed to the driver during it. So each poll of the
// driver finds exactly the bytes that the test intends.
class ScriptedDriver
{
public:
    // Thrown from a sleep to end an operation that would never return.
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

    // Feeds these bytes to the driver during the given sleep, counted from 1.
    void answerDuring(int sleep, const QByteArray &bytes) { m_answers[sleep] += bytes; }
    // Runs an action during the given sleep, as another thread of the program could.
    void during(int sleep, std::function<void()> action) { m_actions[sleep] = std::move(action); }
    void giveUpAfter(int sleeps) { m_limit = sleeps; }

    // Duration of each sleep so far, in milliseconds.
    const QList<int> &sleeps() const { return m_sleeps; }
    qsizetype sleepsOf(int durationMs) const { return m_sleeps.count(durationMs); }
    void forgetSleeps() { m_sleeps.clear(); }

    // Returns all bytes that the host has sent and that were not returned before; waits for at
    // least `size` bytes.
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

// n sleeps of 10 ms.
inline QList<int> tens(int n)
{
    return QList<int>(n, 10);
}

// Returns true if the operation was still running after `sleeps` sleeps.
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
