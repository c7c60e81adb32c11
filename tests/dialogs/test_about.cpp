#include <QDate>
#include <QDesktopServices>
#include <QLayout>
#include <QUrl>

#include "dialogs/about.h"
#include "tests/dialogs/dialog_support.h"

using namespace Qt::StringLiterals;
using namespace dialog_test;

namespace {

const QStringList kSchemes{u"https"_s, u"mailto"_s, u"tel"_s};

}

class TestAbout : public QObject
{
    Q_OBJECT

public slots:
    void noteUrl(const QUrl &url) { m_opened << url; }

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void windowAsItOpens();
    void titleAndMaker();
    void noticeHasThisYear();
    void versionWithoutAndWithOne();
    void logoAsDrawn();
    void contactLines();
    void addressHasACaptionAndThreeLines();
    void linkByMouse_data();
    void linkByMouse();
    void linkByKeyboard_data();
    void linkByKeyboard();
    void languageChange();
    void nothingIsClippedAtTheSmallestSize();
    void namesForScreenReaders();
    void keyboardReachesLinksAndCloses();

private:
    static QLabel *label(const AboutDialog &dialog, const QString &name)
    {
        return child<QLabel>(dialog, name);
    }
    void addLinkRows();

    QList<QUrl> m_opened;
};

void TestAbout::initTestCase()
{
    for (const QString &scheme : kSchemes)
        QDesktopServices::setUrlHandler(scheme, this, "noteUrl");
}

void TestAbout::cleanupTestCase()
{
    for (const QString &scheme : kSchemes)
        QDesktopServices::unsetUrlHandler(scheme);
}

void TestAbout::init()
{
    m_opened.clear();
}

void TestAbout::windowAsItOpens()
{
    const AboutDialog dialog(nullptr);
    QCOMPARE(dialog.objectName(), u"AboutDialog"_s);
    QCOMPARE(dialog.size(), QSize(809, 451));
    QCOMPARE(dialog.windowTitle(), u"About"_s);
    QVERIFY(dialog.findChildren<QPushButton *>().isEmpty());
    const QStringList names{u"labelTitle"_s, u"labelCopyright"_s, u"labelVersion"_s,
                            u"labelLogo"_s,  u"labelCompany"_s,   u"labelWebsite"_s,
                            u"labelEmail"_s, u"labelPhone"_s,     u"labelAddress"_s};
    QCOMPARE(dialog.layout()->objectName(), u"verticalLayout"_s);
    QCOMPARE(dialog.layout()->count(), int(names.size()));
    for (int row = 0; row < names.size(); ++row) {
        auto *const each = qobject_cast<QLabel *>(dialog.layout()->itemAt(row)->widget());
        QVERIFY(each);
        QCOMPARE(each->objectName(), names[row]);
        QCOMPARE(each->alignment(), Qt::AlignCenter);
    }
}

void TestAbout::titleAndMaker()
{
    const AboutDialog dialog(nullptr);
    QCOMPARE(label(dialog, u"labelTitle"_s)->text(), u"Kestrova"_s);
    QCOMPARE(label(dialog, u"labelTitle"_s)->styleSheet(),
             u"font-weight: bold; font-size: 16pt;"_s);
    QVERIFY(label(dialog, u"labelCompany"_s)->text().startsWith(u"Kestrova"_s));
    QVERIFY(label(dialog, u"labelCompany"_s)->wordWrap());
    QVERIFY(label(dialog, u"labelCopyright"_s)->wordWrap());
    QVERIFY(label(dialog, u"labelAddress"_s)->wordWrap());
}

void TestAbout::noticeHasThisYear()
{
    const QString before = QString::number(QDate::currentDate().year());
    const AboutDialog dialog(nullptr);
    const QString after = QString::number(QDate::currentDate().year());
    const QString notice = label(dialog, u"labelCopyright"_s)->text();
    QVERIFY(notice.contains(before) || notice.contains(after));
    QVERIFY(!notice.contains(u"%1"_s));
}

void TestAbout::versionWithoutAndWithOne()
{
    QCOMPARE(QCoreApplication::applicationVersion(), QString());
    const AboutDialog plain(nullptr);
    QCOMPARE(label(plain, u"labelVersion"_s)->text(), u"Version 1.0"_s);
    QCoreApplication::setApplicationVersion(u"2.7.1"_s);
    const AboutDialog versioned(nullptr);
    QCoreApplication::setApplicationVersion(QString());
    QCOMPARE(label(versioned, u"labelVersion"_s)->text(), u"Version 2.7.1"_s);
}

void TestAbout::logoAsDrawn()
{
    AboutDialog dialog(nullptr);
    dialog.show();
    const QLabel *const logo = label(dialog, u"labelLogo"_s);
    QCOMPARE(logo->minimumSize(), QSize(172, 100));
    QCOMPARE(logo->maximumSize(), QSize(172, 100));
    QCOMPARE(logo->pixmap().toImage(), QPixmap(u":/images/vornix_logo_small.png"_s).toImage());
    QVERIFY(std::abs(logo->geometry().center().x() - dialog.rect().center().x()) <= 1);
}

