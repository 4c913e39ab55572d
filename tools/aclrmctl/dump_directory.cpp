#include "dump_directory.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <iterator>

#include "client/dump_place.h"

namespace aclrmctl {

namespace {

/* What a handler may read: set and cleared while its signals are blocked. */
const char *g_directory = nullptr;
const char *g_file = nullptr;

void remove_both() {
    unlink(g_file);
    rmdir(g_directory);
}

/* The signal ends the program as it would have without us. */
void remove_and_end(int number) {
    remove_both();
    signal(number, SIG_DFL);
    raise(number);
}

/* No signal comes between the making of the directory and the noting of its name. */
class BlockedSignals {
  public:
    template <size_t N>
    explicit BlockedSignals(const int (&signals)[N]) {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int number : signals) {
            sigaddset(&blocked, number);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &before_);
    }
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    BlockedSignals(const BlockedSignals &) = delete;
    BlockedSignals &operator=(const BlockedSignals &) = delete;

  private:
    sigset_t before_{};
};

}  // namespace

DumpDirectory::DumpDirectory() : path_(zv_cache_text::temporary_base() + "/aclrmctl-XXXXXX") {
    const BlockedSignals blocked(kSignals);
    if (mkdtemp(path_.data()) == nullptr) {
        error_ = errno;
        return;
    }
    file_ = path_ + "/dump";
    g_directory = path_.c_str();
    g_file = file_.c_str();
    struct sigaction removing {};
    removing.sa_handler = remove_and_end;
    for (size_t i = 0; i < std::size(kSignals); i++) {
        sigaction(kSignals[i], nullptr, &before_[i]);
        if (before_[i].sa_handler == SIG_DFL) {
            sigaction(kSignals[i], &removing, nullptr);
        }
    }
}

DumpDirectory::~DumpDirectory() {
    if (error_ != 0) {
        return;
    }
    const BlockedSignals blocked(kSignals);
    remove_both();
    for (size_t i = 0; i < std::size(kSignals); i++) {
        if (before_[i].sa_handler == SIG_DFL) {
            sigaction(kSignals[i], &before_[i], nullptr);
        }
    }
    g_directory = nullptr;
    g_file = nullptr;
}

}  // namespace aclrmctl
