// Every window in every language: no text is clipped, no widget overlaps another, each widget that
// a screen reader visits has a name, and the keyboard reaches all controls. A language switch in an
// open window gives the same texts as opening it afterwards.

#include <memory>

#include <QAction>
#include <QGraphicsView>
#include <QMenu>
#include <QScreen>
#include <QSplitter>

#include "app/application.h"
#include "app/main_window.h"
#include "dialogs/about.h"
#include "dialogs/device_info_dialog.h"
#include "dialogs/help.h"
#include "dialogs/magneto_calibration_dialog.h"
#include "dialogs/settings_dialog.h"
#include "driver/imu.h"
#include "sim/device/imu_simulator_server.h"
#include "tests/app/window_walk.h"
#include "tests/fixtures/test_main.h"
#include "tests/fixtures/wait_limit.h"
#include "views/pose_gl_widget.h"

using namespace windows_test;

namespace {

// The widest texts that six digits give.
const QString kWideTriple = u"-0.000123457, -0.000123457, -0.000123457"_s;
const QString kWideQuaternion = u"-0.707107, -0.707107, -0.707107, -0.707107"_s;

// Names, the languages' names in their own language, and a serial number.
const QStringList kSameInBoth{u"Kestrova"_s, u"Kestrova - Vornix"_s, u"English"_s, u"Türkçe"_s,
                              u"c0ffee"_s};

constexpr QSize kInitialSize(1172, 769);

bool isOfWords(const QString &text)
{
    static const QRegularExpression number(u"^[-\\d., ]*(°|Hz|)$"_s);
    return !number.match(text).hasMatch() && !kSameInBoth.contains(text);
}

} // namespace

class TestEveryWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void nothingIsClippedOrCovered_data();
    void nothingIsClippedOrCovered();
    void nothingIsClippedInASmallWindow_data() { nothingIsClippedOrCovered_data(); }
    void nothingIsClippedInASmallWindow();
    void screenReadersHaveNames_data() { windows(); }
    void screenReadersHaveNames();
    void theKeyboardReachesEverything_data() { windows(); }
    void theKeyboardReachesEverything();
    void switchedTextsEqualThoseOfANewWindow_data() { dialogs(); }
    void switchedTextsEqualThoseOfANewWindow();
    void noEnglishIsLeftInTheMainWindow();
    void paintedTextsFollowTheLanguage_data();
    void paintedTextsFollowTheLanguage();
    void allDialogsAtOnce();

private:
    // Owns the window, except the main window, which exists until the program ends.
    struct Opened
    {
        std::unique_ptr<QDialog> dialog;
        QWidget *window;
    };

    static void windows()
    {
        QTest::addColumn<QString>("window");
        QTest::newRow("main") << u"main"_s;
        addDialogs();
    }
    static void dialogs()
    {
        QTest::addColumn<QString>("window");
        addDialogs();
    }
    static void addDialogs()
    {
        for (const char *name : {"about", "help", "settings", "device info", "calibration"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }
    static void dialogsAndLanguages()
    {
        QTest::addColumn<QString>("window");
        QTest::addColumn<QString>("code");
        for (const char *name : {"about", "help", "settings", "device info", "calibration"}) {
            for (const char *code : {"en", "tr"})
                QTest::addRow("%s, %s", name, code)
                    << QString::fromLatin1(name) << QString::fromLatin1(code);
        }
    }

    QDialog *create(const QString &name);
    Opened open(const QString &name);
    void choose(const QString &code);
    void showWideValues();

    std::unique_ptr<sim::ImuSimulatorServer> m_device;
    MainWindow *m_window = nullptr;
    QList<int> m_paneWidths;
    imu *m_driver = nullptr;
};

void TestEveryWindow::initTestCase()
{
    sim::DeviceOptions options;
    options.settings.baud = 921600;
    options.settings.outputs = 0x1FF;
    m_device = std::make_unique<sim::ImuSimulatorServer>(options);
    m_window = new MainWindow;
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_window, kWaitLimitMs));
    m_paneWidths = m_window->findChild<QSplitter *>()->sizes();
    m_driver = m_window->findChild<imu *>();
    m_driver->connect(m_device->path(), 921600, 8, 0, 1);
    QTRY_VERIFY(m_window->findChild<QLabel *>(u"label_quat"_s)->text() != u"None"_s);
    // From here on only the tests change what the window shows.
    m_driver->setOutputs(0);
}

