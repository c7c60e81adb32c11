#include "cli/mqtt_publisher.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>

#include <mosquitto.h>

#include "cli/exit_status.h"

namespace cli {

namespace {

using namespace std::chrono_literals;

constexpr int kKeepAliveSeconds = 30;
constexpr unsigned kFirstDelaySeconds = 1;
constexpr unsigned kLongestDelaySeconds = 30;
constexpr int kLoopMs = 100;
constexpr auto kConnectLimit = 10s;
constexpr auto kDrainLimit = 3s;
// Messages that the library holds at a time; the others stay in the bounded queue.
constexpr std::size_t kInFlight = 100;
constexpr const char *kCertificates = "/etc/ssl/certs";

// The library must be initialised before its first client and released after its last one.
struct Library
{
    Library() { ::mosquitto_lib_init(); }
    ~Library() { ::mosquitto_lib_cleanup(); }
};

void useLibrary()
{
    static const Library library;
}

std::string errorText(int code)
{
    return code == MOSQ_ERR_ERRNO ? std::generic_category().message(errno)
                                  : std::string(::mosquitto_strerror(code));
}

} // namespace

void MqttPublisher::Release::operator()(mosquitto *client) const
{
    ::mosquitto_destroy(client);
}

MqttPublisher::MqttPublisher(const MqttBroker &broker, const std::string &serial,
                             std::function<void(const std::string &)> report)
    : m_broker(broker)
    , m_sampleTopic("vornix/" + serial + "/sample")
    , m_statusTopic("vornix/" + serial + "/status")
    , m_report(std::move(report))
{
    useLibrary();
    m_client.reset(::mosquitto_new(nullptr, true, this));
    if (!m_client)
        throw std::bad_alloc();
    configure();
}

MqttPublisher::~MqttPublisher()
{
    if (m_runs)
        ::mosquitto_loop_stop(m_client.get(), true);
}

void MqttPublisher::configure()
{
    mosquitto *client = m_client.get();
    ::mosquitto_connect_callback_set(client, [](mosquitto *, void *self, int code) {
        static_cast<MqttPublisher *>(self)->connected(code);
    });
    ::mosquitto_disconnect_callback_set(client, [](mosquitto *, void *self, int code) {
        static_cast<MqttPublisher *>(self)->disconnected(code);
    });
    ::mosquitto_publish_callback_set(client, [](mosquitto *, void *self, int id) {
        static_cast<MqttPublisher *>(self)->published(id);
    });
    ::mosquitto_reconnect_delay_set(client, kFirstDelaySeconds, kLongestDelaySeconds, true);
    const char *offline = "offline";
    ::mosquitto_will_set(client, m_statusTopic.c_str(), static_cast<int>(std::strlen(offline)),
                         offline, 1, true);
    if (!m_broker.user.empty())
        ::mosquitto_username_pw_set(client, m_broker.user.c_str(), m_broker.password.c_str());
    if (!m_broker.usesTls)
        return;
    const bool own = !m_broker.caFile.empty();
    const int error = ::mosquitto_tls_set(client, own ? m_broker.caFile.c_str() : nullptr,
                                          own ? nullptr : kCertificates, nullptr, nullptr, nullptr);
    if (error != MOSQ_ERR_SUCCESS)
        fail(own ? "cannot read " + m_broker.caFile : errorText(error));
}

void MqttPublisher::fail(const std::string &problem) const
{
    throw Failure(ExitStatus::Failed,
                  "broker " + m_broker.host + ":" + std::to_string(m_broker.port) + ": " + problem);
}

void MqttPublisher::connect(const std::function<bool()> &isInterrupted)
{
    mosquitto *client = m_client.get();
    const int error =
        ::mosquitto_connect_async(client, m_broker.host.c_str(), m_broker.port, kKeepAliveSeconds);
    if (error != MOSQ_ERR_SUCCESS)
        fail(errorText(error));
    const auto end = std::chrono::steady_clock::now() + kConnectLimit;
    while (!m_isConnected) {
        if (isInterrupted())
            throw Failure(ExitStatus::Interrupted, {});
        const int result = ::mosquitto_loop(client, kLoopMs, 1);
        if (m_refusal != 0)
            fail(::mosquitto_connack_string(m_refusal));
        if (result != MOSQ_ERR_SUCCESS)
            fail(errorText(result));
        if (std::chrono::steady_clock::now() > end)
            fail("no answer");
    }
    ::mosquitto_loop_start(client);
    m_runs = true;
}

void MqttPublisher::publish(std::string payload)
{
    const std::scoped_lock lock(m_lock);
    if (m_queue.size() >= m_broker.queue) {
        m_queue.pop_front();
        ++m_dropped;
    }
    m_queue.push_back(std::move(payload));
    sendQueued();
}

void MqttPublisher::sendQueued()
{
    while (m_isConnected && !m_queue.empty() && m_inFlight.size() < kInFlight) {
        int id = 0;
        const std::string &payload = m_queue.front();
        const int error = ::mosquitto_publish(m_client.get(), &id, m_sampleTopic.c_str(),
                                              static_cast<int>(payload.size()), payload.data(),
                                              m_broker.qos, false);
        if (error != MOSQ_ERR_SUCCESS)
            return;
        m_inFlight.insert(id);
        m_queue.pop_front();
    }
}

void MqttPublisher::publishStatus(const char *text, int *id)
{
    ::mosquitto_publish(m_client.get(), id, m_statusTopic.c_str(),
                        static_cast<int>(std::strlen(text)), text, 1, true);
}

void MqttPublisher::close()
{
    std::unique_lock lock(m_lock);
    m_changed.wait_for(lock, kDrainLimit, [this] { return isIdle() || !m_isConnected; });
    m_isClosing = true;
    if (m_isConnected) {
        int id = 0;
        publishStatus("offline", &id);
        m_changed.wait_for(lock, kDrainLimit, [&] { return m_lastId == id || !m_isConnected; });
    }
    m_dropped += m_queue.size() + m_inFlight.size();
    m_queue.clear();
    m_inFlight.clear();
    lock.unlock();
    ::mosquitto_disconnect(m_client.get());
    lock.lock();
    // The thread sends the farewell; without it the broker would publish the last will.
    m_changed.wait_for(lock, kDrainLimit, [this] { return !m_isConnected; });
    lock.unlock();
    if (m_runs)
        ::mosquitto_loop_stop(m_client.get(), true);
    m_runs = false;
}

std::uint64_t MqttPublisher::dropped() const
{
    const std::scoped_lock lock(m_lock);
    return m_dropped;
}

void MqttPublisher::connected(int code)
{
    std::string news;
    {
        const std::scoped_lock lock(m_lock);
        m_refusal = code;
        m_isConnected = code == 0;
        if (!m_isConnected)
            return;
        publishStatus("online");
        sendQueued();
        if (m_wasConnected) {
            news = "connected to the broker again, " +
                   std::to_string(m_dropped - m_reportedDropped) + " samples dropped";
            m_reportedDropped = m_dropped;
        }
        m_wasConnected = true;
    }
    if (!news.empty())
        m_report(news);
}

// The library sends messages of quality 1 and 2 again after a reconnection, but not those of 0.
void MqttPublisher::disconnected(int code)
{
    bool isLost = false;
    {
        const std::scoped_lock lock(m_lock);
        isLost = m_isConnected && !m_isClosing;
        m_isConnected = false;
        if (m_broker.qos == 0) {
            m_dropped += m_inFlight.size();
            m_inFlight.clear();
        }
    }
    m_changed.notify_all();
    if (isLost)
        m_report("lost the broker: " + std::string(::mosquitto_strerror(code)));
}

void MqttPublisher::published(int id)
{
    {
        const std::scoped_lock lock(m_lock);
        m_inFlight.erase(id);
        m_lastId = id;
        sendQueued();
    }
    m_changed.notify_all();
}

} // namespace cli
