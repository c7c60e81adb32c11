#include <QTest>

#include "dialogs/settings_choices.h"

using namespace Qt::StringLiterals;
using namespace settings;

class TestSettingsChoices : public QObject
{
    Q_OBJECT

private slots:
    void boxHasItsBit_data();
    void boxHasItsBit();
    void everyMaskComesBackFromItsBoxes();
    void bitsWithoutABoxAreIgnored();
    void presetHasItsMask_data();
    void presetHasItsMask();
    void baudText_data();
    void baudText();
    void rateFromText_data();
    void rateFromText();
    void rateTextIsTheEntry();
    void spareTextsAreThoseOfOtherDevices();
};

void TestSettingsChoices::boxHasItsBit_data()
{
    QTest::addColumn<int>("box");
    QTest::addColumn<int>("bit");
    QTest::newRow("angular rates") << int(RatesBox) << 0x01;
    QTest::newRow("linear accelerations") << int(AccelerationsBox) << 0x02;
    QTest::newRow("quaternion") << int(QuaternionBox) << 0x04;
    QTest::newRow("pressure") << int(PressureBox) << 0x08;
    QTest::newRow("covariance") << int(CovarianceBox) << 0x10;
    QTest::newRow("euler") << int(EulerBox) << 0x20;
    QTest::newRow("magnetic field") << int(MagneticFieldBox) << 0x40;
    QTest::newRow("sync") << int(SyncBox) << 0x80;
}

void TestSettingsChoices::boxHasItsBit()
{
    QFETCH(int, box);
    QFETCH(int, bit);
    CheckedBoxes checked{};
    checked.at(static_cast<std::size_t>(box)) = true;
    QCOMPARE(int(outputsMask(checked)), bit);
    QVERIFY(checkedBoxes(static_cast<std::uint16_t>(bit)) == checked);
}

void TestSettingsChoices::everyMaskComesBackFromItsBoxes()
{
    for (unsigned int mask = 0; mask < 0x100; ++mask)
        QCOMPARE(unsigned{outputsMask(checkedBoxes(static_cast<std::uint16_t>(mask)))}, mask);
}

void TestSettingsChoices::bitsWithoutABoxAreIgnored()
{
    QVERIFY(checkedBoxes(0xFF00) == CheckedBoxes{});
    QCOMPARE(int(outputsMask(checkedBoxes(0xFF05))), 0x05);
}

void TestSettingsChoices::presetHasItsMask_data()
{
    QTest::addColumn<int>("preset");
    QTest::addColumn<int>("mask");
    QTest::newRow("custom") << int(CustomPreset) << 0x00;
    QTest::newRow("quaternion") << int(QuaternionPreset) << 0x04;
    QTest::newRow("euler") << int(EulerPreset) << 0x20;
    QTest::newRow("inertial") << int(InertialPreset) << 0x47;
    QTest::newRow("inertial and barometer") << int(InertialBarometerPreset) << 0x4F;
    QTest::newRow("full") << int(FullPreset) << 0xFF;
}

void TestSettingsChoices::presetHasItsMask()
{
    QFETCH(int, preset);
    QFETCH(int, mask);
    QCOMPARE(int(presetMask(static_cast<Preset>(preset))), mask);
}

void TestSettingsChoices::baudText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<unsigned int>("baud");
    QTest::newRow("plain") << u"115200"_s << 115200U;
    QTest::newRow("spaces around") << u"  921600\t"_s << 921600U;
    QTest::newRow("largest") << u"4294967295"_s << 4294967295U;
    QTest::newRow("too large") << u"4294967296"_s << 0U;
    QTest::newRow("zero") << u"0"_s << 0U;
    QTest::newRow("empty") << QString() << 0U;
    QTest::newRow("negative") << u"-115200"_s << 0U;
    QTest::newRow("words") << u"fast"_s << 0U;
    QTest::newRow("unit") << u"115200 baud"_s << 0U;
    QTest::newRow("hexadecimal") << u"0x1C200"_s << 0U;
    QTest::newRow("fraction") << u"115200.5"_s << 0U;
    QTest::newRow("grouped digits") << u"115,200"_s << 0U;
}

void TestSettingsChoices::baudText()
{
    QFETCH(QString, text);
    QFETCH(unsigned int, baud);
    unsigned int parsed = 42;
    QCOMPARE(parseBaud(text, parsed), baud != 0);
    QCOMPARE(parsed, baud);
}

void TestSettingsChoices::rateFromText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<unsigned short>("rate");
    const auto row = [](const char *name, const QString &text, unsigned short rate) {
        QTest::newRow(name) << text << rate;
    };
    row("with unit", u"200 Hz"_s, 200);
    row("without unit", u"200"_s, 200);
    row("unit close by", u"200Hz"_s, 200);
    row("spaces everywhere", u"  1000   Hz  "_s, 1000);
    row("lower-case unit stays", u"200 hz"_s, 0);
    row("upper-case unit stays", u"200 HZ"_s, 0);
    row("unit in the middle stays", u"2 Hz 00"_s, 0);
    row("one unit of two", u"200 Hz Hz"_s, 0);
    row("unit alone", u"Hz"_s, 0);
    row("largest", u"65535 Hz"_s, 65535);
    row("too large", u"65536 Hz"_s, 0);
    row("zero", u"0 Hz"_s, 0);
    row("negative", u"-50 Hz"_s, 0);
    row("empty", QString(), 0);
    row("fraction", u"12.5 Hz"_s, 0);
}

void TestSettingsChoices::rateFromText()
{
    QFETCH(QString, text);
    QFETCH(unsigned short, rate);
    unsigned short parsed = 42;
    QCOMPARE(parseRate(text, parsed), rate != 0);
    QCOMPARE(parsed, rate);
}

void TestSettingsChoices::rateTextIsTheEntry()
{
    QCOMPARE(rateText(50), u"50 Hz"_s);
    QCOMPARE(rateText(1000), u"1000 Hz"_s);
}

void TestSettingsChoices::spareTextsAreThoseOfOtherDevices()
{
    QList<unsigned int> bauds;
    for (const QString &text : spareBaudTexts()) {
        QVERIFY(parseBaud(text, bauds.emplace_back()));
    }
    QCOMPARE(bauds, (QList<unsigned int>{115200, 230400, 460800, 921600, 1500000}));
    QStringList rates;
    for (const int rateHz : {50, 100, 200, 400, 500, 1000})
        rates << rateText(rateHz);
    QCOMPARE(spareRateTexts(), rates);
}

QTEST_APPLESS_MAIN(TestSettingsChoices)
#include "test_settings_choices.moc"
