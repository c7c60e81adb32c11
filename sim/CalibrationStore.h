#pragma once

#include "driver/protocol.h"

#include <array>
#include <cstdint>
#include <vector>

namespace sim {

// The points the unit has collected, as they lie in its flash.
//
// Pages of 128 bytes: three records of 32 bytes, then 32 bytes of spare area that no reply
// contains. A record is eight floats: two points (x, y, z each), and two floats of housekeeping.
// A host that reads whole pages and skips the last two of every eight floats gets six points each.
class CalibrationStore
{
public:
    static constexpr std::size_t kPageSize = 128;
    static constexpr std::size_t kSpareSize = 32;
    static constexpr std::size_t kPointsPerPage = 6;
    static constexpr std::size_t kMaxPages = 100;

    // Any content and length, for a host to be tried with.
    void setBytes(std::vector<unsigned char> bytes) { m_bytes = std::move(bytes); }
    // Whole pages; the last point is repeated to fill the last one.
    void setPoints(const std::vector<std::array<float, 3>> &points);

    const std::vector<unsigned char> &bytes() const { return m_bytes; }
    std::uint32_t size() const { return static_cast<std::uint32_t>(m_bytes.size()); }

    // What the answer to CALIBRATION_DATA(first, second) carries. A whole page is asked for by its
    // bounds, second being first + 128: its 96 bytes of records. Any other second counts the bytes
    // wanted from first on, at most those 96. Nothing beyond the end of the store.
    std::vector<unsigned char> block(std::uint32_t first, std::uint32_t second) const;

private:
    std::vector<unsigned char> m_bytes;
};

} // namespace sim
