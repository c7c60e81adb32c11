#include "cli/mqtt_broker.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <system_error>

#include <CLI/CLI.hpp>

#include "cli/exit_status.h"

namespace cli {

namespace {

constexpr int kPort = 1883;
constexpr int kTlsPort = 8883;
constexpr int kHighestPort = 65535;

[[noreturn]] void refuseUrl(const std::string &problem)
{
    throw Failure(ExitStatus::Usage,
                  "--mqtt: " + problem + "; use mqtt://HOST[:PORT] or mqtts://HOST[:PORT]");
}

int portOf(std::string_view text)
{
    int port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    if (error != std::errc() || end != text.data() + text.size() || port < 1 || port > kHighestPort)
        refuseUrl("bad port");
    return port;
}

// "host", "host:port", "[address]" or "[address]:port".
void takeAuthority(MqttBroker &broker, std::string_view authority)
{
    std::string_view rest;
    if (authority.starts_with('[')) {
        const std::size_t end = authority.find(']');
        if (end == std::string_view::npos)
            refuseUrl("no ] after the address");
        broker.host = authority.substr(1, end - 1);
        rest = authority.substr(end + 1);
    } else {
        const std::size_t colon = std::min(authority.find(':'), authority.size());
        broker.host = authority.substr(0, colon);
        rest = authority.substr(colon);
    }
    if (broker.host.empty())
        refuseUrl("no host");
    if (rest.starts_with(':'))
        broker.port = portOf(rest.substr(1));
    else if (!rest.empty())
        refuseUrl("bad host");
}

void takeUrl(MqttBroker &broker, std::string_view url)
{
    constexpr std::string_view kPlain = "mqtt://";
    constexpr std::string_view kTls = "mqtts://";
    broker.usesTls = url.starts_with(kTls);
    if (!broker.usesTls && !url.starts_with(kPlain))
        refuseUrl("not the URL of a broker");
    broker.port = broker.usesTls ? kTlsPort : kPort;
    url.remove_prefix(broker.usesTls ? kTls.size() : kPlain.size());
    if (url.ends_with('/'))
        url.remove_suffix(1);
    // Other users can read the command line.
    if (url.find('@') != std::string_view::npos)
        refuseUrl("user and password belong into the environment or a file");
    if (url.find('/') != std::string_view::npos)
        refuseUrl("the topics are fixed");
    takeAuthority(broker, url);
}

void takeCredentialsFile(MqttBroker &broker, const std::string &path)
{
    std::ifstream file(path);
    if (!std::getline(file, broker.user) || broker.user.empty())
        throw Failure(ExitStatus::Failed,
                      "cannot read user and password, a line each, from " + path);
    std::getline(file, broker.password);
}

std::string environment(const char *name)
{
    const char *value = std::getenv(name);
    return value ? value : "";
}

} // namespace

void addMqttOptions(CLI::App &command, MqttOptions &options)
{
    CLI::Option *url = command
                           .add_option("--mqtt", options.url,
                                       "Send the records to this broker instead of printing them: "
                                       "mqtt://HOST[:PORT] or, with TLS, mqtts://HOST[:PORT]")
                           ->type_name("URL");
    command.add_option("--mqtt-qos", options.qos, "Quality of service, 0, 1 or 2 [1]")
        ->check(CLI::IsMember({0, 1, 2}).description(""))
        ->type_name("N")
        ->needs(url);
    command
        .add_option("--mqtt-ca", options.caFile,
                    "Certificates of authorities for TLS [those of the system]")
        ->type_name("FILE")
        ->needs(url);
    command
        .add_option("--mqtt-credentials", options.credentialsFile,
                    "File with user and password, a line each [the environment variables "
                    "VORNIX_MQTT_USER and VORNIX_MQTT_PASSWORD]")
        ->type_name("FILE")
        ->needs(url);
    command
        .add_option("--mqtt-queue", options.queue,
                    "Samples that wait while there is no broker; the oldest are dropped [10000]")
        ->check(CLI::Range(std::size_t{1}, std::size_t{10'000'000}).description(""))
        ->type_name("N")
        ->needs(url);
}

MqttBroker brokerOf(const MqttOptions &options)
{
    MqttBroker broker;
    takeUrl(broker, options.url);
    broker.caFile = options.caFile;
    broker.qos = options.qos;
    broker.queue = options.queue;
    if (!options.credentialsFile.empty()) {
        takeCredentialsFile(broker, options.credentialsFile);
    } else {
        broker.user = environment("VORNIX_MQTT_USER");
        broker.password = environment("VORNIX_MQTT_PASSWORD");
    }
    return broker;
}

} // namespace cli
