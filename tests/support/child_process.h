// child_process.h - a process of the test's own: started, waited for with a bound, never left over.
#ifndef ZV_TESTS_SUPPORT_CHILD_PROCESS_H
#define ZV_TESTS_SUPPORT_CHILD_PROCESS_H

#include <sys/types.h>

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace zv_test {

// How a process ended.
struct ExitStatus {
    bool exited = false;  // true: by itself, with `code`; false: killed by `signal`
    int code = 0;
    int signal = 0;

    static ExitStatus exit(int code) { return {true, code, 0}; }
    static ExitStatus killed(int signal) { return {false, 0, signal}; }
    bool operator==(const ExitStatus &) const = default;
};

std::ostream &operator<<(std::ostream &out, const ExitStatus &status);

// Starts in the constructor with standard output and standard error in the two files. The
// environment is the test's own, without its ZV_* variables (a developer's shell must not change a
// test), with `environment` added. Dies with the thread that started it; killed by the destructor.
class ChildProcess {
  public:
    ChildProcess(const std::vector<std::string> &command,
                 const std::map<std::string, std::string> &environment,
                 const std::string &stdout_path, const std::string &stderr_path);
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    pid_t pid() const { return pid_; }
    void signal(int number) const;
    // Empty when it still runs after `timeout_ms`; 0 asks without waiting. Once it has ended the
    // answer stays the same.
    std::optional<ExitStatus> wait(int timeout_ms);

  private:
    pid_t pid_ = -1;
    int pidfd_ = -1;
    std::optional<ExitStatus> ended_;
};

}  // namespace zv_test

#endif
