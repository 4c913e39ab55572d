/* A directory of our own for a dump of the daemon's cache. */
#ifndef ACLRMCTL_DUMP_DIRECTORY_H
#define ACLRMCTL_DUMP_DIRECTORY_H

#include <csignal>
#include <string>

namespace aclrmctl {

/* In a shared directory such as /tmp the kernel would keep a daemon of another user from writing a
 * file that we made, and anyone could guess the name.
 *
 * It goes with the object. A SIGINT, SIGTERM or SIGHUP that ends the program takes it away first;
 * one that somebody else has a handler for, or that is ignored, is left to them. One at a time. */
class DumpDirectory {
  public:
    DumpDirectory();
    ~DumpDirectory();
    DumpDirectory(const DumpDirectory &) = delete;
    DumpDirectory &operator=(const DumpDirectory &) = delete;

    /* Why it could not be made, an errno value; else 0. */
    int error() const { return error_; }
    const std::string &path() const { return path_; }
    /* Of the one file that it is for. */
    const std::string &file() const { return file_; }

  private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

    std::string path_;
    std::string file_;
    int error_ = 0;
    struct sigaction before_[3]{};
};

}  // namespace aclrmctl

#endif
