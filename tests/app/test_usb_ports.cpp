#include <QTest>

#include "app/usb_ports.h"

using namespace Qt::StringLiterals;

class TestUsbPorts : public QObject
{
    Q_OBJECT

private slots:
    void choice_data()
    {
        QTest::addColumn<QStringList>("listed");
        QTest::addColumn<QStringList>("offered");
        QTest::newRow("none") << QStringList() << QStringList();
        QTest::newRow("adapters, in the order given")
            << QStringList{u"ttyUSB1"_s, u"ttyACM0"_s, u"ttyUSB0"_s}
            << QStringList{u"ttyUSB1"_s, u"ttyACM0"_s, u"ttyUSB0"_s};
        QTest::newRow("built-in lines are skipped")
            << QStringList{u"ttyS0"_s, u"ttyUSB0"_s, u"ttyAMA0"_s, u"rfcomm0"_s}
            << QStringList{u"ttyUSB0"_s};
        QTest::newRow("case matters") << QStringList{u"ttyusb0"_s, u"TTYACM0"_s} << QStringList();
        QTest::newRow("the name begins with it")
            << QStringList{u"my-ttyUSB0"_s, u"ttyUSBserial"_s, u"ttyUSB"_s}
            << QStringList{u"ttyUSBserial"_s, u"ttyUSB"_s};
    }

    void choice()
    {
        QFETCH(QStringList, listed);
        QTEST(usbSerialNames(listed), "offered");
    }
};

QTEST_APPLESS_MAIN(TestUsbPorts)
#include "test_usb_ports.moc"
