#include "driver/imu.h"

#include <algorithm>
#include <limits>

#include <boost/make_shared.hpp>

#include <QDebug>

using namespace std::chrono_literals;
using namespace protocol;

imu::imu(QObject *parent)
    : QObject(parent)
    , m_sleeper([](std::chrono::milliseconds duration) {
        boost::this_thread::sleep_for(boost::chrono::milliseconds(duration.count()));
    })
    , m_port(m_context)
{
}

imu::~imu() = default;

void imu::setSleeper(Sleeper sleeper)
{
    m_sleeper = std::move(sleeper);
}

// --- Threads -----------------------------------------------------------------------------------

void imu::start()
{
    if (m_loopThread)
        return;
    m_loopThread = boost::make_shared<boost::thread>(&imu::loop, this);
}

void imu::stop()
{
    if (m_loopThread)
        m_loopThread->interrupt();
}

void imu::spin()
{
    if (m_loopThread)
        m_loopThread->join();
}

void imu::loop()
{
    armRead();
    // The interruption destroys this object and so detaches the thread: the reader thread continues
    // after stop().
    const boost::thread reader([context = &m_context] { context->run(); });
    for (;;)
        boost::this_thread::sleep_for(boost::chrono::milliseconds(100));
}

// Each read handler starts the next read, even while the port is closed and every read fails at
// once. Opening the port therefore does not need to start or wake a thread.
void imu::armRead()
{
    const unsigned int openCount = m_port.asyncReadByte(
        m_receiveByte,
        [self = shared_from_this()](const boost::system::error_code &error, std::size_t count) {
            self->readHandler(error, count);
        });
    // The port was closed and reopened between two reads, so no read failed. A packet begun in the
    // old session must not be completed in the new one.
    if (openCount != m_readOpenCount)
        m_framer.reset();
    m_readOpenCount = openCount;
}

// A byte read before the port was reopened is treated as a failed read. Otherwise it could complete
// a packet of the old session, and that sample would count as proof that the device streams in the
// new one.
void imu::readHandler(const boost::system::error_code & /*error*/, unsigned long count)
{
    if (count != 1 || m_readOpenCount != m_port.openCount())
        m_framer.reset();
    else if (m_framer.feed(m_receiveByte))
        decodeReceived();
    armRead();
}

void imu::decodeReceived()
{
    const boost::mutex::scoped_lock lock(m_lock);
    if (m_readOpenCount == m_port.openCount())
        decode(m_framer.packet(), m_framer.length());
}

bool imu::processPacket(const unsigned char *packet, int length)
{
    const boost::mutex::scoped_lock lock(m_lock);
    return decode(packet, length);
}

bool imu::decode(const unsigned char *packet, int length)
{
    const bool intact =
        decodePacket(packet, length, m_store, [this](BlockCode code) { emitSignalOf(code); });
    (intact ? m_packets : m_damaged).add();
    return intact;
}

void imu::emitSignalOf(BlockCode code)
{
    switch (code) {
    case QUATERNION: {
        const auto &q = m_store.quaternion;
        m_samples.add();
        emit quaternionUpdated(q[0], q[1], q[2], q[3]);
        m_streaming = true;
        return;
    }
    case MAGNETIC_FIELD: {
        const auto &field = m_store.magneticField;
        emit MagneticFieldUpdated(field[0], field[1], field[2]);
        return;
    }
    case MAGNETIC_FIELD_RAW: {
        const auto &field = m_store.magneticFieldRaw;
        emit MagneticFieldRawUpdated(field[0], field[1], field[2]);
        return;
    }
    default:
        return;
    }
}

// --- Link --------------------------------------------------------------------------------------

bool imu::connect(std::string port, int baud, int /*dataBits*/, int /*parity*/, int /*stopBits*/)
{
    const boost::mutex::scoped_lock lock(m_lock);
    if (m_connected)
        return true;
    m_streaming = false;
    m_portName = std::move(port);
    m_store.baudRate = static_cast<std::uint32_t>(baud);
    m_port.open(m_portName, static_cast<unsigned int>(baud));
    m_connected = true;
    return true;
}

