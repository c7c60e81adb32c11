#pragma once

#include <QStringList>

// The names of USB serial adapters among `names`, in the order given: those that begin with
// "ttyUSB" or "ttyACM". Built-in serial ports are left out.
QStringList usbSerialNames(const QStringList &names);

// The port names of this machine, in the order in which the system lists them.
QStringList systemPortNames();
