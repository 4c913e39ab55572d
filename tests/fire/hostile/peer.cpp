#include "tests/fire/hostile/peer.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace zv_fire {

using namespace zv_test;

namespace {

constexpr size_t kLargestReply = 16384;

}  // namespace

bool Peer::connect() {
    close();
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
    fd_ = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (::connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        close();
    }
    return is_open();
}

void Peer::close() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

bool Peer::send(const Bytes &packet) {
    return ::send(fd_, packet.data(), packet.size(), MSG_NOSIGNAL) >= 0;
}

bool Peer::send_with_descriptors(const Bytes &packet, int passed, int num) {
    const std::vector<int> descriptors(static_cast<size_t>(num), passed);
    const size_t length = descriptors.size() * sizeof(int);
    Bytes control(CMSG_SPACE(length));
    iovec part = {const_cast<uint8_t *>(packet.data()), packet.size()};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(length);
    std::memcpy(CMSG_DATA(header), descriptors.data(), length);
    return sendmsg(fd_, &message, MSG_NOSIGNAL) >= 0;
}

std::optional<Bytes> Peer::take() {
    uint8_t buffer[kLargestReply];
    const ssize_t length = recv(fd_, buffer, sizeof(buffer), MSG_DONTWAIT);
    if (length < 0) {
        return errno == EAGAIN || errno == EINTR ? std::nullopt : std::optional<Bytes>(Bytes{});
    }
    return Bytes(buffer, buffer + length);
}

RpcHeader header_of(const Bytes &reply) {
    RpcHeader header;
    if (reply.size() < sizeof(header)) {
        std::memset(static_cast<void *>(&header), 0, sizeof(header));
    } else {
        std::memcpy(&header, reply.data(), sizeof(header));
    }
    return header;
}

}  // namespace zv_fire
