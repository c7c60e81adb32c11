#pragma once

#include <QByteArray>

// Asks every window of a process to close, as a window manager does when its button is clicked.
// False while the process shows none. Needs an X display and a QGuiApplication on it.
bool askToClose(qint64 processId);

// The class of a window that a process shows, by which docks tell programs apart; empty while it
// shows none.
QByteArray windowClass(qint64 processId);
