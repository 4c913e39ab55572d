// The yardstick of the round-trip benchmark: a server that sends each packet back as it came, over
// the same kind of socket and with the same three system calls a request as the daemon (wait,
// receive, send), and does nothing else. What the daemon takes beyond it is the daemon's own.
//
// Usage: zv_bench_echo SOCKET_PATH. Ends with SIGTERM.
#include <errno.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "bench/die.h"

namespace {

using bench::die;

constexpr int MAX_EVENTS = 514;  // room for every connection at once, as the daemon has
alignas(8) char packet[8000];

int listen_on(const char *path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof address.sun_path) {
        die("socket path too long: %s", path);
    }
    memcpy(address.sun_path, path, strlen(path));
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(fd, 64) != 0) {
        die("%s: %s", path, strerror(errno));
    }
    return fd;
}

void watch(int poll_fd, int fd) {
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = fd;
    if (epoll_ctl(poll_fd, EPOLL_CTL_ADD, fd, &event) != 0) {
        die("epoll_ctl: %s", strerror(errno));
    }
}

// Packets only ever wait one at a time here, so a client that takes none needs no care.
void serve(int fd) {
    const ssize_t length = recv(fd, packet, sizeof packet, 0);
    if (length <= 0 || send(fd, packet, static_cast<size_t>(length), MSG_NOSIGNAL) != length) {
        close(fd);
    }
}

}  // namespace

int main(int count, char **arguments) {
    if (count != 2) {
        die("usage: %s SOCKET_PATH", arguments[0]);
    }
    const int listener = listen_on(arguments[1]);
    const int poll_fd = epoll_create1(0);
    watch(poll_fd, listener);
    static epoll_event events[MAX_EVENTS];
    for (;;) {
        const int ready = epoll_wait(poll_fd, events, MAX_EVENTS, -1);
        for (int i = 0; i < ready; i++) {
            if (events[i].data.fd == listener) {
                watch(poll_fd, accept4(listener, nullptr, nullptr, SOCK_NONBLOCK));
            } else {
                serve(events[i].data.fd);
            }
        }
    }
}
