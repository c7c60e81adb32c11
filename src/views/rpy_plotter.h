#pragma once

#include <array>
#include <memory>
#include <optional>

#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QSize>
#include <QTransform>

#include "views/angle_history.h"
#include "views/attitude.h"
#include "views/plot_grid.h"

class GridItem;
class QGraphicsItemGroup;
class QGraphicsRectItem;
class QGraphicsScene;
class QGraphicsSimpleTextItem;
class QGraphicsView;
class SeriesItem;

// Draws the last samples of roll, pitch and yaw (degrees) as three curves over a grid, with a
// legend of the latest values. Owns the scene and shows it in a view that the caller passes. Each
// sample requests a repaint of the whole view; the window of the view decides how many are painted.
// GUI thread only.
class RpyPlotter : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(RpyPlotter)

public:
    explicit RpyPlotter(QObject *parent = nullptr);
    ~RpyPlotter() override;

    // The caller keeps ownership of the view and may destroy it at any time.
    void attach(QGraphicsView *view);

    // Null until the first attach() or change.
    QGraphicsScene *scene() const { return m_scene.get(); }

    // Sample slots along x, at least 10. Discards all samples.
    void setHistory(int n);
    void clear();

    bool eventFilter(QObject *watched, QEvent *event) override;

public slots:
    // The arguments are passed by position as x, y, z, scalar, the order in which the driver emits
    // them; the parameter names differ from that. A null quaternion is ignored.
    void addQuaternion(float w, float x, float y, float z);
    void addRPY(float roll_deg, float pitch_deg, float yaw_deg);

private:
    bool isView(const QObject *object) const;
    bool isViewport(const QObject *object) const;
    void ensureScene();
    void ensureLegend();
    void addLegendEntry(std::size_t series, const QString &label, const QColor &color, qreal y);
    static std::array<QString, AngleHistory::kSeries> legendLabels();
    void retranslateLegend();
    void layoutLegend();
    void updateYAxisAuto();
    void rebuildPaths();
    void rebuildGrid();
    void fitView();

    // Geometry of the view after the last fit. While it is unchanged, no fit is needed.
    struct Fit
    {
        QRectF sceneRect;
        QSize viewport;
        QTransform transform;
        QPoint scroll;

        friend bool operator==(const Fit &, const Fit &) = default;
    };
    Fit currentFit() const;

    QPointer<QGraphicsView> m_view;
    std::unique_ptr<QGraphicsScene> m_scene;

    // Owned by the scene; null until it exists.
    std::array<SeriesItem *, AngleHistory::kSeries> m_series{};
    GridItem *m_minorGrid = nullptr;
    GridItem *m_majorGrid = nullptr;
    QGraphicsRectItem *m_frame = nullptr;
    QGraphicsItemGroup *m_legend = nullptr;
    QGraphicsRectItem *m_legendBackground = nullptr;
    std::array<QGraphicsSimpleTextItem *, AngleHistory::kSeries> m_labels{};
    std::array<QGraphicsSimpleTextItem *, AngleHistory::kSeries> m_values{};

    AngleHistory m_history;
    PlotRange m_range;
    std::optional<PlotRange> m_gridRange; // what the grid shows
    std::optional<Fit> m_fit;
    RollPitchYaw m_last; // of the last quaternion, before unwrapping
};