bool imu::disconnect()
{
    const boost::mutex::scoped_lock lock(m_lock);
    if (m_connected) {
        // Cleared first, because the port is closed even if close() throws.
        m_connected = false;
        m_port.close();
    }
    return true;
}

int imu::readNBytes(int n, unsigned char *destination)
{
    const boost::mutex::scoped_lock lock(m_lock);
    if (!m_connected || n <= 0)
        return 0;
    return static_cast<int>(m_port.readSome(destination, static_cast<std::size_t>(n)));
}

LinkStatistics imu::statistics() const
{
    return {m_port.openCount(), m_port.discarded(), m_packets.value(), m_damaged.value(),
            m_samples.value()};
}

void imu::waitForNBytes(int n)
{
    while (m_port.isOpen() && static_cast<int>(m_port.bytesWaiting()) < n) {
    }
}

// --- Samples -----------------------------------------------------------------------------------

template <std::size_t N>
bool imu::readFresh(int code, const std::array<float, N> &from, float *to)
{
    std::array<float, N> value;
    if (!readFresh(code, from, &value))
        return false;
    std::copy(value.begin(), value.end(), to);
    return true;
}

bool imu::getQuaternion_(float *xyzw)
{
    return readFresh(QUATERNION, m_store.quaternion, xyzw);
}

bool imu::getEuler_(float *rpy)
{
    return readFresh(EULER, m_store.euler, rpy);
}

bool imu::getAccelerations_(float *xyz)
{
    return readFresh(ACCELERATIONS, m_store.accelerations, xyz);
}

bool imu::getRates_(float *xyz)
{
    return readFresh(RATES, m_store.rates, xyz);
}

bool imu::getMagneticField_(float *xyz)
{
    return readFresh(MAGNETIC_FIELD, m_store.magneticField, xyz);
}

bool imu::getMagneticFieldRaw_(float *xyz)
{
    return readFresh(MAGNETIC_FIELD_RAW, m_store.magneticFieldRaw, xyz);
}

bool imu::getCovariances_(float *values)
{
    return readFresh(COVARIANCES, m_store.covariances, values);
}

bool imu::getAltitude_(float *value)
{
    return readFresh(ALTITUDE, m_store.altitude, value);
}

namespace {

template <std::size_t N>
std::vector<float> vectorFrom(imu &driver, bool (imu::*get)(float *))
{
    std::array<float, N> value;
    if (!(driver.*get)(value.data()))
        return {};
    return {value.begin(), value.end()};
}

} // namespace

std::vector<float> imu::getQuaternion()
{
    return vectorFrom<4>(*this, &imu::getQuaternion_);
}

std::vector<float> imu::getEuler()
{
    return vectorFrom<3>(*this, &imu::getEuler_);
}

std::vector<float> imu::getAccelerations()
{
    return vectorFrom<3>(*this, &imu::getAccelerations_);
}

std::vector<float> imu::getRates()
{
    return vectorFrom<3>(*this, &imu::getRates_);
}

std::vector<float> imu::getMagneticField()
{
    return vectorFrom<3>(*this, &imu::getMagneticField_);
}

std::vector<float> imu::getMagneticFieldRaw()
{
    std::vector<float> field = vectorFrom<3>(*this, &imu::getMagneticFieldRaw_);
    if (!field.empty())
        qDebug() << "mag raw" << field[0];
    return field;
}

std::vector<float> imu::getCovariances()
{
    return vectorFrom<3>(*this, &imu::getCovariances_);
}

float imu::getAltitude()
{
    float altitude = 0;
    return getAltitude_(&altitude) ? altitude : std::numeric_limits<float>::infinity();
}

bool imu::isSyncEnabled()
{
    const boost::mutex::scoped_lock lock(m_lock);
    return m_connected && m_syncEnabled;
}

bool imu::setSyncEnabled(bool /*enabled*/)
{
    return m_connected;
}
