// Prints the measurement conditions for scripts; the benchmark programs print them themselves.

#include <cstdio>

#include <QGuiApplication>

#include "bench/conditions.h"

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    std::printf("%s\n", conditions().c_str());
}
