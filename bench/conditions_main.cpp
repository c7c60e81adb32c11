// Tells what the figures of scripts depend on, as the programs here do of their own.

#include <cstdio>

#include <QGuiApplication>

#include "bench/conditions.h"

int main(int argc, char **argv)
{
    const QGuiApplication application(argc, argv);
    std::printf("%s\n", conditions().c_str());
}
