#include "sim/device/calibration_store.h"

#include <algorithm>
#include <cstring>

namespace sim {

namespace {

constexpr std::size_t kPointSize = 3 * sizeof(float);
constexpr std::size_t kRecordSize = 32;
constexpr std::size_t kDataSize = CalibrationStore::kPageSize - CalibrationStore::kSpareSize;

} // namespace

void CalibrationStore::setPoints(const std::vector<std::array<float, 3>> &points)
{
    const std::size_t pages =
        std::min((points.size() + kPointsPerPage - 1) / kPointsPerPage, kMaxPages);
    m_bytes.assign(pages * kPageSize, 0xFF); // erased flash
    for (std::size_t slot = 0; slot < pages * kPointsPerPage; ++slot) {
        const std::array<float, 3> &point = points[std::min(slot, points.size() - 1)];
        const std::size_t inPage = slot % kPointsPerPage;
        unsigned char *record =
            m_bytes.data() + slot / kPointsPerPage * kPageSize + inPage / 2 * kRecordSize;
        std::memcpy(record + inPage % 2 * kPointSize, point.data(), kPointSize);
        const std::array<float, 2> housekeeping{static_cast<float>(slot), 0};
        std::memcpy(record + 2 * kPointSize, housekeeping.data(), sizeof housekeeping);
    }
}

std::vector<unsigned char> CalibrationStore::block(std::uint32_t first, std::uint32_t second) const
{
    const std::uint64_t begin = std::min<std::uint64_t>(first, m_bytes.size());
    const bool wholePage = second == static_cast<std::uint64_t>(first) + kPageSize;
    const std::uint64_t wanted = wholePage ? kDataSize : std::min<std::uint64_t>(second, kDataSize);
    const std::uint64_t end = std::min<std::uint64_t>(begin + wanted, m_bytes.size());
    return {m_bytes.begin() + static_cast<std::ptrdiff_t>(begin),
            m_bytes.begin() + static_cast<std::ptrdiff_t>(end)};
}

} // namespace sim
