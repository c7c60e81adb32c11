#include <QTest>

#include "dialogs/device_info_text.h"

using namespace Qt::StringLiterals;

class TestDeviceInfoText : public QObject
{
    Q_OBJECT

private slots:
    void hexIsBareAndLowerCase_data();
    void hexIsBareAndLowerCase();
    void firmwareIsTwoBytes_data();
    void firmwareIsTwoBytes();
};

void TestDeviceInfoText::hexIsBareAndLowerCase_data()
{
    QTest::addColumn<unsigned int>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("letters") << 3054U << u"bee"_s;
    QTest::newRow("mask") << 0x0041U << u"41"_s;
    QTest::newRow("zero") << 0U << u"0"_s;
    QTest::newRow("all bits") << 0xFFFFFFFFU << u"ffffffff"_s;
    QTest::newRow("no padding") << 0x0000000FU << u"f"_s;
}

void TestDeviceInfoText::hexIsBareAndLowerCase()
{
    QFETCH(unsigned int, value);
    QFETCH(QString, text);
    QCOMPARE(device_info::hexText(value), text);
}

void TestDeviceInfoText::firmwareIsTwoBytes_data()
{
    QTest::addColumn<int>("version");
    QTest::addColumn<QString>("text");
    QTest::newRow("2.3") << 0x0203 << u"2.3"_s;
    QTest::newRow("1.a") << 0x010A << u"1.a"_s;
    QTest::newRow("none") << 0x0000 << u"0.0"_s;
    QTest::newRow("high byte first") << 0x1F00 << u"1f.0"_s;
    QTest::newRow("largest") << 0xFFFF << u"ff.ff"_s;
}

void TestDeviceInfoText::firmwareIsTwoBytes()
{
    QFETCH(int, version);
    QFETCH(QString, text);
    QCOMPARE(device_info::firmwareText(version), text);
}

QTEST_APPLESS_MAIN(TestDeviceInfoText)
#include "test_device_info_text.moc"
