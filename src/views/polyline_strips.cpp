#include "views/polyline_strips.h"

#include <algorithm>
#include <cmath>

#include <QPaintEngine>
#include <QPainter>
#include <QPolygonF>

namespace {

// A multiple of 4, so that strips start on whole pixels at every usual device pixel ratio.
constexpr int kStripWidth = 64;
constexpr int kFarUp = -16384;
constexpr int kFarDown = 32768;

} // namespace

bool canPaintInStrips(const QPainter &painter)
{
    const QTransform transform = painter.transform();
    return painter.paintEngine()->type() == QPaintEngine::Raster &&
           painter.testRenderHint(QPainter::Antialiasing) &&
           transform.type() <= QTransform::TxScale && transform.m11() > 0.0;
}

void drawPolylineInStrips(QPainter &painter, const QPolygonF &points)
{
    if (points.isEmpty())
        return;
    const auto before = [](const QPointF &point, qreal x) { return point.x() < x; };
    // Distance that the pen extends beyond a vertex. Two more vertices provide the joins at the
    // cut.
    const qreal reach = painter.pen().widthF() + 1.0;
    const int firstStrip = static_cast<int>(std::floor((points.first().x() - reach) / kStripWidth));
    const int lastStrip = static_cast<int>(std::floor((points.last().x() + reach) / kStripWidth));
    for (int strip = firstStrip; strip <= lastStrip; ++strip) {
        const int left = strip * kStripWidth;
        auto first = std::lower_bound(points.begin(), points.end(), left - reach, before);
        auto last = std::lower_bound(first, points.end(), left + kStripWidth + reach, before);
        first -= std::min<qsizetype>(2, first - points.begin());
        last += std::min<qsizetype>(2, points.end() - last);
        painter.save();
        painter.setClipRect(QRect(left, kFarUp, kStripWidth, kFarDown), Qt::IntersectClip);
        painter.drawPolyline(&*first, static_cast<int>(last - first));
        painter.restore();
    }
}
