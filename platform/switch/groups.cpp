// ACL groups, and what they are bound to.

#include "platform/switch/state.h"

namespace zv_switch {
namespace {

zv_status_t check_acls(Switch &sw, uint32_t direction, const uint32_t *acl_ids, uint32_t count) {
    // Before the list is looked at: too long a list is refused unread.
    if (count > kMaxGroupAcls) {
        return kOutOfRange;
    }
    for (uint32_t i = 0; i < count; i++) {
        if (sw.acls.find(acl_ids[i]) == nullptr) {
            return kEntryNotFound;
        }
    }
    for (uint32_t i = 0; i < count; i++) {
        if (sw.acls.find(acl_ids[i])->direction != direction) {
            return kOutOfRange;
        }
    }
    return kSuccess;
}

// Gives a group its ACLs instead of those it has. The memory is the caller's list, so nothing
// fails.
void replace_acls(Switch &sw, Group *group, std::vector<uint32_t> acl_ids) {
    for (const uint32_t acl_id : group->acl_ids) {
        sw.acls.find(acl_id)->member_num--;
    }
    for (const uint32_t acl_id : acl_ids) {
        sw.acls.find(acl_id)->member_num++;
    }
    group->acl_ids = std::move(acl_ids);
}

}  // namespace

zv_status_t group_create(Switch &sw, uint32_t direction, const uint32_t *acl_ids, uint32_t count,
                         uint32_t *group_id) {
    const zv_status_t status = check_acls(sw, direction, acl_ids, count);
    if (status != kSuccess) {
        return status;
    }
    if (!sw.groups.has_room(sw.config.groups)) {
        return kNoResources;
    }
    std::vector<uint32_t> list(acl_ids, acl_ids + count);
    *group_id = sw.groups.add({direction, {}});
    replace_acls(sw, sw.groups.find(*group_id), std::move(list));
    return kSuccess;
}

zv_status_t group_set(Switch &sw, uint32_t group_id, uint32_t direction, const uint32_t *acl_ids,
                      uint32_t count) {
    Group *group = sw.groups.find(group_id);
    if (group == nullptr) {
        return kEntryNotFound;
    }
    const zv_status_t status = check_acls(sw, direction, acl_ids, count);
    if (status != kSuccess) {
        return status;
    }
    // Only now: that an ACL is not there comes before any complaint about directions.
    if (group->direction != direction) {
        return kOutOfRange;
    }
    replace_acls(sw, group, std::vector<uint32_t>(acl_ids, acl_ids + count));
    return kSuccess;
}

zv_status_t group_destroy(Switch &sw, uint32_t group_id) {
    Group *group = sw.groups.find(group_id);
    if (group == nullptr) {
        return kEntryNotFound;
    }
    if (group->binding_num != 0) {
        return kInUse;
    }
    replace_acls(sw, group, {});
    sw.groups.remove(group_id);
    return kSuccess;
}

zv_status_t group_bind(Switch &sw, BindPoint point, uint32_t group_id) {
    Group *group = sw.groups.find(group_id);
    if (group == nullptr) {
        return kEntryNotFound;
    }
    if (sw.bindings.contains(point)) {
        return kEntryExists;
    }
    if (sw.bindings.size() >= sw.config.bindings) {
        return kNoResources;
    }
    sw.bindings.emplace(point, group_id);
    group->binding_num++;
    return kSuccess;
}

zv_status_t group_unbind(Switch &sw, BindPoint point, uint32_t group_id) {
    const auto binding = sw.bindings.find(point);
    if (binding == sw.bindings.end() || binding->second != group_id) {
        return kEntryNotFound;
    }
    sw.groups.find(group_id)->binding_num--;
    sw.bindings.erase(binding);
    return kSuccess;
}

}  // namespace zv_switch
