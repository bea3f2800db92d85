// A program with many topics under orx-run, in a process of its own, that measures what its own thread waits.
#ifndef BENCH_COMMANDS_PROGRAM_HPP
#define BENCH_COMMANDS_PROGRAM_HPP

#include <sys/types.h>

#include <string>

#include "bench/commands/Waits.hpp"

// One that nobody else on this machine uses.
int claimDomain();

class Program {
public:
    // Returns once its entities are there and the agent has done with them.
    Program(int domain, int monitoringDomain, const std::string& name, std::size_t topics);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    struct Answer {
        bench::Waits create, destroy, control;
    };
    // Between the two it creates and deletes one writer after the other.
    void begin() const { tell('b'); }
    Answer end() const;

private:
    void tell(char what) const;
    bench::Waits receive() const;
    void waitUntilQuiet() const;

    pid_t process_ = -1;
    int socket_ = -1;
};

#endif
