// rpc_connection.h - one client connection to the daemon, down to the single packet.
//
// Written against the wire format and not on the client libraries, so that it can also send what
// those refuse to send: wrong lengths, unknown commands, garbage. Tests of ordinary behaviour are
// easier to read with TestClient (test_client.h), which stands on this.
#ifndef ZV_TESTS_SUPPORT_RPC_CONNECTION_H
#define ZV_TESTS_SUPPORT_RPC_CONNECTION_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zv_test {

using Bytes = std::vector<uint8_t>;

// What became of a request before any handler saw it: the reply's transport field.
enum : uint32_t {
    kDelivered = 0,
    kMalformed = 1,
    kUnknownCommand = 2,
    kTooLong = 3,
    kShuttingDown = 4,
};

struct RpcReply {
    uint32_t transport = 0;
    uint32_t status = 0;
    uint32_t command = 0;
    uint32_t sequence = 0;
    Bytes body;
};

// The 40 bytes before a body, at their defaults a well-formed request's. Tests damage what they
// like before they send it.
struct RpcHeader {
    char magic[4] = {'Z', 'V', 'R', 'P'};
    uint16_t version = 1;
    uint16_t kind = 1;
    uint32_t command = 0;
    uint32_t sequence = 0;
    uint32_t status = 0;
    uint32_t transport = 0;
    uint32_t body_len = 0;
    uint32_t attachment_len = 0;
    uint64_t reserved = 0;
};
static_assert(sizeof(RpcHeader) == 40);

// The packet of a request; `attachment` travels with the NUL at its end.
Bytes make_request(uint32_t command, const Bytes &body,
                   const std::optional<std::string> &attachment = std::nullopt,
                   uint32_t sequence = 1);

// A connected socket. One thread at a time; moves, does not copy.
class RpcConnection {
  public:
    // Empty when nobody listens there.
    static std::optional<RpcConnection> open(const std::string &socket_path);
    ~RpcConnection();
    RpcConnection(RpcConnection &&other) noexcept;
    RpcConnection &operator=(RpcConnection &&other) noexcept;

    // Both are false or empty when the daemon has gone away; receive() also after `timeout_ms`.
    bool send(const Bytes &packet);
    std::optional<RpcReply> receive(int timeout_ms = 20000);

    // One request and its reply.
    std::optional<RpcReply> call(uint32_t command, const Bytes &body,
                                 const std::optional<std::string> &attachment = std::nullopt);

    int fd() const { return fd_; }

  private:
    explicit RpcConnection(int fd) : fd_(fd) {}
    int fd_;
    uint32_t sequence_ = 0;
};

}  // namespace zv_test

#endif
