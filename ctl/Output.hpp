// Where a command writes to, and how it may look there. Threads: one owner.
#ifndef CTL_OUTPUT_HPP
#define CTL_OUTPUT_HPP

#include <ostream>
#include <string>

#include "ctl/Json.hpp"
#include "ctl/Options.hpp"
#include "ctl/Text.hpp"

namespace ctl {

struct Output {
    std::ostream& out;
    std::ostream& err;
    Look look;
    bool json = false;

    std::string shown(std::string_view text) const { return escaped(text, look.isUtf8); }
    // A line for people on the error stream, with the program's name.
    void tell(std::string_view text) const { err << "orxctl: " << shown(text) << std::endl; }
    void document(const Json& value) const { out << dumped(value, 2) << '\n'; }
    void line(const Json& value) const { out << dumped(value) << '\n' << std::flush; }
};

// Of the standard output, by the terminal, the locale (which must be set) and the environment.
Look lookOfStandardOutput(ColourUse colour);

} // namespace ctl

#endif
