#include <cmath>
#include <limits>
#include <memory>

#include <QMouseEvent>
#include <QPainter>
#include <QQuaternion>
#include <QTest>
#include <QTranslator>

#include "tests/fixtures/wait_limit.h"
#include "tests/views/gl_probe.h"
#include "views/pose_gl_widget.h"

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kSize(500, 400);
constexpr QRgb kText = 0xffe6e6eb; // 230, 230, 235

class Pose : public PoseGLWidget
{
public:
    Pose()
        : PoseGLWidget(nullptr)
    {
    }

    int paints = 0;
    int extraAxis = -1; // axis of one more arc, 90 degrees, white; -1 for none

    void turnBy(int pixels)
    {
        QMouseEvent press(QEvent::MouseButtonPress, QPointF(), QPointF(), Qt::LeftButton,
                          Qt::LeftButton, Qt::NoModifier);
        QMouseEvent move(QEvent::MouseMove, QPointF(pixels, 0), QPointF(), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        mousePressEvent(&press);
        mouseMoveEvent(&move);
    }

protected:
    void paintGL() override
    {
        ++paints;
        PoseGLWidget::paintGL();
        if (extraAxis >= 0)
            drawHalfArc(extraAxis, 90.0F, 0.5F, Qt::white);
    }
};

// Roll about X first, then pitch about Y, then yaw about Z.
QVector3D inWorld(QVector3D body, float roll, float pitch, float yaw)
{
    QMatrix4x4 turn;
    turn.rotate(yaw, 0, 0, 1);
    turn.rotate(pitch, 0, 1, 0);
    turn.rotate(roll, 1, 0, 0);
    return turn.map(body);
}

QVector3D onArc(int axis, float degrees)
{
    const float c = 0.9F * std::cos(degrees * 0.017453292F);
    const float s = 0.9F * std::sin(degrees * 0.017453292F);
    return axis == 0 ? QVector3D(0, c, s) : axis == 1 ? QVector3D(c, 0, s) : QVector3D(c, s, 0);
}

} // namespace

class TestPoseGLWidget : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Pose> m_pose;

    bool isLit(const QImage &image, QVector3D point, QRgb color) const
    {
        return hasColorAt(image, onImage(m_pose->camera(), image.size(), point), color);
    }

    // Counts the pixels of a colour in the square around a point. A dot has more of them than a
    // line.
    int around(const QImage &image, QVector3D point, QRgb color) const
    {
        const QPoint centre = onImage(m_pose->camera(), image.size(), point).toPoint();
        return countPixels(image, QRect(centre - QPoint(4, 4), QSize(9, 9)), color);
    }

    static QRect textStrip(const QImage &image)
    {
        return {0, image.height() - 35, image.width(), 35};
    }

    // Compares the readout with the same text drawn by the same painter on the clear colour.
    bool readsAs(const QString &text)
    {
        const QImage shown = m_pose->grabFramebuffer();
        QImage expected(kSize, QImage::Format_RGB32);
        expected.fill(kClearColor);
        QPainter painter(&expected);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QColor(230, 230, 235));
        QFont font = m_pose->font();
        font.setPointSizeF(font.pointSizeF() + 1.0);
        painter.setFont(font);
        painter.drawText(QPointF(10, kSize.height() - 10), text);
        painter.end();
        // Each column must have the same number of bright pixels. The grid behind a letter changes
        // a few of them, so up to 5 may differ.
        const QList<int> seen = columnsOfText(shown);
        const QList<int> wanted = columnsOfText(expected);
        int different = 0;
        for (qsizetype x = 0; x < wanted.size(); ++x)
            different += std::abs(seen[x] - wanted[x]);
        return different <= 5;
    }

    static QList<int> columnsOfText(const QImage &image)
    {
        QList<int> columns;
        const QRect strip = textStrip(image);
        for (int x = strip.left(); x <= strip.right(); ++x) {
            int bright = 0;
            for (int y = strip.top(); y <= strip.bottom(); ++y)
                bright += qBlue(image.pixel(x, y)) > 200 && qRed(image.pixel(x, y)) > 200 ? 1 : 0;
            columns << bright;
        }
        return columns;
    }

