// Commands that wait for a reply while the device sends arbitrary bytes. A command succeeds only if
// its reply has arrived, the driver sends only complete commands, and it works afterwards.
//
// An input is a sequence of operations: one byte for the choice, two numbers, then the bytes that
// arrive during each sleep, as a length byte and that many bytes. At the end of the input an
// exception from a sleep ends a command after 25 more sleeps, because it might wait without limit.

#include <algorithm>
#include <bit>
#include <iostream>
#include <numeric>

#include <QtGlobal>

#include "fuzz/check.h"
#include "fuzz/driver_check.h"
#include "fuzz/input.h"
#include "fuzz/packets.h"
#include "tests/fixtures/pty_port.h"

namespace {

struct GaveUp
{
};

// Checks the bytes that the host sends: only complete commands.
class SentCommands
{
public:
    void take(const QByteArray &bytes)
    {
        m_pending += bytes;
        while (m_pending.size() >= 4) {
            const auto *packet = reinterpret_cast<const unsigned char *>(m_pending.constData());
            const int length = packet[2] + 256 * packet[3];
            FUZZ_CHECK(packet[0] == 'S' && packet[1] == 'C' && length >= 7 && length <= 261);
            if (m_pending.size() < length)
                return;
            FUZZ_CHECK(protocol::isIntact(packet, length));
            m_pending.remove(0, length);
        }
    }

private:
    QByteArray m_pending;
};

class Conversation
{
public:
    explicit Conversation(fuzz::Input input)
        : m_input(input)
    {
        m_driver.setSleeper([this](std::chrono::milliseconds) { sleep(); });
        open();
    }

    void run()
    {
        while (!m_input.isEmpty()) {
            const std::uint8_t choice = m_input.byte();
            m_first = m_input.value<std::uint32_t>();
            m_second = m_input.value<std::uint32_t>();
            m_stale.merge(m_model.fresh);
            m_model.fresh.clear();
            try {
                operate(choice);
            } catch (const GaveUp &) {
            } catch (const boost::system::system_error &error) {
                FUZZ_CHECK(m_mayFail && std::string(error.what()).starts_with("set_option"));
            }
            m_mayFail = false;
            open();
        }
        checkValues();
        checkStillWorks();
    }

private:
    static constexpr int kIdleSleepLimit = 25;

    // Connects; returns at once if a baud rate change has left the port open.
    void open() { FUZZ_CHECK(m_driver.connect(m_port.path(), 115200, 8, 0, 1)); }

    void sleep()
    {
        m_sent.take(m_port.readAvailable());
        if (m_input.isEmpty() && ++m_idleSleeps > kIdleSleepLimit)
            throw GaveUp();
        const std::size_t size = m_input.byte();
        for (const std::uint8_t byte : m_input.take(size))
            feed(byte);
    }

    void feed(std::uint8_t byte)
    {
        m_driver.receiveByte(byte);
        m_model.feed(byte);
    }

    bool arrived(int code) const { return m_model.fresh.count(code) != 0; }
    bool everArrived(int code) const { return arrived(code) || m_stale.count(code) != 0; }
    std::uint32_t received(std::size_t code) const { return m_model.integers[code]; }

    void operate(std::uint8_t choice)
    {
        switch (choice % 13) {
        case 0:
            return setDataRate();
        case 1:
            return setOutputs();
        case 2:
            m_driver.setZeroThreshold(std::bit_cast<float>(m_first));
            FUZZ_CHECK(everArrived(23));
            return;
        case 3:
            FUZZ_CHECK(m_driver.saveSettings() && arrived(11));
            return;
        case 4:
            FUZZ_CHECK(m_driver.revertToFactorySettings() && arrived(10));
            return;
        case 5:
            return loadSettings();
        case 6:
            return setBaudRate();
        case 7:
            FUZZ_CHECK(!m_driver.startCalibration() || arrived(18));
            return;
        case 8:
            FUZZ_CHECK(!m_driver.stopCalibration() || arrived(19));
            return;
        case 9:
            return calibrationSize();
        case 10:
            return calibrationData();
        case 11:
            return setCalibration();
        case 12:
            FUZZ_CHECK(!m_driver.waitForResponse(static_cast<int>(m_first)) ||
                       everArrived(static_cast<int>(m_first)));
            return;
        }
    }

