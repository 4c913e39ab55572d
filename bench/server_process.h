// A server that is measured, started in a process of its own under a private root directory.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

// What to start. The daemon finds its socket below the root directory (ZV_PLATFORM_ROOT); the echo
// server is given the path of its own.
struct ServerOptions {
    std::vector<std::string> command;
    std::vector<std::string> environment;  // "NAME=value", beside what is inherited
    int core = -1;                         // the one core to run on; -1: any
};

// Created with its first connection made, that is, once the server listens; gone with everything it
// left in the file system when the object is. Standard output and error go to the file `output` in
// the root, which stays where it is when the benchmark dies.
class ServerProcess {
  public:
    explicit ServerProcess(const ServerOptions &options);
    ~ServerProcess();
    ServerProcess(const ServerProcess &) = delete;
    ServerProcess &operator=(const ServerProcess &) = delete;

    int fd() const { return fd_; }
    const std::string &root() const { return root_; }
    // Where the server listens: the daemon's own path below the root.
    std::string socket_path() const;
    // Asks whoever serves the socket to end (which need not be the process that was started, where
    // that is a tracer) and waits until the process that was started has gone.
    void stop();

  private:
    void start(const ServerOptions &options);

    std::string root_;
    pid_t pid_ = -1;
    int fd_ = -1;
};

// Commands of the two servers, as built beside the benchmark.
std::vector<std::string> daemon_command();
std::vector<std::string> echo_command();

// Puts the calling process on one core. -1 does nothing.
void pin_to(int core);

// The last core that this process may run on: the first is where interrupts tend to be handled.
int last_core();

}  // namespace bench
