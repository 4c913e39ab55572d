// Regions and the rules in them.

#include <cstring>
#include <utility>

#include "platform/switch/state.h"

namespace zv_switch {
namespace {

// Whether size offsets from start on lie inside the region; in 64 bits, where the sum cannot wrap.
bool fits(const Region &region, uint32_t start, uint32_t size) {
    return uint64_t{start} + size <= region.region_size;
}

bool has_entries(const Switch &sw, uint64_t entry_num) {
    return entry_num <= sw.config.tcam_entries;
}

zv_status_t check_offsets(const Region *region, const zv_acl_rule_t *rules, uint32_t count) {
    if (region == nullptr) {
        return kEntryNotFound;
    }
    for (uint32_t i = 0; i < count; i++) {
        if (rules[i].offset >= region->region_size) {
            return kOutOfRange;
        }
    }
    return kSuccess;
}

}  // namespace

zv_status_t region_create(Switch &sw, uint32_t key_type, uint32_t action_type, uint32_t region_size,
                          uint32_t *region_id) {
    if (!sw.regions.has_room(sw.config.regions) || !has_entries(sw, sw.entry_num + region_size)) {
        return kNoResources;
    }
    RuleStore rules;
    rules.prepare(region_size);
    *region_id = sw.regions.add({key_type, action_type, region_size, std::move(rules)});
    sw.entry_num += region_size;
    return kSuccess;
}

zv_status_t region_resize(Switch &sw, uint32_t region_id, uint32_t region_size) {
    Region *region = sw.regions.find(region_id);
    if (region == nullptr) {
        return kEntryNotFound;
    }
    if (region->rules.end() > region_size) {
        return kInUse;
    }
    const uint64_t entry_num = sw.entry_num - region->region_size + region_size;
    if (!has_entries(sw, entry_num)) {
        return kNoResources;
    }
    region->rules.prepare(region_size);
    region->region_size = region_size;
    sw.entry_num = entry_num;
    return kSuccess;
}

zv_status_t region_destroy(Switch &sw, uint32_t region_id) {
    const Region *region = sw.regions.find(region_id);
    if (region == nullptr) {
        return kEntryNotFound;
    }
    if (region->acl_num != 0) {
        return kInUse;
    }
    sw.entry_num -= region->region_size;
    sw.regions.remove(region_id);
    return kSuccess;
}

zv_status_t rules_write(Switch &sw, uint32_t region_id, const zv_acl_rule_t *rules,
                        uint32_t count) {
    Region *region = sw.regions.find(region_id);
    const zv_status_t status = check_offsets(region, rules, count);
    if (status != kSuccess) {
        return status;
    }
    // All memory first: a batch is written whole or not at all.
    for (uint32_t i = 0; i < count; i++) {
        region->rules.reserve(rules[i].offset);
    }
    for (uint32_t i = 0; i < count; i++) {
        region->rules.put(rules[i]);
    }
    return kSuccess;
}

zv_status_t rules_delete(Switch &sw, uint32_t region_id, const zv_acl_rule_t *rules,
                         uint32_t count) {
    Region *region = sw.regions.find(region_id);
    const zv_status_t status = check_offsets(region, rules, count);
    if (status != kSuccess) {
        return status;
    }
    for (uint32_t i = 0; i < count; i++) {
        region->rules.erase(rules[i].offset);
    }
    return kSuccess;
}

zv_status_t rules_read(Switch &sw, uint32_t region_id, uint32_t offset, zv_acl_rule_t *rules,
                       uint32_t count) {
    const Region *region = sw.regions.find(region_id);
    if (region == nullptr) {
        return kEntryNotFound;
    }
    if (!fits(*region, offset, count)) {
        return kOutOfRange;
    }
    for (uint32_t i = 0; i < count; i++) {
        const std::optional<zv_acl_rule_t> rule = region->rules.find(offset + i);
        if (rule) {
            rules[i] = *rule;
        } else {
            std::memset(&rules[i], 0, sizeof(rules[i]));
            rules[i].offset = offset + i;
        }
    }
    return kSuccess;
}

zv_status_t rule_activity(Switch &sw, uint32_t region_id, uint32_t offset, bool clear,
                          uint8_t *activity) {
    Region *region = sw.regions.find(region_id);
    if (region == nullptr) {
        return kEntryNotFound;
    }
    if (!fits(*region, offset, 1)) {
        return kOutOfRange;
    }
    *activity = region->rules.is_active(offset) ? 1 : 0;
    if (clear) {
        region->rules.set_active(offset, false);
    }
    return kSuccess;
}

zv_status_t rules_move(Switch &sw, uint32_t region_id, uint32_t block_start, uint32_t block_size,
                       uint32_t new_start) {
    Region *region = sw.regions.find(region_id);
    if (region == nullptr) {
        return kEntryNotFound;
    }
    if (!fits(*region, block_start, block_size) || !fits(*region, new_start, block_size)) {
        return kOutOfRange;
    }
    region->rules.move_block(block_start, block_size, new_start);
    return kSuccess;
}

}  // namespace zv_switch
