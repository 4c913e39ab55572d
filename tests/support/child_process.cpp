#include "tests/support/child_process.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

namespace zv_test {

namespace {

// A sanitizer's report must fail the test that provoked it, whatever else the process says: it
// turns the exit status into one that no test expects.
constexpr char kSanitizerExit[] = "exitcode=66";

void add_sanitizer_exit(std::map<std::string, std::string> &environment) {
    for (const char *name : {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
        std::string &options = environment[name];
        options += (options.empty() ? "" : ":") + std::string(kSanitizerExit);
    }
}

std::vector<std::string> full_environment(const std::map<std::string, std::string> &added) {
    std::map<std::string, std::string> variables;
    for (char **entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (text.rfind("ZV_", 0) != 0) {
            const size_t equals = text.find('=');
            variables[text.substr(0, equals)] = text.substr(equals + 1);
        }
    }
    add_sanitizer_exit(variables);
    for (const auto &[name, value] : added) {
        variables[name] = value;
    }
    std::vector<std::string> entries;
    for (const auto &[name, value] : variables) {
        entries.push_back(name + "=" + value);
    }
    return entries;
}

std::vector<char *> pointers_to(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// Between vfork and execve only what a signal handler may do, as the child has the test's memory
// until then, and nothing of that is written to but two things that nobody looks at: errno, where a
// call fails, and the 0 that vfork returned, which its second return replaces.
[[noreturn]] void become(char *const *command, char *const *environment, const char *stdout_path,
                         const char *stderr_path) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // Nor is what whoever started the tests had ignored (a script's background, nohup) for the
    // child.
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGABRT, SIGUSR1, SIGPIPE}) {
        signal(number, SIG_DFL);
    }
    const int in = open("/dev/null", O_RDONLY);
    const int out = open(stdout_path, O_WRONLY | O_CREAT | O_APPEND, 0600);
    const int err = open(stderr_path, O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (in < 0 || out < 0 || err < 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0) {
        _exit(126);
    }
    execve(command[0], command, environment);
    _exit(127);
}

}  // namespace

std::ostream &operator<<(std::ostream &out, const ExitStatus &status) {
    if (status.exited) {
        return out << "exit status " << status.code;
    }
    return out << "killed by signal " << status.signal;
}

ChildProcess::ChildProcess(const std::vector<std::string> &command,
                           const std::map<std::string, std::string> &environment,
                           const std::string &stdout_path, const std::string &stderr_path) {
    std::vector<std::string> arguments = command;
    std::vector<std::string> variables = full_environment(environment);
    const std::vector<char *> argv = pointers_to(arguments);
    const std::vector<char *> envp = pointers_to(variables);
    // A copy of the memory map, which fork makes, costs more than a daemon's whole life where
    // thousands are started.
    pid_ = vfork();
    if (pid_ == 0) {
        become(argv.data(), envp.data(), stdout_path.c_str(), stderr_path.c_str());
    }
    if (pid_ > 0) {
        // The C library's own wrapper cannot be linked from C++ in its present version.
        pidfd_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    }
}

ChildProcess::~ChildProcess() {
    if (!wait(0)) {
        signal(SIGKILL);
        wait(-1);
    }
    if (pidfd_ >= 0) {
        close(pidfd_);
    }
}

void ChildProcess::signal(int number) const {
    if (pid_ > 0 && !ended_) {
        kill(pid_, number);
    }
}

std::optional<ExitStatus> ChildProcess::wait(int timeout_ms) {
    if (ended_ || pid_ <= 0) {
        return ended_;
    }
    pollfd ends = {pidfd_, POLLIN, 0};
    int ready;
    do {
        ready = poll(&ends, 1, timeout_ms);
    } while (ready < 0 && errno == EINTR);
    int status = 0;
    if (ready == 1 && waitpid(pid_, &status, 0) == pid_) {
        ended_ = WIFEXITED(status) ? ExitStatus::exit(WEXITSTATUS(status))
                                   : ExitStatus::killed(WTERMSIG(status));
    }
    return ended_;
}

}  // namespace zv_test
