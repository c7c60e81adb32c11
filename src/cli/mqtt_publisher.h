#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "cli/mqtt_broker.h"

struct mosquitto;

namespace cli {

// Publishes the samples of one device: on vornix/<serial>/sample, and "online" or "offline",
// retained, on vornix/<serial>/status. The broker itself publishes "offline" if this program
// disappears.
//
// Samples wait in a queue of limited length; when it is full, the oldest one is dropped and
// counted. A lost connection is made again after 1, 2, 4 ... 30 seconds. A thread of the MQTT
// library does that, so publish() never waits for the network. One thread calls the public
// functions.
class MqttPublisher
{
public:
    // `report` receives lines about the connection; it is called on the thread of the library.
    MqttPublisher(const MqttBroker &broker, const std::string &serial,
                  std::function<void(const std::string &)> report);
    // Drops what is queued. The broker publishes "offline" unless close() was called.
    ~MqttPublisher();
    MqttPublisher(const MqttPublisher &) = delete;
    MqttPublisher &operator=(const MqttPublisher &) = delete;

    // Waits until the broker has accepted the connection, at most 10 s, or until `isInterrupted`
    // returns true. Throws a Failure if there is no broker or if it refuses.
    void connect(const std::function<bool()> &isInterrupted);

    void publish(std::string payload);

    // Waits until the queue has been sent, at most 3 s, publishes "offline" and disconnects.
    void close();

    // Samples that did not reach the broker; after close() also those that it left in the queue.
    std::uint64_t dropped() const;

private:
    struct Release
    {
        void operator()(mosquitto *client) const;
    };

    void configure();
    void fail(const std::string &problem) const;
    void publishStatus(const char *text, int *id = nullptr);
    void sendQueued(); // with m_lock held
    bool isIdle() const { return m_queue.empty() && m_inFlight.empty(); }

    // Callbacks of the library.
    void connected(int code);
    void disconnected(int code);
    void published(int id);

    const MqttBroker m_broker;
    const std::string m_sampleTopic;
    const std::string m_statusTopic;
    const std::function<void(const std::string &)> m_report;

    mutable std::mutex m_lock; // guards what follows, up to m_changed
    std::deque<std::string> m_queue;
    std::set<int> m_inFlight; // ids of samples that the library has taken
    std::uint64_t m_dropped = 0;
    std::uint64_t m_reportedDropped = 0;
    bool m_isConnected = false;
    bool m_isClosing = false;
    bool m_wasConnected = false;
    int m_refusal = 0; // of the last attempt
    int m_lastId = 0;  // the last message that the broker has taken
    std::condition_variable m_changed;

    bool m_runs = false; // the thread of the library
    std::unique_ptr<mosquitto, Release> m_client;
};

} // namespace cli
