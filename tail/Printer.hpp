// Prints changes: a line for a person, or a line of JSON. Threads: one owner.
#ifndef TAIL_PRINTER_HPP
#define TAIL_PRINTER_HPP

#include <ostream>
#include <string>

#include "tail/Change.hpp"
#include "tail/Statistics.hpp"

namespace tail {

class Printer {
public:
    // Colours are for a terminal, and for lines for a person alone.
    Printer(std::ostream& out, bool json, bool colours = false) : out_(out), json_(json), colours_(colours) {}
    void print(const Change& change);
    // What was received and what was not: a table, or one object of JSON.
    void print(const Statistics& statistics);
    // What is there, a line for each resource, indented by its depth.
    void print(const ResourceTree& tree);

    // Octets that are all zero, such as the handle of nobody, show as "-".
    static std::string personLine(const Change& change, bool colours = false);
    static std::string jsonLine(const Change& change);

private:
    std::ostream& out_;
    bool json_;
    bool colours_;
};

// "HH:MM:SS.mmm" in UTC.
std::string clockText(std::int64_t timeNs);
// RFC 3339 with nanoseconds, in UTC.
std::string timestampText(std::int64_t timeNs);

} // namespace tail

#endif
