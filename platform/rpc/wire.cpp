#include "platform/rpc/wire.h"

#include <cstring>

namespace zv_rpc_lib {

namespace {

constexpr uint8_t kMagic[4] = {'Z', 'V', 'R', 'P'};

bool has_magic_and_version(const Header &header) {
    return memcmp(header.magic, kMagic, sizeof(kMagic)) == 0 && header.version == kVersion;
}

bool lengths_add_up(const Header &header, size_t packet_len) {
    // In 64 bits, where no pair of lengths wraps around to a fitting sum.
    uint64_t expected = uint64_t{kHeaderLen} + header.body_len + header.attachment_len;
    return expected == packet_len;
}

bool attachment_is_path(const uint8_t *attachment, uint32_t len) {
    return len <= kMaxPath && memchr(attachment, 0, len) == attachment + len - 1;
}

Header make_header(uint16_t kind, uint32_t command, uint32_t sequence) {
    Header header = {};
    memcpy(header.magic, kMagic, sizeof(kMagic));
    header.version = kVersion;
    header.kind = kind;
    header.command = command;
    header.sequence = sequence;
    return header;
}

}  // namespace

Header make_request(uint32_t command, uint32_t sequence, uint32_t body_len,
                    uint32_t attachment_len) {
    Header header = make_header(kKindRequest, command, sequence);
    header.body_len = body_len;
    header.attachment_len = attachment_len;
    return header;
}

Header make_reply(const Header &request) {
    return make_header(kKindReply, request.command, request.sequence);
}

bool is_reply(const Header &header) {
    return has_magic_and_version(header) && header.kind == kKindReply && header.reserved == 0 &&
           header.attachment_len == 0;
}

Transport check_request(const uint8_t *packet, size_t packet_len, uint32_t max_message,
                        Header *header) {
    *header = {};
    if (packet_len >= kHeaderLen) {
        memcpy(header, packet, sizeof(*header));
    }
    if (packet_len > max_message) {
        return kTooLong;
    }
    if (packet_len < kHeaderLen || !has_magic_and_version(*header) ||
        header->kind != kKindRequest || header->reserved != 0 ||
        !lengths_add_up(*header, packet_len)) {
        return kMalformed;
    }
    if (header->attachment_len == 0) {
        return kDelivered;
    }
    const uint8_t *attachment = packet + kHeaderLen + header->body_len;
    bool allowed =
        header->command == kPathCommand && attachment_is_path(attachment, header->attachment_len);
    return allowed ? kDelivered : kMalformed;
}

}  // namespace zv_rpc_lib
