// What rules may point at: PBS entries and flow counters. Both can go while rules name them; such
// rules then forward nowhere or count nothing.

#include <algorithm>

#include "platform/switch/state.h"

namespace zv_switch {
namespace {

constexpr uint32_t kSinglePort = 0;

bool is_full_size(uint32_t entry_type, const std::set<uint32_t> &ports) {
    return entry_type != kSinglePort || ports.size() == 1;
}

// An entry is known only in its own virtual switch.
Pbs *find_pbs(Switch &sw, uint8_t switch_id, uint32_t pbs_id) {
    Pbs *pbs = sw.pbs.find(pbs_id);
    return pbs != nullptr && pbs->switch_id == switch_id ? pbs : nullptr;
}

}  // namespace

zv_status_t pbs_create(Switch &sw, uint8_t switch_id, const zv_acl_pbs_entry_t &entry,
                       uint32_t *pbs_id) {
    std::set<uint32_t> ports(entry.ports, entry.ports + entry.port_count);
    if (!is_full_size(entry.entry_type, ports)) {
        return kOutOfRange;
    }
    if (!sw.pbs.has_room(sw.config.pbs_entries)) {
        return kNoResources;
    }
    *pbs_id = sw.pbs.add({switch_id, entry.entry_type, std::move(ports)});
    return kSuccess;
}

zv_status_t pbs_add_ports(Switch &sw, uint8_t switch_id, uint32_t pbs_id,
                          const zv_acl_pbs_entry_t &entry) {
    Pbs *pbs = find_pbs(sw, switch_id, pbs_id);
    if (pbs == nullptr) {
        return kEntryNotFound;
    }
    // Memory is taken for the new ports alone: an entry may have any number of others.
    std::set<uint32_t> added(entry.ports, entry.ports + entry.port_count);
    if (pbs->entry_type == kSinglePort &&
        !std::includes(pbs->ports.begin(), pbs->ports.end(), added.begin(), added.end())) {
        return kOutOfRange;
    }
    pbs->ports.merge(added);
    return kSuccess;
}

zv_status_t pbs_delete_ports(Switch &sw, uint8_t switch_id, uint32_t pbs_id,
                             const zv_acl_pbs_entry_t &entry) {
    Pbs *pbs = find_pbs(sw, switch_id, pbs_id);
    if (pbs == nullptr) {
        return kEntryNotFound;
    }
    const uint32_t *first = entry.ports;
    const uint32_t *end = first + entry.port_count;
    const auto is_held = [pbs](uint32_t port) { return pbs->ports.contains(port); };
    if (pbs->entry_type == kSinglePort && std::any_of(first, end, is_held)) {
        return kOutOfRange;
    }
    std::for_each(first, end, [pbs](uint32_t port) { pbs->ports.erase(port); });
    return kSuccess;
}

zv_status_t pbs_destroy(Switch &sw, uint8_t switch_id, uint32_t pbs_id) {
    if (find_pbs(sw, switch_id, pbs_id) == nullptr) {
        return kEntryNotFound;
    }
    sw.pbs.remove(pbs_id);
    return kSuccess;
}

zv_status_t pbs_read(Switch &sw, uint8_t switch_id, uint32_t pbs_id, zv_acl_pbs_entry_t *entry) {
    const Pbs *pbs = find_pbs(sw, switch_id, pbs_id);
    if (pbs == nullptr) {
        return kEntryNotFound;
    }
    uint32_t filled_num = 0;
    for (const uint32_t port : pbs->ports) {
        if (filled_num == entry->port_count) {
            break;
        }
        entry->ports[filled_num++] = port;
    }
    entry->entry_type = pbs->entry_type;
    entry->port_count = filled_num;
    return kSuccess;
}

zv_status_t counter_create(Switch &sw, uint32_t counter_type, uint32_t *counter_id) {
    if (!sw.counters.has_room(sw.config.counters)) {
        return kNoResources;
    }
    *counter_id = sw.counters.add({counter_type, {0, 0}});
    return kSuccess;
}

zv_status_t counter_destroy(Switch &sw, uint32_t counter_id) {
    if (sw.counters.find(counter_id) == nullptr) {
        return kEntryNotFound;
    }
    sw.counters.remove(counter_id);
    return kSuccess;
}

zv_status_t counter_read(Switch &sw, uint32_t counter_id, bool clear,
                         zv_flow_counter_set_t *values) {
    Counter *counter = sw.counters.find(counter_id);
    if (counter == nullptr) {
        return kEntryNotFound;
    }
    *values = counter->values;
    if (clear) {
        counter->values = {0, 0};
    }
    return kSuccess;
}

zv_status_t counter_clear(Switch &sw, uint32_t counter_id) {
    Counter *counter = sw.counters.find(counter_id);
    if (counter == nullptr) {
        return kEntryNotFound;
    }
    counter->values = {0, 0};
    return kSuccess;
}

}  // namespace zv_switch
