#include <memory>

#include <QPushButton>
#include <QTest>
#include <QTranslator>
#include <QVBoxLayout>

#include "tests/fixtures/wait_limit.h"
#include "tests/views/bare_view.h"

using namespace Qt::StringLiterals;

namespace {

class Translated : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *context, const char * /*source*/, const char * /*hint*/,
                      int /*n*/) const override
    {
        return QByteArray(context) == "OrbitGLWidget" ? u"translated"_s : QString();
    }
};

} // namespace

// Mouse, wheel, keys and focus.
class TestOrbitGLWidgetInput : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<BareView> m_view;

private slots:
    void init()
    {
        m_view = std::make_unique<BareView>();
        QVERIFY(m_view->showAndPaint());
    }

    void cleanup() { m_view.reset(); }

    void leftButtonOrbits()
    {
        m_view->press({100, 100});
        m_view->move({110, 120}, Qt::LeftButton);
        QCOMPARE(m_view->camera().yawDeg(), -3.5F);
        QCOMPARE(m_view->camera().pitchDeg(), 27.0F);
        QVERIFY(m_view->paintsAgain());
        m_view->move({105, 120}, Qt::LeftButton); // relative to the last position, not to the press
        QCOMPARE(m_view->camera().yawDeg(), -1.75F);
        QCOMPARE(m_view->camera().target(), QVector3D());
    }

    void rightButtonPans()
    {
        m_view->press({100, 100}, Qt::RightButton);
        m_view->move({110, 120}, Qt::RightButton);
        QVERIFY(qFuzzyCompare(m_view->camera().target(), QVector3D(-0.15F, -0.075F, 0)));
        QCOMPARE(m_view->camera().yawDeg(), 0.0F);
        QVERIFY(m_view->paintsAgain());
    }

    void leftButtonWins()
    {
        m_view->press({100, 100});
        m_view->move({110, 100}, Qt::LeftButton | Qt::RightButton);
        QCOMPARE(m_view->camera().yawDeg(), -3.5F);
        QCOMPARE(m_view->camera().target(), QVector3D());
    }

    void otherMovesOnlyMoveTheLastPosition()
    {
        m_view->setMouseTracking(true); // without tracking, moves without a button do not arrive
        m_view->press({100, 100});
        // The window system may request a paint at any time, but not after each event.
        bool paints = true;
        for (int attempt = 0; attempt < 20 && paints; ++attempt) {
            const int before = m_view->paints;
            m_view->move({150, 150}, Qt::NoButton, false);
            m_view->move({160, 160}, Qt::MiddleButton, false);
            QCOMPARE(m_view->camera().yawDeg(), 0.0F);
            QCOMPARE(m_view->camera().pitchDeg(), 20.0F);
            QTest::qWait(50);
            paints = m_view->paints > before;
        }
        QVERIFY(!paints);
        m_view->move({170, 160}, Qt::LeftButton);
        QCOMPARE(m_view->camera().yawDeg(), -3.5F);
        QCOMPARE(m_view->camera().pitchDeg(), 20.0F);
    }

    void positionsAreRounded_data()
    {
        QTest::addColumn<double>("from");
        QTest::addColumn<double>("to");
        QTest::addColumn<int>("pixels");
        QTest::newRow("down and up") << 10.4 << 20.6 << 11;
        QTest::newRow("halves go up") << 10.5 << 20.5 << 10;
        QTest::newRow("half") << 10.0 << 10.5 << 1;
        QTest::newRow("just below half") << 10.0 << 10.49 << 0;
        QTest::newRow("negative halves go down") << 0.0 << -0.5 << -1;
        QTest::newRow("negative") << 0.0 << -1.4 << -1;
    }

    void positionsAreRounded()
    {
        QFETCH(double, from);
        QFETCH(double, to);
        QFETCH(int, pixels);
        m_view->press({from, 50});
        m_view->move({to, 50}, Qt::LeftButton);
        QCOMPARE(m_view->camera().yawDeg(), static_cast<float>(-pixels) * 0.35F);
        m_view->press({50, from}, Qt::RightButton);
        m_view->move({50, to}, Qt::RightButton);
        QCOMPARE(m_view->camera().target().x(), static_cast<float>(-pixels) * 0.0075F);
    }

    void wheelZooms()
    {
        m_view->wheel(120);
        QCOMPARE(m_view->camera().distance(), 2.7F);
        QVERIFY(m_view->paintsAgain());
        m_view->wheel(-240);
        QCOMPARE(m_view->camera().distance(), 3.0F / 0.9F);
        for (int i = 0; i < 50; ++i)
            m_view->wheel(-120);
        QCOMPARE(m_view->camera().distance(), 30.0F);
        for (int i = 0; i < 50; ++i)
            m_view->wheel(120);
        QCOMPARE(m_view->camera().distance(), 0.5F);
    }

    void draggingWithoutEndStopsAtTheClamps()
    {
        m_view->press({0, 0});
        m_view->move({0, 100000}, Qt::LeftButton);
        QCOMPARE(m_view->camera().pitchDeg(), 89.0F);
        m_view->move({0, -100000}, Qt::LeftButton);
        QCOMPARE(m_view->camera().pitchDeg(), -89.0F);
    }

    void arrowsOrbit_data()
    {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<QPoint>("drag"); // mouse drag that turns the camera by the same angle
        QTest::newRow("left") << Qt::Key_Left << QPoint(-10, 0);
        QTest::newRow("right") << Qt::Key_Right << QPoint(10, 0);
        QTest::newRow("up") << Qt::Key_Up << QPoint(0, -10);
        QTest::newRow("down") << Qt::Key_Down << QPoint(0, 10);
    }

    void arrowsOrbit()
    {
        QFETCH(Qt::Key, key);
        QFETCH(QPoint, drag);
        BareView dragged;
        dragged.press({100, 100});
        dragged.move({100.0 + drag.x(), 100.0 + drag.y()}, Qt::LeftButton);
        QTest::keyClick(m_view.get(), key);
        QCOMPARE(m_view->camera().yawDeg(), dragged.camera().yawDeg());
        QCOMPARE(m_view->camera().pitchDeg(), dragged.camera().pitchDeg());
        QVERIFY(m_view->paintsAgain());
        QTest::keyClick(m_view.get(), key, Qt::KeypadModifier); // with the keypad modifier
        QVERIFY(m_view->camera().yawDeg() != dragged.camera().yawDeg() ||
                m_view->camera().pitchDeg() != dragged.camera().pitchDeg());
    }

    void heldArrowsStopAtTheClamps()
    {
        for (int i = 0; i < 100; ++i)
            QTest::keyClick(m_view.get(), Qt::Key_Down);
        QCOMPARE(m_view->camera().pitchDeg(), 89.0F);
        for (int i = 0; i < 100; ++i)
            QTest::keyClick(m_view.get(), Qt::Key_Up);
        QCOMPARE(m_view->camera().pitchDeg(), -89.0F);
    }

    void plusAndMinusZoom()
    {
        QTest::keyClick(m_view.get(), Qt::Key_Plus, Qt::ShiftModifier);
        QCOMPARE(m_view->camera().distance(), 2.7F);
        QVERIFY(m_view->paintsAgain());
        QTest::keyClick(m_view.get(), Qt::Key_Minus, Qt::KeypadModifier);
        QTest::keyClick(m_view.get(), Qt::Key_Minus);
        QCOMPARE(m_view->camera().distance(), 3.0F / 0.9F);
        QTest::keyClick(m_view.get(), Qt::Key_Equal); // plus without Shift
        QCOMPARE(m_view->camera().distance(), 3.0F);
    }

    void homeRestoresTheFirstView()
    {
        m_view->press({100, 100});
        m_view->move({140, 70}, Qt::LeftButton);
        m_view->move({150, 50}, Qt::RightButton);
        m_view->wheel(-480);
        QTest::keyClick(m_view.get(), Qt::Key_Home);
        QCOMPARE(m_view->camera().yawDeg(), 0.0F);
        QCOMPARE(m_view->camera().pitchDeg(), 20.0F);
        QCOMPARE(m_view->camera().distance(), 3.0F);
        QCOMPARE(m_view->camera().target(), QVector3D());
        QCOMPARE(m_view->camera().aspect(), 400.0F / 300.0F);
        QVERIFY(m_view->paintsAgain());
    }

    // Keys with a modifier stay free for the window's shortcuts. Every other unused key goes to the
    // parent.
    void unusedKeysReachTheParent()
    {
        const auto isTaken = [this](int key, Qt::KeyboardModifiers modifiers) {
            QKeyEvent event(QEvent::KeyPress, key, modifiers);
            QCoreApplication::sendEvent(m_view.get(), &event);
            return event.isAccepted();
        };
        QVERIFY(isTaken(Qt::Key_Left, Qt::NoModifier));
        QVERIFY(!isTaken(Qt::Key_A, Qt::NoModifier));
        QVERIFY(!isTaken(Qt::Key_Return, Qt::NoModifier));
        QTest::keyClick(m_view.get(), Qt::Key_Home);
        for (const Qt::KeyboardModifier modifier :
             {Qt::ControlModifier, Qt::AltModifier, Qt::MetaModifier}) {
            for (const int key : {Qt::Key_Left, Qt::Key_Plus, Qt::Key_Home})
                QVERIFY(!isTaken(key, modifier));
        }
        QCOMPARE(m_view->camera().yawDeg(), 0.0F);
        QCOMPARE(m_view->camera().distance(), 3.0F);
    }

    void tabAndClickGiveTheFocus()
    {
        QWidget window;
        auto *layout = new QVBoxLayout(&window);
        auto *button = new QPushButton;
        auto *view = new BareView;
        layout->addWidget(button);
        layout->addWidget(view);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        button->setFocus();
        QTest::keyClick(button, Qt::Key_Tab);
        QCOMPARE(window.focusWidget(), view);
        QTest::keyClick(view, Qt::Key_Left);
        QCOMPARE(window.focusWidget(), view); // arrow keys do not move the focus
        QCOMPARE(view->camera().yawDeg(), 3.5F);
        QTest::keyClick(view, Qt::Key_Tab);
        QCOMPARE(window.focusWidget(), button);
        QTest::mouseClick(view, Qt::LeftButton);
        QCOMPARE(window.focusWidget(), view);
    }

    void toolTipNamesTheKeys()
    {
        for (const QString &word : {u"arrow keys"_s, u"+ and −"_s, u"Home"_s})
            QVERIFY2(m_view->toolTip().contains(word), qPrintable(m_view->toolTip()));
        const QString english = m_view->toolTip();
        Translated translator;
        QCoreApplication::installTranslator(&translator);
        QTRY_COMPARE(m_view->toolTip(), u"translated"_s);
        QCoreApplication::removeTranslator(&translator);
        QTRY_COMPARE(m_view->toolTip(), english);
    }
};

QTEST_MAIN(TestOrbitGLWidgetInput)
#include "test_orbit_gl_widget_input.moc"
