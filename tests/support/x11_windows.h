#pragma once

#include <QByteArray>

// Asks every window of a process to close, as a window manager does when its close button is
// clicked. Returns false if the process shows no window. Needs an X display and a QGuiApplication
// on it.
bool askToClose(qint64 processId);

// The class of a window of the process, by which docks group windows; empty if the process shows
// none.
QByteArray windowClass(qint64 processId);
