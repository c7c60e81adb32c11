// The simulated device over time: commands, partial commands and garbage arrive, time passes, and
// the power is cycled, with any faults. The device sends only packets, its time always advances,
// and it replies afterwards.
//
// An input is nine bytes that configure the device, then steps: the milliseconds that pass, then a
// length byte and that many bytes for the device, or one of the actions below instead of a length.

#include "fuzz/check.h"
#include "fuzz/input.h"
#include "fuzz/packets.h"

#include "sim/Device.h"

#include <algorithm>
#include <array>

namespace {

using namespace std::chrono_literals;
using sim::Time;

constexpr std::array<std::uint32_t, 7> kBauds{57600,  115200,  230400, 460800,
                                              921600, 1000000, 1500000};
constexpr std::array<std::uint16_t, 8> kRates{50, 100, 200, 400, 500, 1000, 0, 7};

enum Action : std::uint8_t { PowerCycle = 240, WrongSpeed, LongPause, OtherPayload };

template <typename T, std::size_t N>
bool isOneOf(T value, const std::array<T, N> &values)
{
    return std::find(values.begin(), values.end(), value) != values.end();
}

sim::Faults readFaults(fuzz::Input &input)
{
    const std::uint8_t kinds = input.byte();
    const std::uint8_t code = input.byte() % protocol::kBlockCodeCount;
    const std::uint8_t amount = input.byte();
    const auto has = [kinds](int bit) { return (kinds >> bit & 1) != 0; };
    sim::Faults faults;
    faults.silent = has(0) && has(1);
    faults.corruptEvery = has(1) ? amount % 5 : 0;
    faults.noiseBytes = has(2) ? amount : 0;
    faults.byteLoss = has(3) ? amount / 255.0 : 0;
    if (has(4))
        faults.refuse.insert(code);
    if (has(5))
        faults.wrongEcho.insert(code);
    if (has(6))
        faults.noReply.insert(code);
    if (has(7)) {
        faults.lateReply[code] = std::chrono::milliseconds(amount);
        faults.baudChangeDelay = std::chrono::milliseconds(amount);
    }
    return faults;
}

sim::DeviceOptions readOptions(fuzz::Input &input)
{
    sim::DeviceOptions options;
    options.faults = readFaults(input);
    options.faults.replyShape = static_cast<sim::ReplyShape>(input.byte() % 4);
    options.settings.baud = kBauds[input.byte() % kBauds.size()];
    options.settings.rateHz = kRates[input.byte() % kRates.size()];
    options.settings.outputs = input.value<std::uint16_t>();
    options.seed = 1;
    options.motion = sim::Motion::Hand;
    return options;
}

// Checks the output of a device without faults that damage bytes: whole packets, one after another.
class PacketSplitter
{
public:
    void take(protocol::Bytes bytes)
    {
        m_pending.insert(m_pending.end(), bytes.begin(), bytes.end());
        while (m_pending.size() >= protocol::kHeaderSize) {
            const auto length = protocol::readField<std::uint16_t>(m_pending.data() + 2);
            FUZZ_CHECK(m_pending[0] == 'S' && (m_pending[1] == 'D' || m_pending[1] == 'G'));
            // A host drops longer packets.
            FUZZ_CHECK(length >= protocol::kFrameSize && length <= protocol::kMaxPacketSize);
            if (m_pending.size() < length)
                return;
            FUZZ_CHECK(protocol::isIntact(m_pending.data(), length));
            m_pending.erase(m_pending.begin(), m_pending.begin() + length);
        }
    }

private:
    std::vector<unsigned char> m_pending;
};

class Session
{
public:
    explicit Session(fuzz::Input input)
        : m_input(input)
        , m_options(readOptions(m_input))
        , m_device(m_options)
        , m_intact(m_options.faults.corruptEvery == 0 && m_options.faults.noiseBytes == 0 &&
                   m_options.faults.byteLoss == 0)
    {
    }

    void run()
    {
        const bool asksAfterwards = m_input.byte() % 8 == 0;
        while (!m_input.isEmpty())
            step();
        checkMemory();
        if (asksAfterwards)
            checkAnswers();
    }

private:
    void step()
    {
        pass(m_input.byte() % 32 * 1ms);
        const std::uint8_t size = m_input.byte();
        switch (size) {
        case PowerCycle:
            m_device.powerCycle(m_now);
            m_intact = false; // the power cycle may have cut a packet
            return;
        case WrongSpeed:
            m_device.receive(m_input.take(20), m_device.lineBaud() + 1, m_now);
            return;
        case LongPause:
            return pass(150ms);
        case OtherPayload: {
            const std::uint8_t code = m_input.byte() % protocol::kBlockCodeCount;
            const protocol::Bytes payload = m_input.take(m_input.byte());
            m_device.faults().replyPayload[code].assign(payload.begin(), payload.end());
            return;
        }
        default:
            m_device.receive(m_input.take(size), m_device.lineBaud(), m_now);
        }
    }

    void pass(Time time)
    {
        m_now += time;
        Time last{0};
        while (const auto sent = m_device.transmit(m_now)) {
            FUZZ_CHECK(sent->done >= last && sent->done <= m_now);
            last = sent->done;
            if (m_intact)
                m_splitter.take(sent->bytes);
            m_collected.insert(m_collected.end(), sent->bytes.begin(), sent->bytes.end());
        }
        FUZZ_CHECK(m_device.now() == m_now);
        FUZZ_CHECK(m_device.nextEvent() > m_now);
    }

    void checkMemory()
    {
        for (const sim::Settings &settings :
             {m_device.memory().working, m_device.memory().stored}) {
            FUZZ_CHECK(isOneOf(settings.baud, kBauds));
            FUZZ_CHECK(isOneOf(settings.rateHz, kRates));
        }
        for (const std::vector<unsigned char> &command : m_device.receivedCommands()) {
            FUZZ_CHECK(command.size() >= 6 && command.size() <= 261);
            FUZZ_CHECK(protocol::isIntact(command.data(), static_cast<int>(command.size())));
        }
        FUZZ_CHECK(m_device.calibrationStore().size() <= 100 * 128);
    }

    // The device replies to a command after its faults have been removed and late replies have
    // arrived.
    void checkAnswers()
    {
        m_device.faults() = {};
        m_intact = false; // a power cycle may have dropped the second half of a broken reply
        pass(600ms);
        m_collected.clear();
        constexpr std::array<unsigned char, 8> kGetSerial{0x53, 0x43, 0x08, 0x00,
                                                          0x0C, 0x11, 0x1D, 0x00};
        m_device.receive(kGetSerial, m_device.lineBaud(), m_now);
        pass(300ms);
        constexpr std::array<unsigned char, 11> kSerial{0x53, 0x47, 0x0B, 0x00, 0x11, 0xEE,
                                                        0xFF, 0xC0, 0x00, 0xBE, 0x02};
        FUZZ_CHECK(std::search(m_collected.begin(), m_collected.end(), kSerial.begin(),
                               kSerial.end()) != m_collected.end());
    }

    fuzz::Input m_input;
    sim::DeviceOptions m_options;
    sim::Device m_device;
    bool m_intact;
    PacketSplitter m_splitter;
    std::vector<unsigned char> m_collected;
    Time m_now{0};
};

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t maxSize, unsigned seed)
{
    return fuzz::mutateStream(data, size, maxSize, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Session({data, size}).run();
    return 0;
}
