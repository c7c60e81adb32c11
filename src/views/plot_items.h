#pragma once

#include <span>

#include <QGraphicsLineItem>
#include <QGraphicsPathItem>
#include <QGraphicsRectItem>
#include <QLineF>
#include <QList>
#include <QPainter>
#include <QPolygonF>

// Returns `pen` with its width converted from widget pixels to device pixels, which are smaller on
// a scaled screen. A cosmetic pen counts device pixels, but the items of the plot use widget
// pixels, like all widgets: they keep the pen as it was set and paint with this one.
QPen widgetPen(const QPen &pen, const QPainter &painter);

class PlotRectItem : public QGraphicsRectItem
{
public:
    using QGraphicsRectItem::QGraphicsRectItem;

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;
};

class PlotLineItem : public QGraphicsLineItem
{
public:
    using QGraphicsLineItem::QGraphicsLineItem;

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;
};

// A path item whose bounds the caller sets. QGraphicsPathItem computes them at every change by
// stroking the whole path with its pen, which costs more than all other work for a sample.
class BoundedPathItem : public QGraphicsPathItem
{
public:
    using QGraphicsPathItem::QGraphicsPathItem;

    QRectF boundingRect() const override { return m_bounds; }

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

protected:
    // `bounds` encloses the path; this function adds the margin for the pen.
    void setBounds(const QRectF &bounds);

private:
    QRectF m_bounds;
};

// Lines within `bounds`.
class GridItem : public BoundedPathItem
{
public:
    using BoundedPathItem::BoundedPathItem;

    // `lines`: a path of straight lines, each from a move to the next element.
    void setLines(const QPainterPath &lines, const QRectF &bounds);

    // Line by line: Qt's raster engine takes several times as long to stroke them as one path.
    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

private:
    QList<QLineF> m_lines;
};

// One curve of the plot: sample i at x = i, y = its value. A value that is not finite has no
// vertex, except that the first value then counts as 0, as in any QPainterPath.
class SeriesItem : public BoundedPathItem
{
public:
    using BoundedPathItem::BoundedPathItem;

    void setSamples(std::span<const float> samples, const QRectF &bounds);

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

private:
    QPolygonF m_points; // scratch, kept to avoid allocation
};
