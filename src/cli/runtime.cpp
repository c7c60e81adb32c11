#include "cli/runtime.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <iostream>

#include <poll.h>
#include <unistd.h>

#include "cli/exit_status.h"
#include "cli/port_list.h"
#include "session/baud_rate_search.h"
#include "session/error.h"

namespace cli {

namespace {

std::chrono::milliseconds milliseconds(double seconds)
{
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

std::string pathOf(const std::string &port)
{
    return port.find('/') == std::string::npos ? "/dev/" + port : port;
}

} // namespace

Runtime::Runtime(const CommonOptions &options)
    : m_options(options)
    , m_signals(m_context, SIGINT, SIGTERM)
    , m_out(STDOUT_FILENO)
{
    awaitSignal();
}

void Runtime::awaitSignal()
{
    m_signals.async_wait([this](const boost::system::error_code &error, int) {
        if (error)
            return;
        m_interrupted = true;
        m_context.stop();
        awaitSignal(); // the second one ends what the first has started
    });
}

bool Runtime::wait(const std::function<bool()> &done, std::optional<double> seconds)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = seconds ? Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                       std::chrono::duration<double>(*seconds))
                                  : Clock::time_point::max();
    m_context.restart();
    while (!done()) {
        const bool ran =
            seconds ? m_context.run_one_until(deadline) != 0 : m_context.run_one() != 0;
        if (m_context.stopped())
            throw Failure(ExitStatus::Interrupted, {});
        if (!ran)
            return false;
    }
    return true;
}

void Runtime::complain(const std::string &problem)
{
    if (!problem.empty())
        std::cerr << "vornixctl: " + problem + "\n" << std::flush;
}

void Runtime::note(const std::string &text) const
{
    if (!m_options.quiet)
        std::cerr << text + "\n" << std::flush;
}

void Runtime::progress(const std::string &text) const
{
    if (!m_options.quiet && ::isatty(STDERR_FILENO) != 0)
        std::cerr << "\r" + text + "\x1b[K" << std::flush;
}

bool Runtime::isTerminal()
{
    return ::isatty(STDOUT_FILENO) != 0;
}

bool Runtime::confirm(const std::string &question)
{
    std::cerr << question + " [y/N] " << std::flush;
    std::string answer;
    char byte = 0;
    for (;;) {
        // poll() returns at a signal, read() may continue.
        pollfd request{STDIN_FILENO, POLLIN, 0};
        const int ready = ::poll(&request, 1, -1);
        m_context.restart();
        m_context.poll();
        if (m_interrupted)
            throw Failure(ExitStatus::Interrupted, {});
        if (ready < 0 && errno == EINTR)
            continue;
        if (::read(STDIN_FILENO, &byte, 1) != 1 || byte == '\n')
            return answer == "y" || answer == "Y" || answer == "yes";
        answer += byte;
    }
}

std::vector<std::string> Runtime::chosenPorts() const
{
    std::vector<std::string> paths;
    for (const std::string &port : m_options.ports)
        paths.push_back(pathOf(port));
    if (!paths.empty())
        return paths;
    for (const UsbPort &port : usbPorts())
        paths.push_back(port.path);
    if (paths.empty())
        throw Failure(ExitStatus::NoDevice, "no USB serial port found");
    if (paths.size() > 1 && !m_options.all) {
        std::string names;
        for (const std::string &path : paths)
            names += " " + path;
        throw Failure(ExitStatus::Usage, "several ports, choose one:" + names);
    }
    return paths;
}

std::string Runtime::chosenPort() const
{
    return chosenPorts().front();
}

void Runtime::connect(session::Device &device, const std::string &path)
{
    if (m_options.timeoutSeconds) {
        session::RetryPolicy retryPolicy = device.retryPolicy();
        retryPolicy.perAttempt =
            std::max(milliseconds(*m_options.timeoutSeconds / retryPolicy.attempts),
                     std::chrono::milliseconds(1));
        device.setRetryPolicy(retryPolicy);
    }
    if (m_options.baud) {
        throwIf(device.open(path, *m_options.baud), path);
        return;
    }
    find(device, path);
}

void Runtime::find(session::Device &device, const std::string &path)
{
    session::BaudRateSearch search;
    if (m_options.timeoutSeconds)
        search.perRate = milliseconds(*m_options.timeoutSeconds);
    search.onTrial = [&](unsigned baud) {
        progress("trying " + path + " at " + std::to_string(baud) + " baud");
    };
    const auto error = session::findBaudRate(device, path, search);
    progress({});
    throwIf(error, path);
}

std::unique_ptr<session::Device> Runtime::connectChosen()
{
    auto device = std::make_unique<session::Device>(m_context);
    connect(*device, chosenPort());
    return device;
}

} // namespace cli