void TestEveryWindow::cleanup()
{
    m_window->resize(kInitialSize);
    m_window->findChild<QSplitter *>()->setSizes(m_paneWidths);
    choose(u"en"_s);
}

// Chooses the language in the menu, as a user does. The windows get the change as posted events.
void TestEveryWindow::choose(const QString &code)
{
    const auto entries = m_window->findChild<QMenu *>(u"menuLanguage"_s)->actions();
    for (QAction *const entry : entries) {
        if (entry->data() == code)
            entry->trigger();
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LanguageChange);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
}

QDialog *TestEveryWindow::create(const QString &name)
{
    if (name == "about"_L1)
        return new AboutDialog(m_window);
    if (name == "help"_L1)
        return new HelpDialog(m_window);
    if (name == "settings"_L1)
        return new SettingsDialog(m_driver, m_window);
    if (name == "device info"_L1)
        return new DeviceInfoDialog(m_driver, m_window);
    // With results: an octahedron fits a sphere well.
    auto *dialog = new MagnetoCalibrationDialog(m_driver, m_window, 0x1FF);
    float mean = 0;
    float deviation = 0;
    dialog->computeQualityMetrics({{1, 0, 0}, {-1, 0, 0}, {0, 1.3F, 0}, {0, 0, -1.2F}},
                                  Eigen::Vector3f::Zero(), Eigen::Matrix3f::Identity(), mean,
                                  deviation);
    return dialog;
}

TestEveryWindow::Opened TestEveryWindow::open(const QString &name)
{
    if (name == "main"_L1)
        return {nullptr, m_window};
    Opened opened{std::unique_ptr<QDialog>(create(name)), nullptr};
    opened.window = opened.dialog.get();
    opened.window->show();
    if (!QTest::qWaitForWindowExposed(opened.window, kWaitLimitMs))
        qFatal("%s does not open", qPrintable(name));
    return opened;
}

void TestEveryWindow::showWideValues()
{
    emit m_window->DataQuaternionWrite(kWideQuaternion);
    for (const auto signal :
         {&MainWindow::DataEulerWrite, &MainWindow::DataCovarianceWrite,
          &MainWindow::DataMagneticFieldWrite, &MainWindow::DataAccelerationWrite,
          &MainWindow::DataAngularRateWrite})
        emit(m_window->*signal)(kWideTriple);
    emit m_window->DataPressureWrite(u"1013.25"_s);
    QCoreApplication::processEvents();
}

void TestEveryWindow::nothingIsClippedOrCovered_data()
{
    dialogsAndLanguages();
    QTest::newRow("main, en") << u"main"_s << u"en"_s;
    QTest::newRow("main, tr") << u"main"_s << u"tr"_s;
}

void TestEveryWindow::nothingIsClippedOrCovered()
{
    QFETCH(QString, window);
    QFETCH(QString, code);
    choose(code);
    const Opened opened = open(window);
    if (window == "main"_L1)
        showWideValues();
    for (const auto *value : opened.window->findChildren<ValueLabel *>())
        QCOMPARE(value->shownText(), value->text());
    QVERIFY(visibleWidgets(*opened.window).size() > 5);
    QCOMPARE(clippedWidgets(*opened.window), QStringList());
    QCOMPARE(overlappingWidgets(*opened.window), QStringList());
}

// At the smallest size of the window and of its panel of values.
void TestEveryWindow::nothingIsClippedInASmallWindow()
{
    QFETCH(QString, window);
    QFETCH(QString, code);
    choose(code);
    const Opened opened = open(window);
    opened.window->resize(1, 1);
    QCoreApplication::processEvents();
    if (window == "main"_L1) {
        m_window->findChild<QSplitter *>()->setSizes({1, 1000});
        showWideValues();
        const QString shown = m_window->findChild<ValueLabel *>(u"label_quat"_s)->shownText();
        QVERIFY2(shown.endsWith(u'…') && shown.size() > 1, qPrintable(shown));
    }
    QCOMPARE(clippedWidgets(*opened.window), QStringList());
    QCOMPARE(overlappingWidgets(*opened.window), QStringList());
}

void TestEveryWindow::screenReadersHaveNames()
{
    QFETCH(QString, window);
    const Opened opened = open(window);
    const auto english = spokenNames(*opened.window);
    choose(u"tr"_s);
    const auto turkish = spokenNames(*opened.window);
    QCOMPARE(turkish.keys(), english.keys());
    for (auto entry = english.cbegin(); entry != english.cend(); ++entry) {
        QVERIFY2(!entry.value().isEmpty(), qPrintable(entry.key()));
        QVERIFY2(!turkish[entry.key()].isEmpty(), qPrintable(entry.key()));
        QVERIFY2(turkish[entry.key()] != entry.value(), qPrintable(entry.key()));
    }
}

