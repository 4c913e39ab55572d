#include "fuzz/support/wire_handlers.h"

#include <algorithm>
#include <cstring>

#include "fuzz/support/fuzz.h"
#include "platform/rpc/wire.h"

namespace zv_fuzz {

std::atomic<uint64_t> g_handled_num{0};

namespace {

// Reads every byte, so that the address sanitizer sees a body that is not there.
void enter(const uint8_t *body, uint32_t len) {
    g_handled_num++;
    if (len > 0 && body == nullptr) {
        fail("a handler was called with a length of %u and no body", len);
    }
    volatile uint8_t sum = 0;
    for (uint32_t i = 0; i < len; i++) {
        sum = static_cast<uint8_t>(sum + body[i]);
    }
}

uint32_t silent(uint8_t *body, uint32_t len, uint8_t ** /*reply*/, uint32_t * /*reply_len*/) {
    enter(body, len);
    return 0;
}

uint32_t echo(uint8_t *body, uint32_t len, uint8_t **reply, uint32_t *reply_len) {
    enter(body, len);
    *reply = body;
    *reply_len = len;
    return 0;
}

uint32_t tail(uint8_t *body, uint32_t len, uint8_t **reply, uint32_t *reply_len) {
    enter(body, len);
    *reply = body == nullptr ? nullptr : body + len / 2;
    *reply_len = len - len / 2;
    return 0;
}

uint32_t refuse(uint8_t *body, uint32_t len, uint8_t **reply, uint32_t *reply_len) {
    (void)echo(body, len, reply, reply_len);
    return kRefusal;
}

uint32_t null_reply(uint8_t *body, uint32_t len, uint8_t **reply, uint32_t *reply_len) {
    enter(body, len);
    *reply = nullptr;
    *reply_len = 16;
    return 0;
}

uint32_t huge_reply(uint8_t *body, uint32_t len, uint8_t **reply, uint32_t *reply_len) {
    static uint8_t byte = 0;
    enter(body, len);
    *reply = &byte;
    *reply_len = UINT32_MAX - 39;
    return 0;
}

uint32_t overwrite(uint8_t *body, uint32_t len, uint8_t **reply, uint32_t *reply_len) {
    (void)echo(body, len, reply, reply_len);
    std::fill(body, body + len, uint8_t{0xa5});
    return 0;
}

uint32_t path(uint8_t *body, uint32_t len, uint8_t **reply, uint32_t *reply_len) {
    const char *text = nullptr;
    if (len >= 16) {
        memcpy(&text, body + 8, sizeof(text));
    }
    if (text != nullptr && strlen(text) >= 4096) {
        fail("a path of %zu bytes arrived", strlen(text));
    }
    return echo(body, len, reply, reply_len);
}

}  // namespace

const zv_rpc_command_t kWireTable[kWireCommandNum] = {
    {kSilent, "silent", silent, 2},
    {kEcho, "echo", echo, 2},
    {kTail, "tail", tail, 2},
    {kRefuse, "refuse", refuse, 2},
    {kNullReply, "null reply", null_reply, 2},
    {kHugeReply, "huge reply", huge_reply, 2},
    {kOverwrite, "overwrite", overwrite, 2},
    {kPath, "path", path, 2},
};

bool is_wire_command(uint32_t command) {
    return std::any_of(std::begin(kWireTable), std::end(kWireTable),
                       [=](const zv_rpc_command_t &row) { return row.command_id == command; });
}

uint32_t expected_transport(const std::vector<uint8_t> &packet, uint32_t room, bool shutting_down) {
    using namespace zv_rpc_lib;
    if (packet.size() > room) {
        return kTooLong;
    }
    if (packet.size() < 40 || memcmp(packet.data(), "ZVRP\1\0\1\0", 8) != 0) {
        return kMalformed;
    }
    uint32_t words[8];
    memcpy(words, packet.data() + 8, sizeof(words));
    const uint64_t payload = packet.size() - 40;
    const uint32_t body_len = words[4];
    const uint32_t attachment_len = words[5];
    if (uint64_t{body_len} + attachment_len != payload || words[6] != 0 || words[7] != 0) {
        return kMalformed;
    }
    const auto zeros = std::count(packet.begin() + 40 + body_len, packet.end(), 0);
    if (attachment_len > 0 &&
        (words[0] != 17 || attachment_len > 4096 || zeros != 1 || packet.back() != 0)) {
        return kMalformed;
    }
    if (shutting_down) {
        return kShuttingDown;
    }
    return is_wire_command(words[0]) ? kDelivered : kUnknownCommand;
}

}  // namespace zv_fuzz
