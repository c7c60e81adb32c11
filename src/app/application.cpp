#include "app/application.h"

#include <QDebug>
#include <QIcon>

#include "app/backlog_trimmer.h"
#include "app/exception_report.h"

using namespace Qt::StringLiterals;

Application::Application(int &argc, char **argv)
    : QApplication(argc, argv)
{
    setWindowIcon(QIcon(u":/icons/vornix.png"_s));
    // Docks use this name to find the menu entry with the name and the icon of the program.
    setDesktopFileName(QStringLiteral(VORNIX_APP_ID));
    new BacklogTrimmer(this);
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
