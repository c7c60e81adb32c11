#pragma once

#include <chrono>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "protocol/framer.h"
#include "protocol/protocol.h"
#include "tests/fixtures/wait_limit.h"

// Polls a condition every 0.2 ms; false if it does not hold within kWaitLimit.
template <typename Condition>
bool eventually(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + kWaitLimit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

// A host with a plain serial port: opens, sets the baud rate, reads and writes.
class Host
{
public:
    using Bytes = std::vector<unsigned char>;

    Host() = default;
    Host(const std::string &path, speed_t speed) { open(path, speed); }
    ~Host() { close(); }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    bool open(const std::string &path, speed_t speed)
    {
        close();
        m_fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        return m_fd >= 0 && setSpeed(speed);
    }

    // The same without dropping bytes that arrived before the baud rate was set.
    bool openWithoutDropping(const std::string &path, speed_t speed)
    {
        close();
        m_fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        return m_fd >= 0 && setLine(speed);
    }

    void close()
    {
        if (m_fd >= 0)
            ::close(std::exchange(m_fd, -1));
    }

    // Drops bytes received before: they may belong to another baud rate.
    bool setSpeed(speed_t speed) { return setLine(speed) && ::tcflush(m_fd, TCIFLUSH) == 0; }

    bool write(const Bytes &bytes)
    {
        return ::write(m_fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    }

    // Reads for `time`, or until `enough` bytes have arrived.
    Bytes read(std::chrono::milliseconds time, std::size_t enough = SIZE_MAX)
    {
        Bytes all;
        const auto end = std::chrono::steady_clock::now() + time;
        for (auto left = time; left.count() >= 0 && all.size() < enough;) {
            pollfd request{m_fd, POLLIN, 0};
            if (::poll(&request, 1, static_cast<int>(left.count())) > 0) {
                unsigned char buffer[4096];
                const ssize_t size = ::read(m_fd, buffer, sizeof buffer);
                if (size <= 0)
                    break;
                all.insert(all.end(), buffer, buffer + size);
            }
            left = std::chrono::duration_cast<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now());
        }
        return all;
    }

    // Reads until the condition holds for the bytes read, or until kWaitLimit has passed.
    template <typename Condition>
    Bytes readUntil(Condition condition)
    {
        Bytes all;
        eventually([&] {
            const Bytes more = read(std::chrono::milliseconds(10), 1);
            all.insert(all.end(), more.begin(), more.end());
            return condition(all);
        });
        return all;
    }
    // The same until the bytes contain `count` intact packets.
    Bytes readPackets(std::size_t count)
    {
        return readUntil([count](const Bytes &all) { return packets(all).size() >= count; });
    }

    // -1 while closed.
    int fd() const { return m_fd; }

    // Returns the intact packets.
    static std::vector<Bytes> packets(const Bytes &bytes)
    {
        std::vector<Bytes> found;
        Framer framer;
        for (const unsigned char byte : bytes) {
            if (framer.feed(byte) && protocol::isIntact(framer.packet(), framer.length()))
                found.emplace_back(framer.packet(), framer.packet() + framer.length());
        }
        return found;
    }

private:
    bool setLine(speed_t speed)
    {
        termios line{};
        ::tcgetattr(m_fd, &line);
        ::cfmakeraw(&line);
        ::cfsetspeed(&line, speed);
        return ::tcsetattr(m_fd, TCSANOW, &line) == 0;
    }

    int m_fd = -1;
};
