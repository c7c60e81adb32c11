// Bytes from the line, as the reader thread passes them to the driver: for any bytes the driver's
// values are equal to the model's.

#include <boost/make_shared.hpp>

#include <QtGlobal>

#include "fuzz/driver_check.h"
#include "fuzz/packets.h"
#include "tests/fixtures/pty_port.h"

namespace {

// The getters return values only while a port is open.
const std::string &portPath()
{
    static const PtyPort port;
    return port.path();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // The driver prints every raw field; drop that output.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t *data, std::size_t size,
                                               std::size_t maxSize, unsigned seed)
{
    return fuzz::mutateStream(data, size, maxSize, seed);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const auto driver = boost::make_shared<imu>(nullptr);
    driver->connect(portPath(), 115200, 8, 0, 1);
    const fuzz::SignalCounter seen(*driver);
    fuzz::ReceiverModel model;

    int packets = 0;
    for (const std::uint8_t byte : protocol::Bytes(data, size)) {
        driver->receiveByte(byte);
        // Not after each packet, so that later packets also replace values that no getter has
        // returned.
        if (model.feed(byte) && ++packets % 3 == 0)
            fuzz::checkSamples(*driver, model);
    }
    fuzz::checkSamples(*driver, model);
    fuzz::checkSettings(*driver, model);
    fuzz::checkSignals(seen, model);
    return 0;
}
