#include "rule_words.h"

#include <arpa/inet.h>

#include <cstdio>

#include "protocols.h"

namespace aclrmctl {

namespace {

std::string mac_text(const AddressPrefix &prefix) {
    char text[24];
    const auto &bytes = prefix.bytes;
    std::snprintf(text, sizeof(text), "%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2],
                  bytes[3], bytes[4], bytes[5]);
    return text;
}

}  // namespace

std::string address_text(RuleKind kind, const AddressPrefix &prefix) {
    char text[INET6_ADDRSTRLEN] = "";
    if (prefix.length == 0) {
        return "any";
    }
    if (kind == RuleKind::kMac) {
        return mac_text(prefix) + (prefix.length == 48 ? "" : "/" + std::to_string(prefix.length));
    }
    const bool is_ipv4 = kind == RuleKind::kIpv4;
    inet_ntop(is_ipv4 ? AF_INET : AF_INET6, prefix.bytes.data(), text, sizeof(text));
    return text +
           (prefix.length == (is_ipv4 ? 32 : 128) ? "" : "/" + std::to_string(prefix.length));
}

bool is_any(const PortRange &range) {
    return range == PortRange{};
}

std::string range_text(const PortRange &range) {
    return std::to_string(range.low) +
           (range.low == range.high ? "" : "-" + std::to_string(range.high));
}

std::string masked_text(const std::string &word, uint32_t value, uint32_t mask, uint32_t full,
                        int digits) {
    if (mask == 0) {
        return "";
    }
    return word + hex_number(value, digits) + (mask == full ? "" : "/" + hex_number(mask, digits));
}

std::string vlan_text(const FilterRule &rule) {
    return rule.vlan_mask == 0xFFF ? std::to_string(rule.vlan)
                                   : masked_text("", rule.vlan, rule.vlan_mask, 0xFFF, 3);
}

std::string protocol_words(const FilterRule &rule) {
    if (rule.protocol_mask == 0) {
        return "";
    }
    if (rule.protocol_mask != 0xFF) {
        return "proto " + masked_text("", rule.protocol, rule.protocol_mask, 0xFF, 2);
    }
    const bool is_ipv6 = rule.kind == RuleKind::kIpv6;
    const char *name =
        name_of_protocol(rule.protocol, is_ipv6 ? AddressFamily::kIpv6 : AddressFamily::kIpv4);
    return name != nullptr ? name : "proto " + std::to_string(rule.protocol);
}

bool needs_version(const FilterRule &rule) {
    const uint8_t icmp = rule.kind == RuleKind::kIpv4 ? 1 : 58;
    return rule.source.length == 0 && rule.destination.length == 0 &&
           !(rule.protocol_mask == 0xFF && rule.protocol == icmp);
}

std::string hex_number(uint32_t value, int digits) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%0*x", digits, value);
    return text;
}

size_t used_bytes(const KeyBytes &key, const KeyBytes &mask) {
    size_t used = key.size();
    while (used > 1 && key[used - 1] == 0 && mask[used - 1] == 0) {
        used--;
    }
    return used;
}

}  // namespace aclrmctl