    void setDataRate()
    {
        const auto rate = static_cast<std::uint16_t>(m_first);
        FUZZ_CHECK(m_driver.setDataRate(rate));
        FUZZ_CHECK(everArrived(8) && received(8) == rate);
    }

    void setOutputs()
    {
        const auto mask = static_cast<std::uint16_t>(m_first);
        if (m_driver.setOutputs(mask))
            FUZZ_CHECK(everArrived(9) && received(9) == mask);
    }

    void loadSettings()
    {
        if (m_driver.loadSettings())
            FUZZ_CHECK(arrived(7) && arrived(8) && arrived(9) && arrived(16) && arrived(17));
    }

    void setBaudRate()
    {
        constexpr std::array<unsigned, 7> kSpeeds{57600,  115200,  230400, 460800,
                                                  921600, 1000000, 12345};
        const int quaternions = m_model.quaternions;
        // The port may support neither the requested baud rate nor the one that the device reported
        // as its own; the driver returns to the latter for the next attempt.
        m_mayFail = true;
        if (m_driver.setBaudRate(kSpeeds[m_first % kSpeeds.size()]))
            FUZZ_CHECK(everArrived(7) && received(7) != 0);
        FUZZ_CHECK(m_model.quaternions > quaternions);
    }

    void calibrationSize()
    {
        const unsigned size = m_driver.getCalibrationDataSize();
        FUZZ_CHECK(arrived(21) ? size == received(21) : size == 0);
    }

    // Whole groups of twelve floats, and of every eight floats the first six.
    void calibrationData()
    {
        const std::vector<float> points = m_driver.getCalibrationData(m_first, m_second);
        std::vector<float> expected;
        for (std::size_t i = 0; arrived(20) && i < m_model.calibration.size() / 12 * 12; ++i) {
            if (i % 8 < 6)
                expected.push_back(m_model.calibration[i]);
        }
        FUZZ_CHECK(fuzz::sameBits(points, expected));
    }

    void setCalibration()
    {
        std::array<float, 12> values;
        std::iota(values.begin(), values.end(), static_cast<float>(m_first % 1000));
        FUZZ_CHECK(m_driver.setMagneticFieldCalibrationData(values.data(), values.data() + 3));
        FUZZ_CHECK(everArrived(15) &&
                   fuzz::sameBits(m_model.floats[15], {values.begin(), values.end()}));
    }

    void checkValues()
    {
        FUZZ_CHECK(m_seen.quaternions == m_model.quaternions);
        FUZZ_CHECK(m_seen.fields == m_model.fields);
        FUZZ_CHECK(m_seen.rawFields == m_model.rawFields);
        FUZZ_CHECK(static_cast<unsigned>(m_driver.getFirmwareVersion()) == received(16));
        FUZZ_CHECK(m_driver.getHardwareVersion() == m_model.hardwareVersion);
        FUZZ_CHECK(m_driver.getSerialNumber() == received(17));
    }

    void checkStillWorks()
    {
        int filling = 0;
        while (!m_model.isHunting()) {
            feed(0);
            FUZZ_CHECK(++filling <= 4096);
        }
        constexpr std::array<std::uint8_t, 23> kQuaternion{
            0x53, 0x44, 0x17, 0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
            0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80, 0x3F, 0xC1, 0x00};
        std::for_each(kQuaternion.begin(), kQuaternion.end(), [this](auto byte) { feed(byte); });
        FUZZ_CHECK((m_driver.getQuaternion() == std::vector<float>{0, 0, 0, 1}));
    }

    fuzz::Input m_input;
    PtyPort m_port;
    imu m_driver{nullptr};
    const fuzz::SignalCounter m_seen{m_driver};
    fuzz::ReceiverModel m_model;
    SentCommands m_sent;
    std::set<int> m_stale; // arrived before the operation, maybe not read since
    std::uint32_t m_first = 0;
    std::uint32_t m_second = 0;
    bool m_mayFail = false;
    int m_idleSleeps = 0;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // setBaudRate() prints its progress on standard output.
    std::cout.setstate(std::ios::failbit);
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t maxSize, unsigned seed)
{
    return fuzz::mutateStream(data, size, maxSize, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Conversation({data, size}).run();
    return 0;
}
