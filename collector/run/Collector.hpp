// The collector as a whole: what it is made of, in the order in which it begins, and its end.
//
// Threads: one owner. Its parts have threads of their own: the intake of samples, HTTP, commands, the log
// file, and one that asks applications again of which something was missed.
#ifndef COLLECTOR_RUN_COLLECTOR_HPP
#define COLLECTOR_RUN_COLLECTOR_HPP

#include <memory>
#include <string>

#include "collector/run/Options.hpp"

namespace collector::run {

class Collector {
public:
    explicit Collector(const Options& options);
    ~Collector(); // ends it
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    // False with a text that tells why.
    bool start(std::string& error);
    // Where it serves: "http://127.0.0.1:9464".
    const std::string& url() const;
    // Once a second or so.
    void keepHouse();
    void reopenLogFile();
    // Within two seconds, whatever clients and applications do.
    void stop();

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace collector::run

#endif
