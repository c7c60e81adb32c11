#include <QActionGroup>
#include <QFile>
#include <QGraphicsView>
#include <QMenu>

#include "tests/app/window_fixture.h"
#include "tests/fixtures/box_watcher.h"
#include "tests/fixtures/wait_limit.h"
#include "views/pose_gl_widget.h"
#include "views/rpy_plotter.h"

using namespace app_test;

// What the constructor of the window creates, and what the actions do before any device is
// connected.
class TestMainWindowUnconnected : public QObject
{
    Q_OBJECT

    WindowFixture m_fixture;

private slots:
    void initTestCase() { QVERIFY(m_fixture.show()); }

    // --- What the constructor creates ----------------------------------------------------------

    void driverAndPlotterBelongToTheWindow()
    {
        QCOMPARE(m_fixture.window()->findChildren<imu *>(Qt::FindDirectChildrenOnly).size(), 1);
        QCOMPARE(m_fixture.window()->findChildren<RpyPlotter *>(Qt::FindDirectChildrenOnly).size(),
                 1);
        QVERIFY(m_fixture.window()->findChild<QGraphicsView *>(u"graphicsView_rpy"_s)->scene());
    }

    // QObject::children() keeps the order of construction: form, driver, languages, plotter.
    void startUpOrder()
    {
        const QObjectList children = m_fixture.window()->children();
        const auto index = [&](QObject *object) { return children.indexOf(object); };
        const auto driver = index(m_fixture.driver());
        const auto languages = index(m_fixture.window()->findChild<QActionGroup *>());
        const auto plotter = index(m_fixture.window()->findChild<RpyPlotter *>());
        QVERIFY(index(m_fixture.window()->centralWidget()) < driver);
        QVERIFY(driver < languages);
        QVERIFY(languages < plotter);
    }

    void orientationReachesPlotAndPoseOnTheGuiThread()
    {
        auto *pose = m_fixture.window()->findChild<PoseGLWidget *>(u"PoseWidget"_s);
        // A quarter turn about x: roll 90 degrees.
        emit m_fixture.driver()->quaternionUpdated(0.70710678F, 0, 0, 0.70710678F);
        QTRY_VERIFY(std::abs(pose->attitude().rollDeg - 90) < 0.1);
    }

    void signalsReachTheirLabels_data()
    {
        using Signal = void (MainWindow::*)(QString);
        QTest::addColumn<Signal>("write");
        QTest::addColumn<QString>("name");
        QTest::newRow("quaternion") << &MainWindow::DataQuaternionWrite << u"label_quat"_s;
        QTest::newRow("euler") << &MainWindow::DataEulerWrite << u"label_euler"_s;
        QTest::newRow("acceleration")
            << &MainWindow::DataAccelerationWrite << u"label_linAcceleration"_s;
        QTest::newRow("rate") << &MainWindow::DataAngularRateWrite << u"label_angularRate"_s;
        QTest::newRow("field") << &MainWindow::DataMagneticFieldWrite << u"label_magfield"_s;
        QTest::newRow("covariance") << &MainWindow::DataCovarianceWrite << u"label_covariance"_s;
        QTest::newRow("pressure") << &MainWindow::DataPressureWrite << u"label_pressure"_s;
    }

    void signalsReachTheirLabels()
    {
        using Signal = void (MainWindow::*)(QString);
        QFETCH(Signal, write);
        QFETCH(QString, name);
        emit(m_fixture.window()->*write)(u"1, 2, 3"_s);
        QCOMPARE(m_fixture.label(name)->text(), u"1, 2, 3"_s);
        m_fixture.label(name)->setText(u"None"_s);
        const QList<QLabel *> labels =
            m_fixture.window()->findChild<QWidget *>(u"Datas"_s)->findChildren<QLabel *>();
        for (const QLabel *other : labels)
            QVERIFY(other->text() != u"1, 2, 3"_s);
    }

    void withoutADeviceTheRateIsZero()
    {
        int rates = 0; // counted on the GUI thread
        QObject context;
        connect(m_fixture.window(), &MainWindow::dataRateWrite, &context, [&] { ++rates; });
        m_fixture.label(u"label_status"_s)->setText(u"something"_s);
        QTRY_COMPARE(m_fixture.label(u"label_status"_s)->text(), u"Not connected"_s);
        QCOMPARE(m_fixture.label(u"label_datarate"_s)->text(), u"Receiving 0 Hz"_s);
        QTRY_VERIFY(rates >= 2);
    }

    // --- Languages without translation files ---------------------------------------------------

    void withoutTranslationsTheTextsStayEnglish()
    {
        QVERIFY(!QFile::exists(QCoreApplication::applicationDirPath() + u"/languages"_s));
        const QList<QAction *> languages =
            m_fixture.window()->findChild<QMenu *>(u"menuLanguage"_s)->actions();
        QCOMPARE(languages.size(), 2);
        languages[1]->trigger();
        QCoreApplication::processEvents();
        QVERIFY(!languages[0]->isChecked());
        QVERIFY(languages[1]->isChecked());
        QCOMPARE(m_fixture.action(u"actionScan"_s)->text(), u"Scan for Devices"_s);
        languages[0]->trigger();
        QVERIFY(languages[0]->isChecked());
        QVERIFY(!languages[1]->isChecked());
    }

    // --- Device actions without a device --------------------------------------------------------

    void deviceActionsWarn_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("device info") << u"actionShowDeviceInfo_2"_s;
        QTest::newRow("settings") << u"actionOpenSettings"_s;
        QTest::newRow("calibration") << u"actionCalibration"_s;
    }

    void deviceActionsWarn()
    {
        QFETCH(QString, name);
        QAction *refused = m_fixture.action(name);
        QVERIFY(refused->isEnabled());
        const BoxWatcher boxes;
        refused->trigger();
        QCOMPARE(boxes.shown.size(), 1);
        const ShownBox &box = boxes.shown.first();
        QCOMPARE(box.icon, QMessageBox::Warning);
        QCOMPARE(box.title, u"Not connected"_s);
        QCOMPARE(box.text, u"Please connect to a device first."_s);
        QCOMPARE(box.parent, m_fixture.window());
        QCOMPARE(box.buttons, QList{QMessageBox::Ok});
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(refused->isEnabled());
    }

    void disconnectingWithoutAConnectionGreysThemOut()
    {
        m_fixture.action(u"actionDisconnect_4"_s)->trigger();
        QCOMPARE(m_fixture.label(u"label_status"_s)->text(), u"Not connected"_s);
        for (const auto &name :
             {u"actionShowDeviceInfo_2"_s, u"actionOpenSettings"_s, u"actionCalibration"_s})
            QVERIFY(!m_fixture.action(name)->isEnabled());
        for (const auto &name : {u"actionScan"_s, u"actionConnect_2"_s, u"actionDisconnect_4"_s,
                                 u"actionAboutDialog"_s, u"actionHelpDialog"_s})
            QVERIFY(m_fixture.action(name)->isEnabled());
    }

    void connectingBeforeAScan()
    {
        m_fixture.action(u"actionConnect_2"_s)->trigger();
        QCOMPARE(m_fixture.label(u"label_status"_s)->text(),
                 u"Please run Scan first, no ports available."_s);
    }
};

VORNIX_TEST_MAIN(TestMainWindowUnconnected, Application)
#include "test_main_window_unconnected.moc"
