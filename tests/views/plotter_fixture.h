#pragma once

#include <memory>

#include <QGraphicsView>
#include <QList>
#include <QPainterPath>
#include <QPointF>

#include "tests/views/plot_scene.h"
#include "views/rpy_plotter.h"

// The points of a path that is one line.
inline QList<QPointF> vertices(const QPainterPath &path)
{
    QList<QPointF> points;
    for (int i = 0; i < path.elementCount(); ++i) {
        if (path.elementAt(i).isMoveTo() != (i == 0))
            qFatal("not one line");
        points << QPointF(path.elementAt(i));
    }
    return points;
}

inline void fill(RpyPlotter &plotter, int count, float roll = 0.0F, float pitch = 0.0F,
                 float yaw = 0.0F)
{
    for (int i = 0; i < count; ++i)
        plotter.addRPY(roll, pitch, yaw);
}

// A plotter on a view; every test gets new ones.
class PlotterFixture
{
protected:
    // To be called by init() and cleanup().
    void create()
    {
        m_view = std::make_unique<QGraphicsView>();
        m_view->resize(450, 300);
        m_plotter = std::make_unique<RpyPlotter>();
        m_plotter->attach(m_view.get());
    }
    void destroy()
    {
        m_plotter.reset();
        m_view.reset();
    }

    PlotScene scene() const { return PlotScene::of(*m_plotter->scene()); }
    QRectF sceneRect() const { return m_plotter->scene()->sceneRect(); }

    std::unique_ptr<QGraphicsView> m_view;
    std::unique_ptr<RpyPlotter> m_plotter;
};
