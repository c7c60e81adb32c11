#pragma once

#include <QByteArray>

#include <chrono>
#include <string>

// A serial line made of a pseudo-terminal, seen from the device's end: the driver under test opens
// path(), the test reads and writes bytes here. May be used from one thread at a time.
class PtyPort
{
public:
    // Raw on the device's side from the start. Throws std::system_error.
    PtyPort();
    ~PtyPort();
    PtyPort(const PtyPort &) = delete;
    PtyPort &operator=(const PtyPort &) = delete;

    const std::string &path() const { return m_path; }

    // False if the host did not make room for all bytes within the deadline, or there is no host.
    bool write(const QByteArray &bytes, std::chrono::milliseconds deadline = kDeadline);
    // What the host sent: `count` bytes, or fewer if no more came within the deadline.
    QByteArray read(qsizetype count, std::chrono::milliseconds deadline = kDeadline);
    // What the host has sent by now.
    QByteArray readAvailable();

    // The speed the host has set, in baud.
    unsigned int speed() const;
    // Raw, eight data bits, no parity, receiver on.
    bool isRaw() const;
    // Bytes written here that the host has not read yet.
    int unreadByHost() const;

    // Unplugs the device: the host's reads and writes fail from now on.
    void hangUp();
    int masterFd() const { return m_master; }

    static constexpr std::chrono::milliseconds kDeadline{60'000};

private:
    int m_master = -1;
    std::string m_path;
};
