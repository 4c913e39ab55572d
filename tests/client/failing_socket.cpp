#include "tests/client/failing_socket.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace {

struct Failing {
    bool is_armed;
    zv_test::SocketCall call;
    int error;
};

thread_local Failing failing = {};

bool fails(zv_test::SocketCall call) {
    if (!failing.is_armed || failing.call != call) {
        return false;
    }
    errno = failing.error;
    return true;
}

}  // namespace

namespace zv_test {

FailingSocket::FailingSocket(SocketCall call, int error) {
    failing = {true, call, error};
}

FailingSocket::~FailingSocket() {
    failing = {};
}

}  // namespace zv_test

extern "C" [[gnu::visibility("default")]] int connect(int fd, const sockaddr *address,
                                                      socklen_t address_len) {
    if (fails(zv_test::SocketCall::connect)) {
        return -1;
    }
    return static_cast<int>(syscall(SYS_connect, fd, address, address_len));
}

extern "C" [[gnu::visibility("default")]] ssize_t sendmsg(int fd, const msghdr *message,
                                                          int flags) {
    return fails(zv_test::SocketCall::send) ? -1 : syscall(SYS_sendmsg, fd, message, flags);
}

extern "C" [[gnu::visibility("default")]] ssize_t recvmsg(int fd, msghdr *message, int flags) {
    return fails(zv_test::SocketCall::receive) ? -1 : syscall(SYS_recvmsg, fd, message, flags);
}
