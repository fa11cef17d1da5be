#include "JackServer.h"

#include <jack/jack.h>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace velmo::testing {

bool JackServer::start() {
    kill();
    // Clients tried before the server listens would each print a failure.
    jack_set_error_function([](const char*) {});
    if (!name_.empty()) return launch(name_);
    // A few fixed names rather than one per process: JACK frees a killed server's place in its
    // registry only when a server of the same name starts again. A name in use by a test running
    // beside this one is passed over.
    for (int i = 1; i <= 4; ++i)
        if (launch("velmo-test-" + std::to_string(i))) return true;
    return false;
}

bool JackServer::launch(const std::string& name) {
    const std::string period = std::to_string(periodFrames_);
    pid_ = ::fork();
    if (pid_ == 0) {
        // The server goes with the test: one that outlived a crashed test would hold its name and
        // its place in JACK's registry for every later run.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        // Quiet: the server's banner and its notes on late cycles are not the test's output.
        std::freopen("/dev/null", "w", stdout);
        std::freopen("/dev/null", "w", stderr);
        ::execlp("jackd", "jackd", "--no-realtime", "-n", name.c_str(), "-d", "dummy", "-r", "48000", "-p",
                 period.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    if (pid_ < 0) return false;
    ::setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < giveUp) {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return false; // jackd ended: not installed, the name is taken, or it could not start
        }
        jack_status_t jackStatus;
        if (jack_client_t* probe = jack_client_open("velmo-test-probe", JackNoStartServer, &jackStatus)) {
            jack_client_close(probe);
            name_ = name;
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    kill();
    return false;
}

void JackServer::kill() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

void JackServer::stop() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    for (int i = 0; i < 100; ++i) {
        if (::waitpid(pid_, nullptr, WNOHANG) == pid_) {
            pid_ = -1;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    kill(); // it did not end within 5 s
}

} // namespace velmo::testing
