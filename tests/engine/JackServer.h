// A JACK server of a test's own: jackd with the dummy driver and no real-time privileges, under a
// name no other server uses, started by the test and stopped in every path (the destructor kills
// it). Clients reach it through the JACK_DEFAULT_SERVER variable, which it sets.
#pragma once

#include <sys/types.h>

#include <string>

namespace velmo::testing {

class JackServer {
public:
    // 48 kHz; `periodFrames` per cycle.
    explicit JackServer(int periodFrames);
    ~JackServer() { kill(); }
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;

    // Starts jackd and waits until a client can connect, for up to 10 s. False if it never does.
    bool start();
    // SIGKILL, as a crash would end it, and waits for the process.
    void kill();
    const std::string& name() const { return name_; }

private:
    std::string name_;
    int periodFrames_;
    pid_t pid_ = -1;
};

} // namespace velmo::testing
