#include <cmath>
#include <memory>

#include <QFontMetrics>
#include <QImage>
#include <QSignalSpy>
#include <QTest>
#include <QTranslator>

#include "tests/fixtures/wait_limit.h"
#include "views/magneto_gl_widget.h"

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kSize(600, 400);
constexpr QRect kLegend(0, 40, 200, 30);

// Where the camera's first position shows a world point: the eye is 3 away from the origin, 20
// degrees above the X axis; Y points to the right; the vertical field of view is 40 degrees.
QPointF onScreen(double x, double y, double z)
{
    const double pitch = 20 * M_PI / 180;
    const double depth = 3 - x * std::cos(pitch) - z * std::sin(pitch);
    const double up = z * std::cos(pitch) - x * std::sin(pitch);
    const double unit = kSize.height() / 2.0 / std::tan(20 * M_PI / 180) / depth;
    return {kSize.width() / 2.0 + y * unit, kSize.height() / 2.0 - up * unit};
}

QPoint pixel(QPointF at)
{
    return {static_cast<int>(std::floor(at.x())), static_cast<int>(std::floor(at.y()))};
}

bool isWhite(QRgb rgb)
{
    return qRed(rgb) > 200 && qGreen(rgb) > 200 && qBlue(rgb) > 200;
}

bool isRed(QRgb rgb)
{
    return qRed(rgb) > 200 && qGreen(rgb) < 60 && qBlue(rgb) < 60;
}

bool isBlue(QRgb rgb)
{
    return qRed(rgb) < 60 && qGreen(rgb) < 60 && qBlue(rgb) > 200;
}

// The smallest rectangle that contains all pixels that match.
template <typename Kind>
QRect extent(const QImage &image, QRect within, Kind kind)
{
    QRect found;
    for (int y = within.top(); y <= within.bottom(); ++y) {
        for (int x = within.left(); x <= within.right(); ++x) {
            if (kind(image.pixel(x, y)))
                found |= QRect(x, y, 1, 1);
        }
    }
    return found;
}

// All points of 17 rings, 10 degrees of latitude apart, each of 36 straight segments. The rings at
// the poles have no extent and draw no pixel.
std::vector<QPointF> ringPoints()
{
    std::vector<QPointF> points;
    for (int latitude = -80; latitude <= 80; latitude += 10) {
        const double radius = std::cos(latitude * M_PI / 180);
        const double height = std::sin(latitude * M_PI / 180);
        for (int piece = 0; piece < 36; ++piece) {
            const double from = piece * M_PI / 18;
            const double to = (piece + 1) * M_PI / 18;
            for (int step = 0; step < 20; ++step) {
                const double part = step * 0.05;
                const double x = std::cos(from) * (1 - part) + std::cos(to) * part;
                const double y = std::sin(from) * (1 - part) + std::sin(to) * part;
                points.push_back(onScreen(radius * x, radius * y, height));
            }
        }
    }
    return points;
}

class Stretcher : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *context, const char *source, const char * /*disambiguation*/,
                      int /*n*/) const override
    {
        if (QByteArray(context) == "MagnetoGLWidget" && QByteArray(source) == "Corrected data")
            return u"Corrected data, and more"_s;
        return {};
    }
};

} // namespace

class TestMagnetoGLWidget : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void startsWithoutPoints();
    void setsAreCopied();
    void ownSetsMayBePassed();
    void newSetsAreShown();

    void ringsOfTheSphere();
    void rawPointsAreRedAndCorrectedBlue();
    void pointsAreEightPixelsWide();
    void unitPointsLieOnTheRings();
    void legend();
    void legendIsTranslated();
    void cameraIsTheSharedOne();

private:
    QImage picture() { return m_view->grabFramebuffer().convertToFormat(QImage::Format_RGB32); }
    QRgb colourAt(double x, double y, double z)
    {
        return picture().pixel(pixel(onScreen(x, y, z)));
    }

    std::unique_ptr<MagnetoGLWidget> m_view;
};

void TestMagnetoGLWidget::init()
{
    m_view = std::make_unique<MagnetoGLWidget>();
    m_view->resize(kSize);
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get(), kWaitLimitMs));
    QCOMPARE(m_view->size(), kSize);
    QCOMPARE(picture().size(), kSize);
}

void TestMagnetoGLWidget::cleanup()
{
    m_view.reset();
}

void TestMagnetoGLWidget::startsWithoutPoints()
{
    QVERIFY(m_view->rawSamples().empty());
    QVERIFY(m_view->correctedSamples().empty());
    const QImage image = picture();
    QVERIFY(extent(image, image.rect(), isRed).isNull());
    QVERIFY(!extent(image, kLegend, isBlue).isNull());
    QRect below = image.rect();
    below.setTop(kLegend.bottom());
    QVERIFY(extent(image, below, isBlue).isNull());
}

void TestMagnetoGLWidget::setsAreCopied()
{
    std::vector<QVector3D> raw{{1, 2, 3}};
    std::vector<QVector3D> corrected{{4, 5, 6}, {7, 8, 9}};
    m_view->setSamples(raw, corrected);
    raw[0] = {};
    corrected.clear();
    QCOMPARE(m_view->rawSamples(), (std::vector<QVector3D>{{1, 2, 3}}));
    QCOMPARE(m_view->correctedSamples(), (std::vector<QVector3D>{{4, 5, 6}, {7, 8, 9}}));
}

