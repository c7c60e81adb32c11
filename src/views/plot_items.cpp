#include "views/plot_items.h"

#include <QPen>

void BoundedPathItem::setBoundedPath(const QPainterPath &path, const QRectF &bounds)
{
    setBounds(bounds);
    setPath(path);
}

void BoundedPathItem::setBounds(const QRectF &bounds)
{
    const qreal room = pen().widthF();
    const QRectF roomy = bounds.adjusted(-room, -room, room, room);
    if (roomy == m_bounds)
        return;
    prepareGeometryChange();
    m_bounds = roomy;
}

void SeriesItem::setSamples(std::span<const float> samples, const QRectF &bounds)
{
    setBounds(bounds);
    // Let go of the old path first: ours is then the only one left, is rebuilt in its own memory,
    // and the item does not compare two paths vertex by vertex to find that they differ.
    setPath(QPainterPath());
    if (samples.empty())
        return;
    m_samples.clear();
    m_samples.moveTo(0.0, static_cast<qreal>(samples[0]));
    for (std::size_t i = 1; i < samples.size(); ++i)
        m_samples.lineTo(static_cast<qreal>(i), static_cast<qreal>(samples[i]));
    setPath(m_samples);
}
