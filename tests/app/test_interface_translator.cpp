#include <QTemporaryDir>
#include <QTest>

#include "app/interface_translator.h"

using namespace Qt::StringLiterals;

// Uses the program's own Turkish catalogue and Qt's catalogue as installed on the system.
class TestInterfaceTranslator : public QObject
{
    Q_OBJECT

    static QString own(const InterfaceTranslator &translator)
    {
        return translator.translate("MainWindow", "Connection");
    }

    static QString qts(const InterfaceTranslator &translator)
    {
        return translator.translate("QPlatformTheme", "Cancel");
    }

private slots:
    void ownAndQtTextsAreTranslated()
    {
        InterfaceTranslator translator;
        QVERIFY(translator.load(QString::fromLatin1(OWN_CATALOGUE)));
        QVERIFY(qts(translator).isNull());
        translator.loadQtTexts(u"tr"_s);
        QCOMPARE(own(translator), u"Bağlantı"_s);
        QCOMPARE(qts(translator), u"İptal"_s);
    }

    void unknownTextIsNotTranslated()
    {
        InterfaceTranslator translator;
        QVERIFY(translator.load(QString::fromLatin1(OWN_CATALOGUE)));
        translator.loadQtTexts(u"tr"_s);
        QVERIFY(translator.translate("MainWindow", "Hello").isNull());
    }

    void withoutQtCatalogueOwnTextsAreTranslated()
    {
        const QTemporaryDir empty;
        InterfaceTranslator translator;
        QVERIFY(translator.load(QString::fromLatin1(OWN_CATALOGUE)));
        translator.loadQtTexts(u"tr"_s, empty.path());
        QCOMPARE(own(translator), u"Bağlantı"_s);
        QVERIFY(qts(translator).isNull());
    }

    void unknownLanguageClearsQtTexts()
    {
        InterfaceTranslator translator;
        translator.loadQtTexts(u"tr"_s);
        QCOMPARE(qts(translator), u"İptal"_s);
        translator.loadQtTexts(u"xx"_s);
        QVERIFY(qts(translator).isNull());
    }
};

QTEST_APPLESS_MAIN(TestInterfaceTranslator)
#include "test_interface_translator.moc"
