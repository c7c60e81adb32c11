#include "views/rpy_plotter.h"

#include <algorithm>

#include <QEvent>
#include <QGraphicsItemGroup>
#include <QGraphicsLineItem>
#include <QGraphicsRectItem>
#include <QGraphicsScene>
#include <QGraphicsSimpleTextItem>
#include <QGraphicsView>
#include <QPen>
#include <QScrollBar>

#include "views/plot_items.h"

namespace {

constexpr int kDefaultHistory = 600;
constexpr int kSmallestHistory = 10;
constexpr float kSmallestMagnitude = 10.0F;
constexpr float kHeadroom = 1.1F;
constexpr qreal kSeriesWidth = 2.0;
constexpr qreal kSwatchWidth = 3.0;
constexpr qreal kLegendLabelX = 36.0;
constexpr qreal kLegendValueX = 100.0;
constexpr qreal kLegendGap = 8.0;

constexpr QColor kBackground(16, 16, 20);
constexpr QColor kMinorGrid(60, 60, 70);
constexpr QColor kMajorGrid(95, 95, 110);
constexpr QColor kFrame(110, 110, 125);
constexpr QColor kRoll(255, 60, 60);
constexpr QColor kPitch(60, 255, 60);
constexpr QColor kYaw(60, 90, 255);
constexpr QColor kLegendFill(30, 30, 40, 180);
constexpr QColor kLegendOutline(120, 120, 140, 200);
constexpr QColor kLegendLabel(220, 220, 230);
constexpr QColor kLegendValue(230, 230, 240);

// Cosmetic, because the view scales x and y differently, which must not change the width of a line.
QPen hairline(const QColor &color)
{
    QPen pen(color);
    pen.setCosmetic(true);
    return pen;
}

QPen curve(const QColor &color, qreal width)
{
    QPen pen(color, width, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    pen.setCosmetic(true);
    return pen;
}

template <class Item>
Item *addPathItem(QGraphicsScene &scene, const QPen &pen)
{
    auto *item = new Item;
    item->setPen(pen);
    scene.addItem(item);
    return item;
}

QString valueText(float angleDeg)
{
    return QString::asprintf("%.1f°", static_cast<double>(angleDeg));
}

} // namespace

RpyPlotter::RpyPlotter(QObject *parent)
    : QObject(parent)
    , m_history(kDefaultHistory)
    , m_range{kDefaultHistory, -kSmallestMagnitude, kSmallestMagnitude}
{
}

RpyPlotter::~RpyPlotter() = default;

void RpyPlotter::attach(QGraphicsView *view)
{
    m_view = view;
    m_fit.reset();
    ensureScene();
    if (view) {
        view->setScene(m_scene.get());
        view->setBackgroundBrush(kBackground);
        view->setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
        view->setViewportUpdateMode(QGraphicsView::FullViewportUpdate);
        view->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        view->installEventFilter(this);
        view->viewport()->installEventFilter(this);
    }
    rebuildPaths();
}

void RpyPlotter::setHistory(int n)
{
    m_range.history = std::max(n, kSmallestHistory);
    m_history.resize(m_range.history);
    rebuildPaths();
}

void RpyPlotter::clear()
{
    m_history.clear();
    rebuildPaths();
}

// Checks for these events first and only then accesses the view: a view that is being destroyed
// sends other events and must not be accessed.
bool RpyPlotter::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Resize:
    case QEvent::Show:
        if (isView(watched))
            layoutLegend();
        else if (isViewport(watched))
            fitView(); // without samples nothing else would fit the plot into the new size
        break;
    case QEvent::LanguageChange:
        if (isView(watched))
            retranslateLegend();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

bool RpyPlotter::isView(const QObject *object) const
{
    return m_view && object == m_view;
}

bool RpyPlotter::isViewport(const QObject *object) const
{
    return m_view && object == m_view->viewport();
}

void RpyPlotter::addQuaternion(float w, float x, float y, float z)
{
    if (w == 0.0F && x == 0.0F && y == 0.0F && z == 0.0F)
        return;
    m_last = rollPitchYaw(w, x, y, z); // the arguments by position: x, y, z, scalar
    addRPY(m_last.rollDeg, m_last.pitchDeg, m_last.yawDeg);
}

void RpyPlotter::addRPY(float roll_deg, float pitch_deg, float yaw_deg)
{
    const auto stored = m_history.append({roll_deg, pitch_deg, yaw_deg});
    for (std::size_t i = 0; i < stored.size(); ++i) {
        if (m_values[i])
            m_values[i]->setText(valueText(stored[i]));
    }
    updateYAxisAuto();
    rebuildPaths();
}

void RpyPlotter::updateYAxisAuto()
{
    const float reach = m_history.count() == 0
                            ? kSmallestMagnitude
                            : kHeadroom * m_history.largestMagnitude(kSmallestMagnitude);
    m_range.yMin = -reach;
    m_range.yMax = reach;
}

void RpyPlotter::ensureScene()
{
    if (m_scene)
        return;
    m_scene = std::make_unique<QGraphicsScene>();
    // No index: all of the dozen items are visible, so updating an index would be wasted work.
    m_scene->setItemIndexMethod(QGraphicsScene::NoIndex);

    m_minorGrid = addPathItem<GridItem>(*m_scene, hairline(kMinorGrid));
    m_majorGrid = addPathItem<GridItem>(*m_scene, hairline(kMajorGrid));
    m_frame = new PlotRectItem;
    m_frame->setPen(hairline(kFrame));
    m_scene->addItem(m_frame);
    const std::array colors{kRoll, kPitch, kYaw};
    for (std::size_t i = 0; i < m_series.size(); ++i)
        m_series[i] = addPathItem<SeriesItem>(*m_scene, curve(colors[i], kSeriesWidth));
    ensureLegend();
}

void RpyPlotter::ensureLegend()
{
    if (m_legend)
        return;
    m_legend = new QGraphicsItemGroup;
    m_legend->setZValue(1e6);
    m_legend->setFlag(QGraphicsItem::ItemIgnoresTransformations);
    m_scene->addItem(m_legend);

    m_legendBackground = new PlotRectItem;
    m_legendBackground->setBrush(kLegendFill);
    m_legendBackground->setPen(hairline(kLegendOutline));
    m_legendBackground->setFlag(QGraphicsItem::ItemIgnoresTransformations);
    m_legend->addToGroup(m_legendBackground);

    const auto labels = legendLabels();
    const std::array colors{kRoll, kPitch, kYaw};
    const std::array rows{4.0, 20.0, 36.0};
    for (std::size_t i = 0; i < m_values.size(); ++i)
        addLegendEntry(i, labels[i], colors[i], rows[i]);

    m_legendBackground->setRect(m_legend->childrenBoundingRect().adjusted(-8, -6, 8, 6));
    layoutLegend();
}

std::array<QString, AngleHistory::kSeries> RpyPlotter::legendLabels()
{
    return {tr("Roll") + u':', tr("Pitch") + u':', tr("Yaw") + u':'};
}

// Labels in another language may overlap the values; the values are then moved.
void RpyPlotter::retranslateLegend()
{
    if (!m_legend)
        return;
    const auto labels = legendLabels();
    qreal valueX = kLegendValueX;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        m_labels[i]->setText(labels[i]);
        valueX = std::max(valueX, kLegendLabelX + m_labels[i]->boundingRect().width() + kLegendGap);
    }
    const qreal shift = valueX - m_values[0]->x();
    for (QGraphicsSimpleTextItem *value : m_values)
        value->setX(valueX);
    m_legendBackground->setRect(m_legendBackground->rect().adjusted(0, 0, shift, 0));
}

