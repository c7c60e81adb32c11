#include "views/plot_items.h"

#include <cmath>

#include <QGraphicsView>
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

void GridItem::paintTogetherWith(GridItem *upper)
{
    m_upper = upper;
    upper->m_lower = this;
}

void GridItem::setLines(const QPainterPath &lines, const QRectF &bounds)
{
    setBounds(bounds);
    setPath(QPainterPath()); // avoids comparing the old and new lines one by one
    setPath(lines);
    (m_lower ? m_lower : this)->m_lastPaint.reset();
}

void GridItem::paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget)
{
    if (isInLowerPicture())
        return;
    if (!m_upper || !m_upper->isVisible()) {
        m_pictureShown = false;
        BoundedPathItem::paint(painter, option, widget);
        return;
    }
    const auto now = conditions(*painter, widget);
    m_pictureShown = now && now == m_lastPaint;
    m_lastPaint = now;
    if (!m_pictureShown) {
        m_picture = {};
        BoundedPathItem::paint(painter, option, widget);
        return;
    }
    if (m_picture.isNull())
        m_picture = picture();
    painter->save();
    painter->resetTransform();
    painter->drawPixmap(0, 0, m_picture);
    painter->restore();
}

bool GridItem::isInLowerPicture() const
{
    return m_lower && m_lower->isVisible() && m_lower->m_pictureShown;
}

// Returns none if a picture would not give the same pixels: when printing, at a fractional pixel
// ratio, at which it would be scaled, or over a translucent background.
std::optional<GridItem::Conditions> GridItem::conditions(const QPainter &painter,
                                                         const QWidget *widget)
{
    const auto *view =
        widget ? qobject_cast<const QGraphicsView *>(widget->parentWidget()) : nullptr;
    const qreal ratio = painter.device()->devicePixelRatioF();
    if (!view || painter.paintEngine()->type() != QPaintEngine::Raster ||
        ratio != std::floor(ratio) || view->backgroundBrush().style() != Qt::SolidPattern ||
        !view->backgroundBrush().isOpaque())
        return std::nullopt;
    return Conditions{painter.transform(), widget->size(), ratio, painter.renderHints(),
                      view->backgroundBrush()};
}

QPixmap GridItem::picture() const
{
    QPixmap pixmap(m_lastPaint->size * m_lastPaint->pixelRatio);
    pixmap.setDevicePixelRatio(m_lastPaint->pixelRatio);
    pixmap.fill(m_lastPaint->background.color());
    QPainter painter(&pixmap);
    painter.setRenderHints(m_lastPaint->hints);
    painter.setTransform(m_lastPaint->transform);
    for (const GridItem *item : {this, static_cast<const GridItem *>(m_upper)}) {
        painter.setPen(widgetPen(item->pen(), painter));
        painter.drawPath(item->path());
    }
    return pixmap;
}

void SeriesItem::setSamples(std::span<const float> samples, const QRectF &bounds)
{
    setBounds(bounds);
    // Drops the old path first: m_samples then has the only copy and rebuilds it in the same
    // memory, and the item does not compare two different paths vertex by vertex.
    setPath(QPainterPath());
    if (!samples.empty())
        setPath(m_samples.update(samples));
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
