#pragma once

#include <cstddef>
#include <string>

namespace CLI {
class App;
}

namespace cli {

// As given on the command line.
struct MqttOptions
{
    std::string url; // empty: no broker
    int qos = 1;
    std::string caFile;
    std::string credentialsFile;
    std::size_t queue = 10'000; // samples that wait for the broker
};

// --mqtt, --mqtt-qos, --mqtt-ca, --mqtt-credentials, --mqtt-queue.
void addMqttOptions(CLI::App &command, MqttOptions &options);

struct MqttBroker
{
    std::string host;
    int port = 1883;
    bool usesTls = false;
    std::string caFile; // empty: the certificates of the system
    std::string user;   // empty: anonymous
    std::string password;
    int qos = 1;
    std::size_t queue = 10'000;
};

// Completes the options with the credentials from their file or, without one, from the environment
// (VORNIX_MQTT_USER, VORNIX_MQTT_PASSWORD). Throws a Failure for a URL other than
// mqtt://HOST[:PORT] or mqtts://HOST[:PORT], and for a file that cannot be read.
MqttBroker brokerOf(const MqttOptions &options);

} // namespace cli
