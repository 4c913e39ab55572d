#include "private_switch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "client/dump_place.h"
#include "exit_codes.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace aclrmctl {

namespace {

constexpr int kStartMs = 10000;
constexpr int kStopMs = 10000;
constexpr int kPollMs = 10;
constexpr size_t kShownLogLines = 5;

std::string directory_of_tool() {
    char path[PATH_MAX] = "";
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    return length > 0 ? std::filesystem::path(std::string(path, static_cast<size_t>(length)))
                            .parent_path()
                            .string()
                      : ".";
}

std::string find_daemon() {
    const std::string here = directory_of_tool();
    for (const std::string &path : {here + "/zv_acl_rm", here + "/../sbin/zv_acl_rm"}) {
        if (access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return "zv_acl_rm"; /* execvp looks along PATH */
}

bool listens(const std::string &path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        return false;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    const auto *generic = reinterpret_cast<const sockaddr *>(&address);
    const bool connected = fd >= 0 && connect(fd, generic, sizeof(address)) == 0;
    if (fd >= 0) {
        close(fd);
    }
    return connected;
}

/* Its own settings only: faults or a configuration of the caller's shell are another switch's. */
std::vector<std::string> environment_under(const std::string &root) {
    std::vector<std::string> environment;
    for (char **variable = environ; *variable != nullptr; variable++) {
        if (std::strncmp(*variable, "ZV_", 3) != 0) {
            environment.emplace_back(*variable);
        }
    }
    environment.push_back("ZV_PLATFORM_ROOT=" + root);
    environment.emplace_back("ZV_SIM_CONTROL=1");
    return environment;
}

/* In the child, between fork and exec: only calls that are allowed there. */
[[noreturn]] void become_daemon(const char *program, int log_fd, pid_t parent,
                                char *const *environment) {
    prctl(PR_SET_PDEATHSIG, SIGTERM); /* it must not outlive a tool that was killed */
    setpgid(0, 0);                    /* Ctrl-C is the tool's, which then stops it */
    signal(SIGINT, SIG_DFL);
    signal(SIGHUP, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    char name[] = "zv_acl_rm";
    char *const arguments[] = {name, nullptr};
    if (getppid() == parent && dup2(log_fd, STDOUT_FILENO) >= 0 &&
        dup2(log_fd, STDERR_FILENO) >= 0) {
        execvpe(program, arguments, environment);
    }
    dprintf(STDERR_FILENO, "%s: %s\n", program, strerror(errno));
    _exit(127);
}

}  // namespace

PrivateSwitch::~PrivateSwitch() {
    if (pid_ > 0) {
        stop();
    }
    if (!root_.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(root_, ignored);
    }
}

std::optional<Failure> PrivateSwitch::start(const std::string &program,
                                            const std::function<bool()> &gave_up) {
    root_ = temporary_base() + "/aclrmctl-XXXXXX";
    if (mkdtemp(root_.data()) == nullptr) {
        const Failure failure{kExitFailure, root_ + ": " + std::strerror(errno), {}, {}, ""};
        root_.clear();
        return failure;
    }
    const size_t socket_room = sizeof(sockaddr_un{}.sun_path) - 1;
    if (root_.size() + std::strlen(ZV_ACL_RM_SOCKET_PATH) > socket_room) {
        return Failure{kExitFailure,
                       "a socket's path has room for " + std::to_string(socket_room) +
                           " bytes, and " + root_ + ZV_ACL_RM_SOCKET_PATH + " is longer",
                       {},
                       {},
                       "name a shorter directory by TMPDIR, such as TMPDIR=/tmp"};
    }
    const std::string path = program.empty() ? find_daemon() : program;
    const int log_fd =
        open((root_ + "/daemon.log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_APPEND, 0600);
    std::vector<std::string> environment = environment_under(root_);
    std::vector<char *> pointers;
    pointers.reserve(environment.size() + 1);
    for (std::string &variable : environment) {
        pointers.push_back(variable.data());
    }
    pointers.push_back(nullptr);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        become_daemon(path.c_str(), log_fd, parent, pointers.data());
    }
    close(log_fd);
    if (pid_ < 0) {
        return Failure{kExitFailure, path + ": " + std::strerror(errno), {}, {}, ""};
    }
    for (int waited = 0; waited < kStartMs && !gave_up(); waited += kPollMs) {
        if (listens(root_ + ZV_ACL_RM_SOCKET_PATH)) {
            return std::nullopt;
        }
        int status = 0;
        if (wait_for_end(kPollMs, &status)) {
            return start_failure(path + " ended while it was starting");
        }
    }
    return start_failure(path + " does not listen");
}

bool PrivateSwitch::wait_for_end(int timeout_ms, int *status) {
    for (int waited = 0;; waited += kPollMs) {
        if (waitpid(pid_, status, WNOHANG) == pid_) {
            pid_ = -1;
            return true;
        }
        if (waited >= timeout_ms) {
            return false;
        }
        poll(nullptr, 0, kPollMs);
    }
}

int PrivateSwitch::stop() {
    int status = 0;
    kill(pid_, SIGTERM);
    if (!wait_for_end(kStopMs, &status)) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        pid_ = -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

Failure PrivateSwitch::start_failure(const std::string &what) const {
    Failure failure{kExitFailure, what, {}, {}, "--daemon names the program"};
    std::ifstream log(root_ + "/daemon.log");
    for (std::string line; std::getline(log, line);) {
        failure.details.push_back(line);
        if (failure.details.size() > kShownLogLines) {
            failure.details.erase(failure.details.begin());
        }
    }
    return failure;
}

}  // namespace aclrmctl
