#include "tests/platform/sim/child_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern char **environ;

namespace zv_test {
namespace {

std::string read_all(int fd) {
    std::string text;
    char buffer[4096];
    ssize_t read_num = 0;
    while ((read_num = read(fd, buffer, sizeof(buffer))) > 0) {
        text.append(buffer, static_cast<size_t>(read_num));
    }
    return text;
}

std::vector<std::string> environment_of(const std::map<std::string, std::string> &added) {
    std::vector<std::string> list;
    for (char **entry = environ; *entry != nullptr; entry++) {
        if (std::strncmp(*entry, "ZV_", 3) != 0) {
            list.emplace_back(*entry);
        }
    }
    for (const auto &[name, value] : added) {
        list.push_back(name + "=" + value);
    }
    return list;
}

std::vector<char *> pointers_to(const std::vector<std::string> &texts) {
    std::vector<char *> list;
    for (const std::string &text : texts) {
        list.push_back(const_cast<char *>(text.c_str()));
    }
    list.push_back(nullptr);
    return list;
}

void close_fd(int *fd) {
    if (*fd >= 0) {
        close(*fd);
        *fd = -1;
    }
}

}  // namespace

TempDir::TempDir() {
    const char *base = std::getenv("TMPDIR");
    path_ = std::string(base == nullptr ? "/tmp" : base) + "/zv_XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::runtime_error("mkdtemp " + path_);
    }
}

TempDir::~TempDir() {
    std::filesystem::remove_all(path_);
}

void write_file(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string read_file(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

ChildProcess::ChildProcess(const std::vector<std::string> &command,
                           const std::map<std::string, std::string> &environment) {
    int pipes[3][2];
    for (auto &ends : pipes) {
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe2");
        }
    }
    const std::vector<std::string> variables = environment_of(environment);
    std::vector<char *> arguments = pointers_to(command);
    std::vector<char *> variable_list = pointers_to(variables);
    pid_ = fork();
    if (pid_ == 0) {
        dup2(pipes[0][0], STDIN_FILENO);
        dup2(pipes[1][1], STDOUT_FILENO);
        dup2(pipes[2][1], STDERR_FILENO);
        execve(arguments[0], arguments.data(), variable_list.data());
        _exit(127);
    }
    close(pipes[0][0]);
    close(pipes[1][1]);
    close(pipes[2][1]);
    input_fd_ = pipes[0][1];
    output_fd_ = pipes[1][0];
    error_fd_ = pipes[2][0];
}

ChildProcess::~ChildProcess() {
    if (pid_ > 0) {
        wait();
    }
}

void ChildProcess::write_line(const std::string &line) {
    const std::string text = line + "\n";
    if (write(input_fd_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        throw std::runtime_error("write to child");
    }
}

std::string ChildProcess::read_line() {
    std::string line;
    char byte = 0;
    while (read(output_fd_, &byte, 1) == 1 && byte != '\n') {
        line += byte;
    }
    return line;
}

void ChildProcess::close_input() {
    close_fd(&input_fd_);
}

int ChildProcess::wait() {
    close_input();
    output_ += read_all(output_fd_);
    errors_ += read_all(error_fd_);
    close_fd(&output_fd_);
    close_fd(&error_fd_);
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace zv_test
