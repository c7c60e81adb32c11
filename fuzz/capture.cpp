// Writes the initial corpus: streams of the simulated device, commands of a host, and exchanges of
// both.
//
//     build/fuzz/bin/capture fuzz/corpus

#include "driver/commands.h"
#include "driver/framer.h"
#include "sim/Device.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>

using namespace std::chrono_literals;
using Bytes = std::vector<unsigned char>;

namespace {

std::filesystem::path g_corpus;

void save(const std::string &fuzzer, const std::string &name, const Bytes &bytes)
{
    std::filesystem::create_directories(g_corpus / fuzzer);
    std::ofstream(g_corpus / fuzzer / name, std::ios::binary)
        .write(reinterpret_cast<const char *>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes u32(std::uint32_t value)
{
    Bytes bytes(sizeof value);
    protocol::writeField(bytes.data(), value);
    return bytes;
}

Bytes sent(sim::Device &device, sim::Time until)
{
    Bytes all;
    while (const auto part = device.transmit(until))
        all = std::move(all) + part->bytes;
    return all;
}

// --- Streams of the device ---------------------------------------------------------------------

Bytes stream(std::uint16_t outputs, sim::Time time, const sim::Faults &faults = {})
{
    sim::DeviceOptions options;
    options.settings.outputs = outputs;
    options.faults = faults;
    sim::Device device(options);
    return sent(device, time);
}

void captureStreams()
{
    sim::Faults noisy;
    noisy.noiseBytes = 7;
    sim::Faults corrupt;
    corrupt.corruptEvery = 2;
    sim::Faults lossy;
    lossy.byteLoss = 0.02;
    const std::map<std::string, Bytes> streams{
        {"stream_full", stream(0x01FF, 35ms)},
        {"stream_factory", stream(0x00FF, 25ms)},
        {"stream_quaternion", stream(0x0004, 35ms)},
        {"stream_noise", stream(0x0024, 45ms, noisy)},
        {"stream_corrupt", stream(0x0104, 45ms, corrupt)},
        {"stream_loss", stream(0x0164, 45ms, lossy)},
    };
    for (const auto &[name, bytes] : streams)
        save("receive", name, bytes);
    for (int bit = 0; bit < 9; ++bit)
        save("packet", "data_bit_" + std::to_string(bit),
             Bytes{0} + stream(static_cast<std::uint16_t>(1 << bit), 15ms));
    save("packet", "data_full", Bytes{0} + stream(0x01FF, 20ms));
}

// --- Commands of a host ------------------------------------------------------------------------

std::map<std::string, Bytes> commands()
{
    const std::array<float, 3> bias{1, 2, 3};
    const std::array<float, 9> matrix{4, 5, 6, 7, 8, 9, 10, 11, 12};
    CommandBuilder build;
    return {
        {"get_settings", build.getSettings()},
        {"set_data_rate", build.setDataRate(200)},
        {"set_outputs", build.setOutputs(0x0104)},
        {"set_baud_rate", build.setBaudRate(921600)},
        {"set_zero_threshold", build.setZeroThreshold(0.02f)},
        {"set_calibration", build.setMagneticCalibration(bias.data(), matrix.data())},
        {"save", build.saveSettings(0x00FF)},
        {"factory_reset", build.revertToFactorySettings(0x00FF)},
        {"start_calibration", build.single(protocol::START_CALIBRATION)},
        {"stop_calibration", build.single(protocol::STOP_CALIBRATION)},
        {"calibration_size", build.single(protocol::CALIBRATION_DATA_SIZE)},
        {"calibration_data", build.getCalibrationData(0, 128)},
    };
}

Bytes replyTo(const Bytes &command)
{
    sim::DeviceOptions options;
    options.settings.rateHz = 0;
    sim::Device device(options);
    std::vector<std::array<float, 3>> points;
    for (int i = 0; i < 12; ++i)
        points.push_back({static_cast<float>(i), 20.f, -30.f});
    device.calibrationStore().setPoints(points);
    device.receive(command, device.lineBaud(), 1ms);
    return sent(device, 100ms);
}

void captureReplies()
{
    Bytes all;
    Bytes asked;
    for (const auto &[name, command] : commands()) {
        const Bytes reply = replyTo(command);
        save("packet", "reply_" + name, Bytes{0} + reply);
        save("command_parser", name, command);
        all = std::move(all) + reply;
        asked = std::move(asked) + command;
    }
    save("receive", "replies", all);
    save("receive", "replies_in_stream", stream(0x0004, 15ms) + all + stream(0x0024, 25ms));
    save("command_parser", "all", asked);
    save("command_parser", "all_with_rubbish", Bytes{0x53, 0x00, 0x53, 0x43, 0xFF} + asked);
}

// --- Steps of fuzz_device ----------------------------------------------------------------------

Bytes unit(unsigned char shape, unsigned char baud, std::uint16_t outputs)
{
    return {0,
            0,
            0,
            shape,
            baud,
            1,
            static_cast<unsigned char>(outputs),
            static_cast<unsigned char>(outputs >> 8),
            0};
}

Bytes step(unsigned char milliseconds, const Bytes &bytes)
{
    return Bytes{milliseconds, static_cast<unsigned char>(bytes.size())} + bytes;
}

void captureSessions()
{
    const auto all = commands();
    for (unsigned char shape = 0; shape < 4; ++shape) {
        Bytes session = unit(shape, 1, 0x0024);
        for (const auto &[name, command] : all)
            session = std::move(session) + step(15, command) + step(31, {});
        save("device", "every_command_shape_" + std::to_string(shape), session);
    }
    const Bytes &get = all.at("get_settings");
    const Bytes pause{1, 242};
    save("device", "half_a_command",
         unit(0, 1, 0x00FF) + step(5, {get.begin(), get.begin() + 7}) + pause + step(0, get));
    save("device", "power_cycle",
         unit(0, 4, 0x01FF) + step(9, all.at("set_data_rate")) + Bytes{20, 240} + pause +
             step(3, get));
    save("device", "wrong_speed", unit(0, 1, 0x0004) + Bytes{3, 241} + get + pause + step(3, get));
    save("device", "collects_points",
         unit(0, 1, 0x0004) + step(3, all.at("start_calibration")) + pause + pause + pause +
             step(0, all.at("stop_calibration")) + step(9, all.at("calibration_data")) + pause);
}

// --- Operations of fuzz_conversation -----------------------------------------------------------

Bytes operation(unsigned char choice, std::uint32_t first, std::uint32_t second)
{
    return Bytes{choice} + u32(first) + u32(second);
}

Bytes during(const Bytes &bytes)
{
    return Bytes{static_cast<unsigned char>(bytes.size())} + bytes;
}

void captureConversations()
{
    CommandBuilder build;
    const auto all = commands();
    const auto reply = [&](const char *name) { return during(replyTo(all.at(name))); };
    const Bytes nothing = during({});

    std::array<float, 12> counted;
    for (std::size_t i = 0; i < counted.size(); ++i)
        counted[i] = static_cast<float>(i);
    const Bytes setCounted = build.setMagneticCalibration(counted.data(), counted.data() + 3);

    save("conversation", "set_data_rate", operation(0, 200, 0) + nothing + reply("set_data_rate"));
    save("conversation", "set_outputs", operation(1, 0x0104, 0) + reply("set_outputs"));
    save("conversation", "set_zero_threshold",
         operation(2, 0x3CA3D70A, 0) + nothing + reply("set_zero_threshold"));
    save("conversation", "save", operation(3, 0, 0) + nothing + nothing + reply("save"));
    save("conversation", "factory_reset", operation(4, 0, 0) + reply("factory_reset"));
    save("conversation", "load_settings", operation(5, 0, 0) + nothing + reply("get_settings"));

    Bytes speed = operation(6, 4, 0);
    for (int i = 0; i < 20; ++i)
        speed = std::move(speed) + nothing;
    save("conversation", "set_baud_rate",
         speed + during(stream(0x0004, 15ms)) + nothing + reply("get_settings"));

    save("conversation", "start_calibration", operation(7, 0, 0) + reply("start_calibration"));
    save("conversation", "stop_calibration", operation(8, 0, 0) + reply("stop_calibration"));
    save("conversation", "calibration_size", operation(9, 0, 0) + reply("calibration_size"));
    save("conversation", "calibration_data", operation(10, 0, 128) + reply("calibration_data"));
    save("conversation", "set_calibration", operation(11, 0, 0) + during(replyTo(setCounted)));
    save("conversation", "wait", operation(12, 9, 0) + nothing + reply("set_outputs"));
    save("conversation", "several",
         operation(0, 200, 0) + reply("set_data_rate") + operation(3, 0, 0) + reply("save") +
             operation(5, 0, 0) + reply("get_settings") + operation(10, 0, 128) +
             reply("calibration_data"));
}

// --- Points for the fit ------------------------------------------------------------------------

void captureReadings()
{
    const sim::Sensors sensors(sim::Motion::Tumble, 1);
    Bytes readings{0};
    for (int i = 0; i < 24; ++i) {
        const Eigen::Vector3f field = sensors.rawField(i * 400ms).cast<float>();
        const auto *first = reinterpret_cast<const unsigned char *>(field.data());
        readings.insert(readings.end(), first, first + 3 * sizeof(float));
    }
    save("fit", "readings", readings);
    save("fit", "one_reading", {readings.begin(), readings.begin() + 13});
    save("fit", "none", {0});

    const Bytes infinity{0x00, 0x00, 0x80, 0x7F};
    const Bytes nan{0x00, 0x00, 0xC0, 0x7F};
    const Bytes denormal{0x01, 0x00, 0x00, 0x00};
    const Bytes largest{0xFF, 0xFF, 0x7F, 0x7F};
    save("fit", "not_finite", readings + infinity + nan + infinity + nan + nan + nan);
    save("fit", "extreme", Bytes{0} + denormal + largest + denormal + largest + denormal + largest);
    save("fit", "plane", {1, 0, 1, 2, 0, 3, 4, 0, 250, 6, 0, 7, 200, 0, 9, 10, 0, 11, 12, 0});
    save("fit", "line", {1, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 250, 250, 250, 9, 9, 9});
    save("fit", "repeated", {1, 0, 5, 6, 7, 5, 6, 7, 5, 6, 7, 5, 6, 7, 5, 6, 7, 5, 6, 7});
    save("fit", "ellipsoid", {2, 10, 20, 200, 130, 90, 250, 33, 12});
    save("fit", "sphere", {2, 0, 0, 0, 0, 0, 0, 0, 0});
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::cerr << "usage: capture DIRECTORY\n";
        return 2;
    }
    g_corpus = argv[1];
    captureStreams();
    captureReplies();
    captureSessions();
    captureConversations();
    captureReadings();
    return 0;
}
