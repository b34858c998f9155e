// commandLine.h: what the program was asked to do.
#pragma once

#include <span>

#include <string>

namespace quillet {

struct CommandLine {
    enum class Action {
        run,      ///< open the control window
        selfTest, ///< and nothing else, before any user interface exists
        answer,   ///< print `text` to standard output, exit 0
        refuse,   ///< print `text` to standard error, exit 2
    };
    Action action = Action::run;
    std::string text = {}; ///< ends with a line break

    /// "--selftest" anywhere among the arguments, the program's name included, comes before everything else; only the
    /// whole word counts.
    [[nodiscard]] static CommandLine parse(std::span<const char* const> arguments);
};

} // namespace quillet
