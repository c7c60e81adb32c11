#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "protocol/protocol.h"

namespace sim {

// The collected calibration points in the flash layout of the device.
//
// Pages of 128 bytes: three records of 32 bytes, then 32 bytes of spare area that no reply
// contains. A record is eight floats: two points (x, y, z each), then two housekeeping floats.
// A host that reads whole pages and skips the last two of every eight floats gets six points per
// page.
class CalibrationStore
{
public:
    static constexpr std::size_t kPageSize = 128;
    static constexpr std::size_t kSpareSize = 32;
    static constexpr std::size_t kPointsPerPage = 6;
    static constexpr std::size_t kMaxPages = 100;

    // Accepts any content and length, so that tests can also serve invalid data to a host.
    void setBytes(std::vector<unsigned char> bytes) { m_bytes = std::move(bytes); }
    // Writes whole pages, at most kMaxPages. Repeats the last point to fill the last page.
    void setPoints(const std::vector<std::array<float, 3>> &points);

    // Cuts the end, or pads it with erased flash.
    void resize(std::size_t size) { m_bytes.resize(size, 0xFF); }

    const std::vector<unsigned char> &bytes() const { return m_bytes; }
    std::uint32_t size() const { return static_cast<std::uint32_t>(m_bytes.size()); }

    // The bytes in the reply to CALIBRATION_DATA(first, second). If second is first + 128, the
    // request is for a whole page, and the result is its 96 bytes of records. Any other second is
    // the number of bytes from first on, at most 96. Stops at the end of the store.
    std::vector<unsigned char> block(std::uint32_t first, std::uint32_t second) const;

private:
    std::vector<unsigned char> m_bytes;
};

} // namespace sim
