#include "app/application.h"

#include <QDebug>

#include "app/exception_report.h"

Application::Application(int &argc, char **argv)
    : QApplication(argc, argv)
{
}

bool Application::notify(QObject *receiver, QEvent *event)
{
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::exception &error) {
        qWarning().noquote() << exceptionReport(error);
        return true;
    }
}