void TestMagnetoGLWidget::ownSetsMayBePassed()
{
    const std::vector<QVector3D> raw{{1, 2, 3}};
    const std::vector<QVector3D> corrected{{4, 5, 6}, {7, 8, 9}};
    m_view->setSamples(raw, corrected);
    m_view->setSamples(m_view->rawSamples(), m_view->correctedSamples());
    QCOMPARE(m_view->rawSamples(), raw);
    QCOMPARE(m_view->correctedSamples(), corrected);
    m_view->setSamples(m_view->correctedSamples(), m_view->rawSamples());
    QCOMPARE(m_view->rawSamples(), corrected);
    QCOMPARE(m_view->correctedSamples(), raw);
}

// The widget repaints without a request: the picture of the window changes, not only a grabbed one.
void TestMagnetoGLWidget::newSetsAreShown()
{
    QSignalSpy frames(m_view.get(), &QOpenGLWidget::frameSwapped);
    m_view->setSamples({}, {{0, 0, 0}});
    QTRY_VERIFY(!frames.isEmpty());
}

// Checks both directions: a white pixel at every point of every ring, and no white pixel elsewhere,
// such as a meridian would draw.
void TestMagnetoGLWidget::ringsOfTheSphere()
{
    const QImage image = picture();
    QImage expected(kSize, QImage::Format_Grayscale8);
    expected.fill(0);
    int missing = 0;
    for (const QPointF &point : ringPoints()) {
        const QRect around(pixel(point) - QPoint(1, 1), QSize(3, 3));
        if (extent(image, around, isWhite).isNull())
            ++missing;
        for (int y = around.top(); y <= around.bottom(); ++y) {
            for (int x = around.left(); x <= around.right(); ++x)
                expected.scanLine(y)[x] = 255;
        }
    }
    QCOMPARE(missing, 0);

    int stray = 0;
    int white = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (isWhite(image.pixel(x, y))) {
                ++white;
                stray += expected.constScanLine(y)[x] == 0 ? 1 : 0;
            }
        }
    }
    QCOMPARE(stray, 0);
    QVERIFY(white > 3000);
    QCOMPARE(image.pixel(3, 200), qRgb(26, 26, 31));
}

void TestMagnetoGLWidget::rawPointsAreRedAndCorrectedBlue()
{
    m_view->setSamples({{0, 1.2F, 0}, {0, -1.2F, 0.3F}}, {{0, 1.2F, 0.6F}, {0.5F, -1.1F, -0.5F}});
    QVERIFY(isRed(colourAt(0, 1.2, 0)));
    QVERIFY(isRed(colourAt(0, -1.2, 0.3)));
    QVERIFY(isBlue(colourAt(0, 1.2, 0.6)));
    QVERIFY(isBlue(colourAt(0.5, -1.1, -0.5)));
    QVERIFY(!isRed(colourAt(0, -1.2, 0)));
}

void TestMagnetoGLWidget::pointsAreEightPixelsWide()
{
    m_view->setSamples({{0, 1.3F, 0}}, {{0, -1.3F, 0}});
    const QImage image = picture();
    const QRect red = extent(image, image.rect(), isRed);
    QCOMPARE(red.size(), QSize(8, 8));
    QVERIFY((QRectF(red).center() - onScreen(0, 1.3, 0)).manhattanLength() < 1.5);
    QRect below = image.rect();
    below.setTop(kLegend.bottom());
    QCOMPARE(extent(image, below, isBlue).size(), QSize(8, 8));
}

// Points of length 1 lie on the outermost ring pixels, at the left and right end of the equator.
void TestMagnetoGLWidget::unitPointsLieOnTheRings()
{
    m_view->setSamples({}, {{0, 1, 0}, {0, -1, 0}, {1, 0, 0}, {0, 0, 1}});
    for (const auto &[x, y, z] :
         {std::array{0., 1., 0.}, {0., -1., 0.}, {1., 0., 0.}, {0., 0., 1.}})
        QVERIFY(isBlue(colourAt(x, y, z)));
}

void TestMagnetoGLWidget::legend()
{
    const QImage image = picture();
    const QRect text =
        extent(image, kLegend, [](QRgb rgb) { return qBlue(rgb) > 110 && qRed(rgb) < 60; });
    const QRect expected =
        QFontMetrics(m_view->font()).tightBoundingRect(u"Corrected data"_s).translated(10, 60);
    QVERIFY2(std::abs(text.left() - expected.left()) <= 2,
             qPrintable(QString::number(text.left())));
    QVERIFY2(std::abs(text.right() - expected.right()) <= 2,
             qPrintable(QString::number(text.right())));
    QVERIFY2(std::abs(text.top() - expected.top()) <= 2, qPrintable(QString::number(text.top())));
    QVERIFY2(std::abs(text.bottom() - 60) <= 2, qPrintable(QString::number(text.bottom())));
}

void TestMagnetoGLWidget::legendIsTranslated()
{
    const int before = extent(picture(), kLegend, isBlue).width();
    Stretcher stretcher;
    QCoreApplication::installTranslator(&stretcher);
    const int after = extent(picture(), kLegend, isBlue).width();
    QCoreApplication::removeTranslator(&stretcher);
    QVERIFY2(after > before + 20, qPrintable(QString::number(after)));
}

void TestMagnetoGLWidget::cameraIsTheSharedOne()
{
    QCOMPARE(m_view->sizeHint(), QSize(360, 260));
    QCOMPARE(m_view->minimumSizeHint(), QSize(220, 180));
    QTest::mousePress(m_view.get(), Qt::LeftButton, {}, {100, 100});
    QTest::mouseMove(m_view.get(), {120, 100});
    QTest::mouseRelease(m_view.get(), Qt::LeftButton, {}, {120, 100});
    QCOMPARE(m_view->camera().yawDeg(), -7.0F);
}

QTEST_MAIN(TestMagnetoGLWidget)

#include "test_magneto_gl_widget.moc"
