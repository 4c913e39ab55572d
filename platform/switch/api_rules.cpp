// The SDK's functions for rules: checks of command and pointers, and the trace.

#include "platform/switch/api_call.h"
#include "platform/switch/render.h"

using namespace zv_switch;

zv_status_t zv_api_acl_rules_set(zv_api_handle_t handle, uint32_t cmd, uint32_t region_id,
                                 const zv_acl_rule_t *rules, uint32_t count) {
    zv_sim::Call call("zv_api_acl_rules_set");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"cmd", cmd},
                                  {"region_id", region_id},
                                  {"rules", rules_json(rules, count)},
                                  {"count", count}});
    });
    return call.finish(carry_out(call, handle, [&](Switch &sw) -> zv_status_t {
        if (rules == nullptr && count != 0) {
            return kNullParameter;
        }
        switch (cmd) {
            case ZV_ACCESS_CMD_SET:
                return rules_write(sw, region_id, rules, count);
            case ZV_ACCESS_CMD_DELETE:
                return rules_delete(sw, region_id, rules, count);
            default:
                return kCommandUnsupported;
        }
    }));
}

zv_status_t zv_api_acl_rules_get(zv_api_handle_t handle, uint32_t region_id, uint32_t offset,
                                 zv_acl_rule_t *rules, uint32_t count) {
    zv_sim::Call call("zv_api_acl_rules_get");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"region_id", region_id}, {"offset", offset}, {"count", count}});
    });
    const zv_status_t status = carry_out(call, handle, [&](Switch &sw) -> zv_status_t {
        if (rules == nullptr && count != 0) {
            return kNullParameter;
        }
        return rules_read(sw, region_id, offset, rules, count);
    });
    call.out([&](OrderedJson &out) {
        if (status == kSuccess) {
            out["rules"] = rules_json(rules, count);
        }
    });
    return call.finish(status);
}

zv_status_t zv_api_acl_rule_activity_get(zv_api_handle_t handle, uint32_t cmd, uint32_t region_id,
                                         uint32_t offset, uint8_t *activity) {
    zv_sim::Call call("zv_api_acl_rule_activity_get");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"cmd", cmd}, {"region_id", region_id}, {"offset", offset}});
    });
    const zv_status_t status = carry_out(call, handle, [&](Switch &sw) -> zv_status_t {
        if (activity == nullptr) {
            return kNullParameter;
        }
        if (cmd != ZV_ACCESS_CMD_READ && cmd != ZV_ACCESS_CMD_READ_CLEAR) {
            return kCommandUnsupported;
        }
        return rule_activity(sw, region_id, offset, cmd == ZV_ACCESS_CMD_READ_CLEAR, activity);
    });
    call.out([&](OrderedJson &out) {
        if (status == kSuccess) {
            out["activity"] = *activity;
        }
    });
    return call.finish(status);
}

zv_status_t zv_api_acl_rule_block_move_set(zv_api_handle_t handle, uint32_t region_id,
                                           uint32_t block_start, uint32_t block_size,
                                           uint32_t new_start) {
    zv_sim::Call call("zv_api_acl_rule_block_move_set");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"region_id", region_id},
                                  {"block_start", block_start},
                                  {"block_size", block_size},
                                  {"new_start", new_start}});
    });
    return call.finish(carry_out(call, handle, [&](Switch &sw) {
        return rules_move(sw, region_id, block_start, block_size, new_start);
    }));
}
