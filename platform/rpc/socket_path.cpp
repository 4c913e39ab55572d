#include "platform/rpc/socket_path.h"

#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zv_rpc_lib {

bool rooted_path(const char *path, char *room, size_t room_size) {
    const char *root = getenv("ZV_PLATFORM_ROOT");
    int len = snprintf(room, room_size, "%s%s", root == nullptr ? "" : root, path);
    return len >= 0 && static_cast<size_t>(len) < room_size;
}

sockaddr_un socket_address(const char *path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    // The last byte stays the NUL of the initialisation.
    memcpy(address.sun_path, path, strnlen(path, kMaxSocketPath));
    return address;
}

}  // namespace zv_rpc_lib
