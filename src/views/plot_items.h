#pragma once

#include <optional>
#include <span>

#include <QBrush>
#include <QGraphicsLineItem>
#include <QGraphicsPathItem>
#include <QGraphicsRectItem>
#include <QPainter>
#include <QPixmap>
#include <QPolygonF>
#include <QTransform>

#include "views/scrolling_path.h"

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

// Lines that rarely change. Two items linked by paintTogetherWith() are painted from one opaque
// picture, which includes the view's background, once a view has shown them unchanged.
class GridItem : public BoundedPathItem
{
public:
    using BoundedPathItem::BoundedPathItem;

    // `upper` is the item right above this one.
    void paintTogetherWith(GridItem *upper);

    void setLines(const QPainterPath &lines, const QRectF &bounds);

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

private:
    // What a picture depends on besides the lines.
    struct Conditions
    {
        QTransform transform;
        QSize size;
        qreal pixelRatio = 0.0;
        QPainter::RenderHints hints;
        QBrush background;

        friend bool operator==(const Conditions &, const Conditions &) = default;
    };
    static std::optional<Conditions> conditions(const QPainter &painter, const QWidget *widget);
    QPixmap picture() const;

    bool isInLowerPicture() const;

    GridItem *m_upper = nullptr;
    GridItem *m_lower = nullptr;
    // Used in the lower item only. A change of either item's lines resets m_lastPaint.
    std::optional<Conditions> m_lastPaint;
    bool m_pictureShown = false;
    QPixmap m_picture;
};

// One curve of the plot: sample i at x = i, y = its value.
class SeriesItem : public BoundedPathItem
{
public:
    using BoundedPathItem::BoundedPathItem;

    void setSamples(std::span<const float> samples, const QRectF &bounds);

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

private:
    ScrollingPath m_samples;
    QPolygonF m_points; // scratch, kept to avoid allocation
};
