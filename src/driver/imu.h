#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/smart_ptr/enable_shared_from_this.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>

#include <QObject>

#include "driver/command_table.h"
#include "driver/link_statistics.h"
#include "protocol/command_builder.h"
#include "protocol/decoder.h"
#include "protocol/framer.h"
#include "protocol/sample_store.h"
#include "serial/serial_port.h"

// Driver of the device on a serial line: link, samples and commands.
//
// A boost::shared_ptr must own it, because the reader thread holds a reference. Order of calls:
// construct, start(), any number of connect()/disconnect() pairs, then stop() and disconnect() at
// shutdown. The reader thread never stops: it runs and holds its reference until the process ends.
//
// Threads: public operations may be called from any thread but the reader's. Commands block their
// caller with sleeps until the device answers. Signals are emitted on the reader thread with the
// driver's lock held, so a direct connection must not call back into the driver.
//
// Errors: operations return false, 0, an empty vector or the value stated; errors of the port are
// thrown as boost::system::system_error ("open", "set_option", "close", "read_some",
// "write_some"). No message is shown.
//
// Values are in the device's units and are returned exactly as received.
class imu : public QObject, public boost::enable_shared_from_this<imu>
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(imu)

public:
    using Sleeper = std::function<void(std::chrono::milliseconds)>;

    explicit imu(QObject *parent);
    ~imu() override;

    // --- Link ---------------------------------------------------------------------------------

    // Starts the loop thread and the reader thread. Call it before the first connect(). Further
    // calls have no effect, even after stop().
    void start();
    // Requests the loop thread to end and does not wait. The reader thread keeps running.
    void stop();
    // Joins the loop thread. Throws boost::thread_resource_error from the loop thread itself.
    void spin();

    // Opens the device path at `baud`. If already connected, returns true at once and ignores the
    // arguments. The last three arguments are always ignored: the line has 8 data bits and no
    // parity, and keeps its stop bits.
    bool connect(std::string port, int baud, int dataBits, int parity, int stopBits);
    bool disconnect();

    // One blocking read of up to n bytes; 0 if not connected. Competes with the reader thread.
    int readNBytes(int n, unsigned char *destination);
    // Spins until n bytes wait in the input queue or the port is closed.
    void waitForNBytes(int n);

    // Any thread, no lock: cheap enough to call in every iteration of a loop.
    LinkStatistics statistics() const;

    // Changes the baud rate of device and port, then waits without limit for the device to stream.
    bool setBaudRate(unsigned int baud);

    // --- Samples: each is returned once --------------------------------------------------------

    std::vector<float> getQuaternion(); // x, y, z, w; empty if nothing new
    std::vector<float> getEuler();      // roll, pitch, yaw
    std::vector<float> getAccelerations();
    std::vector<float> getRates();
    std::vector<float> getMagneticField();
    std::vector<float> getMagneticFieldRaw();
    std::vector<float> getCovariances();
    float getAltitude(); // positive infinity if nothing new

    int getDataRate(); // Hz; 0 if nothing new, like the two below
    int getBaudRate();
    unsigned short getOutputs();

    // Last values received, 0 before the first or when not connected.
    int getFirmwareVersion() const;
    int getHardwareVersion() const;
    unsigned int getSerialNumber() const;

    // The sync feature is not implemented: isSyncEnabled() is always false, and setSyncEnabled()
    // sends nothing.
    bool isSyncEnabled();
    bool setSyncEnabled(bool enabled);

    // --- Settings ------------------------------------------------------------------------------

    bool setDataRate(int rateHz);           // retries without limit
    bool setOutputs(unsigned short mask);   // up to 1002 attempts
    void setZeroThreshold(float threshold); // retries without limit
    bool saveSettings();                    // retries without limit
    bool revertToFactorySettings();         // retries without limit
    bool loadSettings();                    // up to 101 attempts, about 20 s
    void resetSettingsFlags();
    // Waits up to about 90 ms for the fresh flag of a block code. Does not clear the flag.
    bool waitForResponse(int code);

    // --- Magnetometer calibration --------------------------------------------------------------

    bool startCalibration();
    bool stopCalibration();
    unsigned int getCalibrationDataSize(); // 0 on failure
    std::vector<float> getCalibrationData(unsigned int first, unsigned int second);
    // bias: 3 floats; matrix: 9 floats, sent in the order given. Retries without limit.
    bool setMagneticFieldCalibrationData(float *bias, float *matrix);

    // --- One attempt each; the operations above repeat them -----------------------------------

    bool setBaudRate_(unsigned int baud);
    bool setDataRate_(int rateHz);
    bool setOutputs_(unsigned short mask);
    bool setZeroThreshold_(float threshold);
    bool saveSettings_();
    bool revertToFactorySettings_();
    bool loadSettings_();
    bool setMagneticFieldCalibrationData_(float *bias, float *matrix);

    // Copy the value if it is new, and return whether it was.
    bool getQuaternion_(float *xyzw);
    bool getEuler_(float *rpy);
    bool getAccelerations_(float *xyz);
    bool getRates_(float *xyz);
    bool getMagneticField_(float *xyz);
    bool getMagneticFieldRaw_(float *xyz);
    bool getCovariances_(float *values);
    bool getAltitude_(float *value);
    bool getDataRate_(unsigned short *rateHz);
    bool getBaudRate_(unsigned int *baud);
    bool getOutputs_(unsigned short *mask);

    // --- Receiving -----------------------------------------------------------------------------

    // Processes one byte as if received from the line. Public so that tests can pass recorded or
    // malformed bytes to a driver that was not started.
    void receiveByte(unsigned char byte)
    {
        if (m_framer.feed(byte))
            processPacket(m_framer.packet(), m_framer.length());
    }
    // Decodes one packet under the lock. The memory must be readable for kDecoderPadding bytes past
    // `length`.
    bool processPacket(const unsigned char *packet, int length);

    // Replaces the sleep of every waiting command, so that a test of 1002 attempts is fast. Call it
    // before the first command. Commands call `sleeper` on their own thread.
    void setSleeper(Sleeper sleeper);

