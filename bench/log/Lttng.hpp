// LTTng-UST as a peer: a tracepoint with one text, collected by a session of a session daemon of its own.
#ifndef BENCH_LOG_LTTNG_HPP
#define BENCH_LOG_LTTNG_HPP

extern "C" {
void lttngLog(const char* text);
int lttngIsOn(void);
}

// Starts a session with the tracepoint on, and ends it. `works` is false where the tools are not there or
// cannot run: then the peer is left out.
class LttngSession {
public:
    LttngSession();
    ~LttngSession();
    LttngSession(const LttngSession&) = delete;
    LttngSession& operator=(const LttngSession&) = delete;
    bool works() const { return works_; }

private:
    bool works_ = false;
};

#endif
