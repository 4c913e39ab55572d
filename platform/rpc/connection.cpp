#include "platform/rpc/connection.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

namespace zv_rpc_lib {

namespace {

// A signal is no answer: at the end of serving nobody would ask again.
template <class Call>
ssize_t uninterrupted(const Call &call) {
    ssize_t result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

}  // namespace

void Connection::open(int fd) {
    fd_ = fd;
    peer_gone_ = false;
    peer_ = {0, static_cast<uid_t>(-1), static_cast<gid_t>(-1)};
    socklen_t len = sizeof(peer_);
    getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer_, &len);
}

void Connection::close() {
    ::close(fd_);
    fd_ = -1;
    pending_.reset();
    pending_len_ = 0;
}

// recv without room for control messages: descriptors that a client attaches are closed by the
// kernel.
Connection::Received Connection::receive(uint8_t *buffer, size_t room, bool hung_up, size_t *len) {
    const auto take = [&] { return recv(fd_, buffer, room, MSG_DONTWAIT | MSG_TRUNC); };
    ssize_t received = uninterrupted(take);
    if (received < 0 && errno == ECONNRESET) {
        // The peer went away without reading all its replies. That is reported once, before the
        // requests it has left behind.
        received = uninterrupted(take);
    }
    if (received < 0) {
        bool later = errno == EAGAIN || errno == ENOMEM || errno == ENOBUFS;
        return later ? Received::kNothing : Received::kEnd;
    }
    if (received == 0 && hung_up) {
        int queued = 0;
        if (ioctl(fd_, FIONREAD, &queued) != 0 || queued == 0) {
            return Received::kEnd;
        }
    }
    *len = static_cast<size_t>(received);
    return Received::kPacket;
}

Connection::Sent Connection::try_send(const uint8_t *reply, uint32_t len) {
    const auto give = [&] { return ::send(fd_, reply, len, MSG_DONTWAIT | MSG_NOSIGNAL); };
    if (uninterrupted(give) >= 0) {
        return Sent::kDone;
    }
    if (errno == EAGAIN || errno == ENOMEM || errno == ENOBUFS) {
        return Sent::kWaits;
    }
    if (errno != EPIPE && errno != ECONNRESET) {
        // The peer waits for what it will never get.
        return Sent::kFailed;
    }
    // The peer reads no more. What it has sent before is still carried out, without replies.
    peer_gone_ = true;
    return Sent::kDone;
}

Connection::Sent Connection::send(const uint8_t *reply, uint32_t len) {
    const Sent sent = peer_gone_ ? Sent::kDone : try_send(reply, len);
    if (sent != Sent::kWaits) {
        return sent;
    }
    pending_.reset(new (std::nothrow) uint8_t[len]);
    if (pending_ == nullptr) {
        return Sent::kNoMemory;
    }
    memcpy(pending_.get(), reply, len);
    pending_len_ = len;
    return Sent::kWaits;
}

Connection::Sent Connection::flush() {
    const Sent sent = try_send(pending_.get(), pending_len_);
    if (sent == Sent::kDone) {
        pending_.reset();
        pending_len_ = 0;
    }
    return sent;
}

}  // namespace zv_rpc_lib
