// One packet against the RPC server's dispatcher: is it refused for the right reason, is exactly
// what the handler left answered, and is nothing read beside the packet?
//
// Input: one byte of choices, then the packet. The choices say how much room the server has (often
// exactly the packet's length, so that a read past its end is seen), whether it is shutting down,
// and whether the header's magic and lengths are put right first.
#include <algorithm>
#include <cstring>

#include "fuzz/support/fuzz.h"
#include "fuzz/support/wire_handlers.h"
#include "platform/rpc/dispatch.h"

namespace {

using namespace zv_rpc_lib;
using zv_fuzz::fail;
using zv_fuzz::Input;
using Packet = std::vector<uint8_t>;

constexpr uint32_t kDaemonsRoom = 8000;

// Makes a well-formed packet of whatever is there. The last byte of the packet becomes the NUL of
// an attachment of the length that the sender gave, where that fits.
void put_right(Packet *packet) {
    Header header = {};
    packet->resize(std::max<size_t>(packet->size(), kHeaderLen));
    memcpy(&header, packet->data(), sizeof(header));
    const auto payload = static_cast<uint32_t>(packet->size()) - kHeaderLen;
    const uint32_t attachment =
        header.command == kPathCommand ? std::min(header.attachment_len % 5000, payload) : 0;
    Header right = make_request(header.command, header.sequence, payload - attachment, attachment);
    memcpy(packet->data(), &right, sizeof(right));
    if (attachment > 0) {
        std::replace(packet->end() - attachment, packet->end(), uint8_t{0}, uint8_t{'a'});
        packet->back() = 0;
    }
}

void check_header(const Header &reply, const Packet &packet, uint32_t reply_len) {
    Header request = {};
    if (packet.size() >= kHeaderLen) {
        memcpy(&request, packet.data(), sizeof(request));
    }
    if (!is_reply(reply) || reply.command != request.command ||
        reply.sequence != request.sequence || reply.body_len != reply_len - kHeaderLen) {
        fail("the reply's header is wrong: kind %u command %u sequence %u body %u of %u",
             reply.kind, reply.command, reply.sequence, reply.body_len, reply_len);
    }
}

// Lengths and status of a reply that a handler made.
void check_delivered(const Header &reply, const Packet &packet, const uint8_t *body) {
    uint32_t body_len = 0;
    memcpy(&body_len, packet.data() + offsetof(Header, body_len), sizeof(body_len));
    const uint32_t wanted_status = reply.command == zv_fuzz::kRefuse ? zv_fuzz::kRefusal : 0;
    uint32_t wanted_len = 0;
    switch (reply.command) {
        case zv_fuzz::kEcho:
        case zv_fuzz::kOverwrite:
        case zv_fuzz::kPath:
            wanted_len = body_len;
            break;
        case zv_fuzz::kTail:
            wanted_len = body_len - body_len / 2;
            break;
        default:
            break;
    }
    if (reply.status != wanted_status || reply.body_len != wanted_len) {
        fail("command %u answered with status %u and %u bytes instead of %u and %u", reply.command,
             reply.status, reply.body_len, wanted_status, wanted_len);
    }
    const uint8_t zeros[8] = {};
    if (reply.command == kPathCommand && wanted_len >= 16 && memcmp(body + 8, zeros, 8) != 0) {
        fail("an address travels in the reply");
    }
    if (reply.command == zv_fuzz::kEcho && wanted_len > 0 &&
        memcmp(body, packet.data() + kHeaderLen, wanted_len) != 0) {
        fail("an echo differs from its request");
    }
}

void check_reply(Dispatcher &dispatcher, uint32_t len, const Packet &packet, bool shutting_down,
                 uint64_t handled_num) {
    const uint32_t room = dispatcher.max_message();
    if (len < kHeaderLen || len > room) {
        fail("a reply of %u bytes with room for %u", len, room);
    }
    Header reply = {};
    memcpy(&reply, dispatcher.reply(), sizeof(reply));
    check_header(reply, packet, len);
    const uint32_t wanted = zv_fuzz::expected_transport(packet, room, shutting_down);
    if (reply.transport != wanted || handled_num != (wanted == kDelivered ? 1 : 0)) {
        fail("transport %u instead of %u, %lu handlers called", reply.transport, wanted,
             handled_num);
    }
    if (wanted == kDelivered) {
        check_delivered(reply, packet, dispatcher.reply() + kHeaderLen);
    } else if (reply.status != 0 || reply.body_len != 0) {
        fail("a refused packet got status %u and %u bytes", reply.status, reply.body_len);
    }
}

// Exactly the packet, the daemon's, or less than the packet.
uint32_t choose_room(uint32_t choice, size_t packet_len) {
    const auto len = static_cast<uint32_t>(packet_len);
    switch (choice) {
        case 0:
            return kDaemonsRoom;
        case 1:
            return std::max(kHeaderLen, len / 2);
        default:
            return std::max(kHeaderLen, len);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    Input input(data, size);
    const uint32_t choices = input.u8();
    Packet packet = input.rest();
    if ((choices & 1) != 0) {
        put_right(&packet);
    }
    const bool shutting_down = (choices & 0x0e) == 0x0e;
    Dispatcher dispatcher;
    if (!dispatcher.open(choose_room(choices >> 6, packet.size())) ||
        dispatcher.set_table(zv_fuzz::kWireTable, zv_fuzz::kWireCommandNum) !=
            zv_rpc_lib::kSuccess) {
        fail("the dispatcher does not open");
    }
    const size_t received = std::min<size_t>(packet.size(), dispatcher.max_message());
    if (received > 0) {
        memcpy(dispatcher.packet(), packet.data(), received);
    }
    const uint64_t handled_before = zv_fuzz::g_handled_num;
    const uint32_t len = dispatcher.answer(packet.size(), shutting_down);
    check_reply(dispatcher, len, packet, shutting_down, zv_fuzz::g_handled_num - handled_before);
    return 0;
}
