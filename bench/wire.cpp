#include "bench/wire.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "bench/die.h"

namespace bench {

namespace {
size_t bytes_of(const Message &message) {
    return sizeof(WireHeader) + message.header.body_len;
}
}  // namespace

void make_request(Message *message, uint32_t command, uint32_t body_len) {
    message->header = {};
    memcpy(message->header.magic, "ZVRP", 4);
    message->header.version = 1;
    message->header.kind = 1;
    message->header.command = command;
    message->header.body_len = body_len;
}

int try_connect(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        die("socket path too long: %s", path.c_str());
    }
    memcpy(address.sun_path, path.c_str(), path.size());
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        die("socket: %s", strerror(errno));
    }
    if (connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
        return fd;
    }
    if (errno != ENOENT && errno != ECONNREFUSED) {
        die("connect to %s: %s", path.c_str(), strerror(errno));
    }
    close(fd);
    return -1;
}

void exchange(int fd, const Message &request, Message *reply) {
    const size_t length = bytes_of(request);
    if (send(fd, &request, length, MSG_NOSIGNAL) != static_cast<ssize_t>(length)) {
        die("send: %s", strerror(errno));
    }
    const ssize_t received = recv(fd, reply, sizeof *reply, 0);
    if (received < static_cast<ssize_t>(sizeof(WireHeader))) {
        die("the server closed the connection");
    }
}

bool succeeded(const Message &reply) {
    return reply.header.kind == 2 && reply.header.transport == 0 && reply.header.status == 0;
}

void exchange_ok(int fd, const Message &request, Message *reply, const char *what) {
    exchange(fd, request, reply);
    if (!succeeded(*reply)) {
        die("%s: transport %u, status %u", what, reply->header.transport, reply->header.status);
    }
}

int peer_pid(int fd) {
    ucred peer = {};
    socklen_t length = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) {
        die("SO_PEERCRED: %s", strerror(errno));
    }
    return peer.pid;
}

}  // namespace bench