private slots:
    void init()
    {
        m_pose = std::make_unique<Pose>();
        m_pose->resize(kSize);
        m_pose->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_pose.get(), kWaitLimitMs));
        QVERIFY(QTest::qWaitFor([&] { return m_pose->paints > 0; }, kWaitLimitMs));
    }

    void cleanup() { m_pose.reset(); }

    void neverShownIsDestroyedSafely()
    {
        PoseGLWidget unseen(nullptr);
        unseen.setQuaternion(0, 0, 0, 1);
        unseen.setPose(0, 0, 0, 1, 2, 3);
        QCOMPARE(unseen.attitude().yawDeg, 3.0F);
    }

    void startsLevel()
    {
        QCOMPARE(m_pose->attitude().rollDeg, 0.0F);
        QCOMPARE(m_pose->attitude().pitchDeg, 0.0F);
        QCOMPARE(m_pose->attitude().yawDeg, 0.0F);
        QVERIFY(readsAs(u"Roll=0.0°   Pitch=0.0°   Yaw=0.0°"_s));
    }

    void quaternionIsTakenScalarLast()
    {
        m_pose->setQuaternion(0.0381345765F, 0.1893079218F, 0.2392983377F, 0.9515485246F);
        QVERIFY(std::abs(m_pose->attitude().rollDeg - 10.0F) < 1e-4F);
        QVERIFY(std::abs(m_pose->attitude().pitchDeg - 20.0F) < 1e-4F);
        QVERIFY(std::abs(m_pose->attitude().yawDeg - 30.0F) < 1e-4F);
        const int before = m_pose->paints;
        QTRY_VERIFY(m_pose->paints > before);
        QVERIFY(readsAs(u"Roll=10.0°   Pitch=20.0°   Yaw=30.0°"_s));

        m_pose->setQuaternion(0.0F, 0.0F, 3.0F, 3.0F); // any length is accepted
        QCOMPARE(m_pose->attitude().yawDeg, 90.0F);
    }

    void nullQuaternionChangesNothing()
    {
        m_pose->setPose(0, 0, 0, 11, 12, 13);
        // The window system may request a paint at any time, but not after each event.
        bool paints = true;
        for (int attempt = 0; attempt < 20 && paints; ++attempt) {
            const int before = m_pose->paints;
            m_pose->setQuaternion(0, 0, -0.0F, 0);
            QTest::qWait(50);
            paints = m_pose->paints > before;
        }
        QVERIFY(!paints);
        QCOMPARE(m_pose->attitude().rollDeg, 11.0F);
        QCOMPARE(m_pose->attitude().yawDeg, 13.0F);
    }

    void straightUpIsExact()
    {
        m_pose->setQuaternion(-0.5F, 0.5F, 0.5F, 0.5F);
        QCOMPARE(m_pose->attitude().pitchDeg, 90.0F);
        m_pose->setQuaternion(0.5F, -0.5F, 0.5F, 0.5F);
        QCOMPARE(m_pose->attitude().pitchDeg, -90.0F);
    }

    void poseIgnoresThePosition()
    {
        m_pose->setPose(1, 2, 3, 10, 20, 30);
        QCOMPARE(m_pose->attitude().rollDeg, 10.0F);
        QCOMPARE(m_pose->attitude().pitchDeg, 20.0F);
        QCOMPARE(m_pose->attitude().yawDeg, 30.0F);
        const QImage here = m_pose->grabFramebuffer();
        m_pose->setPose(-100, 50, NAN, 10, 20, 30);
        QCOMPARE(m_pose->grabFramebuffer(), here);
        QVERIFY(readsAs(u"Roll=10.0°   Pitch=20.0°   Yaw=30.0°"_s));
    }

    void notANumberIsShownAsSuch()
    {
        m_pose->setPose(0, 0, 0, 1, NAN, 3);
        QVERIFY(readsAs(u"Roll=1.0°   Pitch=nan°   Yaw=3.0°"_s));
        QVERIFY(!readsAs(u"Roll=1.0°   Pitch=0.0°   Yaw=3.0°"_s));
    }

    void readoutRounds()
    {
        m_pose->setPose(0, 0, 0, -59.96F, 0.04F, 12.345F);
        QVERIFY(readsAs(u"Roll=-60.0°   Pitch=0.0°   Yaw=12.3°"_s));
        QVERIFY(countPixels(m_pose->grabFramebuffer(), {0, 365, 500, 35}, kText) > 20);
    }

    void readoutIsTranslated()
    {
        class Reversing : public QTranslator
        {
        public:
            bool isEmpty() const override { return false; }
            QString translate(const char *context, const char *text, const char *,
                              int) const override
            {
                return QLatin1String(context) == "PoseGLWidget"_L1 &&
                               QString::fromUtf8(text) == u"Roll=%1°   Pitch=%2°   Yaw=%3°"_s
                           ? u"%3 %2 %1"_s
                           : QString();
            }
        } reversing;
        QCoreApplication::installTranslator(&reversing);
        m_pose->setPose(0, 0, 0, 10, 20, 30);
        const bool reversed = readsAs(u"30.0 20.0 10.0"_s);
        QCoreApplication::removeTranslator(&reversing);
        QVERIFY(reversed);
    }

    void worldAxesAndGrid()
    {
        m_pose->turnBy(-100); // yaw 35
        const QImage image = m_pose->grabFramebuffer();
        QVERIFY(isNearColor(image.pixel(5, 5), kClearColor));
        for (const float along : {0.3F, 0.6F, 0.95F}) {
            QVERIFY(isLit(image, {along, 0, 0}, kRed));
            QVERIFY(isLit(image, {0, along, 0}, kGreen));
            QVERIFY(isLit(image, {0, 0, along}, kBlue));
        }
        QVERIFY(!isLit(image, {1.1F, 0, 0}, kRed));
        QVERIFY(isLit(image, {0.5F, -0.5F, 0}, kGridColor));
        QVERIFY(isLit(image, {0.5F, 0.75F, 0}, kGridColor));
        QVERIFY(isLit(image, {-0.5F, 0.3F, 0}, kGridColor));
    }

    void bodyAxes_data()
    {
        QTest::addColumn<float>("roll");
        QTest::addColumn<float>("pitch");
        QTest::addColumn<float>("yaw");
        QTest::newRow("roll") << 30.0F << 0.0F << 0.0F;
        QTest::newRow("negative roll") << -30.0F << 0.0F << 0.0F;
        QTest::newRow("pitch") << 0.0F << 40.0F << 0.0F;
        QTest::newRow("negative pitch") << 0.0F << -25.0F << 0.0F;
        QTest::newRow("yaw") << 0.0F << 0.0F << 50.0F;
        QTest::newRow("negative yaw") << 0.0F << 0.0F << -50.0F;
        QTest::newRow("all") << 25.0F << -35.0F << 60.0F;
        QTest::newRow("all, other signs") << -40.0F << 20.0F << -70.0F;
    }

    void bodyAxes()
    {
        QFETCH(float, roll);
        QFETCH(float, pitch);
        QFETCH(float, yaw);
        m_pose->turnBy(-100);
        m_pose->setPose(0, 0, 0, roll, pitch, yaw);
        const QImage image = m_pose->grabFramebuffer();
        // Checks the far ends, because all lines meet at the origin. An arc may cross an axis once.
        const auto axisIsDrawn = [&](QVector3D axis, QRgb color) {
            int lit = 0;
            for (const float along : {0.5F, 0.6F, 0.7F, 0.78F})
                lit += isLit(image, inWorld(along * axis, roll, pitch, yaw), color) ? 1 : 0;
            return lit >= 3;
        };
        QVERIFY(axisIsDrawn({1, 0, 0}, kRed));
        QVERIFY(axisIsDrawn({0, 1, 0}, kGreen));
        QVERIFY(axisIsDrawn({0, 0, 1}, kBlue));
    }

    void arcs_data()
    {
        QTest::addColumn<int>("axis");
        QTest::addColumn<float>("angle");
        for (const int axis : {0, 1, 2}) {
            for (const float angle : {-100.0F, -30.0F, 30.0F, 75.0F})
                QTest::addRow("axis %d, %g degrees", axis, static_cast<double>(angle))
                    << axis << angle;
        }
    }

    void arcs()
    {
        QFETCH(int, axis);
        QFETCH(float, angle);
        const float roll = axis == 0 ? angle : 0.0F;
        const float pitch = axis == 1 ? angle : 0.0F;
        const float yaw = axis == 2 ? angle : 0.0F;
        const QRgb color = axis == 0 ? kRed : axis == 1 ? kGreen : kBlue;
        m_pose->turnBy(-100);
        m_pose->setPose(0, 0, 0, roll, pitch, yaw);
        const QImage image = m_pose->grabFramebuffer();

        int lit = 0;
        int mirrored = 0;
        for (int part = 1; part <= 8; ++part) {
            const float at = angle * static_cast<float>(part) / 9.0F;
            lit += isLit(image, inWorld(onArc(axis, at), roll, pitch, yaw), color) ? 1 : 0;
            mirrored += isLit(image, inWorld(onArc(axis, -at), roll, pitch, yaw), color) ? 1 : 0;
        }
        QVERIFY2(lit >= 7, qPrintable(QString::number(lit)));
        QVERIFY2(mirrored <= 3, qPrintable(QString::number(mirrored)));
        // The dot at its end is six pixels wide.
        const QVector3D end = inWorld(onArc(axis, angle), roll, pitch, yaw);
        QVERIFY2(around(image, end, color) >= 30,
                 qPrintable(QString::number(around(image, end, color))));
    }

    // Three different angles, checked at the ends of their arcs: each arc shows its own angle.
    void eachArcHasItsOwnAngle()
    {
        m_pose->turnBy(-100);
        m_pose->setPose(0, 0, 0, 20, 35, 65);
        const QImage image = m_pose->grabFramebuffer();
        QVERIFY(around(image, inWorld(onArc(0, 20), 20, 35, 65), kRed) >= 25);
        QVERIFY(around(image, inWorld(onArc(1, 35), 20, 35, 65), kGreen) >= 25);
        QVERIFY(around(image, inWorld(onArc(2, 65), 20, 35, 65), kBlue) >= 25);
    }

    void zeroAngleHasNoArc()
    {
        m_pose->turnBy(-100);
        const QImage level = m_pose->grabFramebuffer();
        QCOMPARE(around(level, onArc(0, 0), kRed), 0); // no dot at the arc's start
        m_pose->setPose(0, 0, 0, 1e-5F, -1e-5F, 1e-5F);
        const QImage still = m_pose->grabFramebuffer();
        QCOMPARE(around(still, onArc(0, 0), kRed), 0);
        QCOMPARE(around(still, onArc(1, 0), kGreen), 0);
        QCOMPARE(around(still, onArc(2, 0), kBlue), 0);
        m_pose->setPose(0, 0, 0, 2e-5F, 0, 0);
        QVERIFY(around(m_pose->grabFramebuffer(), onArc(0, 0), kRed) >= 30);
    }

    void arcAboutNoAxisIsADotAtTheOrigin()
    {
        m_pose->turnBy(-100);
        const QImage without = m_pose->grabFramebuffer();
        m_pose->extraAxis = 7;
        const QImage with = m_pose->grabFramebuffer();
        QVERIFY(around(with, {}, qRgb(255, 255, 255)) >= 30);
        QCOMPARE(countPixels(with, with.rect(), 0xffffffff), around(with, {}, 0xffffffff));
        QCOMPARE(countPixels(without, without.rect(), 0xffffffff), 0);
    }

    // Repeated frames are identical: no state set by one frame changes the next.
    void framesRepeat()
    {
        m_pose->setPose(0, 0, 0, 10, 20, 30);
        const QImage first = m_pose->grabFramebuffer();
        QCOMPARE(m_pose->grabFramebuffer(), first);
        QCOMPARE(m_pose->grabFramebuffer(), first);
    }

    void connectsToTheDriversSignal()
    {
        // The slot takes four floats, scalar last, and connects by function pointer.
        void (PoseGLWidget::*slot)(float, float, float, float) = &PoseGLWidget::setQuaternion;
        (m_pose.get()->*slot)(1.0F, 0.0F, 0.0F, 1.0F);
        QCOMPARE(m_pose->attitude().rollDeg, 90.0F);
        const QMetaObject &meta = PoseGLWidget::staticMetaObject;
        QCOMPARE(meta.methodCount(), meta.methodOffset());
        QCOMPARE(meta.propertyCount(), meta.propertyOffset());
    }
};

QTEST_MAIN(TestPoseGLWidget)
#include "test_pose_gl_widget.moc"
