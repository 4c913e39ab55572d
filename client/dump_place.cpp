#include "client/dump_place.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

namespace zv_cache_text {

std::string temporary_base() {
    const char *named = secure_getenv("TMPDIR");
    return named != nullptr && named[0] == '/' ? named : "/tmp";
}

bool peer_can_write(int socket_fd) {
    ucred peer = {};
    socklen_t bytes = sizeof(peer);
    if (getsockopt(socket_fd, SOL_SOCKET, SO_PEERCRED, &peer, &bytes) != 0) {
        return false;
    }
    return peer.uid == 0 || peer.uid == geteuid();
}

}  // namespace zv_cache_text
