#include "bench/conditions.h"

#include <array>
#include <cstdlib>
#include <fstream>
#include <thread>

#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>

namespace {

std::string processor()
{
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        const std::size_t colon = line.find(": ");
        if (line.starts_with("model name") && colon != std::string::npos)
            return line.substr(colon + 2);
    }
    return "unknown processor";
}

std::string renderer()
{
    QOffscreenSurface surface;
    surface.create();
    QOpenGLContext context;
    if (!context.create() || !context.makeCurrent(&surface))
        return "no GL";
    return reinterpret_cast<const char *>(context.functions()->glGetString(GL_RENDERER));
}

std::string load()
{
    std::array<double, 3> averages{};
    ::getloadavg(averages.data(), static_cast<int>(averages.size()));
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.2f %.2f %.2f", averages[0], averages[1],
                  averages[2]);
    return text.data();
}

} // namespace

std::string conditions()
{
    return std::to_string(std::thread::hardware_concurrency()) + " cores, " + processor() + "; " +
           renderer() + "; load average " + load();
}