void TestEveryWindow::theKeyboardReachesEverything()
{
    QFETCH(QString, window);
    const Opened opened = open(window);
    QVERIFY(!controls(*opened.window).isEmpty());
    QCOMPARE(reachableByTab(*opened.window), controls(*opened.window));
    if (window == "main"_L1)
        return;
    QTest::keyClick(opened.window->focusWidget(), Qt::Key_Escape);
    QVERIFY(!opened.window->isVisible());
}

void TestEveryWindow::switchedTextsEqualThoseOfANewWindow()
{
    QFETCH(QString, window);
    const Opened opened = open(window);
    const auto english = textsOf(*opened.window);
    choose(u"tr"_s);
    const auto switched = textsOf(*opened.window);
    QCOMPARE(switched, textsOf(*open(window).window));
    for (auto entry = english.cbegin(); entry != english.cend(); ++entry) {
        if (isOfWords(entry.value()))
            QVERIFY2(switched[entry.key()] != entry.value(), qPrintable(entry.value()));
    }
    choose(u"en"_s);
    QCOMPARE(textsOf(*opened.window), english);
}

void TestEveryWindow::noEnglishIsLeftInTheMainWindow()
{
    const auto english = textsOf(*m_window);
    QVERIFY(english.size() > 50);
    choose(u"tr"_s);
    const auto turkish = textsOf(*m_window);
    for (auto entry = english.cbegin(); entry != english.cend(); ++entry) {
        if (isOfWords(entry.value()))
            QVERIFY2(turkish[entry.key()] != entry.value(), qPrintable(entry.value()));
    }
    QCOMPARE(turkish[u"label_quat"_s], u"Yok"_s);
    choose(u"en"_s);
    // The worker thread writes these two labels at any time.
    auto back = textsOf(*m_window);
    for (const auto &name : {u"label_status"_s, u"label_datarate"_s})
        back[name] = english[name];
    for (auto entry = back.cbegin(); entry != back.cend(); ++entry) {
        if (isOfWords(english[entry.key()]))
            QCOMPARE(entry.value(), english[entry.key()]);
    }
}

void TestEveryWindow::paintedTextsFollowTheLanguage_data()
{
    QTest::addColumn<QString>("window");
    QTest::newRow("readout of the pose") << u"main"_s;
    QTest::newRow("legend of the scatter view") << u"calibration"_s;
}

// The painted text changes on the screen without any new data.
void TestEveryWindow::paintedTextsFollowTheLanguage()
{
    QFETCH(QString, window);
    const Opened opened = open(window);
    const auto *view = opened.window->findChild<QOpenGLWidget *>();
    const auto picture = [&] {
        const QPoint corner = view->mapToGlobal(QPoint());
        return view->screen()
            ->grabWindow(0, corner.x(), corner.y(), view->width(), view->height())
            .toImage();
    };
    opened.window->raise();
    // The first picture can show a window that is not completely painted; then another is taken.
    bool isBack = false;
    for (int attempt = 0; attempt < 10 && !isBack; ++attempt) {
        const QImage english = picture();
        choose(u"tr"_s);
        QTRY_VERIFY(picture() != english);
        choose(u"en"_s);
        isBack = QTest::qWaitFor([&] { return picture() == english; }, kWaitLimitMs / 10);
    }
    QVERIFY(isBack);
}

void TestEveryWindow::allDialogsAtOnce()
{
    std::vector<Opened> opened;
    for (const auto &name :
         {u"about"_s, u"help"_s, u"settings"_s, u"device info"_s, u"calibration"_s})
        opened.push_back(open(name));
    choose(u"tr"_s);
    const QStringList titles{u"Hakkında"_s, u"Yardım"_s, u"Ayarlar"_s, u"Cihaz Bilgileri"_s,
                             u"Manyetometre Kalibrasyonu"_s};
    for (qsizetype i = 0; i < titles.size(); ++i)
        QCOMPARE(opened[static_cast<std::size_t>(i)].window->windowTitle(), titles[i]);
    choose(u"en"_s);
    QCOMPARE(opened.front().window->windowTitle(), u"About"_s);
}

VORNIX_TEST_MAIN(TestEveryWindow, Application)
#include "test_every_window.moc"
