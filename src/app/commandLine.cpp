#include "app/commandLine.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace quillet {

namespace {

constexpr std::string_view help = R"(Usage: quillet [OPTION]

Records the screen, or a part of it, with the camera's round picture and sound,
to one MP4 file on the Desktop.

  --help      print this and exit
  --version   print the version and exit
  --selftest  check the recording pipeline on made-up pictures, without any
              display, and exit with status 0 if all is well

A second copy brings up the window of the one that runs.
)";

/// Options of the toolkit, which takes them from the arguments itself, and whether a value follows.
struct ToolkitOption {
    std::string_view name;
    bool hasValue;
};
constexpr std::array toolkitOptions{ToolkitOption{"-style", true},        ToolkitOption{"-stylesheet", true},
                                    ToolkitOption{"-platform", true},     ToolkitOption{"-platformtheme", true},
                                    ToolkitOption{"-display", true},      ToolkitOption{"-session", true},
                                    ToolkitOption{"-name", true},         ToolkitOption{"-reverse", false},
                                    ToolkitOption{"-widgetcount", false}, ToolkitOption{"-qwindowgeometry", true}};

} // namespace

CommandLine CommandLine::parse(std::span<const char* const> arguments) {
    if (std::ranges::any_of(arguments, [](const char* each) { return std::string_view(each) == "--selftest"; }))
        return {.action = Action::selfTest};

    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--help" || argument == "-h") return {.action = Action::answer, .text = std::string(help)};
        if (argument == "--version" || argument == "-v")
            return {.action = Action::answer, .text = "quillet " QUILLET_VERSION "\n"};
        // The toolkit knows its own with one dash or two, and with the value behind an equals sign.
        const std::string_view single = argument.starts_with("--") ? argument.substr(1) : argument;
        const std::string_view name = single.substr(0, single.find('='));
        const auto* const known = std::ranges::find(toolkitOptions, name, &ToolkitOption::name);
        if (known == toolkitOptions.end())
            return {.action = Action::refuse,
                    .text = "quillet: unknown " + std::string(argument.starts_with('-') ? "option" : "argument") + " " +
                            std::string(argument) + "\nTry 'quillet --help'.\n"};
        if (known->hasValue && name == single) ++i;
    }
    return {};
}

} // namespace quillet
