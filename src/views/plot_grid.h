#pragma once

#include <QPainterPath>
#include <QRectF>

// What the plot spans: samples along x, degrees along y. Larger angles lie lower on the screen.
struct PlotRange
{
    int history = 0;
    float yMin = 0.0F;
    float yMax = 0.0F;

    QRectF rect() const;

    friend bool operator==(const PlotRange &, const PlotRange &) = default;
};

struct PlotGrid
{
    QPainterPath minor;
    QPainterPath major;
};

// Degrees between horizontal lines: a multiple of 10, about a twelfth of the span.
int horizontalStep(float yMin, float yMax);

// Vertical lines every 10 samples, every 100 a major one; horizontal lines at each step, every
// other a major one. A range too large for an int has no horizontal lines.
PlotGrid plotGrid(const PlotRange &range);
