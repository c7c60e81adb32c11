#pragma once

#include <memory>
#include <string>

namespace CLI {
class App;
class FormatterBase;
} // namespace CLI

namespace cli {

// The layout of the help texts.
std::shared_ptr<CLI::FormatterBase> helpFormatter();

// The help of the program and of every command. The manual page is made from it.
std::string completeHelp(const CLI::App &app);

} // namespace cli
