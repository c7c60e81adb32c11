#pragma once

#include <span>

#include <QGraphicsPathItem>

// A path item that is told its bounds. The stock item finds them by stroking the whole path with
// its pen, at every change: more work than everything else a sample costs.
class BoundedPathItem : public QGraphicsPathItem
{
public:
    using QGraphicsPathItem::QGraphicsPathItem;

    // `bounds` encloses the path; room for the pen is added here.
    void setBoundedPath(const QPainterPath &path, const QRectF &bounds);

    QRectF boundingRect() const override { return m_bounds; }

protected:
    void setBounds(const QRectF &bounds);

private:
    QRectF m_bounds;
};

// One curve of the plot: sample i at x = i, y = its value; a value that is not finite has no
// vertex of its own.
class SeriesItem : public BoundedPathItem
{
public:
    using BoundedPathItem::BoundedPathItem;

    void setSamples(std::span<const float> samples, const QRectF &bounds);

private:
    QPainterPath m_samples;
};
