#include "platform/switch/packet.h"

#include <cstring>

namespace zv_switch {
namespace {

bool matches(const zv_acl_rule_t &rule, const Packet &packet) {
    if (rule.valid == 0 || rule.key.key_type != packet.key_type) {
        return false;
    }
    for (size_t i = 0; i < kKeyBytes; i++) {
        if (((packet.key[i] ^ rule.key.data[i]) & rule.mask.data[i]) != 0) {
            return false;
        }
    }
    return true;
}

void count(Switch &sw, uint32_t counter_id, uint32_t length) {
    Counter *counter = sw.counters.find(counter_id);
    if (counter != nullptr) {
        counter->values.first++;
        counter->values.second += length;
    }
}

Verdict carry_out(Switch &sw, uint32_t acl_id, const zv_acl_rule_t &rule, const Packet &packet) {
    Verdict result{true, acl_id, rule.offset, 0, rule.action.counter_id, {}};
    std::memcpy(&result.verdict, rule.action.data, sizeof(result.verdict));
    if (rule.action.forward != 0) {
        const Pbs *pbs = sw.pbs.find(rule.action.pbs_id);
        if (pbs != nullptr) {
            result.ports.assign(pbs->ports.begin(), pbs->ports.end());
        }
    }
    count(sw, rule.action.counter_id, packet.length);
    return result;
}

}  // namespace

Verdict packet_send(Switch &sw, const Packet &packet) {
    Verdict result{};
    const auto binding = sw.bindings.find(packet.point);
    if (binding == sw.bindings.end()) {
        return result;
    }
    const Group &group = *sw.groups.find(binding->second);
    if (group.direction != packet.direction) {
        return result;
    }
    for (const uint32_t acl_id : group.acl_ids) {
        Region &region = *sw.regions.find(sw.acls.find(acl_id)->region_id);
        const bool matched = region.rules.find_first([&](const zv_acl_rule_t &rule) {
            if (!matches(rule, packet)) {
                return false;
            }
            result = carry_out(sw, acl_id, rule, packet);
            return true;
        });
        if (matched) {
            region.rules.set_active(result.offset, true);
            break;
        }
    }
    return result;
}

}  // namespace zv_switch
