#include "rule_encode.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "text_cursor.h"

namespace aclrmctl {

namespace {

constexpr size_t kVerdictAt = 12; /* in the action block */
constexpr uint32_t kForwardToPort = 1;
constexpr uint32_t kForwardToMcGroup = 2;

/* Where the fields of a key type lie; 16-bit fields that it does not have are at kNowhere. */
constexpr size_t kNowhere = SIZE_MAX;

struct Layout {
    size_t address_bytes;
    size_t source_at;
    size_t destination_at;
    size_t protocol_at;
    size_t source_port_at;
    size_t destination_port_at;
    size_t flags_at;
    size_t vlan_at;
    size_t ethertype_at;
};

constexpr Layout kLayouts[] = {{4, 0, 4, 8, 10, 12, 14, kNowhere, kNowhere},
                               {16, 0, 16, 32, 34, 36, 38, kNowhere, kNowhere},
                               {6, 6, 0, kNowhere, kNowhere, kNowhere, kNowhere, 12, 14}};

void put16(KeyBytes *bytes, size_t at, uint16_t value) {
    if (at != kNowhere) {
        (*bytes)[at] = static_cast<uint8_t>(value >> 8);
        (*bytes)[at + 1] = static_cast<uint8_t>(value);
    }
}

uint16_t get16(const KeyBytes &bytes, size_t at) {
    return at == kNowhere ? uint16_t{0} : static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

void put_address(const AddressPrefix &prefix, size_t at, size_t bytes_num, KeyBytes *key,
                 KeyBytes *mask) {
    for (size_t i = 0; i < bytes_num; i++) {
        const size_t bits = std::min<size_t>(8, prefix.length > i * 8 ? prefix.length - i * 8 : 0);
        (*key)[at + i] = prefix.bytes[i];
        (*mask)[at + i] = static_cast<uint8_t>(0xFF00 >> bits);
    }
}

/* The ones a mask begins with. One that goes on after its first zero gives another mask when it is
 * made from the length again, by which decode_match finds it out. */
uint8_t leading_ones(const KeyBytes &mask, size_t at, size_t bytes_num) {
    uint8_t length = 0;
    while (length < bytes_num * 8 && (mask[at + length / 8] & (0x80 >> length % 8)) != 0) {
        length++;
    }
    return length;
}

AddressPrefix get_address(const KeyBytes &key, const KeyBytes &mask, size_t at, size_t bytes_num) {
    AddressPrefix prefix;
    std::copy_n(key.begin() + static_cast<ptrdiff_t>(at), bytes_num, prefix.bytes.begin());
    prefix.length = leading_ones(mask, at, bytes_num);
    return prefix;
}

FilterRule decode_fields(const Layout &layout, const KeyBytes &key, const KeyBytes &mask,
                         ExpandedRule *ports) {
    FilterRule rule;
    rule.source = get_address(key, mask, layout.source_at, layout.address_bytes);
    rule.destination = get_address(key, mask, layout.destination_at, layout.address_bytes);
    if (layout.protocol_at != kNowhere) {
        rule.protocol = key[layout.protocol_at];
        rule.protocol_mask = mask[layout.protocol_at];
    }
    ports->source_port = {get16(key, layout.source_port_at), get16(mask, layout.source_port_at)};
    ports->destination_port = {get16(key, layout.destination_port_at),
                               get16(mask, layout.destination_port_at)};
    rule.flags = get16(key, layout.flags_at);
    rule.flags_mask = get16(mask, layout.flags_at);
    rule.vlan = get16(key, layout.vlan_at);
    rule.vlan_mask = get16(mask, layout.vlan_at);
    rule.ethertype = get16(key, layout.ethertype_at);
    rule.ethertype_mask = get16(mask, layout.ethertype_at);
    return rule;
}

/* Whether the mask can be written as a range, and value and mask as the words of a file. */
bool is_port_prefix(const PortPrefix &prefix) {
    const auto host_bits = static_cast<uint16_t>(~prefix.mask);
    return (host_bits & (host_bits + 1)) == 0 && (prefix.value & host_bits) == 0;
}

bool has_values_outside_masks(const FilterRule &rule) {
    return (rule.protocol & ~rule.protocol_mask) != 0 || (rule.flags & ~rule.flags_mask) != 0 ||
           (rule.vlan & ~rule.vlan_mask) != 0 || (rule.ethertype & ~rule.ethertype_mask) != 0 ||
           rule.vlan_mask > 0xFFF;
}

bool has_host_bits(const AddressPrefix &prefix, size_t bytes_num) {
    for (size_t i = prefix.length; i < bytes_num * 8; i++) {
        if ((prefix.bytes[i / 8] & (0x80 >> i % 8)) != 0) {
            return true;
        }
    }
    return false;
}

std::optional<LayoutError> find_clash(const RuleFile &file,
                                      const std::vector<ExpandedRule> &expanded) {
    std::vector<uint32_t> order(expanded.size());
    for (uint32_t i = 0; i < order.size(); i++) {
        order[i] = i;
    }
    const auto before = [&](uint32_t a, uint32_t b) {
        return expanded[a].priority != expanded[b].priority
                   ? expanded[a].priority < expanded[b].priority
                   : a < b;
    };
    if (!std::is_sorted(order.begin(), order.end(), before)) {
        std::sort(order.begin(), order.end(), before);
    }
    for (size_t i = 1; i < order.size(); i++) {
        const ExpandedRule &first = expanded[order[i - 1]];
        const ExpandedRule &second = expanded[order[i]];
        if (first.priority == second.priority) {
            const FilterRule &rule = file.rules[second.rule_index];
            const bool named = rule.priority.has_value();
            return LayoutError{second.rule_index, named ? rule.priority_at : rule.at,
                               "priority " + std::to_string(second.priority) +
                                   " is taken by the rule of line " +
                                   std::to_string(file.rules[first.rule_index].at.line),
                               named ? "priority" : ""};
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<LayoutError> expand_rules(const RuleFile &file, std::vector<ExpandedRule> *expanded) {
    bool ascending = true;
    uint64_t next = 0;
    for (uint32_t index = 0; index < file.rules.size(); index++) {
        const FilterRule &rule = file.rules[index];
        const auto sources = split_port_range(rule.source_ports);
        const auto destinations = split_port_range(rule.destination_ports);
        if (expanded->size() + sources.size() * destinations.size() > kLargestExpansion) {
            return LayoutError{index, rule.at,
                               "the file makes more than " + std::to_string(kLargestExpansion) +
                                   " rules of the switch",
                               ""};
        }
        ascending = ascending && (!rule.priority || *rule.priority >= next);
        next = rule.priority ? *rule.priority : next;
        if (next + sources.size() * destinations.size() > uint64_t{UINT32_MAX} + 1) {
            return LayoutError{
                index, rule.priority ? rule.priority_at : rule.at,
                "the rule needs priorities past the largest, " + std::to_string(UINT32_MAX),
                rule.priority ? "priority" : ""};
        }
        for (const PortPrefix &source : sources) {
            for (const PortPrefix &destination : destinations) {
                expanded->push_back({index, static_cast<uint32_t>(next++), source, destination});
            }
        }
    }
    return ascending ? std::nullopt : find_clash(file, *expanded);
}

void encode_match(const FilterRule &rule, const ExpandedRule &expanded, KeyBytes *key,
                  KeyBytes *mask) {
    if (rule.kind == RuleKind::kRaw) {
        *key = rule.raw->key;
        *mask = rule.raw->mask;
        return;
    }
    const Layout &layout = kLayouts[static_cast<uint32_t>(rule.kind)];
    key->fill(0);
    mask->fill(0);
    put_address(rule.source, layout.source_at, layout.address_bytes, key, mask);
    put_address(rule.destination, layout.destination_at, layout.address_bytes, key, mask);
    if (layout.protocol_at != kNowhere) {
        (*key)[layout.protocol_at] = rule.protocol;
        (*mask)[layout.protocol_at] = rule.protocol_mask;
    }
    struct {
        size_t at;
        uint16_t value;
        uint16_t mask;
    } const fields[] = {
        {layout.source_port_at, expanded.source_port.value, expanded.source_port.mask},
        {layout.destination_port_at, expanded.destination_port.value,
         expanded.destination_port.mask},
        {layout.flags_at, rule.flags, rule.flags_mask},
        {layout.vlan_at, rule.vlan, rule.vlan_mask},
        {layout.ethertype_at, rule.ethertype, rule.ethertype_mask}};
    for (const auto &field : fields) {
        put16(key, field.at, field.value);
        put16(mask, field.at, field.mask);
    }
}

uint32_t key_type_of(const FilterRule &rule) {
    return rule.kind == RuleKind::kRaw ? rule.raw->key_type : static_cast<uint32_t>(rule.kind);
}

FilterRule decode_match(uint32_t key_type, const KeyBytes &key, const KeyBytes &mask) {
    if (key_type <= kKeyTypeMac) {
        const Layout &layout = kLayouts[key_type];
        ExpandedRule ports{};
        FilterRule rule = decode_fields(layout, key, mask, &ports);
        rule.kind = static_cast<RuleKind>(key_type);
        KeyBytes same_key;
        KeyBytes same_mask;
        encode_match(rule, ports, &same_key, &same_mask);
        if (same_key == key && same_mask == mask && !has_values_outside_masks(rule) &&
            is_port_prefix(ports.source_port) && is_port_prefix(ports.destination_port) &&
            !has_host_bits(rule.source, layout.address_bytes) &&
            !has_host_bits(rule.destination, layout.address_bytes)) {
            rule.source_ports = port_range(ports.source_port);
            rule.destination_ports = port_range(ports.destination_port);
            return rule;
        }
    }
    FilterRule rule;
    rule.kind = RuleKind::kRaw;
    rule.raw = std::make_shared<RawMatch>(RawMatch{key_type, key, mask});
    return rule;
}

WholeRule whole_rule(const FilterRule &rule, const ExpandedRule &expanded,
                     const RuleOptions &options) {
    WholeRule whole;
    whole.priority = options.first_priority + expanded.priority;
    whole.key_type = key_type_of(rule);
    encode_match(rule, expanded, &whole.key, &whole.mask);
    whole.verdict = rule.verdict.value_or(options.verdict);
    whole.targets = options.targets;
    if (rule.targets.forward_port || rule.targets.forward_mc) {
        whole.targets.forward_port = rule.targets.forward_port;
        whole.targets.forward_mc = rule.targets.forward_mc;
    }
    if (rule.targets.counter_id != 0) {
        whole.targets.counter_id = rule.targets.counter_id;
    }
    return whole;
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

uint32_t verdict_of_action(const uint8_t *action) {
    uint32_t verdict = 0;
    std::memcpy(&verdict, action + kVerdictAt, sizeof(verdict));
    return verdict;
}

std::optional<uint32_t> verdict_of_action_text(const std::string &hex) {
    if (hex.size() != 2 * size_t{ZV_ACL_RM_ACTION_BYTES}) {
        return std::nullopt;
    }
    uint8_t action[ZV_ACL_RM_ACTION_BYTES] = {};
    for (size_t i = 0; i < ZV_ACL_RM_ACTION_BYTES; i++) {
        const char *digits = hex.data() + 2 * i;
        const auto read = std::from_chars(digits, digits + 2, action[i], 16);
        if (read.ec != std::errc() || read.ptr != digits + 2) {
            return std::nullopt;
        }
    }
    return verdict_of_action(action);
}

KeyBytes encode_packet(const PacketFields &fields) {
    const Layout &layout = kLayouts[kKeyTypeIpv4];
    KeyBytes key{};
    for (size_t i = 0; i < 4; i++) {
        key[layout.source_at + i] = static_cast<uint8_t>(fields.source >> (24 - 8 * i));
        key[layout.destination_at + i] = static_cast<uint8_t>(fields.destination >> (24 - 8 * i));
    }
    key[layout.protocol_at] = fields.protocol;
    put16(&key, layout.source_port_at, fields.source_port);
    put16(&key, layout.destination_port_at, fields.destination_port);
    put16(&key, layout.flags_at, fields.flags);
    return key;
}

bool key_from_hex(const std::string &hex, KeyBytes *key) {
    if (hex.size() != key->size() * 2) {
        return false;
    }
    for (size_t i = 0; i < key->size(); i++) {
        const int high = digit_value(hex[i * 2], 16);
        const int low = digit_value(hex[i * 2 + 1], 16);
        if (high < 0 || low < 0) {
            return false;
        }
        (*key)[i] = static_cast<uint8_t>(high << 4 | low);
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
