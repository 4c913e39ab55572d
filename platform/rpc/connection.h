// One client's connection: a packet in, a packet out, and the one reply that may wait for a client
// that does not take its replies.
#ifndef PLATFORM_RPC_CONNECTION_H
#define PLATFORM_RPC_CONNECTION_H

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zv_rpc_lib {

class Connection {
  public:
    enum class Received { kPacket, kNothing, kEnd };
    enum class Sent { kDone, kWaits, kNoMemory, kFailed };

    // Takes a connected, not blocking socket over and asks the kernel who is at its other end.
    void open(int fd);
    void close();
    bool is_open() const { return fd_ >= 0; }
    int fd() const { return fd_; }
    // Who is at the other end, as of the connect.
    const ucred &peer() const { return peer_; }

    // Takes the next packet, without waiting. *len is its true length, which may exceed room.
    // hung_up: the peer has sent its last (an empty packet and an end read alike otherwise).
    // kEnd comes only after the last packet: whatever was delivered is read, also from a peer that
    // has gone.
    Received receive(uint8_t *buffer, size_t room, bool hung_up, size_t *len);

    // Sends a reply. Where the peer has no room for it, a copy is kept until flush. Replies to a
    // peer that has gone are dropped. kFailed (errno says why): it cannot be sent at all, so that
    // the connection is of no more use.
    Sent send(const uint8_t *reply, uint32_t len);

    // Whether a reply is kept; nothing may be read or sent until flush has sent it.
    bool waits() const { return pending_len_ > 0; }
    Sent flush();

  private:
    // What became of one attempt: kDone also for a peer that takes nothing any more.
    Sent try_send(const uint8_t *reply, uint32_t len);

    int fd_ = -1;
    ucred peer_ = {};
    bool peer_gone_ = false;
    std::unique_ptr<uint8_t[]> pending_;
    uint32_t pending_len_ = 0;
};

}  // namespace zv_rpc_lib

#endif
