// The framing of requests and replies: a 40-byte header, the body, the attachment, in one packet.
// docs/wire-format.md has the table of bytes.
#ifndef PLATFORM_RPC_WIRE_H
#define PLATFORM_RPC_WIRE_H

#include <cstddef>
#include <cstdint>

namespace zv_rpc_lib {

// The header as it lies in the packet: naturally aligned and little-endian, as the hosts are.
struct Header {
    uint8_t magic[4];
    uint16_t version;
    uint16_t kind;
    uint32_t command;
    uint32_t sequence;
    uint32_t status;
    uint32_t transport;
    uint32_t body_len;
    uint32_t attachment_len;
    uint64_t reserved;
};

constexpr uint32_t kHeaderLen = 40;
static_assert(sizeof(Header) == kHeaderLen && offsetof(Header, sequence) == 12 &&
              offsetof(Header, transport) == 20 && offsetof(Header, reserved) == 32);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

constexpr uint16_t kVersion = 1;
constexpr uint16_t kKindRequest = 1;
constexpr uint16_t kKindReply = 2;

enum Transport : uint32_t {
    kDelivered = 0,
    kMalformed = 1,
    kUnknownCommand = 2,
    kTooLong = 3,
    kShuttingDown = 4,
};

// The one command with an attachment: a path, whose address stands in the body.
constexpr uint32_t kPathCommand = 17;
constexpr uint32_t kPathAddressOffset = 8;
constexpr uint32_t kPathAddressEnd = kPathAddressOffset + 8;
constexpr uint32_t kMaxPath = 4096;

Header make_request(uint32_t command, uint32_t sequence, uint32_t body_len,
                    uint32_t attachment_len);

// The reply to a request, with an empty body and status and transport 0.
Header make_reply(const Header &request);

bool is_reply(const Header &header);

// What a packet is, before its command is looked up: kDelivered for a well-formed request.
// packet        its first bytes, at most max_message
// packet_len    its true length, which may be more
// header        out: its header; where the packet is shorter than one, zeros
Transport check_request(const uint8_t *packet, size_t packet_len, uint32_t max_message,
                        Header *header);

}  // namespace zv_rpc_lib

#endif
