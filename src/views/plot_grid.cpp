#include "views/plot_grid.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kVerticalStep = 10;
constexpr int kVerticalMajorStep = 100;
constexpr int kSmallestStep = 10;
constexpr float kHorizontalLines = 12.0F;
constexpr int kMostHorizontalLines = 24; // as the step is rounded down, and one more each way
constexpr float kLargestRange = 1e9F;    // up to it, twice a line's y fits an int

void addLine(QPainterPath &path, QPointF from, QPointF to)
{
    path.moveTo(from);
    path.lineTo(to);
}

void addVerticalLines(PlotGrid &grid, const PlotRange &range)
{
    for (int x = 0; x < range.history; x += kVerticalStep) {
        QPainterPath &path = x % kVerticalMajorStep == 0 ? grid.major : grid.minor;
        addLine(path, QPointF(x, range.yMin), QPointF(x, range.yMax));
    }
}

void addHorizontalLines(PlotGrid &grid, const PlotRange &range)
{
    // Negated, so that NaN is refused, too.
    if (!(range.yMin >= -kLargestRange && range.yMax <= kLargestRange))
        return;
    const int step = horizontalStep(range.yMin, range.yMax);
    const float first = std::ceil(range.yMin / static_cast<float>(step));
    for (int y = static_cast<int>(first) * step; static_cast<float>(y) <= range.yMax; y += step) {
        QPainterPath &path = y % (2 * step) == 0 ? grid.major : grid.minor;
        addLine(path, QPointF(0, y), QPointF(range.history - 1, y));
    }
}

} // namespace

QRectF PlotRange::rect() const
{
    return {0.0, yMin, static_cast<qreal>(std::max(history - 1, 1)), yMax - yMin};
}

int horizontalStep(float yMin, float yMax)
{
    const float span = (yMax - yMin) / kHorizontalLines;
    if (!(span > static_cast<float>(kSmallestStep)))
        return kSmallestStep;
    const int whole = static_cast<int>(std::min(span, kLargestRange));
    return std::max(kSmallestStep, whole - whole % 10);
}

PlotGrid plotGrid(const PlotRange &range)
{
    PlotGrid grid;
    grid.minor.reserve(2 * (range.history / kVerticalStep + kMostHorizontalLines));
    addVerticalLines(grid, range);
    addHorizontalLines(grid, range);
    return grid;
}
