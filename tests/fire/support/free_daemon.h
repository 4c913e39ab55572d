// free_daemon.h - a daemon that may be stopped, killed, or share its place with another.
//
// The harness's own DaemonProcess demands a good end and has a place of its own; here the end is
// what is looked at, and two daemons may stand on one path. Nothing here fails a test by itself.
#ifndef ZV_TESTS_FIRE_SUPPORT_FREE_DAEMON_H
#define ZV_TESTS_FIRE_SUPPORT_FREE_DAEMON_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace zv_fire {

// Which build of the daemon, and how it is started.
struct Launch {
    std::string program;       // the daemon's path
    std::string library_path;  // for its platform libraries; empty: those it was linked against
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment;
};

// Where the daemon listens in this place.
std::string socket_path(const zv_test::TempDir &place);

class FreeDaemon {
  public:
    // `name` tells its files in the place apart from those of other daemons there.
    FreeDaemon(const zv_test::TempDir &place, const Launch &launch, const std::string &name = "a");

    pid_t pid() const { return process_.pid(); }
    void signal(int number) { process_.signal(number); }
    std::optional<zv_test::ExitStatus> wait(int timeout_ms) { return process_.wait(timeout_ms); }
    // Until a request is answered at the place's socket, whoever answers; false when this daemon
    // ends before that, or after a minute.
    bool wait_until_serving();

    // What it wrote. The trace has the names of the platform calls, oldest first.
    std::string err() const { return zv_test::read_file(file("err")); }
    std::vector<std::string> calls() const;
    bool has_called(const std::string &name) const;
    // Anything at all: the first call is made just before the signals are caught.
    bool has_called_any() const;

  private:
    std::string file(const char *what) const { return prefix_ + what; }
    static std::map<std::string, std::string> environment(const zv_test::TempDir &place,
                                                          const Launch &launch,
                                                          const std::string &trace);

    const zv_test::TempDir &place_;
    std::string prefix_;
    zv_test::ChildProcess process_;
};

// Whether somebody answers at the place's socket.
bool somebody_serves(const zv_test::TempDir &place);

}  // namespace zv_fire

#endif
