#include "port_prefixes.h"

namespace aclrmctl {

namespace {

/* Ports in the largest aligned block that begins at `low` and ends at `high` or before. */
uint32_t block_ports(uint32_t low, uint32_t high) {
    uint32_t ports = 1;
    while (ports < 0x10000 && low % (ports * 2) == 0 && low + ports * 2 - 1 <= high) {
        ports *= 2;
    }
    return ports;
}

}  // namespace

std::vector<PortPrefix> split_port_range(const PortRange &range) {
    std::vector<PortPrefix> blocks;
    /* 32 bits, since the port after the last one is 65536. */
    uint32_t low = range.low;
    while (low <= range.high) {
        const uint32_t ports = block_ports(low, range.high);
        blocks.push_back({static_cast<uint16_t>(low), static_cast<uint16_t>(0x10000 - ports)});
        low += ports;
    }
    return blocks;
}

PortRange port_range(const PortPrefix &prefix) {
    return {prefix.value, static_cast<uint16_t>(prefix.value | (0xFFFF & ~prefix.mask))};
}

}  // namespace aclrmctl
