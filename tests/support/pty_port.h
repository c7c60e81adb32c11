#pragma once

#include <QByteArray>

#include <chrono>
#include <string>

// The device's end of a serial line made of a pseudo-terminal: the driver under test opens path(),
// the test reads and writes bytes here. One thread at a time.
class PtyPort
{
public:
    // Sets the line to raw mode. Throws std::system_error.
    PtyPort();
    ~PtyPort();
    PtyPort(const PtyPort &) = delete;
    PtyPort &operator=(const PtyPort &) = delete;

    const std::string &path() const { return m_path; }

    // Returns false if the host has not taken all bytes within the deadline, or no host has the
    // port open.
    bool write(const QByteArray &bytes, std::chrono::milliseconds deadline = kDeadline);
    // Returns bytes of the host: `count`, or fewer if the deadline passes first.
    QByteArray read(qsizetype count, std::chrono::milliseconds deadline = kDeadline);
    // Returns the bytes of the host that have arrived.
    QByteArray readAvailable();

    // The baud rate that the host has set.
    unsigned int speed() const;
    // True if the line is raw: eight data bits, no parity, receiver enabled.
    bool isRaw() const;
    // Number of bytes written here that the host has not read yet.
    int unreadByHost() const;

    // Unplugs the device: the host's later reads and writes fail.
    void hangUp();
    int masterFd() const { return m_master; }

    static constexpr std::chrono::milliseconds kDeadline{60'000};

private:
    int m_master = -1;
    std::string m_path;
};
