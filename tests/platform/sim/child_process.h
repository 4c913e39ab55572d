// A program run with an environment of its own: what the platform reads from the environment it
// reads once, so every setting needs a process.
#ifndef TESTS_PLATFORM_SIM_CHILD_PROCESS_H
#define TESTS_PLATFORM_SIM_CHILD_PROCESS_H

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace zv_test {

// A private directory, removed with everything in it.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    std::string file(const std::string &name) const { return path_ + "/" + name; }
    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

void write_file(const std::string &path, const std::string &text);
std::string read_file(const std::string &path);
std::vector<std::string> lines_of(const std::string &text);

// A child process with pipes at its standard input, output and error. The environment is the
// parent's without any ZV_ variable, and the ones given.
class ChildProcess {
  public:
    ChildProcess(const std::vector<std::string> &command,
                 const std::map<std::string, std::string> &environment);
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    void write_line(const std::string &line);
    std::string read_line();  // without its newline; empty at the end of the output
    void close_input();
    pid_t pid() const { return pid_; }

    // Closes its input, reads what is left of output and error, and waits for it. Returns the exit
    // status, or minus the signal that ended it.
    int wait();
    const std::string &output() const { return output_; }
    const std::string &errors() const { return errors_; }

  private:
    pid_t pid_ = -1;
    int input_fd_ = -1;
    int output_fd_ = -1;
    int error_fd_ = -1;
    std::string output_;
    std::string errors_;
};

}  // namespace zv_test

#endif
