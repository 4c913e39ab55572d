// The SDK's functions for regions, ACLs, groups and bindings: checks of command and pointers, and
// the trace; what they do is in the sources named after it.

#include "platform/switch/api_call.h"
#include "platform/switch/render.h"

using namespace zv_switch;

zv_status_t zv_api_acl_region_set(zv_api_handle_t handle, uint32_t cmd, uint32_t key_type,
                                  uint32_t action_type, uint32_t region_size, uint32_t *region_id) {
    zv_sim::Call call("zv_api_acl_region_set");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"cmd", cmd},
                                  {"key_type", key_type},
                                  {"action_type", action_type},
                                  {"region_size", region_size},
                                  {"region_id", number_json(region_id)}});
    });
    const zv_status_t status = carry_out(call, handle, [&](Switch &sw) -> zv_status_t {
        if (region_id == nullptr) {
            return kNullParameter;
        }
        switch (cmd) {
            case ZV_ACCESS_CMD_CREATE:
                return region_create(sw, key_type, action_type, region_size, region_id);
            case ZV_ACCESS_CMD_EDIT:
                return region_resize(sw, *region_id, region_size);
            case ZV_ACCESS_CMD_DESTROY:
                return region_destroy(sw, *region_id);
            default:
                return kCommandUnsupported;
        }
    });
    call.out([&](OrderedJson &out) { out["region_id"] = number_json(region_id); });
    return call.finish(status);
}

zv_status_t zv_api_acl_set(zv_api_handle_t handle, uint32_t cmd, uint32_t acl_type,
                           uint32_t direction, const zv_acl_region_group_t *group,
                           uint32_t *acl_id) {
    zv_sim::Call call("zv_api_acl_set");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"cmd", cmd},
                                  {"acl_type", acl_type},
                                  {"direction", direction},
                                  {"group", region_group_json(group)},
                                  {"acl_id", number_json(acl_id)}});
    });
    const zv_status_t status = carry_out(call, handle, [&](Switch &sw) -> zv_status_t {
        if (acl_id == nullptr || (group == nullptr && cmd == ZV_ACCESS_CMD_CREATE)) {
            return kNullParameter;
        }
        switch (cmd) {
            case ZV_ACCESS_CMD_CREATE:
                return acl_create(sw, acl_type, direction, *group, acl_id);
            case ZV_ACCESS_CMD_DESTROY:
                return acl_destroy(sw, *acl_id);
            default:
                return kCommandUnsupported;
        }
    });
    call.out([&](OrderedJson &out) { out["acl_id"] = number_json(acl_id); });
    return call.finish(status);
}

zv_status_t zv_api_acl_group_set(zv_api_handle_t handle, uint32_t cmd, uint32_t direction,
                                 const uint32_t *acl_ids, uint32_t count, uint32_t *group_id) {
    zv_sim::Call call("zv_api_acl_group_set");
    call.args([&](OrderedJson &args) {
        // A list that is refused for its length is not read here either.
        const bool readable = count <= kMaxGroupAcls;
        args =
            zv_sim::object_of({{"cmd", cmd},
                               {"direction", direction},
                               {"acl_ids", readable ? numbers_json(acl_ids, count) : OrderedJson()},
                               {"count", count},
                               {"group_id", number_json(group_id)}});
    });
    const zv_status_t status = carry_out(call, handle, [&](Switch &sw) -> zv_status_t {
        const bool takes_list = cmd == ZV_ACCESS_CMD_CREATE || cmd == ZV_ACCESS_CMD_SET;
        if (group_id == nullptr || (takes_list && acl_ids == nullptr && count != 0)) {
            return kNullParameter;
        }
        switch (cmd) {
            case ZV_ACCESS_CMD_CREATE:
                return group_create(sw, direction, acl_ids, count, group_id);
            case ZV_ACCESS_CMD_SET:
                return group_set(sw, *group_id, direction, acl_ids, count);
            case ZV_ACCESS_CMD_DESTROY:
                return group_destroy(sw, *group_id);
            default:
                return kCommandUnsupported;
        }
    });
    call.out([&](OrderedJson &out) { out["group_id"] = number_json(group_id); });
    return call.finish(status);
}

namespace {

zv_status_t bind_or_unbind(Switch &sw, uint32_t cmd, BindPoint point, uint32_t group_id) {
    switch (cmd) {
        case ZV_ACCESS_CMD_BIND:
            return group_bind(sw, point, group_id);
        case ZV_ACCESS_CMD_UNBIND:
            return group_unbind(sw, point, group_id);
        default:
            return kCommandUnsupported;
    }
}

}  // namespace

zv_status_t zv_api_acl_port_bind_set(zv_api_handle_t handle, uint32_t cmd, uint32_t log_port,
                                     uint32_t group_id) {
    zv_sim::Call call("zv_api_acl_port_bind_set");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"cmd", cmd}, {"log_port", log_port}, {"group_id", group_id}});
    });
    return call.finish(carry_out(call, handle, [&](Switch &sw) {
        return bind_or_unbind(sw, cmd, {false, log_port}, group_id);
    }));
}

zv_status_t zv_api_acl_rif_bind_set(zv_api_handle_t handle, uint32_t cmd, uint16_t rif_id,
                                    uint32_t group_id) {
    zv_sim::Call call("zv_api_acl_rif_bind_set");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"cmd", cmd}, {"rif_id", rif_id}, {"group_id", group_id}});
    });
    return call.finish(carry_out(call, handle, [&](Switch &sw) {
        return bind_or_unbind(sw, cmd, {true, rif_id}, group_id);
    }));
}
