#pragma once

#include <QApplication>

// The application object. An exception that leaves a slot reaches the event loop, which Qt does not
// survive: here it ends as a line on the debug stream, and the program lives on in whatever state
// the slot left behind.
class Application : public QApplication
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Application)

public:
    Application(int &argc, char **argv);

    bool notify(QObject *receiver, QEvent *event) override;
};
