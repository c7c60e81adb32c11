#include <cmath>

#include <QTest>

#include "views/orbit_camera.h"

namespace {

bool near(QVector3D actual, QVector3D expected)
{
    const bool same = (actual - expected).length() < 1e-5F;
    if (!same)
        qWarning() << actual << "expected" << expected;
    return same;
}

} // namespace

class TestOrbitCamera : public QObject
{
    Q_OBJECT

private slots:
    void startsAboveTheXAxis()
    {
        const OrbitCamera camera;
        QCOMPARE(camera.distance(), 3.0F);
        QCOMPARE(camera.yawDeg(), 0.0F);
        QCOMPARE(camera.pitchDeg(), 20.0F);
        QCOMPARE(camera.aspect(), 1.0F);
        QCOMPARE(camera.target(), QVector3D());
        QVERIFY(near(camera.eye(), {2.8190779F, 0.0F, 1.0260604F}));
    }

    void projection()
    {
        OrbitCamera camera;
        camera.setViewport(300, 200);
        QCOMPARE(camera.aspect(), 1.5F);
        const QMatrix4x4 projection = camera.projection();
        const float *m = projection.constData(); // column-major
        const float expected[16] = {2.7474775F / 1.5F, 0,  0, 0, 0,          2.7474775F, 0, 0, 0, 0,
                                    -1.0002F,          -1, 0, 0, -0.020002F, 0};
        for (int i = 0; i < 16; ++i)
            QVERIFY2(std::fabs(m[i] - expected[i]) < 1e-6F, qPrintable(QString::number(i)));
    }

    void aspect_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<float>("aspect");
        QTest::newRow("wide") << 640 << 320 << 2.0F;
        QTest::newRow("no whole ratio") << 100 << 300 << 1.0F / 3.0F;
        QTest::newRow("no height") << 640 << 0 << 640.0F;
        QTest::newRow("negative height") << 640 << -5 << 640.0F;
    }

    void aspect()
    {
        QFETCH(int, width);
        QFETCH(int, height);
        OrbitCamera camera;
        camera.setViewport(width, height);
        QTEST(camera.aspect(), "aspect");
    }

    // From the start position: right is +Y, up leans to -X, forward goes down to the origin.
    void viewRotation()
    {
        const QMatrix4x4 view = OrbitCamera().viewRotation();
        QVERIFY(near(view.row(0).toVector3D(), {0.0F, 1.0F, 0.0F}));
        QVERIFY(near(view.row(1).toVector3D(), {-0.3420201F, 0.0F, 0.9396926F}));
        QVERIFY(near(view.row(2).toVector3D(), {0.9396926F, 0.0F, 0.3420201F}));
        QCOMPARE(view.column(3), QVector4D(0, 0, 0, 1));
        QCOMPARE(view.row(3), QVector4D(0, 0, 0, 1));
    }

    void orbits()
    {
        OrbitCamera camera;
        camera.orbit(-200, 0);
        QCOMPARE(camera.yawDeg(), 70.0F);
        QCOMPARE(camera.pitchDeg(), 20.0F);
        camera.orbit(0, -100);
        QCOMPARE(camera.pitchDeg(), -15.0F);
        const float c = std::cos(-15.0F * 0.017453292F);
        QVERIFY(near(camera.eye(), {3.0F * c * std::cos(70.0F * 0.017453292F),
                                    3.0F * c * std::sin(70.0F * 0.017453292F),
                                    3.0F * std::sin(-15.0F * 0.017453292F)}));
    }

    void stopsShortOfThePoles()
    {
        OrbitCamera camera;
        for (int i = 0; i < 100; ++i)
            camera.orbit(0, 50);
        QCOMPARE(camera.pitchDeg(), 89.0F);
        for (int i = 0; i < 100; ++i)
            camera.orbit(0, -50);
        QCOMPARE(camera.pitchDeg(), -89.0F);
        QVERIFY(near(camera.viewRotation().row(0).toVector3D(), {0.0F, 1.0F, 0.0F}));
    }

    // Horizontal drags move the target along Y and vertical drags along X, on purpose. The step
    // grows with the distance.
    void pans()
    {
        OrbitCamera camera;
        camera.pan(10, 0);
        QVERIFY(near(camera.target(), {0.0F, -0.075F, 0.0F}));
        camera.pan(0, 20);
        QVERIFY(near(camera.target(), {-0.15F, -0.075F, 0.0F}));
        QVERIFY(near(camera.eye(), {2.6690779F, -0.075F, 1.0260604F}));
        QVERIFY(near(camera.viewRotation().row(2).toVector3D(), {0.9396926F, 0.0F, 0.3420201F}));

        camera.orbit(-257, 0); // panning does not depend on the yaw
        camera.zoom(-120 * 100);
        QCOMPARE(camera.distance(), 30.0F);
        camera.pan(0, -20);
        QVERIFY(near(camera.target(), {1.35F, -0.075F, 0.0F}));
    }

    void zooms()
    {
        OrbitCamera camera;
        camera.zoom(120);
        QCOMPARE(camera.distance(), 2.7F);
        camera.zoom(-120);
        QCOMPARE(camera.distance(), 3.0F);
        camera.zoom(60);
        QCOMPARE(camera.distance(), 3.0F * std::pow(0.9F, 0.5F));
        camera.zoom(0);
        QCOMPARE(camera.distance(), 3.0F * std::pow(0.9F, 0.5F));
    }

    void distanceStaysWithinItsBounds()
    {
        OrbitCamera camera;
        for (int i = 0; i < 200; ++i) {
            camera.zoom(120);
            QVERIFY(camera.distance() >= 0.5F);
        }
        QCOMPARE(camera.distance(), 0.5F);
        camera.zoom(-2000000000);
        QCOMPARE(camera.distance(), 30.0F);
        camera.zoom(2000000000);
        QCOMPARE(camera.distance(), 0.5F);
    }

    // reset() keeps the viewport, because the window keeps its size.
    void resetReturnsToTheFirstView()
    {
        OrbitCamera camera;
        camera.setViewport(300, 200);
        camera.orbit(40, -30);
        camera.pan(7, 9);
        camera.zoom(-360);
        camera.reset();
        const OrbitCamera first;
        QCOMPARE(camera.yawDeg(), first.yawDeg());
        QCOMPARE(camera.pitchDeg(), first.pitchDeg());
        QCOMPARE(camera.distance(), first.distance());
        QCOMPARE(camera.target(), first.target());
        QCOMPARE(camera.aspect(), 1.5F);
    }
};

QTEST_APPLESS_MAIN(TestOrbitCamera)
#include "test_orbit_camera.moc"
