#include "tests/support/rpc_connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace zv_test {

namespace {

constexpr size_t kLargestReply = 65536;

}  // namespace

Bytes make_request(uint32_t command, const Bytes &body,
                   const std::optional<std::string> &attachment, uint32_t sequence) {
    RpcHeader header;
    header.command = command;
    header.sequence = sequence;
    header.body_len = static_cast<uint32_t>(body.size());
    header.attachment_len = attachment ? static_cast<uint32_t>(attachment->size() + 1) : 0;
    Bytes packet(sizeof(header) + header.body_len + header.attachment_len);
    std::memcpy(packet.data(), &header, sizeof(header));
    const auto body_end = std::copy(body.begin(), body.end(), packet.begin() + sizeof(header));
    if (attachment) {
        // The byte after it, the last one, is the NUL already.
        std::copy(attachment->begin(), attachment->end(), body_end);
    }
    return packet;
}

std::optional<RpcConnection> RpcConnection::open(const std::string &socket_path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (socket_path.size() >= sizeof(address.sun_path)) {
        return std::nullopt;
    }
    std::memcpy(address.sun_path, socket_path.c_str(), socket_path.size() + 1);
    RpcConnection connection(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    if (connection.fd_ < 0 || connect(connection.fd_, reinterpret_cast<const sockaddr *>(&address),
                                      sizeof(address)) != 0) {
        return std::nullopt;
    }
    return connection;
}

RpcConnection::~RpcConnection() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

RpcConnection::RpcConnection(RpcConnection &&other) noexcept
    : fd_(std::exchange(other.fd_, -1)), sequence_(other.sequence_) {}

RpcConnection &RpcConnection::operator=(RpcConnection &&other) noexcept {
    std::swap(fd_, other.fd_);
    std::swap(sequence_, other.sequence_);
    return *this;
}

bool RpcConnection::send(const Bytes &packet) {
    return ::send(fd_, packet.data(), packet.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(packet.size());
}

std::optional<RpcReply> RpcConnection::receive(int timeout_ms) {
    pollfd readable = {fd_, POLLIN, 0};
    if (poll(&readable, 1, timeout_ms) != 1) {
        return std::nullopt;
    }
    RpcHeader header;
    Bytes body(kLargestReply);
    iovec parts[] = {{&header, sizeof(header)}, {body.data(), body.size()}};
    const ssize_t length = readv(fd_, parts, 2);
    if (length < static_cast<ssize_t>(sizeof(header))) {
        return std::nullopt;
    }
    body.resize(static_cast<size_t>(length) - sizeof(header));
    if (std::memcmp(header.magic, "ZVRP", 4) != 0 || header.version != 1 || header.kind != 2 ||
        header.reserved != 0 || header.attachment_len != 0 || header.body_len != body.size()) {
        return std::nullopt;
    }
    return RpcReply{header.transport, header.status, header.command, header.sequence,
                    std::move(body)};
}

std::optional<RpcReply> RpcConnection::call(uint32_t command, const Bytes &body,
                                            const std::optional<std::string> &attachment) {
    if (!send(make_request(command, body, attachment, ++sequence_))) {
        return std::nullopt;
    }
    std::optional<RpcReply> reply = receive();
    if (!reply || reply->sequence != sequence_ || reply->command != command) {
        return std::nullopt;
    }
    return reply;
}

}  // namespace zv_test
