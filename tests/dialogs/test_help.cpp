#include <QDesktopServices>
#include <QLayout>
#include <QScrollArea>
#include <QTextDocument>
#include <QUrl>

#include "dialogs/help.h"
#include "tests/dialogs/dialog_support.h"
#include "tests/fixtures/wait_limit.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

class TestHelp : public QObject
{
    Q_OBJECT

public slots:
    void noteUrl(const QUrl &url) { m_opened << url; }

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void windowAsItOpens();
    void header();
    void logoKeepsItsProportions();
    void guideHasItsSections();
    void guideStatesItsFacts_data();
    void guideStatesItsFacts();
    void guideIsWellFormed();
    void contentLabelSetUp();
    void scrollsByKeyboardAndKeepsItsSize();
    void scrollsByWheel();
    void linkByMouse();
    void linkByKeyboard();
    void closeAccepts();
    void languageChange();
    void namesForScreenReaders();
    void keyboardReachesEverything();

private:
    QString plainGuide() const;

    QList<QUrl> m_opened;
};

void TestHelp::initTestCase()
{
    QDesktopServices::setUrlHandler(u"https"_s, this, "noteUrl");
}

void TestHelp::cleanupTestCase()
{
    QDesktopServices::unsetUrlHandler(u"https"_s);
}

void TestHelp::init()
{
    m_opened.clear();
}

QString TestHelp::plainGuide() const
{
    const HelpDialog dialog(nullptr);
    QTextDocument document;
    document.setHtml(child<QLabel>(dialog, u"labelContent"_s)->text());
    return document.toPlainText();
}

void TestHelp::windowAsItOpens()
{
    const HelpDialog dialog(nullptr);
    QCOMPARE(dialog.objectName(), u"HelpDialog"_s);
    QCOMPARE(dialog.size(), QSize(650, 550));
    QCOMPARE(dialog.windowTitle(), u"Help"_s);
    QCOMPARE(child<QPushButton>(dialog, u"pushButton_close"_s)->text(), u"Close"_s);
}

void TestHelp::header()
{
    const HelpDialog dialog(nullptr);
    auto *const logo = child<QLabel>(dialog, u"labelLogo"_s);
    auto *const title = child<QLabel>(dialog, u"labelTitle"_s);
    QCOMPARE(logo->maximumSize(), QSize(80, 40));
    QVERIFY(logo->hasScaledContents());
    QCOMPARE(logo->alignment(), Qt::AlignCenter);
    QCOMPARE(logo->pixmap().size(), QSize(172, 100));
    QCOMPARE(title->text(), u"Kestrova - User Guide"_s);
    QCOMPARE(title->styleSheet(), u"font-weight: bold; font-size: 14pt;"_s);
    QCOMPARE(title->alignment(), Qt::AlignCenter);
}

void TestHelp::logoKeepsItsProportions()
{
    HelpDialog dialog(nullptr);
    dialog.show();
    const QSize drawn = child<QLabel>(dialog, u"labelLogo"_s)->contentsRect().size();
    QCOMPARE(drawn.height(), 40);
    QCOMPARE(drawn.width(), qRound(40 * 172.0 / 100));
}

void TestHelp::guideHasItsSections()
{
    const HelpDialog dialog(nullptr);
    const QString guide = child<QLabel>(dialog, u"labelContent"_s)->text();
    QVERIFY2(guide.size() > 2300 && guide.size() < 2900, qPrintable(QString::number(guide.size())));
    QCOMPARE(guide.count(u"<h3>"_s), 4);
    qsizetype from = 0;
    for (const QString &section :
         {u"Getting Started"_s, u"Configuration"_s, u"Visualization"_s, u"Additional Features"_s}) {
        from = guide.indexOf(u"<h3>"_s + section + u"</h3>"_s, from);
        QVERIFY2(from >= 0, qPrintable(section));
    }
}

