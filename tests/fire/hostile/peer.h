// peer.h - one connection down to the packet, never blocking: what a hostile client needs.
#ifndef ZV_TESTS_FIRE_HOSTILE_PEER_H
#define ZV_TESTS_FIRE_HOSTILE_PEER_H

#include <cstdint>
#include <optional>
#include <string>

#include "tests/support/rpc_connection.h"

namespace zv_fire {

template <typename Record>
zv_test::Bytes bytes_of(const Record &record) {
    const auto *first = reinterpret_cast<const uint8_t *>(&record);
    return zv_test::Bytes(first, first + sizeof(record));
}

template <typename Record>
zv_test::Bytes request(uint32_t command, const Record &record, uint32_t sequence = 1) {
    return zv_test::make_request(command, bytes_of(record), std::nullopt, sequence);
}

class Peer {
  public:
    explicit Peer(std::string path) : path_(std::move(path)) {}
    ~Peer() { close(); }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    bool is_open() const { return fd_ >= 0; }
    int fd() const { return fd_; }
    // False when the listening queue is full or nobody listens.
    bool connect();
    void close();

    // False when the packet does not fit now or the daemon closed.
    bool send(const zv_test::Bytes &packet);
    // The same with `num` copies of `passed` attached.
    bool send_with_descriptors(const zv_test::Bytes &packet, int passed, int num);

    // What waits in the socket: a packet's bytes, empty for the end of the connection, nothing.
    std::optional<zv_test::Bytes> take();

  private:
    std::string path_;
    int fd_ = -1;
};

// The header of a reply; all zero when the packet is too short.
zv_test::RpcHeader header_of(const zv_test::Bytes &reply);

}  // namespace zv_fire

#endif
