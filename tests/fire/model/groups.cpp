// ACL groups: who joins where, who leaves, and what becomes of the group.
#include <algorithm>

#include "tests/fire/model/world.h"

namespace zv_model {

using nlohmann::json;

namespace {

constexpr size_t kGroupAcls = 16, kAclPoints = 648;
constexpr uint16_t kMaxGroups = 128;

}  // namespace

const Call &Service::group_call(uint32_t cmd, uint32_t direction, const std::vector<uint32_t> &acls,
                                uint32_t group) {
    json args = {{"cmd", cmd}, {"direction", direction}, {"acl_ids", acls}, {"count", acls.size()}};
    if (cmd == kCreate) {
        return calls_.take("zv_api_acl_group_set", args, {"group_id"});
    }
    args["group_id"] = group;
    return calls_.take("zv_api_acl_group_set", args);
}

uint32_t Service::point_call(uint32_t cmd, BindPoint point, uint32_t group) {
    if (point.type == 0) {
        return calls_
            .take("zv_api_acl_port_bind_set",
                  {{"cmd", cmd}, {"log_port", point.id}, {"group_id", group}})
            .status;
    }
    return calls_
        .take("zv_api_acl_rif_bind_set",
              {{"cmd", cmd}, {"rif_id", point.id & 0xffff}, {"group_id", group}})
        .status;
}

Group *Service::group_at(BindPoint point, uint32_t &group_id) {
    const uint32_t *bound = world_.bindings.find(point.key());
    if (bound == nullptr) {
        return nullptr;
    }
    group_id = *bound;
    Group *group = world_.groups.find(group_id);
    if (group == nullptr) {
        throw Refusal{kNull};
    }
    return group;
}

void Service::bind(uint32_t acl_id, const std::vector<BindPoint> &points) {
    for (const BindPoint point : points) {
        uint32_t group_id = 0;
        Group *group = group_at(point, group_id);
        const bool is_member = group != nullptr && std::find(group->acls.begin(), group->acls.end(),
                                                             acl_id) != group->acls.end();
        Acl *acl = world_.acls.find(acl_id);
        if (acl == nullptr) {
            throw Refusal{kNotFound};
        }
        if (is_member) {
            continue;
        }
        if (group == nullptr) {
            bind_to_new_group(*acl, point);
        } else {
            bind_to_group(*acl, *group, group_id);
        }
        if (acl->points.size() == kAclPoints) {
            throw Refusal{kOutOfRange};
        }
        acl->points.push_back(point);
    }
}

void Service::bind_to_new_group(const Acl &acl, BindPoint point) {
    if (world_.groups_num >= kMaxGroups) {
        throw Refusal{kNoResources};
    }
    const Call &made = group_call(kCreate, acl.direction, {}, 0);
    if (made.status != 0) {
        throw Refusal{kError};
    }
    ++world_.groups_num;
    const uint32_t group_id = made.out.at("group_id");
    if (group_call(kSet, acl.direction, {acl.id}, group_id).status != 0 ||
        !world_.groups.insert(group_id, {{acl.id}, acl.direction}) ||
        !world_.bindings.insert(point.key(), group_id)) {
        throw Refusal{kError};
    }
    const uint32_t status = point_call(kBind, point, group_id);
    if (status == kSwitchFull) {
        destroy_group(point, group_id);
        throw Refusal{kNoHardware};
    }
    if (status != 0) {
        throw Refusal{kError};
    }
}

void Service::bind_to_group(const Acl &acl, Group &group, uint32_t group_id) {
    if (acl.direction != group.direction) {
        throw Refusal{kError};
    }
    if (group.acls.size() >= kGroupAcls) {
        throw Refusal{kNoResources};
    }
    std::vector<uint32_t> acls = group.acls;
    const size_t place = place_by_priority(acl, group);
    acls.insert(acls.begin() + static_cast<std::ptrdiff_t>(place), acl.id);
    if (const uint32_t status = group_call(kSet, acl.direction, acls, group_id).status;
        status != 0) {
        throw Refusal{status == kSwitchFull ? kNoHardware : kError};
    }
    group.acls = std::move(acls);
}

uint32_t Service::priority_of(uint32_t acl_id) {
    const Acl *acl = world_.acls.find(acl_id);
    if (acl == nullptr) {
        throw Refusal{kNotFound};
    }
    return world_.priorities[acl->owner];
}

// Told member by member and not as "after the last that is not lower": a list that was sorted under
// other priorities need not be sorted now, and an id that nobody knows stops the search only where
// it is met.
size_t Service::place_by_priority(const Acl &acl, const Group &group) {
    const uint32_t mine = world_.priorities[acl.owner];
    for (size_t i = 0; i < group.acls.size(); ++i) {
        const uint32_t here = priority_of(group.acls[i]);
        if (mine < here) {
            return i;
        }
        if (i + 1 == group.acls.size()) {
            return i + 1;
        }
        const uint32_t next = priority_of(group.acls[i + 1]);
        if (here < next && here <= mine && mine < next) {
            return i + 1;
        }
    }
    return 0;
}

void Service::unbind(uint32_t acl_id, const std::vector<BindPoint> &points) {
    for (const BindPoint point : points) {
        uint32_t group_id = 0;
        Group *group = group_at(point, group_id);
        if (world_.acls.find(acl_id) == nullptr) {
            throw Refusal{kNotFound};
        }
        if (group == nullptr || std::erase(group->acls, acl_id) == 0) {
            continue;
        }
        if (group_call(kSet, group->direction, group->acls, group_id).status != 0) {
            throw Refusal{kError};
        }
        if (!group->acls.empty()) {
            continue;
        }
        if (point_call(kUnbind, point, group_id) != 0) {
            throw Refusal{kError};
        }
        destroy_group(point, group_id);
    }
    if (!points.empty()) {
        std::erase_if(world_.acls.find(acl_id)->points, [&](BindPoint point) {
            return std::find(points.begin(), points.end(), point) != points.end();
        });
    }
}

void Service::destroy_group(BindPoint point, uint32_t group_id) {
    const Group &group = *world_.groups.find(group_id);
    if (group_call(kDestroy, group.direction, group.acls, group_id).status != 0) {
        throw Refusal{kError};
    }
    --world_.groups_num;
    world_.groups.erase(group_id);
    world_.bindings.erase(point.key());
}

}  // namespace zv_model
