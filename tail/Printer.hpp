// Prints changes: a line for a person, or a line of JSON. Threads: one owner.
#ifndef TAIL_PRINTER_HPP
#define TAIL_PRINTER_HPP

#include <ostream>
#include <string>

#include "tail/Change.hpp"

namespace tail {

class Printer {
public:
    Printer(std::ostream& out, bool json) : out_(out), json_(json) {}
    void print(const Change& change);

    static std::string personLine(const Change& change);
    static std::string jsonLine(const Change& change);

private:
    std::ostream& out_;
    bool json_;
};

// "HH:MM:SS.mmm" in UTC.
std::string clockText(std::int64_t timeNs);
// RFC 3339 with nanoseconds, in UTC.
std::string timestampText(std::int64_t timeNs);

} // namespace tail

#endif
