#include "views/plot_items.h"

#include <QPaintEngine>
#include <QPen>

#include "views/polyline_strips.h"

QPen widgetPen(const QPen &pen, const QPainter &painter)
{
    QPen scaled(pen);
    scaled.setWidthF(pen.widthF() * painter.device()->devicePixelRatioF());
    return scaled;
}

void PlotRectItem::paint(QPainter *painter, const QStyleOptionGraphicsItem * /*option*/,
                         QWidget * /*widget*/)
{
    painter->setPen(widgetPen(pen(), *painter));
    painter->setBrush(brush());
    painter->drawRect(rect());
}

void PlotLineItem::paint(QPainter *painter, const QStyleOptionGraphicsItem * /*option*/,
                         QWidget * /*widget*/)
{
    painter->setPen(widgetPen(pen(), *painter));
    painter->drawLine(line());
}

void BoundedPathItem::paint(QPainter *painter, const QStyleOptionGraphicsItem * /*option*/,
                            QWidget * /*widget*/)
{
    painter->setPen(widgetPen(pen(), *painter));
    painter->setBrush(brush());
    painter->drawPath(path());
}

void BoundedPathItem::setBounds(const QRectF &bounds)
{
    const qreal margin = pen().widthF();
    const QRectF enlarged = bounds.adjusted(-margin, -margin, margin, margin);
    if (enlarged == m_bounds)
        return;
    prepareGeometryChange();
    m_bounds = enlarged;
}

void GridItem::setLines(const QPainterPath &lines, const QRectF &bounds)
{
    setBounds(bounds);
    setPath(lines);
    m_lines.clear();
    for (int i = 1; i < lines.elementCount(); i += 2)
        m_lines.append(QLineF(lines.elementAt(i - 1), lines.elementAt(i)));
}

void GridItem::paint(QPainter *painter, const QStyleOptionGraphicsItem * /*option*/,
                     QWidget * /*widget*/)
{
    painter->setPen(widgetPen(pen(), *painter));
    painter->drawLines(m_lines);
}

void SeriesItem::setSamples(std::span<const float> samples, const QRectF &bounds)
{
    setBounds(bounds);
    QPainterPath curve;
    if (!samples.empty()) {
        curve.reserve(static_cast<int>(samples.size()));
        curve.moveTo(0, static_cast<qreal>(samples.front()));
        for (std::size_t i = 1; i < samples.size(); ++i)
            curve.lineTo(static_cast<qreal>(i), static_cast<qreal>(samples[i]));
    }
    setPath(curve);
}

void SeriesItem::paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget)
{
    if (!canPaintInStrips(*painter)) {
        BoundedPathItem::paint(painter, option, widget);
        return;
    }
    const QPainterPath samples = path();
    const QTransform toDevice = painter->transform();
    m_points.resize(samples.elementCount());
    for (int i = 0; i < samples.elementCount(); ++i)
        m_points[i] = toDevice.map(QPointF(samples.elementAt(i)));
    painter->save();
    painter->resetTransform();
    painter->setPen(widgetPen(pen(), *painter));
    drawPolylineInStrips(*painter, m_points);
    painter->restore();
}
