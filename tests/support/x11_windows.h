#pragma once

#include <QtGlobal>

// Asks every window of a process to close, as a window manager does when its button is clicked.
// False while the process shows none. Needs an X display and a QGuiApplication on it.
bool askToClose(qint64 processId);
