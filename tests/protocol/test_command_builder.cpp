#include <array>

#include <QTest>

#include "protocol/command_builder.h"
#include "tests/fixtures/bytes.h"

using bytes::hex;

namespace {

QByteArray bytesOf(const CommandBuilder::Packet &packet)
{
    return {reinterpret_cast<const char *>(packet.data()), static_cast<qsizetype>(packet.size())};
}

} // namespace

class TestCommandBuilder : public QObject
{
    Q_OBJECT

private slots:
    void firstPacketOfEachCommand_data();
    void firstPacketOfEachCommand();
    void magneticCalibration();
    void fillerKeepsBytesOfThePreviousCommand();
    void fillerIsInitiallyZero();
    void checksumIncludesTheFiller();
    void shorterCommandsDoNotChangeTheFiller();
    void payloadOf255Bytes();
    void greatestChecksumOfACommand();
    void emptyPayload();
};

void TestCommandBuilder::firstPacketOfEachCommand_data()
{
    QTest::addColumn<QByteArray>("built");
    QTest::addColumn<QByteArray>("packet");

    const auto add = [](const char *name, const CommandBuilder::Packet &built, const char *packet) {
        QTest::newRow(name) << bytesOf(built) << hex(packet);
    };
    const auto builder = [] { return CommandBuilder(); };
    add("data rate 100", builder().setDataRate(100), "53 43 0C 00 0D 08 64 00 00 00 79 00");
    add("data rate 1000", builder().setDataRate(1000), "53 43 0C 00 0D 08 E8 03 00 00 00 01");
    add("outputs", builder().setOutputs(0x0167), "53 43 0C 00 0D 09 67 01 00 00 7E 00");
    add("baud rate 115200", builder().setBaudRate(115200), "53 43 0C 00 0D 07 00 C2 01 00 D7 00");
    add("baud rate 921600", builder().setBaudRate(921600), "53 43 0C 00 0D 07 00 10 0E 00 32 00");
    add("zero threshold 0.02", builder().setZeroThreshold(0.02F),
        "53 43 0C 00 0D 17 0A D7 A3 3C E4 01");
    add("get settings", builder().getSettings(), "53 43 0C 00 0C 07 08 09 10 11 45 00");
    add("save settings", builder().saveSettings(0x0267), "53 43 09 00 0B 67 02 74 00");
    add("factory reset", builder().revertToFactorySettings(0x0267), "53 43 09 00 0A 67 02 73 00");
    add("start calibration", builder().single(protocol::START_CALIBRATION), "53 43 07 00 12 12 00");
    add("stop calibration", builder().single(protocol::STOP_CALIBRATION), "53 43 07 00 13 13 00");
    add("calibration data size", builder().single(protocol::CALIBRATION_DATA_SIZE),
        "53 43 07 00 15 15 00");
    add("calibration data", builder().getCalibrationData(0x04030201, 0x08070605),
        "53 43 0F 00 14 01 02 03 04 05 06 07 08 38 00");
}

void TestCommandBuilder::firstPacketOfEachCommand()
{
    QFETCH(QByteArray, built);
    QFETCH(QByteArray, packet);
    QCOMPARE(built, packet);
}

// Payload of 50 bytes: SET, parameter, bias, then the matrix in the given order.
void TestCommandBuilder::magneticCalibration()
{
    const std::array<float, 3> bias{1, 2, -1};
    const std::array<float, 9> matrix{1, 0, 0, 0, 2, 0, 0, 0, -1};
    CommandBuilder builder;
    QCOMPARE(bytesOf(builder.setMagneticCalibration(bias.data(), matrix.data())),
             hex("53 43 38 00 0D 0F"
                 "0000803F 00000040 000080BF"
                 "0000803F 00000000 00000000"
                 "00000000 00000040 00000000"
                 "00000000 00000000 000080BF"
                 "98 04"));
}

// The 16-bit set commands have the size of the 32-bit ones. The two bytes after the value keep what
// the previous command left in the payload buffer.
void TestCommandBuilder::fillerKeepsBytesOfThePreviousCommand()
{
    CommandBuilder builder;
    builder.setBaudRate(0xAABBCCDD);
    QCOMPARE(bytesOf(builder.setDataRate(100)), hex("53 43 0C 00 0D 08 64 00 BB AA DE 01"));
    builder.getSettings();
    QCOMPARE(bytesOf(builder.setOutputs(4)), hex("53 43 0C 00 0D 09 04 00 10 11 3B 00"));
    builder.getCalibrationData(0, 0x01000000);
    QCOMPARE(bytesOf(builder.setOutputs(4)), hex("53 43 0C 00 0D 09 04 00 00 00 1A 00"));
    builder.setZeroThreshold(0.02F);
    QCOMPARE(bytesOf(builder.setDataRate(50)), hex("53 43 0C 00 0D 08 32 00 A3 3C 26 01"));
}

void TestCommandBuilder::fillerIsInitiallyZero()
{
    CommandBuilder builder;
    QCOMPARE(bytesOf(builder.setOutputs(0xFFFF)), hex("53 43 0C 00 0D 09 FF FF 00 00 14 02"));
    QCOMPARE(bytesOf(builder.setDataRate(0)), hex("53 43 0C 00 0D 08 00 00 00 00 15 00"));
}

void TestCommandBuilder::checksumIncludesTheFiller()
{
    CommandBuilder builder;
    builder.setBaudRate(0xFFFF0000);
    QCOMPARE(bytesOf(builder.setOutputs(0)), hex("53 43 0C 00 0D 09 00 00 FF FF 14 02"));
}

void TestCommandBuilder::shorterCommandsDoNotChangeTheFiller()
{
    CommandBuilder builder;
    builder.setBaudRate(0xAABBCCDD);
    builder.saveSettings(0x1111);
    builder.revertToFactorySettings(0x1111);
    builder.single(protocol::START_CALIBRATION);
    QCOMPARE(bytesOf(builder.setDataRate(100)), hex("53 43 0C 00 0D 08 64 00 BB AA DE 01"));
}

void TestCommandBuilder::payloadOf255Bytes()
{
    std::array<unsigned char, 256> payload{};
    payload.fill(0x02);
    QCOMPARE(bytesOf(CommandBuilder::prepareProtocolPacket(payload.data(), 255)),
             hex("53 43 05 01") + QByteArray(255, '\x02') + hex("FE 01"));
}

// 255 x 255 = 65025, so the checksum of a command always fits into 16 bits. The tests of the wire
// format cover its truncation for longer packets.
void TestCommandBuilder::greatestChecksumOfACommand()
{
    std::array<unsigned char, 255> payload{};
    payload.fill(0xFF);
    QCOMPARE(bytesOf(CommandBuilder::prepareProtocolPacket(payload.data(), 255)).last(2),
             hex("01 FE"));
}

void TestCommandBuilder::emptyPayload()
{
    QCOMPARE(bytesOf(CommandBuilder::prepareProtocolPacket(nullptr, 0)), hex("53 43 06 00 00 00"));
}

QTEST_APPLESS_MAIN(TestCommandBuilder)
#include "test_command_builder.moc"