signals:
    void quaternionUpdated(float x, float y, float z, float w);
    void MagneticFieldUpdated(float x, float y, float z);
    void MagneticFieldRawUpdated(float x, float y, float z);

private:
    void loop();
    void readHandler(const boost::system::error_code &error, unsigned long count);
    void armRead();
    void decodeReceived();
    bool decode(const unsigned char *packet, int length);

    void emitSignalOf(protocol::BlockCode code);

    template <typename From, typename To>
    bool readFresh(int code, const From &from, To *to);
    template <std::size_t N>
    bool readFresh(int code, const std::array<float, N> &from, float *to);

    // Carries out a command as its row of the table says. `build` makes the packet, under the lock.
    // `isConfirmed` runs after each attempt whose replies have arrived; false repeats the attempt.
    // False if not connected or if all attempts failed.
    using Build = std::function<CommandBuilder::Packet()>;
    using Check = std::function<bool()>;
    using Replies = std::span<const protocol::BlockCode>;
    bool perform(
        const command_table::Command &command, const Build &build,
        const Check &isConfirmed = [] { return true; });
    // One attempt, without clearing flags.
    bool performOnce(const command_table::Command &command, const Build &build);
    std::optional<Build> begin(const command_table::Command &command, const Build &build);
    bool send(const command_table::Command &command, const Build &build);
    bool write(const CommandBuilder::Packet &packet, command_table::Writing writing);
    bool awaitReplies(Replies replies, int polls);
    void clearFlags(Replies replies); // under the lock
    bool echoesCalibration(const float *bias, const float *matrix);

    void reconnect(unsigned int baud);
    bool streamsAfter(int steps);
    void loadSettingsAfterBaudChange();
    void sleep(std::chrono::milliseconds duration) const { m_sleeper(duration); }

    // Constant after start().
    Sleeper m_sleeper;
    boost::shared_ptr<boost::thread> m_loopThread;

    // Any thread reads these flags.
    std::atomic<bool> m_connected{false};
    std::atomic<bool> m_streaming{false}; // a quaternion arrived since connect()

    // The driver's lock guards the blocks in the store, the command buffer, and opening and closing
    // the port.
    boost::mutex m_lock;
    SampleStore m_store;
    CommandBuilder m_commands;
    std::string m_portName;
    bool m_syncEnabled = false;

    boost::asio::io_context m_context{1}; // run by one thread
    SerialPort m_port;

    // Counted under the driver's lock.
    LinkCount m_packets;
    LinkCount m_damaged;
    LinkCount m_samples;

    // Reader thread only.
    unsigned char m_receiveByte = 0;
    unsigned int m_readOpenCount = 0; // session of the link when the read began
    Framer m_framer;
};

// --- Shared by the source files of the driver

// Returns without the lock if the flag is not set: the worker thread of the data panel calls this
// millions of times a second and must not delay the reader thread.
template <typename From, typename To>
bool imu::readFresh(int code, const From &from, To *to)
{
    if (!m_connected || !m_store.fresh.test(code))
        return false;
    const boost::mutex::scoped_lock lock(m_lock);
    if (!m_connected || !m_store.fresh.testAndClear(code))
        return false;
    *to = from;
    return true;
}