void TestHelp::guideStatesItsFacts_data()
{
    QTest::addColumn<QStringList>("inThisOrder");
    QTest::newRow("getting started") << QStringList{u"<b>1. Scanning for Devices</b>"_s,
                                                    u"<i>Connection → Scan for Devices</i>"_s,
                                                    u"<b>2. Connecting to a Device</b>"_s,
                                                    u"only after a scan"_s,
                                                    u"check the cable"_s,
                                                    u"cannot be opened"_s,
                                                    u"<i>dialout</i>"_s,
                                                    u"log in again"_s,
                                                    u"detected automatically"_s,
                                                    u"<b>3. Viewing Device Data</b>"_s};
    QTest::newRow("captions of the data panel")
        << QStringList{u"<ul>"_s,
                       u"<b>Quaternion (unitless):</b>"_s,
                       u"x, y, z, w"_s,
                       u"<b>Euler Angles (°):</b>"_s,
                       u"roll, pitch and yaw in degrees"_s,
                       u"<b>Covariance (rad²):</b>"_s,
                       u"uncertainty"_s,
                       u"<b>Magnetic Field (unitless):</b>"_s,
                       u"calibrated magnetometer"_s,
                       u"<b>Linear Acceleration (m/s²):</b>"_s,
                       u"without gravity"_s,
                       u"<b>Angular Rate (rad/s):</b>"_s,
                       u"rotational velocity"_s,
                       u"<b>Pressure (hPa):</b>"_s,
                       u"barometric pressure"_s,
                       u"</ul>"_s};
    QTest::newRow("configuration") << QStringList{u"<b>Device Settings</b>"_s,
                                                  u"<b>Serial Port Settings:</b>"_s,
                                                  u"<b>Output Selection:</b>"_s,
                                                  u"<b>Data Rate:</b>"_s,
                                                  u"50 Hz to 1000 Hz"_s,
                                                  u"never tries 1000000 baud"_s,
                                                  u"choose 921600 and fewer outputs"_s,
                                                  u"<b>Presets:</b>"_s,
                                                  u"<b>Magnetometer Calibration</b>"_s,
                                                  u"<ol>"_s,
                                                  u"<b>Start Calibration</b>"_s,
                                                  u"<b>Stop Calibration</b>"_s,
                                                  u"<b>Apply Calibration</b>"_s,
                                                  u"<b>Save to Device</b>"_s,
                                                  u"</ol>"_s};
    QTest::newRow("visualization")
        << QStringList{u"<b>3D Orientation Display:</b>"_s, u"<b>RPY Graph:</b>"_s};
    QTest::newRow("additional features") << QStringList{u"<b>Device Info</b>"_s,
                                                        u"<i>Connection → Device Info</i>"_s,
                                                        u"<b>Language Selection</b>"_s,
                                                        u"English"_s,
                                                        u"Turkish"_s,
                                                        u"<i>Language</i>"_s,
                                                        u"<b>Factory Reset</b>"_s,
                                                        u"<b>Revert to Factory Settings</b>"_s,
                                                        u"restart the device"_s};
}

void TestHelp::guideStatesItsFacts()
{
    QFETCH(QStringList, inThisOrder);
    const HelpDialog dialog(nullptr);
    const QString guide = child<QLabel>(dialog, u"labelContent"_s)->text();
    qsizetype from = 0;
    for (const QString &fact : inThisOrder) {
        from = guide.indexOf(fact, from);
        QVERIFY2(from >= 0, qPrintable(fact));
    }
}

void TestHelp::guideIsWellFormed()
{
    const HelpDialog dialog(nullptr);
    const QString guide = child<QLabel>(dialog, u"labelContent"_s)->text();
    for (const QString &tag : {u"h3"_s, u"p"_s, u"b"_s, u"i"_s, u"ul"_s, u"ol"_s, u"li"_s}) {
        QCOMPARE(guide.count(u"<%1>"_s.arg(tag)), guide.count(u"</%1>"_s.arg(tag)));
    }
    const qsizetype steps = guide.indexOf(u"<ol>"_s);
    QCOMPARE(guide.sliced(steps, guide.indexOf(u"</ol>"_s) - steps).count(u"<li>"_s), 5);
    QVERIFY(!plainGuide().contains(u'<'));
    QVERIFY(!guide.contains(u"%1"_s));
}

void TestHelp::contentLabelSetUp()
{
    const HelpDialog dialog(nullptr);
    auto *const content = child<QLabel>(dialog, u"labelContent"_s);
    auto *const area = child<QScrollArea>(dialog, u"scrollArea"_s);
    QVERIFY(area->widgetResizable());
    QCOMPARE(area->widget()->objectName(), u"scrollAreaWidgetContents"_s);
    QCOMPARE(area->widget()->layout()->objectName(), u"verticalLayout_2"_s);
    QCOMPARE(area->widget()->layout()->itemAt(0)->widget(), content);
    QVERIFY(content->wordWrap());
    QCOMPARE(content->alignment() & ~Qt::AlignLeading,
             (Qt::AlignLeft | Qt::AlignTop) & ~Qt::AlignLeading);
    QCOMPARE(content->textInteractionFlags(), Qt::TextSelectableByMouse |
                                                  Qt::LinksAccessibleByMouse |
                                                  Qt::LinksAccessibleByKeyboard);
}

