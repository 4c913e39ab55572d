// The socket at its path: one live server has it, files of dead ones do not stand in the way.
//
// The right to the path is a lock on <path>.lock, taken before anything else is touched and held
// until the listener closes; the kernel releases it when the process dies, however it dies. The
// lock file stays for ever: were it removed, a server about to lock the removed file and one that
// makes a new file would both succeed.
#ifndef PLATFORM_RPC_LISTENER_H
#define PLATFORM_RPC_LISTENER_H

#include <sys/types.h>

#include "platform/rpc/socket_path.h"
#include "platform/rpc/status.h"

namespace zv_rpc_lib {

class Listener {
  public:
    // Takes the path, which has ZV_PLATFORM_ROOT before it already, and listens there, with the
    // socket file's mode as given from the moment it is there. Makes missing directories.
    // Returns kSuccess, kBadParameter for a path too long, kAlreadyServed or kSystemError; the
    // failures are logged and leave nothing open.
    Status open(const char *path, mode_t mode);

    // Removes the socket file, unless the path leads to another's file by now, closes the socket
    // and gives the path up. Nothing when it is not open.
    void close();

    // The listening socket, not blocking; -1 when it is not open.
    int fd() const { return fd_; }

  private:
    Status take_lock();
    Status listen_at_path(mode_t mode);
    void remove_socket_file();

    char path_[kMaxSocketPath + 1] = {};
    int lock_fd_ = -1;
    int fd_ = -1;
    // Which file the socket was given at the path.
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

}  // namespace zv_rpc_lib

#endif
