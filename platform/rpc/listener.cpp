// The socket is made under a name of its own beside the path, gets its mode there, listens, and is
// then renamed to the path. So whoever finds the socket file finds it with its final mode and can
// connect, an old file is replaced in one step, and the process's umask, which belongs to all its
// threads, is left alone.
#include "platform/rpc/listener.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>

#include "platform/rpc/rpc_log.h"

namespace zv_rpc_lib {

namespace {

constexpr char kNewSuffix[] = ".new";
// Clients that connect at once before the loop gets to accept them; the system may allow fewer.
constexpr int kBacklog = 1024;

Status refuse(const char *what, const char *path) {
    log_line(kWarning, "Cannot %s %s: %s.\n", what, path, strerror(errno));
    return kSystemError;
}

bool make_directories_of(const char *path) {
    char part[PATH_MAX];
    if (snprintf(part, sizeof(part), "%s", path) >= static_cast<int>(sizeof(part))) {
        errno = ENAMETOOLONG;
        return false;
    }
    for (char *slash = strchr(part + 1, '/'); slash != nullptr; slash = strchr(slash + 1, '/')) {
        *slash = '\0';
        if (mkdir(part, 0755) != 0 && errno != EEXIST) {
            return false;
        }
        *slash = '/';
    }
    return true;
}

enum class Place { kHeld, kLost, kUnknown };

// Whether the file that fd has open is still the one at path: somebody may have removed it between
// our open and our lock, and then the lock protects nothing.
Place place_of(int fd, const char *path) {
    struct stat opened = {};
    struct stat named = {};
    if (fstat(fd, &opened) != 0) {
        return Place::kUnknown;
    }
    if (lstat(path, &named) != 0) {
        return errno == ENOENT ? Place::kLost : Place::kUnknown;
    }
    const bool same = opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
    return same ? Place::kHeld : Place::kLost;
}

bool is_free_for_a_socket(const char *path) {
    struct stat info = {};
    if (lstat(path, &info) != 0) {
        return errno == ENOENT;
    }
    errno = EADDRINUSE;
    return S_ISSOCK(info.st_mode);
}

// A socket at a name nobody connects to yet. The mode set before bind keeps the file from ever
// being open wider, the one after it undoes the umask.
bool bind_with_mode(int fd, const char *path, mode_t mode) {
    sockaddr_un address = socket_address(path);
    if (unlink(path) != 0 && errno != ENOENT) {
        return false;
    }
    return fchmod(fd, mode) == 0 &&
           bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0 &&
           chmod(path, mode) == 0;
}

}  // namespace

Status Listener::open(const char *path, mode_t mode) {
    if (strlen(path) + strlen(kNewSuffix) > kMaxSocketPath) {
        log_line(kWarning, "The socket's path is too long: %s.\n", path);
        return kBadParameter;
    }
    snprintf(path_, sizeof(path_), "%s", path);
    Status status = take_lock();
    if (status == kSuccess) {
        status = listen_at_path(mode);
    }
    if (status != kSuccess && lock_fd_ >= 0) {
        ::close(lock_fd_);
        lock_fd_ = -1;
    }
    return status;
}

Status Listener::take_lock() {
    if (!make_directories_of(path_)) {
        return refuse("make the directory of", path_);
    }
    char lock_path[sizeof(path_) + 8];
    snprintf(lock_path, sizeof(lock_path), "%s.lock", path_);
    // The mode keeps others from holding the lock, which would keep the server from starting.
    while (lock_fd_ < 0) {
        lock_fd_ = ::open(lock_path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
        if (lock_fd_ < 0) {
            return refuse("open", lock_path);
        }
        if (flock(lock_fd_, LOCK_EX | LOCK_NB) != 0) {
            if (errno != EWOULDBLOCK) {
                return refuse("lock", lock_path);
            }
            log_line(kWarning, "Another server is alive on %s.\n", path_);
            return kAlreadyServed;
        }
        const Place place = place_of(lock_fd_, lock_path);
        if (place == Place::kUnknown) {
            return refuse("look at", lock_path);
        }
        if (place == Place::kLost) {
            ::close(lock_fd_);
            lock_fd_ = -1;
        }
    }
    return kSuccess;
}

Status Listener::listen_at_path(mode_t mode) {
    char new_path[sizeof(path_) + sizeof(kNewSuffix)];
    snprintf(new_path, sizeof(new_path), "%s%s", path_, kNewSuffix);
    if (!is_free_for_a_socket(path_)) {
        return refuse("take the place of", path_);
    }
    int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return refuse("make a socket for", path_);
    }
    struct stat made = {};
    if (!bind_with_mode(fd, new_path, mode) || listen(fd, kBacklog) != 0 ||
        lstat(new_path, &made) != 0 || rename(new_path, path_) != 0) {
        Status status = refuse("listen on", path_);
        unlink(new_path);
        ::close(fd);
        return status;
    }
    fd_ = fd;
    device_ = made.st_dev;
    inode_ = made.st_ino;
    return kSuccess;
}

// Whoever cleaned the directory took the lock file along, and a server that came after that has
// the path with every right. An open socket keeps its file's number from being given to another.
void Listener::remove_socket_file() {
    struct stat named = {};
    if (lstat(path_, &named) == 0 && named.st_dev == device_ && named.st_ino == inode_) {
        unlink(path_);
    }
}

void Listener::close() {
    if (fd_ < 0) {
        return;
    }
    // The lock goes last: until then nobody who respects it takes the path.
    remove_socket_file();
    ::close(fd_);
    ::close(lock_fd_);
    fd_ = -1;
    lock_fd_ = -1;
}

}  // namespace zv_rpc_lib
