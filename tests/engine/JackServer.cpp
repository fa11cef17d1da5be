#include "JackServer.h"

#include <jack/jack.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace velmo::testing {

JackServer::JackServer(int periodFrames)
    : name_("velmo-test-" + std::to_string(::getpid())), periodFrames_(periodFrames) {
    ::setenv("JACK_DEFAULT_SERVER", name_.c_str(), 1);
}

bool JackServer::start() {
    kill();
    // Clients tried before the server listens would each print a failure.
    jack_set_error_function([](const char*) {});
    const std::string period = std::to_string(periodFrames_);
    pid_ = ::fork();
    if (pid_ == 0) {
        // Quiet: the server's banner and its notes on late cycles are not the test's output.
        std::freopen("/dev/null", "w", stdout);
        std::freopen("/dev/null", "w", stderr);
        ::execlp("jackd", "jackd", "--no-realtime", "-n", name_.c_str(), "-d", "dummy", "-r", "48000", "-p",
                 period.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    if (pid_ < 0) return false;
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < giveUp) {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            return false; // jackd ended: not installed, or it could not start
        }
        jack_status_t jackStatus;
        if (jack_client_t* probe = jack_client_open("velmo-test-probe", JackNoStartServer, &jackStatus)) {
            jack_client_close(probe);
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

} // namespace velmo::testing
