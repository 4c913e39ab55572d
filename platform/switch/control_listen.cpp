#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/switch/control_socket.h"

namespace zv_switch {
namespace {

constexpr mode_t kSocketMode = 0600;
constexpr int kBacklog = 16;

std::string errno_text(const std::string &path) { return path + ": " + std::strerror(errno); }

// Makes every directory that leads to path; one that cannot be made shows when path is opened.
void make_directories(const std::string &path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        (void)mkdir(path.substr(0, slash).c_str(), 0755);
    }
}

// Never released and never removed: the kernel lets go of it when the process is gone, however it
// went, and removing it would let two processes lock two files of one name.
bool take_lock(const std::string &path, std::string *error) {
    const int lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kSocketMode);
    if (lock < 0) {
        *error = errno_text(path);
        return false;
    }
    if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
        *error = errno == EWOULDBLOCK ? path + ": another process serves the control socket"
                                      : errno_text(path);
        close(lock);
        return false;
    }
    return true;
}

// Binds and listens. The mode is set before the file exists, since bind takes it from the
// descriptor; a umask for that moment would be seen by all threads.
bool bind_and_listen(int listener, const sockaddr_un &address) {
    return fchmod(listener, kSocketMode) == 0 &&
           bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0 &&
           listen(listener, kBacklog) == 0;
}

}  // namespace

int control_listen(const std::string &path, std::string *error) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) {
        *error = path + ": longer than a socket's path can be";
        return -1;
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    make_directories(path);
    if (!take_lock(path + ".lock", error)) {
        return -1;
    }
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (listener < 0) {
        *error = errno_text(path);
        return -1;
    }
    // The lock is ours, so whoever made this file is gone.
    (void)unlink(path.c_str());
    if (!bind_and_listen(listener, address)) {
        *error = errno_text(path);
        close(listener);
        return -1;
    }
    return listener;
}

}  // namespace zv_switch
