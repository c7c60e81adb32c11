// Prints the measurement conditions for scripts; the benchmark programs print them themselves.

#include "bench/conditions.h"

#include <cstdio>

#include <QGuiApplication>

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    std::printf("%s\n", conditions().c_str());
}
