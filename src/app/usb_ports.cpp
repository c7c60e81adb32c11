#include "app/usb_ports.h"

#include <QSerialPortInfo>

using namespace Qt::StringLiterals;

QStringList usbSerialNames(const QStringList &names)
{
    QStringList usb;
    for (const QString &name : names) {
        if (name.startsWith("ttyUSB"_L1) || name.startsWith("ttyACM"_L1))
            usb.append(name);
    }
    return usb;
}

QStringList systemPortNames()
{
    QStringList names;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : ports)
        names.append(port.portName());
    return names;
}
