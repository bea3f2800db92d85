#include "ctl/Output.hpp"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace ctl {

namespace {

std::size_t terminalWidth() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    const char* columns = std::getenv("COLUMNS");
    const int width = columns != nullptr ? std::atoi(columns) : 0;
    constexpr int usual = 80;
    return static_cast<std::size_t>(width > 0 && width < 10'000 ? width : usual);
}

bool mayColour() {
    const char* none = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (none == nullptr || *none == '\0') && (terminal == nullptr || std::strcmp(terminal, "dumb") != 0);
}

} // namespace

Look lookOfStandardOutput(ColourUse colour) {
    const bool isTerminal = isatty(STDOUT_FILENO) != 0;
    Look look;
    look.isUtf8 = std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
    look.hasColours =
        colour == ColourUse::always || (colour == ColourUse::automatic && isTerminal && mayColour());
    look.width = isTerminal ? terminalWidth() : 0;
    return look;
}

} // namespace ctl
