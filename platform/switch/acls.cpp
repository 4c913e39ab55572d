// ACLs: each looks its rules up in one region.

#include <algorithm>

#include "platform/switch/state.h"

namespace zv_switch {
namespace {

constexpr uint32_t kSingleRegion = 0;

// Where the configuration lets an ACL go that groups hold, it leaves them: a group never names an
// ACL that is not there.
void leave_groups(Switch &sw, uint32_t acl_id) {
    for (const auto &[group_id, group] : sw.groups.items()) {
        std::erase(sw.groups.find(group_id)->acl_ids, acl_id);
    }
}

}  // namespace

zv_status_t acl_create(Switch &sw, uint32_t acl_type, uint32_t direction,
                       const zv_acl_region_group_t &group, uint32_t *acl_id) {
    Region *region = sw.regions.find(group.region_id);
    if (region == nullptr) {
        return kEntryNotFound;
    }
    if (group.type != kSingleRegion) {
        return kOutOfRange;
    }
    if (!sw.acls.has_room(sw.config.acls)) {
        return kNoResources;
    }
    *acl_id = sw.acls.add({acl_type, direction, group.region_id});
    region->acl_num++;
    return kSuccess;
}

zv_status_t acl_destroy(Switch &sw, uint32_t acl_id) {
    const Acl *acl = sw.acls.find(acl_id);
    if (acl == nullptr) {
        return kEntryNotFound;
    }
    if (acl->member_num != 0) {
        if (!sw.config.acl_destroy_in_use) {
            return kInUse;
        }
        leave_groups(sw, acl_id);
    }
    sw.regions.find(acl->region_id)->acl_num--;
    sw.acls.remove(acl_id);
    return kSuccess;
}

}  // namespace zv_switch
