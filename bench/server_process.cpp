#include "bench/server_process.h"

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>

#include "bench/die.h"
#include "bench/wire.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

extern char **environ;

namespace bench {

namespace {

// Start-up under an instruction counter takes seconds, not milliseconds.
constexpr int START_ATTEMPTS = 60000;
constexpr long ATTEMPT_NS = 1000000;

void pause_between_attempts() {
    const timespec pause = {.tv_sec = 0, .tv_nsec = ATTEMPT_NS};
    nanosleep(&pause, nullptr);
}

// In the child: never returns. `{root}` in an argument or variable stands for the root directory.
[[noreturn]] void run(const ServerOptions &options, const std::string &root) {
    const auto expand = [&root](std::string text) {
        const size_t at = text.find("{root}");
        return at == std::string::npos ? text : text.replace(at, 6, root);
    };
    // A benchmark that dies leaves no server behind.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    pin_to(options.core);
    const int out =
        open((root + "/output").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (out < 0 || dup2(out, 1) < 0 || dup2(out, 2) < 0) {
        die("%s/output: %s", root.c_str(), strerror(errno));
    }
    setenv("ZV_PLATFORM_ROOT", root.c_str(), 1);
    for (const std::string &variable : options.environment) {
        const std::string text = expand(variable);
        const size_t equals = text.find('=');
        setenv(text.substr(0, equals).c_str(), text.substr(equals + 1).c_str(), 1);
    }
    std::vector<std::string> words;
    for (const std::string &word : options.command) {
        words.push_back(expand(word));
    }
    std::vector<char *> arguments;
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    die("%s: %s", arguments[0], strerror(errno));
}

void print_output(const std::string &root) {
    FILE *file = fopen((root + "/output").c_str(), "r");
    char line[512];
    while (file != nullptr && fgets(line, sizeof line, file) != nullptr) {
        fputs(line, stderr);
    }
    if (file != nullptr) {
        fclose(file);
    }
}

}  // namespace

ServerProcess::ServerProcess(const ServerOptions &options) {
    const char *temporary = getenv("TMPDIR");
    root_ = std::string(temporary != nullptr ? temporary : "/tmp") + "/zv_bench.XXXXXX";
    if (mkdtemp(root_.data()) == nullptr) {
        die("%s: %s", root_.c_str(), strerror(errno));
    }
    std::filesystem::create_directories(std::filesystem::path(socket_path()).parent_path());
    start(options);
}

void ServerProcess::start(const ServerOptions &options) {
    pid_ = fork();
    if (pid_ < 0) {
        die("fork: %s", strerror(errno));
    }
    if (pid_ == 0) {
        run(options, root_);
    }
    for (int attempt = 0; attempt < START_ATTEMPTS; attempt++) {
        fd_ = try_connect(socket_path());
        if (fd_ >= 0) {
            return;
        }
        if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
            break;
        }
        pause_between_attempts();
    }
    print_output(root_);
    die("%s does not serve", options.command.front().c_str());
}

ServerProcess::~ServerProcess() {
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
}

void ServerProcess::stop() {
    if (pid_ < 0) {
        return;
    }
    kill(peer_pid(fd_), SIGTERM);
    close(fd_);
    fd_ = -1;
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

std::string ServerProcess::socket_path() const {
    return root_ + ZV_ACL_RM_SOCKET_PATH;
}

std::vector<std::string> daemon_command() {
    const char *other = getenv("ZV_BENCH_DAEMON");
    return {other != nullptr ? other : ZV_BENCH_DAEMON_PATH};
}

std::vector<std::string> echo_command() {
    return {ZV_BENCH_ECHO_PATH, std::string("{root}") + ZV_ACL_RM_SOCKET_PATH};
}

void pin_to(int core) {
    if (core < 0) {
        return;
    }
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(static_cast<size_t>(core), &cores);
    if (sched_setaffinity(0, sizeof cores, &cores) != 0) {
        die("core %d: %s", core, strerror(errno));
    }
}

int last_core() {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    if (sched_getaffinity(0, sizeof cores, &cores) != 0) {
        die("sched_getaffinity: %s", strerror(errno));
    }
    int last = 0;
    for (int core = 0; core < CPU_SETSIZE; core++) {
        if (CPU_ISSET(static_cast<size_t>(core), &cores)) {
            last = core;
        }
    }
    return last;
}

}  // namespace bench
