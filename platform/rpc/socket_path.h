// Where the socket is: the path that a program names, under ZV_PLATFORM_ROOT.
#ifndef PLATFORM_RPC_SOCKET_PATH_H
#define PLATFORM_RPC_SOCKET_PATH_H

#include <sys/un.h>

#include <cstddef>

namespace zv_rpc_lib {

// The longest path a socket address holds beside its NUL.
constexpr size_t kMaxSocketPath = sizeof(sockaddr_un::sun_path) - 1;

// Writes ZV_PLATFORM_ROOT (if set) and path into room. False when that does not fit.
bool rooted_path(const char *path, char *room, size_t room_size);

// The address of a socket at path, which has at most kMaxSocketPath bytes.
sockaddr_un socket_address(const char *path);

}  // namespace zv_rpc_lib

#endif
