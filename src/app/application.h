#pragma once

#include <QApplication>

// The application object. It catches exceptions that leave a slot, because Qt does not support
// exceptions in the event loop. It writes one line to the debug stream, and the program continues
// in the state that the slot left.
class Application : public QApplication
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Application)

public:
    Application(int &argc, char **argv);

    bool notify(QObject *receiver, QEvent *event) override;
};
