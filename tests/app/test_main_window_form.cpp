#include "tests/fixtures/test_main.h"

#include <QAction>
#include <QFormLayout>
#include <QGraphicsView>
#include <QGroupBox>
#include <QLabel>
#include <QMenuBar>
#include <QSplitter>
#include <QStatusBar>
#include <QTest>
#include <QWindow>

#include "app/application.h"
#include "app/main_window.h"
#include "app/value_label.h"
#include "tests/fixtures/wait_limit.h"
#include "views/pose_gl_widget.h"

using namespace Qt::StringLiterals;

// Layout and texts of the window before any device is connected.
class TestMainWindowForm : public QObject
{
    Q_OBJECT

    MainWindow *m_window = nullptr;

    template <typename T>
    T *child(const QString &name) const
    {
        return m_window->findChild<T *>(name);
    }

    QLabel *label(const QString &name) const { return child<QLabel>(name); }
    QAction *action(const QString &name) const { return child<QAction>(name); }

    static QStringList entryNames(const QWidget *menu)
    {
        QStringList names;
        const QList<QAction *> actions = menu->actions();
        for (const QAction *entry : actions)
            names.append(entry->isSeparator() ? u"separator"_s : entry->objectName());
        return names;
    }

    // The object names of a layout's items, in order.
    static QStringList itemNames(const QLayout *layout)
    {
        QStringList names;
        for (int i = 0; i < layout->count(); ++i) {
            QLayoutItem *item = layout->itemAt(i);
            if (item->widget())
                names.append(item->widget()->objectName());
            else if (item->layout())
                names.append(item->layout()->objectName());
            else
                names.append(u"spacer"_s);
        }
        return names;
    }

private slots:
    void initTestCase()
    {
        m_window = new MainWindow;
        // The window is not shown yet and no event has run, so these are the texts of the form.
        QCOMPARE(label(u"label_status"_s)->text(), u"Status: Not connected"_s);
        QCOMPARE(label(u"label_datarate"_s)->text(), u"Data Rate: 0 Hz"_s);
        QCOMPARE(m_window->size(), QSize(1172, 769));
        m_window->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_window, kWaitLimitMs));
    }

    void window()
    {
        QCOMPARE(m_window->objectName(), u"MainWindow"_s);
        QCOMPARE(m_window->windowTitle(), u"Kestrova - Vornix"_s);
        QCOMPARE(m_window->centralWidget()->objectName(), u"centralwidget"_s);
        QCOMPARE(m_window->menuBar()->objectName(), u"menubar"_s);
        QCOMPARE(m_window->statusBar()->objectName(), u"statusbar"_s);
        QVERIFY(m_window->statusBar()->currentMessage().isEmpty());
    }

    void actions_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("actionScan") << u"Scan for Devices"_s;
        QTest::newRow("actionConnect") << u"Connect"_s;
        QTest::newRow("actionDisconnect") << u"Disconnect"_s;
        QTest::newRow("actionShowDeviceInfo") << u"Show Device Info"_s;
        QTest::newRow("actionOpenSettings") << u"Open Settings"_s;
        QTest::newRow("actionDisconnect_2") << u"Disconnect"_s;
        QTest::newRow("actionDisconnect_3") << u"Disconnect"_s;
        QTest::newRow("actionConnect_2") << u"Connect"_s;
        QTest::newRow("actionDisconnect_4") << u"Disconnect"_s;
        QTest::newRow("actionOpen_Calibration") << u"Open Calibration"_s;
        QTest::newRow("actionOpen_Calibration_2") << u"Calibration"_s;
        QTest::newRow("actionCalibration") << u"Magnetometer Calibration"_s;
        QTest::newRow("actionShowDeviceInfo_2") << u"Device Info"_s;
        QTest::newRow("actionAboutDialog") << u"About"_s;
        QTest::newRow("actionHelpDialog") << u"User Guide"_s;
    }

    void actions()
    {
        QAction *found = action(QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY(found);
        QTEST(found->text(), "text");
    }

    void menus_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QStringList>("entries");
        QTest::newRow("menuConnection")
            << u"Connection"_s << QStringList{u"actionScan"_s,
                                              u"separator"_s,
                                              u"actionConnect_2"_s,
                                              u"separator"_s,
                                              u"actionDisconnect_4"_s,
                                              u"separator"_s,
                                              u"actionShowDeviceInfo_2"_s};
        QTest::newRow("menuSettings")
            << u"Settings"_s << QStringList{u"actionOpenSettings"_s, u"actionCalibration"_s};
        QTest::newRow("menuHelp") << u"Help"_s
                                  << QStringList{u"actionHelpDialog"_s, u"actionAboutDialog"_s};
    }

    void menus()
    {
        QMenu *menu = child<QMenu>(QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY(menu);
        QTEST(menu->title(), "title");
        QTEST(entryNames(menu), "entries");
    }

    void menuBar()
    {
        QStringList names;
        const QList<QAction *> bar = m_window->menuBar()->actions();
        for (const QAction *entry : bar)
            names.append(entry->menu()->objectName());
        QCOMPARE(names, (QStringList{u"menuConnection"_s, u"menuSettings"_s, u"menuLanguage"_s,
                                     u"menuHelp"_s}));
    }

    void unusedActionsAreInNoMenu()
    {
        for (const auto &name :
             {u"actionConnect"_s, u"actionDisconnect"_s, u"actionShowDeviceInfo"_s,
              u"actionDisconnect_2"_s, u"actionDisconnect_3"_s, u"actionOpen_Calibration"_s,
              u"actionOpen_Calibration_2"_s})
            QVERIFY2(action(name)->associatedObjects().isEmpty(), qPrintable(name));
    }

    void captions_data()
    {
        QTest::addColumn<int>("row");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QString>("value");
        QTest::newRow("quaternionLabel") << 0 << u"Quaternion (unitless)"_s << u"label_quat"_s;
        QTest::newRow("eulerLabel") << 1 << u"Euler Angles (°)"_s << u"label_euler"_s;
        QTest::newRow("covarianceLabel") << 2 << u"Covariance (rad²)"_s << u"label_covariance"_s;
        QTest::newRow("magneticFieldLabel")
            << 3 << u"Magnetic Field (unitless)"_s << u"label_magfield"_s;
        QTest::newRow("linearAccelerationLabel")
            << 4 << u"Linear Acceleration (m/s²)"_s << u"label_linAcceleration"_s;
        QTest::newRow("angularRateLabel")
            << 5 << u"Angular Rate (rad/s)"_s << u"label_angularRate"_s;
        QTest::newRow("pressureLabel") << 6 << u"Pressure (hPa)"_s << u"label_pressure"_s;
    }

    void captions()
    {
        QFETCH(int, row);
        auto *form = child<QFormLayout>(u"formLayout"_s);
        QCOMPARE(form->rowCount(), 7);
        auto *caption = qobject_cast<QLabel *>(form->itemAt(row, QFormLayout::LabelRole)->widget());
        auto *value = qobject_cast<QLabel *>(form->itemAt(row, QFormLayout::FieldRole)->widget());
        QCOMPARE(caption->objectName(), QString::fromLatin1(QTest::currentDataTag()));
        QTEST(caption->text(), "caption");
        QTEST(value->objectName(), "value");
        QCOMPARE(value->text(), u"None"_s);
    }

    void splitter()
    {
        auto *splitter = child<QSplitter>(u"splitter_main"_s);
        QCOMPARE(splitter->orientation(), Qt::Horizontal);
        QCOMPARE(splitter->count(), 2);

        auto *data = qobject_cast<QGroupBox *>(splitter->widget(0));
        QCOMPARE(data->objectName(), u"groupBox_device_data"_s);
        QCOMPARE(data->title(), u"Device Data"_s);
        QCOMPARE(data->minimumWidth(), 240);
        QCOMPARE(data->layout()->objectName(), u"verticalLayout_device_data"_s);
        QCOMPARE(itemNames(data->layout()), (QStringList{u"Datas"_s, u"graphicsView_rpy"_s}));
        QCOMPARE(child<QWidget>(u"Datas"_s)->layout()->objectName(), u"formLayout"_s);

        auto *orientation = qobject_cast<QGroupBox *>(splitter->widget(1));
        QCOMPARE(orientation->objectName(), u"groupBox_orientation"_s);
        QCOMPARE(orientation->title(), u"Orientation Display"_s);
        QCOMPARE(orientation->minimumWidth(), 460);
        QCOMPARE(orientation->layout()->objectName(), u"verticalLayout_orientation"_s);
        QCOMPARE(itemNames(orientation->layout()), QStringList{u"PoseWidget"_s});
        QVERIFY(child<PoseGLWidget>(u"PoseWidget"_s));
    }

    // The window fits into half of a screen 1600 pixels wide without cut captions.
    void theWindowCanBeHalfAScreen()
    {
        label(u"label_quat"_s)->setText(u"-0.278731, -0.167198, -0.294698, -0.898614"_s);
        label(u"label_status"_s)->setText(u"Connected to /dev/ttyUSB0 @ 921600 baud"_s);
        m_window->resize(1, 1);
        QTRY_COMPARE(m_window->size(), m_window->minimumSizeHint());
        QVERIFY2(m_window->width() <= 800, qPrintable(QString::number(m_window->width())));
        QVERIFY2(m_window->height() <= 600, qPrintable(QString::number(m_window->height())));
        QCoreApplication::processEvents();
        const QList<QLabel *> labels = m_window->centralWidget()->findChildren<QLabel *>();
        for (const QLabel *shown : labels) {
            if (shown->text().isEmpty() || qobject_cast<const ValueLabel *>(shown))
                continue;
            QVERIFY2(shown->width() >= shown->sizeHint().width(), qPrintable(shown->objectName()));
            QVERIFY2(shown->visibleRegion().boundingRect() == shown->rect(),
                     qPrintable(shown->objectName()));
        }
        label(u"label_quat"_s)->setText(u"None"_s);
        m_window->resize(1172, 769);
    }

    // In the window's first size the longest usual values also fit.
    void theFirstSizeShowsWholeValues()
    {
        const QString usual = u"-0.278731, -0.167198, -0.294698, -0.898614"_s;
        label(u"label_quat"_s)->setText(usual);
        QCOMPARE(child<ValueLabel>(u"label_quat"_s)->shownText(), usual);
        QVERIFY(child<QGraphicsView>(u"graphicsView_rpy"_s)->height() > 150);
        label(u"label_quat"_s)->setText(u"None"_s);
    }

    void captionsHaveExplanations()
    {
        const QList<QLabel *> labels = child<QWidget>(u"Datas"_s)->findChildren<QLabel *>();
        QSet<QString> explanations;
        for (const QLabel *caption : labels) {
            if (!caption->buddy())
                continue;
            QVERIFY2(!caption->toolTip().isEmpty(), qPrintable(caption->objectName()));
            explanations.insert(caption->toolTip());
        }
        QCOMPARE(explanations.size(), 7);
    }

    // A click beside the values ends a selection, because another widget takes the focus.
    void aClickBesideTheValuesTakesTheFocus()
    {
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window));
        auto *value = child<ValueLabel>(u"label_quat"_s);
        value->setFocus();
        QTest::keySequence(value, QKeySequence::SelectAll);
        QVERIFY(value->hasSelectedText());
        auto *header = label(u"label_header_title"_s);
        QTest::mouseClick(m_window->windowHandle(), Qt::LeftButton, {},
                          header->mapTo(m_window, QPoint(2, 2)));
        QVERIFY(!value->hasFocus());
        QVERIFY(!value->hasSelectedText());
    }
};

VORNIX_TEST_MAIN(TestMainWindowForm, Application)
#include "test_main_window_form.moc"
