/* Packets as the switch's keys see them: Ethernet frames taken apart, and fields put together.
 *
 * The 128 key bytes, all numbers in network byte order, the bytes not named are 0:
 *
 *     key type 0   rule_encode.h
 *     key type 1   0-15 source address   16-31 destination address   32 protocol   33 zero
 *                  34-35 source port   36-37 destination port   38-39 TCP flags
 *     key type 2   0-5 destination   6-11 source   12-13 VLAN id   14-15 EtherType
 */
#ifndef ACLRMCTL_FRAME_H
#define ACLRMCTL_FRAME_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "rule_encode.h"

namespace aclrmctl {

inline constexpr uint32_t kKeyIpv4 = 0;
inline constexpr uint32_t kKeyIpv6 = 1;
inline constexpr uint32_t kKeyMac = 2;

using MacAddress = std::array<uint8_t, 6>;
using Ipv6Address = std::array<uint8_t, 16>;

struct Ipv6Fields {
    Ipv6Address source{};
    Ipv6Address destination{};
    uint8_t protocol = 0;
    uint16_t source_port = 0;
    uint16_t destination_port = 0;
    uint16_t flags = 0;
};

struct MacFields {
    MacAddress destination{};
    MacAddress source{};
    uint16_t vlan = 0; /* 0: none */
    uint16_t ethertype = 0;
};

/* A packet as it is sent into the switch. */
struct PacketKey {
    uint32_t key_type = kKeyIpv4;
    KeyBytes key{};
};

PacketKey encode_ipv6(const Ipv6Fields &fields);
PacketKey encode_mac(const MacFields &fields);

/* "udp [2001:db8::1]:1024 > [2001:db8::53]:53", "mac 02:...:01 > 02:...:02 vlan 7 type 0x86dd";
 * key type 0 as describe_packet() has it, others by their number. */
std::string describe_packet_key(const PacketKey &packet);

/* "02:00:00:00:00:01"; false for anything else. */
bool read_mac(const std::string &text, MacAddress *address);

/* What the bytes of a packet begin with. */
enum class LinkLayer { kEthernet, kIp };

/* The keys that can be made of one packet: the MAC key of every Ethernet frame, and the 5-tuple of
 * those that carry IP. A header that is cut short is as if it were not there. */
struct PacketKeys {
    std::optional<PacketKey> mac;
    std::optional<PacketKey> ip; /* key type 0 or 1 */
};

/* The key of the type asked for; with none asked for the 5-tuple, else the MAC key. */
std::optional<PacketKey> pick_key(const PacketKeys &keys, std::optional<uint32_t> key_type);

PacketKeys keys_of(LinkLayer layer, const std::vector<uint8_t> &bytes);

/* Two hexadecimal digits a byte; spaces and colons between bytes are skipped. False for others. */
bool read_hex_bytes(const std::string &text, std::vector<uint8_t> *bytes);

}  // namespace aclrmctl

#endif
