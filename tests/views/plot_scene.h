#pragma once

#include <QGraphicsItemGroup>
#include <QGraphicsLineItem>
#include <QGraphicsPathItem>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>

// The parts of the plot's scene, found only through its graphics items.
struct PlotScene
{
    QGraphicsPathItem *minorGrid = nullptr;
    QGraphicsPathItem *majorGrid = nullptr;
    QGraphicsRectItem *frame = nullptr;
    QGraphicsPathItem *series[3] = {};
    QGraphicsItemGroup *legend = nullptr;
    QGraphicsRectItem *background = nullptr;
    QGraphicsLineItem *swatches[3] = {};
    QGraphicsSimpleTextItem *labels[3] = {};
    QGraphicsSimpleTextItem *values[3] = {};

    // Relies only on the order in which the items were added.
    static PlotScene of(const QGraphicsScene &scene)
    {
        QList<QGraphicsItem *> top;
        for (QGraphicsItem *item : scene.items(Qt::AscendingOrder)) {
            if (!item->parentItem())
                top << item;
        }
        if (top.size() != 7)
            qFatal("seven items at the top, not %d", static_cast<int>(top.size()));
        PlotScene plot;
        plot.minorGrid = as<QGraphicsPathItem>(top[0]);
        plot.majorGrid = as<QGraphicsPathItem>(top[1]);
        plot.frame = as<QGraphicsRectItem>(top[2]);
        for (int i = 0; i < 3; ++i)
            plot.series[i] = as<QGraphicsPathItem>(top[3 + i]);
        plot.legend = as<QGraphicsItemGroup>(top[6]);

        const QList<QGraphicsItem *> parts = plot.legend->childItems();
        if (parts.size() != 10)
            qFatal("ten items in the legend, not %d", static_cast<int>(parts.size()));
        plot.background = as<QGraphicsRectItem>(parts[0]);
        for (int i = 0; i < 3; ++i) {
            plot.swatches[i] = as<QGraphicsLineItem>(parts[1 + 3 * i]);
            plot.labels[i] = as<QGraphicsSimpleTextItem>(parts[2 + 3 * i]);
            plot.values[i] = as<QGraphicsSimpleTextItem>(parts[3 + 3 * i]);
        }
        return plot;
    }

private:
    template <class Item>
    static Item *as(QGraphicsItem *item)
    {
        auto *wanted = qgraphicsitem_cast<Item *>(item);
        if (!wanted)
            qFatal("an item of another kind (%d)", item->type());
        return wanted;
    }
};