void RpyPlotter::addLegendEntry(std::size_t series, const QString &label, const QColor &color,
                                qreal y)
{
    QFont font;
    font.setPointSize(10);
    font.setWeight(QFont::Bold);

    auto *swatch = new PlotLineItem(0.0, y + 9.0, 28.0, y + 9.0);
    swatch->setPen(curve(color, kSwatchWidth));

    auto *name = new QGraphicsSimpleTextItem(label);
    name->setFont(font);
    name->setBrush(kLegendLabel);
    name->setPos(kLegendLabelX, y);

    auto *value = new QGraphicsSimpleTextItem(valueText(0.0F));
    value->setFont(font);
    value->setBrush(kLegendValue);
    value->setPos(kLegendValueX, y);

    for (QGraphicsItem *item : std::initializer_list<QGraphicsItem *>{swatch, name, value}) {
        item->setFlag(QGraphicsItem::ItemIgnoresTransformations);
        m_legend->addToGroup(item);
    }
    m_labels[series] = name;
    m_values[series] = value;
}

void RpyPlotter::layoutLegend()
{
    if (m_legend)
        m_legend->setPos(m_scene->sceneRect().topLeft() + QPointF(10.0, 10.0));
}

void RpyPlotter::rebuildPaths()
{
    ensureScene();

    const QRectF sceneRect = m_range.rect();
    if (m_gridRange != m_range)
        rebuildGrid();
    for (int i = 0; i < AngleHistory::kSeries; ++i)
        m_series[static_cast<std::size_t>(i)]->setSamples(m_history.samples(i), sceneRect);

    m_scene->setSceneRect(sceneRect);
    m_frame->setRect(sceneRect);
    fitView();
    layoutLegend();
}

void RpyPlotter::rebuildGrid()
{
    const PlotGrid grid = plotGrid(m_range);
    m_minorGrid->setLines(grid.minor, m_range.rect());
    m_majorGrid->setLines(grid.major, m_range.rect());
    m_gridRange = m_range;
}

RpyPlotter::Fit RpyPlotter::currentFit() const
{
    return {m_scene->sceneRect(), m_view->viewport()->size(), m_view->transform(),
            QPoint(m_view->horizontalScrollBar()->value(), m_view->verticalScrollBar()->value())};
}

// Skips a view that is already fitted: the fit changes nothing and costs as much as all other work.
void RpyPlotter::fitView()
{
    if (!m_view || m_fit == currentFit())
        return;
    m_view->fitInView(m_scene->sceneRect(), Qt::IgnoreAspectRatio);
    m_fit = currentFit();
}