void TestHelp::scrollsByKeyboardAndKeepsItsSize()
{
    HelpDialog dialog(nullptr);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog, kWaitLimitMs));
    auto *const area = child<QScrollArea>(dialog, u"scrollArea"_s);
    const QScrollBar *const bar = area->verticalScrollBar();
    QVERIFY(bar->maximum() > 0);
    QCOMPARE(area->horizontalScrollBar()->maximum(), 0);
    QCOMPARE(bar->value(), 0);
    for (int page = 0; page < 20; ++page)
        QTest::keyClick(area, Qt::Key_PageDown);
    QCOMPARE(bar->value(), bar->maximum());
    QTest::keyClick(child<QLabel>(dialog, u"labelContent"_s), Qt::Key_PageUp);
    QVERIFY(bar->value() < bar->maximum());
    QCOMPARE(dialog.size(), QSize(650, 550));
}

void TestHelp::scrollsByWheel()
{
    HelpDialog dialog(nullptr);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog, kWaitLimitMs));
    auto *const area = child<QScrollArea>(dialog, u"scrollArea"_s);
    const QPointF middle = area->viewport()->rect().center();
    QWheelEvent down(middle, area->viewport()->mapToGlobal(middle), QPoint(), QPoint(0, -240),
                     Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(area->viewport(), &down);
    QVERIFY(area->verticalScrollBar()->value() > 0);
    QCOMPARE(dialog.size(), QSize(650, 550));
}

void TestHelp::linkByMouse()
{
    HelpDialog dialog(nullptr);
    dialog.show();
    QScrollBar *const bar = child<QScrollArea>(dialog, u"scrollArea"_s)->verticalScrollBar();
    bar->setValue(bar->maximum());
    QVERIFY(clickFirstLink(*child<QLabel>(dialog, u"labelContent"_s)));
    QCOMPARE(m_opened, QList<QUrl>{QUrl(u"https://www.example.com"_s)});
    QVERIFY(dialog.isVisible());
}

void TestHelp::linkByKeyboard()
{
    HelpDialog dialog(nullptr);
    dialog.show();
    auto *const content = child<QLabel>(dialog, u"labelContent"_s);
    content->setFocus(Qt::TabFocusReason);
    QTest::keyClick(content, Qt::Key_Tab);
    QTest::keyClick(content, Qt::Key_Return);
    QCOMPARE(m_opened, QList<QUrl>{QUrl(u"https://www.example.com"_s)});
    QVERIFY(dialog.isVisible());
}

void TestHelp::closeAccepts()
{
    HelpDialog dialog(nullptr);
    dialog.show();
    QTest::mouseClick(child<QPushButton>(dialog, u"pushButton_close"_s), Qt::LeftButton);
    QVERIFY(!dialog.isVisible());
    QCOMPARE(dialog.result(), int(QDialog::Accepted));
}

void TestHelp::languageChange()
{
    HelpDialog dialog(nullptr);
    auto *const title = child<QLabel>(dialog, u"labelTitle"_s);
    title->setStyleSheet(QString());
    MarkingTranslator marking;
    QCoreApplication::installTranslator(&marking);
    QCoreApplication::processEvents();
    QCOMPARE(dialog.windowTitle(), u"~Help"_s);
    QCOMPARE(title->text(), u"~Kestrova - User Guide"_s);
    QCOMPARE(title->styleSheet(), u"font-weight: bold; font-size: 14pt;"_s);
    QCOMPARE(child<QPushButton>(dialog, u"pushButton_close"_s)->text(), u"~Close"_s);
    auto *const content = child<QLabel>(dialog, u"labelContent"_s);
    QVERIFY(content->text().startsWith(u"~<h3>"_s));
    auto *const logo = child<QLabel>(dialog, u"labelLogo"_s);
    QCOMPARE(logo->text(), QString());
    QCOMPARE(logo->pixmap().size(), QSize(172, 100));
    QCoreApplication::removeTranslator(&marking);
    QCoreApplication::processEvents();
    QVERIFY(content->text().startsWith(u"<h3>"_s));
    QCOMPARE(dialog.windowTitle(), u"Help"_s);
}

void TestHelp::namesForScreenReaders()
{
    HelpDialog dialog(nullptr);
    dialog.show();
    QCOMPARE(unnamedWidgets(dialog), QStringList());
}

void TestHelp::keyboardReachesEverything()
{
    HelpDialog dialog(nullptr);
    dialog.show();
    child<QScrollArea>(dialog, u"scrollArea"_s)->setFocus();
    QCOMPARE(tabRound(dialog),
             (QStringList{u"scrollArea"_s, u"labelContent"_s, u"pushButton_close"_s}));
}

QTEST_MAIN(TestHelp)
#include "test_help.moc"
