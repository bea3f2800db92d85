// Standard streams that were closed before the program began.
//
// A socket or a file that is opened later would get their numbers, and what is printed would go there. They
// are held by what refuses it: writing to such a stream fails. Threads: before any other.
#ifndef READING_STANDARD_STREAMS_HPP
#define READING_STANDARD_STREAMS_HPP

#include <fcntl.h>
#include <unistd.h>

namespace reading {

inline void holdStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0)
            continue;
        // The lowest free number is this one.
        if (open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY) != stream)
            return;
    }
}

} // namespace reading

#endif
