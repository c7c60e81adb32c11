// The options for faults.

#include "sim/cli/options.h"

#include "sim/cli/option_values.h"

namespace sim {

namespace {

using std::chrono::milliseconds;

constexpr Time kStallAt = std::chrono::seconds(5); // after the start

const std::map<std::string, ReplyShape> kReplyShapes{{"whole", ReplyShape::Whole},
                                                     {"split", ReplyShape::Split},
                                                     {"broken", ReplyShape::Broken},
                                                     {"joined", ReplyShape::Joined}};

std::function<void(double)> storeSeconds(std::optional<milliseconds> &time)
{
    return [&time](double seconds) {
        time = milliseconds(static_cast<milliseconds::rep>(seconds * 1000));
    };
}

} // namespace

void Options::addFaultOptions()
{
    Configuration &c = m_configuration;
    Faults &faults = c.device.faults;
    CLI::App &app = optionsOf(kFaultGroup);
    const auto insertInto = [](std::set<unsigned char> &codes) {
        return [&codes](const std::string &option, const std::string &value) {
            codes.insert(blockCode(option, value));
        };
    };
    app.add_flag("--silent", faults.silent, "Sends nothing");
    addEach(app, "--no-reply", "CODE", "Obeys, but does not answer", insertInto(faults.noReply));
    addEach(app, "--wrong-echo", "CODE", "Answers with a wrong value",
            insertInto(faults.wrongEcho));
    addEach(app, "--refuse", "CODE", "Answers, but does not obey", insertInto(faults.refuse));
    addEach(app, "--ignore", "CODE[:N]", "Ignores the first N [1]",
            [&faults](const std::string &option, const std::string &value) {
                faults.ignoreFirst.insert_or_assign(codeAndValue(option, value, 1).first,
                                                    codeAndValue(option, value, 1).second);
            });
    addEach(app, "--late-reply", "CODE:MS", "Answers that much later",
            [&faults](const std::string &option, const std::string &value) {
                const auto [code, delay] = codeAndValue(option, value, std::nullopt);
                faults.lateReply[code] = milliseconds(delay);
            });
    addChoice(app, "--reply-shape", "SHAPE",
              "whole, split (GET: a packet per parameter), broken (in halves), joined (with data)",
              kReplyShapes, faults.replyShape);
    app.add_option_function<unsigned>(
           "--slow-baud-change",
           [&faults](unsigned delay) { faults.baudChangeDelay = milliseconds(delay); },
           "Receives and sends nothing for that long before a new baud rate holds")
        ->type_name("MS");
    app.add_option("--corrupt", faults.corruptEvery, "Every Nth packet has a wrong checksum")
        ->check(CLI::Range(1, 1'000'000).description(""))
        ->type_name("N");
    app.add_option("--noise", faults.noiseBytes, "Arbitrary bytes before every packet")
        ->check(CLI::Range(0, 10'000).description(""))
        ->type_name("N");
    addNumber(app, "--lose", "P", "Probability of each byte to be lost, 0 to 1", 0, 1,
              [&faults](double probability) { faults.byteLoss = probability; });
    addNumber(app, "--bit-errors", "P", "Probability of each bit to be inverted, 0 to 1", 0, 1,
              [&faults](double probability) { faults.bitErrors = probability; });
    addEach(app, "--fault", "NAME", "power-loss-while-saving or stalled-output, once",
            [&c](const std::string &option, const std::string &name) {
                if (name == "power-loss-while-saving")
                    c.device.faults.powerLossesWhileSaving = 1;
                else if (name == "stalled-output")
                    c.line.outputStallsAt = kStallAt;
                else
                    refuse(option, name);
            });
    addNumber(app, "--unplug-after", "S", "Pull the cable then", 0, kLongestWait,
              storeSeconds(c.unplugAfter));
    addNumber(app, "--return-after", "S", "And put it back that much later", 0, kLongestWait,
              storeSeconds(c.returnAfter));
    app.get_option("--return-after")->needs(app.get_option("--unplug-after"));
}

} // namespace sim
