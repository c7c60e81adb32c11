#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include "cli/common_options.h"
#include "cli/output.h"
#include "session/device.h"

namespace cli {

// What a running command works with. SIGINT and SIGTERM stop the io_context, so that every wait of
// a session returns Error::Stopped.
class Runtime
{
public:
    explicit Runtime(const CommonOptions &options);

    boost::asio::io_context &context() { return m_context; }
    Output &out() { return m_out; }
    const CommonOptions &options() const { return m_options; }
    // True after SIGINT or SIGTERM.
    bool isInterrupted() const { return m_interrupted; }

    // An error on standard error, also with --quiet. An empty text prints nothing.
    static void complain(const std::string &problem);
    // A line on standard error, unless --quiet.
    void note(const std::string &text) const;
    // A line on standard error that replaces the one before; only on a terminal, unless --quiet.
    // An empty text clears it.
    void progress(const std::string &text) const;
    // Asks for "y" on standard error and reads the answer from standard input. False at its end.
    bool confirm(const std::string &question);

    // Runs the io_context until `done` returns true (true) or the time is over (false). Throws a
    // Failure after SIGINT or SIGTERM. `done` is called after each callback.
    bool wait(const std::function<bool()> &done, std::optional<double> seconds);

    // True if standard output is a terminal.
    static bool isTerminal();

    // Replaces the ports of the options.
    void choosePorts(std::vector<std::string> ports) { m_options.ports = std::move(ports); }
    // The paths of the ports that the options name, or of the only USB serial port. Throws a
    // Failure if there is none, or several and no choice.
    std::vector<std::string> chosenPorts() const;
    std::string chosenPort() const;

    // Opens the port at the baud rate of the options, or finds it. Throws a Failure.
    void connect(session::Device &device, const std::string &path);
    // Finds the baud rate and opens the port at it. Throws a Failure.
    void find(session::Device &device, const std::string &path);
    // A device on chosenPort().
    std::unique_ptr<session::Device> connectChosen();

private:
    void awaitSignal();

    CommonOptions m_options;
    boost::asio::io_context m_context{1};
    boost::asio::signal_set m_signals;
    Output m_out;
    bool m_interrupted = false;
};

} // namespace cli
