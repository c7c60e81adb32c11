#pragma once

#include <QGuiApplication>

// Shows the wait cursor over the whole program for its lifetime: a device command blocks the window
// until the device has answered. End it before a message box opens. GUI thread only.
class BusyCursor
{
    Q_DISABLE_COPY_MOVE(BusyCursor)

public:
    BusyCursor() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }
    ~BusyCursor() { QGuiApplication::restoreOverrideCursor(); }
};
