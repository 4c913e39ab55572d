/* Rules and packets in the words of tables. */
#include <algorithm>

#include "protocols.h"
#include "rule_encode.h"
#include "rule_words.h"

namespace aclrmctl {

namespace {

constexpr size_t kProtocolAt = 8; /* in key type 0, as are the others here */
constexpr size_t kSourcePortAt = 10;
constexpr size_t kDestinationPortAt = 12;
constexpr size_t kFlagsAt = 14;

constexpr size_t kShownKeyBytes = 12; /* of a key without words: keeps a table's row short */

uint16_t get16(const uint8_t *place) {
    return static_cast<uint16_t>(place[0] << 8 | place[1]);
}

uint32_t get32(const uint8_t *place) {
    return static_cast<uint32_t>(get16(place)) << 16 | get16(place + 2);
}

/* Length of a prefix mask of `bits` bits, -1 for a mask that is none. */
int prefix_length(uint32_t mask, int bits) {
    const uint64_t full = (uint64_t{1} << bits) - 1;
    for (int length = 0; length <= bits; length++) {
        if (mask == (full & ~((uint64_t{1} << (bits - length)) - 1))) {
            return length;
        }
    }
    return -1;
}

std::string describe_masked_address(uint32_t address, uint32_t mask) {
    const int length = prefix_length(mask, 32);
    if (length == 0) {
        return "any";
    }
    if (length < 0) {
        return dotted(address) + "&" + dotted(mask);
    }
    return length == 32 ? dotted(address) : dotted(address) + "/" + std::to_string(length);
}

/* Empty for any port. */
std::string describe_port(uint16_t port, uint16_t mask) {
    const int length = prefix_length(mask, 16);
    if (length == 0) {
        return "";
    }
    if (length < 0) {
        return " port " + std::to_string(port) + "&" + hex_number(mask, 4);
    }
    std::string text = " port " + std::to_string(port);
    if (length < 16) {
        text += "-" + std::to_string(port + (0xFFFF & ~mask));
    }
    return text;
}

}  // namespace

std::string describe_match(const KeyBytes &key, const KeyBytes &mask) {
    std::string text;
    if (mask[kProtocolAt] == 0) {
        text = "ip4";
    } else if (mask[kProtocolAt] == 0xFF) {
        text = protocol_name(key[kProtocolAt], AddressFamily::kIpv4);
    } else {
        text =
            "protocol " + hex_number(key[kProtocolAt], 2) + "&" + hex_number(mask[kProtocolAt], 2);
    }
    text += " " + describe_masked_address(get32(&key[0]), get32(&mask[0]));
    text += describe_port(get16(&key[kSourcePortAt]), get16(&mask[kSourcePortAt]));
    text += " > " + describe_masked_address(get32(&key[4]), get32(&mask[4]));
    text += describe_port(get16(&key[kDestinationPortAt]), get16(&mask[kDestinationPortAt]));
    const uint16_t flags_mask = get16(&mask[kFlagsAt]);
    if (flags_mask != 0) {
        text += " flags " + hex_number(get16(&key[kFlagsAt]), 4) + "/" + hex_number(flags_mask, 4);
    }
    return text;
}

bool is_five_tuple(uint32_t key_type, const KeyBytes &key, const KeyBytes &mask) {
    const auto fieldless = [](const KeyBytes &bytes) {
        return bytes[kProtocolAt + 1] == 0 && std::all_of(bytes.begin() + kFlagsAt + 2, bytes.end(),
                                                          [](uint8_t byte) { return byte == 0; });
    };
    return key_type == kKeyTypeIpv4 && fieldless(key) && fieldless(mask);
}

std::string describe_key(uint32_t key_type, const KeyBytes &key, const KeyBytes &mask) {
    if (is_five_tuple(key_type, key, mask)) {
        return describe_match(key, mask);
    }
    const FilterRule rule = decode_match(key_type, key, mask);
    if (rule.kind == RuleKind::kIpv6) {
        const std::string protocol = protocol_words(rule);
        return (protocol.empty()      ? "ip6"
                : needs_version(rule) ? "ip6 " + protocol
                                      : protocol) +
               " " + address_text(rule.kind, rule.source) +
               (is_any(rule.source_ports) ? "" : " port " + range_text(rule.source_ports)) + " > " +
               address_text(rule.kind, rule.destination) +
               (is_any(rule.destination_ports) ? ""
                                               : " port " + range_text(rule.destination_ports)) +
               masked_text(" flags ", rule.flags, rule.flags_mask, 0xFFFF, 4);
    }
    if (rule.kind == RuleKind::kMac) {
        return "mac " + address_text(rule.kind, rule.source) + " > " +
               address_text(rule.kind, rule.destination) +
               (rule.vlan_mask == 0 ? "" : " vlan " + vlan_text(rule)) +
               masked_text(" type ", rule.ethertype, rule.ethertype_mask, 0xFFFF, 4);
    }
    const std::string prefix = "key type " + std::to_string(key_type) + ": ";
    const size_t used = used_bytes(key, mask);
    if (used == 1 && key[0] == 0 && mask[0] == 0) {
        return prefix + "any";
    }
    const size_t digits = std::min(used, kShownKeyBytes) * 2;
    const char *rest = used > kShownKeyBytes ? ".." : "";
    return prefix + key_to_hex(key).substr(0, digits) + rest + "/" +
           key_to_hex(mask).substr(0, digits) + rest;
}

bool shows_ports(uint8_t protocol, uint16_t source, uint16_t destination) {
    constexpr uint8_t kWithPorts[] = {6, 17, 33, 132, 136}; /* TCP, UDP, DCCP, SCTP, UDP-Lite */
    return source != 0 || destination != 0 ||
           std::find(std::begin(kWithPorts), std::end(kWithPorts), protocol) !=
               std::end(kWithPorts);
}

std::string describe_packet(const KeyBytes &key) {
    const uint8_t protocol = key[kProtocolAt];
    const uint16_t source = get16(&key[kSourcePortAt]);
    const uint16_t destination = get16(&key[kDestinationPortAt]);
    const bool ports = shows_ports(protocol, source, destination);
    std::string text = protocol_name(protocol, AddressFamily::kIpv4) + " " +
                       dotted(get32(&key[0])) + (ports ? ":" + std::to_string(source) : "") +
                       " > " + dotted(get32(&key[4])) +
                       (ports ? ":" + std::to_string(destination) : "");
    const uint16_t flags = get16(&key[kFlagsAt]);
    return flags == 0 ? text : text + " flags " + hex_number(flags, 4);
}

std::string dotted(uint32_t address) {
    return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 0xFF) + "." +
           std::to_string(address >> 8 & 0xFF) + "." + std::to_string(address & 0xFF);
}

std::string protocol_name(uint8_t protocol, AddressFamily family) {
    const char *name = name_of_protocol(protocol, family);
    return name != nullptr ? name : "protocol " + std::to_string(protocol);
}

}  // namespace aclrmctl
