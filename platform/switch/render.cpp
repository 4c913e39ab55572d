#include "platform/switch/render.h"

namespace zv_switch {
namespace {

// -1 for what is no hexadecimal digit.
int digit_value(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return -1;
}

}  // namespace

std::string hex(const void *bytes, size_t len) {
    constexpr char kDigits[] = "0123456789abcdef";
    const auto *in = static_cast<const uint8_t *>(bytes);
    std::string digits(2 * len, '0');
    for (size_t i = 0; i < len; i++) {
        digits[2 * i] = kDigits[in[i] >> 4];
        digits[2 * i + 1] = kDigits[in[i] & 0xf];
    }
    return digits;
}

bool unhex(const std::string &digits, uint8_t *bytes, size_t len) {
    if (digits.size() != 2 * len) {
        return false;
    }
    for (size_t i = 0; i < len; i++) {
        const int high = digit_value(digits[2 * i]);
        const int low = digit_value(digits[2 * i + 1]);
        if (high < 0 || low < 0) {
            return false;
        }
        bytes[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return true;
}

OrderedJson number_json(const uint32_t *number) {
    return number == nullptr ? OrderedJson() : OrderedJson(*number);
}

OrderedJson numbers_json(const uint32_t *numbers, uint32_t count) {
    if (numbers == nullptr && count != 0) {
        return OrderedJson();
    }
    OrderedJson list = OrderedJson::array();
    for (uint32_t i = 0; i < count; i++) {
        list.push_back(numbers[i]);
    }
    return list;
}

OrderedJson rule_json(const zv_acl_rule_t &rule) {
    return zv_sim::object_of({{"offset", rule.offset},
                              {"valid", rule.valid},
                              {"key_type", rule.key.key_type},
                              {"key", hex(rule.key.data, sizeof(rule.key.data))},
                              {"mask_key_type", rule.mask.key_type},
                              {"mask", hex(rule.mask.data, sizeof(rule.mask.data))},
                              {"action", hex(&rule.action, sizeof(rule.action))}});
}

OrderedJson rules_json(const zv_acl_rule_t *rules, uint32_t count) {
    if (rules == nullptr && count != 0) {
        return OrderedJson();
    }
    OrderedJson list = OrderedJson::array();
    for (uint32_t i = 0; i < count; i++) {
        list.push_back(rule_json(rules[i]));
    }
    return list;
}

OrderedJson region_group_json(const zv_acl_region_group_t *group) {
    if (group == nullptr) {
        return OrderedJson();
    }
    return zv_sim::object_of({{"type", group->type}, {"region_id", group->region_id}});
}

OrderedJson counter_values_json(const zv_flow_counter_set_t &values) {
    return OrderedJson::array({values.first, values.second});
}

OrderedJson pbs_entry_json(const zv_acl_pbs_entry_t *entry, bool with_ports) {
    if (entry == nullptr) {
        return OrderedJson();
    }
    return zv_sim::object_of(
        {{"entry_type", entry->entry_type},
         {"port_count", entry->port_count},
         {"ports", numbers_json(entry->ports, with_ports ? entry->port_count : 0)}});
}

}  // namespace zv_switch
