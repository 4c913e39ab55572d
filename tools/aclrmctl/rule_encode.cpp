#include "rule_encode.h"

#include <algorithm>
#include <cstring>

namespace aclrmctl {

namespace {

constexpr size_t kSourceAt = 0;
constexpr size_t kDestinationAt = 4;
constexpr size_t kProtocolAt = 8;
constexpr size_t kSourcePortAt = 10;
constexpr size_t kDestinationPortAt = 12;
constexpr size_t kFlagsAt = 14;

constexpr size_t kVerdictAt = 12; /* in the action block */
constexpr uint32_t kForwardToPort = 1;
constexpr uint32_t kForwardToMcGroup = 2;

constexpr size_t kShownKeyBytes = 12; /* of a key that is no 5-tuple: keeps a table's row short */

void put16(uint8_t *place, uint16_t value) {
    place[0] = static_cast<uint8_t>(value >> 8);
    place[1] = static_cast<uint8_t>(value);
}

void put32(uint8_t *place, uint32_t value) {
    put16(place, static_cast<uint16_t>(value >> 16));
    put16(place + 2, static_cast<uint16_t>(value));
}

uint16_t get16(const uint8_t *place) {
    return static_cast<uint16_t>(place[0] << 8 | place[1]);
}

uint32_t get32(const uint8_t *place) {
    return static_cast<uint32_t>(get16(place)) << 16 | get16(place + 2);
}

uint32_t prefix_mask(uint8_t length) {
    return static_cast<uint32_t>(~uint64_t{0} << (32 - length));
}

void put_fields(uint8_t *key, const PacketFields &fields) {
    put32(key + kSourceAt, fields.source);
    put32(key + kDestinationAt, fields.destination);
    key[kProtocolAt] = fields.protocol;
    put16(key + kSourcePortAt, fields.source_port);
    put16(key + kDestinationPortAt, fields.destination_port);
    put16(key + kFlagsAt, fields.flags);
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

std::string hex_number(uint32_t value, int digits) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%0*x", digits, value);
    return text;
}

std::string describe_address(uint32_t address, uint32_t mask) {
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

bool expand_rules(const RuleFile &file, std::vector<ExpandedRule> *expanded) {
    for (uint32_t index = 0; index < file.rules.size(); index++) {
        const auto sources = split_port_range(file.rules[index].source_ports);
        const auto destinations = split_port_range(file.rules[index].destination_ports);
        if (expanded->size() + sources.size() * destinations.size() > kLargestExpansion) {
            return false;
        }
        for (const PortPrefix &source : sources) {
            for (const PortPrefix &destination : destinations) {
                expanded->push_back({index, source, destination});
            }
        }
    }
    return true;
}

void encode_match(const FilterRule &rule, const ExpandedRule &expanded, KeyBytes *key,
                  KeyBytes *mask) {
    key->fill(0);
    mask->fill(0);
    put_fields(key->data(),
               {rule.source.address, rule.destination.address, rule.protocol,
                expanded.source_port.value, expanded.destination_port.value, rule.flags});
    put_fields(mask->data(), {prefix_mask(rule.source.length), prefix_mask(rule.destination.length),
                              rule.protocol_mask, expanded.source_port.mask,
                              expanded.destination_port.mask, rule.flags_mask});
}

void encode_whole_rule(const WholeRule &rule, acl_rm_rule *record) {
    std::memset(record, 0, sizeof(*record));
    record->priority = rule.priority;
    record->offset = rule.priority;
    record->valid = 1;
    record->key.key_type = rule.key_type;
    record->mask.key_type = rule.key_type;
    std::memcpy(record->key.data, rule.key.data(), rule.key.size());
    std::memcpy(record->mask.data, rule.mask.data(), rule.mask.size());
    const auto verdict = static_cast<uint32_t>(rule.verdict);
    std::memcpy(record->action + kVerdictAt, &verdict, sizeof(verdict));
    record->forwarding.counter_id = rule.targets.counter_id;
    if (rule.targets.forward_port) {
        record->forwarding.type = kForwardToPort;
        record->forwarding.log_port = *rule.targets.forward_port;
    } else if (rule.targets.forward_mc) {
        record->forwarding.type = kForwardToMcGroup;
        record->forwarding.mc_group_id = *rule.targets.forward_mc;
    }
}

void encode_rule(const FilterRule &rule, const ExpandedRule &expanded, uint32_t priority,
                 const RuleOptions &options, acl_rm_rule *record) {
    WholeRule whole;
    whole.priority = priority;
    encode_match(rule, expanded, &whole.key, &whole.mask);
    whole.verdict = rule.verdict.value_or(options.verdict);
    whole.targets = options.targets;
    encode_whole_rule(whole, record);
}

uint32_t verdict_of_action(const uint8_t *action) {
    uint32_t verdict = 0;
    std::memcpy(&verdict, action + kVerdictAt, sizeof(verdict));
    return verdict;
}

KeyBytes encode_packet(const PacketFields &fields) {
    KeyBytes key{};
    put_fields(key.data(), fields);
    return key;
}

std::string describe_match(const KeyBytes &key, const KeyBytes &mask) {
    std::string text;
    if (mask[kProtocolAt] == 0) {
        text = "ip";
    } else if (mask[kProtocolAt] == 0xFF) {
        text = protocol_name(key[kProtocolAt]);
    } else {
        text =
            "protocol " + hex_number(key[kProtocolAt], 2) + "&" + hex_number(mask[kProtocolAt], 2);
    }
    text += " " + describe_address(get32(&key[kSourceAt]), get32(&mask[kSourceAt]));
    text += describe_port(get16(&key[kSourcePortAt]), get16(&mask[kSourcePortAt]));
    text += " > " + describe_address(get32(&key[kDestinationAt]), get32(&mask[kDestinationAt]));
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
    return key_type == 0 && fieldless(key) && fieldless(mask);
}

std::string describe_key(uint32_t key_type, const KeyBytes &key, const KeyBytes &mask) {
    if (is_five_tuple(key_type, key, mask)) {
        return describe_match(key, mask);
    }
    size_t used = key.size();
    while (used > 0 && key[used - 1] == 0 && mask[used - 1] == 0) {
        used--;
    }
    const std::string prefix = "key type " + std::to_string(key_type) + ": ";
    if (used == 0) {
        return prefix + "any";
    }
    const size_t digits = std::min(used, kShownKeyBytes) * 2;
    const char *rest = used > kShownKeyBytes ? ".." : "";
    return prefix + key_to_hex(key).substr(0, digits) + rest + "/" +
           key_to_hex(mask).substr(0, digits) + rest;
}

std::string describe_packet(const KeyBytes &key) {
    std::string text = protocol_name(key[kProtocolAt]) + " " + dotted(get32(&key[kSourceAt])) +
                       ":" + std::to_string(get16(&key[kSourcePortAt])) + " > " +
                       dotted(get32(&key[kDestinationAt])) + ":" +
                       std::to_string(get16(&key[kDestinationPortAt]));
    const uint16_t flags = get16(&key[kFlagsAt]);
    return flags == 0 ? text : text + " flags " + hex_number(flags, 4);
}

std::string dotted(uint32_t address) {
    return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 0xFF) + "." +
           std::to_string(address >> 8 & 0xFF) + "." + std::to_string(address & 0xFF);
}

std::string protocol_name(uint8_t protocol) {
    switch (protocol) {
        case 1:
            return "icmp";
        case 6:
            return "tcp";
        case 17:
            return "udp";
        default:
            return "protocol " + std::to_string(protocol);
    }
}

bool key_from_hex(const std::string &hex, KeyBytes *key) {
    if (hex.size() != key->size() * 2) {
        return false;
    }
    const auto digit = [](char c) {
        const char *found = c == '\0' ? nullptr : std::strchr("0123456789abcdef", c | 0x20);
        return found == nullptr ? -1 : static_cast<int>(found - "0123456789abcdef");
    };
    /* Setting bit 5 makes letters lower case and leaves digits alone, but would also turn control
     * characters into digits: those are told apart by the range check. */
    for (size_t i = 0; i < hex.size(); i++) {
        if (hex[i] < '0' || digit(hex[i]) < 0) {
            return false;
        }
        const int high = i % 2 == 0 ? 16 : 1;
        const uint8_t before = i % 2 == 0 ? 0 : (*key)[i / 2];
        (*key)[i / 2] = static_cast<uint8_t>(before + digit(hex[i]) * high);
    }
    return true;
}

std::string key_to_hex(const KeyBytes &key) {
    std::string text;
    for (const uint8_t byte : key) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

}  // namespace aclrmctl
