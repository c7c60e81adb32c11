#include "tests/recordings/expectation.h"

#include <cctype>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

Expectation::Call parseCall(const std::string &line)
{
    std::istringstream words(line);
    std::string call;
    Expectation::Call parsed{};
    words >> call >> parsed.position >> std::ws;
    std::string rest;
    std::getline(words, rest);
    const std::size_t equals = rest.find(" = ");
    if (!words || equals == std::string::npos)
        throw std::runtime_error("no call: " + line);
    parsed.request = rest.substr(0, equals);
    parsed.result = rest.substr(equals + 3);
    return parsed;
}

Expectation::Packet parsePacket(const std::string &line)
{
    static const std::set<std::string> kWithoutSample{"dropped", "reply", "nothing"};
    std::istringstream words(line);
    Expectation::Packet parsed{};
    words >> parsed.position >> std::ws;
    std::getline(words, parsed.sample);
    if (!words)
        throw std::runtime_error("no packet: " + line);
    if (kWithoutSample.contains(parsed.sample))
        parsed.sample.clear();
    return parsed;
}

} // namespace

Expectation readExpectation(const std::string &path)
{
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    Expectation expectation;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("call "))
            expectation.calls.push_back(parseCall(line));
        else if (!line.starts_with('#'))
            expectation.packets.push_back(parsePacket(line));
    }
    return expectation;
}

std::vector<std::string> Expectation::announcements() const
{
    static const std::set<std::string> kAnnounced{"quaternion", "field", "raw"};
    std::vector<std::string> found;
    for (const Packet &packet : packets) {
        std::istringstream words(packet.sample);
        bool announced = false;
        for (std::string word; words >> word;) {
            const bool isName = std::islower(static_cast<unsigned char>(word.front())) != 0 &&
                                word != "nan" && word != "inf";
            if (isName)
                announced = kAnnounced.contains(word);
            if (isName && announced)
                found.push_back(word);
            else if (announced)
                found.back() += ' ' + word;
        }
    }
    return found;
}
