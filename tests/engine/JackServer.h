// A JACK server of a test's own: jackd with the dummy driver and no real-time privileges, under a
// name no running server uses, started by the test and stopped in every path (the destructor ends
// it). Clients reach it through the JACK_DEFAULT_SERVER variable, which it sets.
#pragma once

#include <sys/types.h>

#include <string>

namespace velmo::testing {

class JackServer {
public:
    // 48 kHz; `periodFrames` per cycle.
    explicit JackServer(int periodFrames) : periodFrames_(periodFrames) {}
    ~JackServer() { stop(); }
    JackServer(const JackServer&) = delete;
    JackServer& operator=(const JackServer&) = delete;

    // Starts jackd and waits until a client can connect, for up to 10 s. False if it never does.
    // A restart keeps the name.
    bool start();
    // SIGKILL, as a crash would end it, and waits for the process.
    void kill();
    // SIGTERM: the server leaves JACK's registry of servers, which holds only eight.
    void stop();
    const std::string& name() const { return name_; }

private:
    bool launch(const std::string& name);

    std::string name_;
    int periodFrames_;
    pid_t pid_ = -1;
};

} // namespace velmo::testing
