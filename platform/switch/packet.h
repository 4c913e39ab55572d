// Packets: what the switch's rules do with one.
#ifndef PLATFORM_SWITCH_PACKET_H
#define PLATFORM_SWITCH_PACKET_H

#include <cstdint>
#include <vector>

#include "platform/switch/state.h"

namespace zv_switch {

struct Packet {
    BindPoint point;  // where it enters or leaves
    uint32_t direction;
    uint32_t key_type;
    std::array<uint8_t, kKeyBytes> key;
    uint32_t length;  // bytes
};

// What a packet met. Unless it matched, the rest is zero, which is a permit.
struct Verdict {
    bool matched;
    uint32_t acl_id;
    uint32_t offset;
    uint32_t verdict;             // 0 permit, 1 drop, 2 trap to the CPU
    uint32_t counter_id;          // as the rule names it, 0 for none
    std::vector<uint32_t> ports;  // forwarded to; empty where the rule does not forward
};

// Sends a packet through the group bound at its point: the first rule that matches gets activity
// and counts it. The switch's mutex is held by the caller.
Verdict packet_send(Switch &sw, const Packet &packet);

}  // namespace zv_switch

#endif
