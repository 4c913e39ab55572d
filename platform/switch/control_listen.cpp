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

std::string errno_text(const std::string &path) {
    return path + ": " + std::strerror(errno);
}

// Makes every directory that leads to path; one that cannot be made shows when path is opened.
void make_directories(const std::string &path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        (void)mkdir(path.substr(0, slash).c_str(), 0755);
    }
}

// Returns the locked file, -1 on failure. It is never removed, since that would let two processes
// lock two files of one name; the kernel lets go of it when the process is gone, however it went.
int take_lock(const std::string &path, std::string *error) {
    const int lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kSocketMode);
    if (lock < 0) {
        *error = errno_text(path);
        return -1;
    }
    if (flock(lock, LOCK_EX | LOCK_NB) != 0) {
        *error = errno == EWOULDBLOCK ? path + ": another process serves the control socket"
                                      : errno_text(path);
        close(lock);
        return -1;
    }
    return lock;
}

// Removes a socket that a process which is gone has left. Whatever else lies there was not made
// here and stays.
bool clear_place(const std::string &path, std::string *error) {
    struct stat found = {};
    if (lstat(path.c_str(), &found) != 0) {
        if (errno == ENOENT) {
            return true;
        }
        *error = errno_text(path);
        return false;
    }
    if (!S_ISSOCK(found.st_mode)) {
        *error = path + ": is there and is not a socket";
        return false;
    }
    if (unlink(path.c_str()) != 0) {
        *error = errno_text(path);
        return false;
    }
    return true;
}

// Makes the socket and listens, the lock being held. The mode is set before the file exists, since
// bind takes it from the descriptor; a umask for that moment would be seen by all threads.
int listen_at(const sockaddr_un &address, std::string *error) {
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const bool bound =
        listener >= 0 && fchmod(listener, kSocketMode) == 0 &&
        bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
    if (bound && listen(listener, kBacklog) == 0) {
        return listener;
    }
    *error = errno_text(address.sun_path);
    if (bound) {
        (void)unlink(address.sun_path);
    }
    if (listener >= 0) {
        close(listener);
    }
    return -1;
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
    const int lock = take_lock(path + ".lock", error);
    if (lock < 0) {
        return -1;
    }
    // The lock is ours, so whoever made a socket there is gone.
    const int listener = clear_place(path, error) ? listen_at(address, error) : -1;
    if (listener < 0) {
        close(lock);
    }
    return listener;
}

}  // namespace zv_switch
