// wire_handlers.h - a command table whose handlers answer in every way a handler can.
#ifndef ZV_FUZZ_SUPPORT_WIRE_HANDLERS_H
#define ZV_FUZZ_SUPPORT_WIRE_HANDLERS_H

#include <atomic>
#include <cstdint>
#include <vector>

#include "zv_rpc.h"

namespace zv_fuzz {

enum WireCommand : uint32_t {
    kSilent = 2,     // no reply body
    kEcho = 3,       // the whole body
    kTail = 4,       // the body's second half
    kRefuse = 5,     // a status, and a reply body that must not travel
    kNullReply = 6,  // a length without an address
    kHugeReply = 7,  // a length that no message holds
    kOverwrite = 8,  // overwrites its body, then echoes it
    kPath = 17,      // reads its path to the end, then echoes its body
};
constexpr uint32_t kWireCommandNum = 8;
extern const zv_rpc_command_t kWireTable[kWireCommandNum];
constexpr uint32_t kRefusal = 0xdead;

bool is_wire_command(uint32_t command);
// The rules of the wire once more, in another order than the server's: the transport status that a
// server of this table must answer a packet with, which has room for messages of so many bytes.
uint32_t expected_transport(const std::vector<uint8_t> &packet, uint32_t room, bool shutting_down);
// How often a handler of the table has been called in this process.
extern std::atomic<uint64_t> g_handled_num;

}  // namespace zv_fuzz

#endif
