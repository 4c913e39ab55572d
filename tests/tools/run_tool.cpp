#include "tests/tools/run_tool.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

extern char **environ;

namespace zv_test {

namespace {

/* Both outputs are read as they come: a tool that fills one pipe must not wait for the other. */
void read_both(int out_fd, int err_fd, ToolRun *run) {
    pollfd entries[] = {{out_fd, POLLIN, 0}, {err_fd, POLLIN, 0}};
    std::string *const texts[] = {&run->out, &run->err};
    char buffer[65536];
    int open_num = 2;
    while (open_num > 0 && poll(entries, 2, -1) > 0) {
        for (int i = 0; i < 2; i++) {
            if (entries[i].revents == 0) {
                continue;
            }
            const ssize_t bytes = read(entries[i].fd, buffer, sizeof(buffer));
            if (bytes > 0) {
                texts[i]->append(buffer, static_cast<size_t>(bytes));
            } else {
                close(entries[i].fd);
                entries[i].fd = -1;
                open_num--;
            }
        }
    }
}

std::vector<std::string> environment_with(const std::string &root) {
    std::vector<std::string> environment;
    for (char **variable = environ; *variable != nullptr; variable++) {
        if (std::strncmp(*variable, "ZV_", 3) != 0) {
            environment.emplace_back(*variable);
        }
    }
    if (!root.empty()) {
        environment.push_back("ZV_PLATFORM_ROOT=" + root);
    }
    return environment;
}

std::vector<char *> pointers(std::vector<std::string> &texts) {
    std::vector<char *> result;
    for (std::string &text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

/* Runs the tool with its outputs on those descriptors, which are closed here. */
ToolRun run_with(const std::string &root, const std::vector<std::string> &words,
                 const int (&out)[2], const int (&err)[2]) {
    ToolRun run;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    /* Whoever started the tests in the background may have had signals ignored, and what is ignored
       is inherited: the tool under test is to be stopped by them. */
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigfillset(&defaults);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    std::vector<std::string> command{tool_path()};
    command.insert(command.end(), words.begin(), words.end());
    std::vector<std::string> environment = environment_with(root);
    pid_t pid = -1;
    const int error = posix_spawn(&pid, command.front().c_str(), &actions, &attributes,
                                  pointers(command).data(), pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(out[1]);
    close(err[1]);
    read_both(out[0], err[0], &run);
    int status = 0;
    if (error == 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status)) {
        run.exit_code = WEXITSTATUS(status);
    }
    return run;
}

/* The terminal's two ends, that of the reader first. */
bool open_terminal(unsigned short columns, int (&ends)[2]) {
    ends[0] = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (ends[0] < 0 || grantpt(ends[0]) != 0 || unlockpt(ends[0]) != 0) {
        return false;
    }
    ends[1] = open(ptsname(ends[0]), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const winsize size{.ws_row = 25, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    return ends[1] >= 0 && ioctl(ends[1], TIOCSWINSZ, &size) == 0;
}

}  // namespace

std::string tool_path() {
    const char *other = getenv("ZV_TEST_ACLRMCTL");
    return other != nullptr ? other : ZV_TEST_ACLRMCTL;
}

ToolRun run_tool(const std::string &root, const std::vector<std::string> &words) {
    int out[2];
    int err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
        return {};
    }
    return run_with(root, words, out, err);
}

ToolRun run_tool_on_terminal(unsigned short columns, const std::string &root,
                             const std::vector<std::string> &words) {
    int out[2];
    int err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || !open_terminal(columns, err)) {
        return {};
    }
    return run_with(root, words, out, err);
}

}  // namespace zv_test