void TestAbout::contactLines()
{
    const AboutDialog dialog(nullptr);
    QCOMPARE(label(dialog, u"labelWebsite"_s)->text(),
             u"Website: <a href=\"https://www.example.com\">www.example.com</a>"_s);
    QCOMPARE(label(dialog, u"labelEmail"_s)->text(),
             u"E-mail: <a href=\"mailto:info@example.com\">info@example.com</a>"_s);
    QCOMPARE(label(dialog, u"labelPhone"_s)->text(),
             u"Telephone: <a href=\"tel:+1-555-0100\">+1-555-0100</a>"_s);
    for (const QString &name : {u"labelWebsite"_s, u"labelEmail"_s, u"labelPhone"_s})
        QVERIFY(label(dialog, name)->openExternalLinks());
}

void TestAbout::addressHasACaptionAndThreeLines()
{
    const AboutDialog dialog(nullptr);
    const QStringList lines = label(dialog, u"labelAddress"_s)->text().split(u'\n');
    QCOMPARE(lines.size(), 4);
    QCOMPARE(lines[0], u"Addresses:"_s);
    QVERIFY(lines[1].startsWith(u"Headquarters: "_s));
    QVERIFY(lines[2].startsWith(u"EU branch: "_s));
    QVERIFY(lines[3].startsWith(u"Technology park office: "_s));
}

void TestAbout::addLinkRows()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QUrl>("url");
    QTest::newRow("website") << u"labelWebsite"_s << QUrl(u"https://www.example.com"_s);
    QTest::newRow("e-mail") << u"labelEmail"_s << QUrl(u"mailto:info@example.com"_s);
    QTest::newRow("telephone") << u"labelPhone"_s << QUrl(u"tel:+1-555-0100"_s);
}

void TestAbout::linkByMouse_data()
{
    addLinkRows();
}

void TestAbout::linkByMouse()
{
    QFETCH(QString, name);
    QFETCH(QUrl, url);
    AboutDialog dialog(nullptr);
    dialog.show();
    QVERIFY(clickFirstLink(*label(dialog, name)));
    QCOMPARE(m_opened, QList<QUrl>{url});
    QVERIFY(dialog.isVisible());
}

void TestAbout::linkByKeyboard_data()
{
    addLinkRows();
}

void TestAbout::linkByKeyboard()
{
    QFETCH(QString, name);
    QFETCH(QUrl, url);
    AboutDialog dialog(nullptr);
    dialog.show();
    label(dialog, name)->setFocus(Qt::TabFocusReason);
    QTest::keyClick(label(dialog, name), Qt::Key_Tab);
    QTest::keyClick(label(dialog, name), Qt::Key_Return);
    QCOMPARE(m_opened, QList<QUrl>{url});
    QVERIFY(dialog.isVisible());
}

void TestAbout::languageChange()
{
    AboutDialog dialog(nullptr);
    MarkingTranslator marking;
    QCoreApplication::installTranslator(&marking);
    QCoreApplication::processEvents();
    QCOMPARE(dialog.windowTitle(), u"~About"_s);
    for (const QString &name :
         {u"labelTitle"_s, u"labelCopyright"_s, u"labelVersion"_s, u"labelCompany"_s,
          u"labelWebsite"_s, u"labelEmail"_s, u"labelPhone"_s, u"labelAddress"_s}) {
        QVERIFY2(label(dialog, name)->text().startsWith(u'~'), qPrintable(name));
        QVERIFY2(!label(dialog, name)->text().contains(u'%'), qPrintable(name));
    }
    QCOMPARE(label(dialog, u"labelVersion"_s)->text(), u"~Version 1.0"_s);
    QVERIFY(!label(dialog, u"labelLogo"_s)->pixmap().isNull());
    QCoreApplication::removeTranslator(&marking);
    QCoreApplication::processEvents();
    QCOMPARE(label(dialog, u"labelVersion"_s)->text(), u"Version 1.0"_s);
}

void TestAbout::nothingIsClippedAtTheSmallestSize()
{
    AboutDialog dialog(nullptr);
    dialog.show();
    dialog.resize(1, 1);
    QCoreApplication::processEvents();
    int bottom = 0;
    for (int row = 0; row < dialog.layout()->count(); ++row) {
        const QWidget *const each = dialog.layout()->itemAt(row)->widget();
        QVERIFY2(each->y() >= bottom, qPrintable(each->objectName()));
        const int needed = each->hasHeightForWidth() ? each->heightForWidth(each->width())
                                                     : each->sizeHint().height();
        QVERIFY2(each->height() >= needed, qPrintable(each->objectName()));
        QVERIFY2(each->width() >= each->minimumSizeHint().width(), qPrintable(each->objectName()));
        bottom = each->y() + each->height();
    }
    QVERIFY(bottom <= dialog.height());
}

void TestAbout::namesForScreenReaders()
{
    AboutDialog dialog(nullptr);
    dialog.show();
    QCOMPARE(unnamedWidgets(dialog), QStringList());
}

void TestAbout::keyboardReachesLinksAndCloses()
{
    AboutDialog dialog(nullptr);
    dialog.show();
    label(dialog, u"labelWebsite"_s)->setFocus(Qt::TabFocusReason);
    QCOMPARE(tabRound(dialog), (QStringList{u"labelWebsite"_s, u"labelEmail"_s, u"labelPhone"_s}));
    QTest::keyClick(&dialog, Qt::Key_Escape);
    QVERIFY(!dialog.isVisible());
}

QTEST_MAIN(TestAbout)
#include "test_about.moc"
