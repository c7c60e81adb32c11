#include "app/application.h"
#include "app/main_window.h"
#include "app/quiet_exit.h"

int main(int argc, char **argv)
{
    quiet_exit::install();
    Application application(argc, argv);
    MainWindow window;
    window.show();
    return quiet_exit::exitOnTerminate(Application::exec());
}
