// The way of every command that waits for a reply: build, write, poll the fresh flags, repeat.

#include "driver/imu.h"

#include <algorithm>

using namespace command_table;

bool imu::perform(const Command &command, const Build &build, const Check &isConfirmed)
{
    const std::optional<Build> eachAttempt = begin(command, build);
    if (!eachAttempt)
        return false;
    for (int attempt = 0; attempt < command.attempts; ++attempt) {
        if (send(command, *eachAttempt) && awaitReplies(command.replies, command.polls) &&
            isConfirmed())
            return true;
        sleep(command.retryPause);
    }
    return false;
}

// Returns what builds the packet of each attempt; none if not connected.
std::optional<imu::Build> imu::begin(const Command &command, const Build &build)
{
    const boost::mutex::scoped_lock lock(m_lock);
    if (!m_connected)
        return std::nullopt;
    if (command.clearsFlags)
        clearFlags(command.replies);
    if (command.lock != LockRule::BuildOnce)
        return build;
    return [packet = build()] { return packet; };
}

bool imu::performOnce(const Command &command, const Build &build)
{
    return send(command, build) && awaitReplies(command.replies, command.polls);
}

bool imu::send(const Command &command, const Build &build)
{
    if (command.lock == LockRule::BuildOnce)
        return write(build(), command.writing);
    boost::mutex::scoped_lock lock(m_lock);
    if (!m_connected)
        return false;
    const CommandBuilder::Packet packet = build();
    if (command.lock == LockRule::Build)
        lock.unlock();
    return write(packet, command.writing);
}

bool imu::write(const CommandBuilder::Packet &packet, Writing writing)
{
    return (writing == Writing::Whole ? m_port.writeAll(packet) : m_port.writeSome(packet)) ==
           packet.size();
}

bool imu::awaitReplies(Replies replies, int polls)
{
    for (int poll = 0; poll < polls; ++poll) {
        if (std::all_of(replies.begin(), replies.end(),
                        [this](protocol::BlockCode code) { return m_store.fresh.test(code); }))
            return true;
        sleep(kPollPause);
    }
    return false;
}

bool imu::waitForResponse(int code)
{
    for (int poll = 0; poll < kReplyPolls; ++poll) {
        if (m_store.fresh.test(code))
            return true;
        sleep(kPollPause);
    }
    return false;
}

void imu::clearFlags(Replies replies)
{
    for (const protocol::BlockCode code : replies)
        m_store.fresh.clear(code);
}
