// The SDK's functions for PBS entries and flow counters: checks of command and pointers, and the
// trace.

#include "platform/switch/api_call.h"
#include "platform/switch/render.h"

using namespace zv_switch;

namespace {

// Whether an entry can be read, or filled.
bool has_ports(const zv_acl_pbs_entry_t *entry) {
    return entry != nullptr && (entry->ports != nullptr || entry->port_count == 0);
}

bool takes_ports(uint32_t cmd) {
    return cmd == ZV_ACCESS_CMD_ADD || cmd == ZV_ACCESS_CMD_ADD_PORTS ||
           cmd == ZV_ACCESS_CMD_DELETE_PORTS;
}

}  // namespace

zv_status_t zv_api_acl_policy_based_switching_set(zv_api_handle_t handle, uint32_t cmd,
                                                  uint8_t switch_id,
                                                  const zv_acl_pbs_entry_t *entry,
                                                  uint32_t *pbs_id) {
    zv_sim::Call call("zv_api_acl_policy_based_switching_set");
    call.args([&](OrderedJson &args) {
        const bool with_ports = takes_ports(cmd) || cmd == ZV_ACCESS_CMD_DELETE;
        args = zv_sim::object_of({{"cmd", cmd},
                                  {"switch_id", switch_id},
                                  {"entry", pbs_entry_json(entry, with_ports)},
                                  {"pbs_id", number_json(pbs_id)}});
    });
    const zv_status_t status = carry_out(call, handle, [&](Switch &sw) -> zv_status_t {
        if (pbs_id == nullptr || (takes_ports(cmd) && !has_ports(entry))) {
            return kNullParameter;
        }
        switch (cmd) {
            case ZV_ACCESS_CMD_ADD:
                return pbs_create(sw, switch_id, *entry, pbs_id);
            case ZV_ACCESS_CMD_ADD_PORTS:
                return pbs_add_ports(sw, switch_id, *pbs_id, *entry);
            case ZV_ACCESS_CMD_DELETE_PORTS:
                return pbs_delete_ports(sw, switch_id, *pbs_id, *entry);
            case ZV_ACCESS_CMD_DELETE:
                return pbs_destroy(sw, switch_id, *pbs_id);
            default:
                return kCommandUnsupported;
        }
    });
    call.out([&](OrderedJson &out) { out["pbs_id"] = number_json(pbs_id); });
    return call.finish(status);
}

zv_status_t zv_api_acl_policy_based_switching_get(zv_api_handle_t handle, uint32_t cmd,
                                                  uint8_t switch_id, uint32_t pbs_id,
                                                  zv_acl_pbs_entry_t *entry) {
    zv_sim::Call call("zv_api_acl_policy_based_switching_get");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"cmd", cmd},
                                  {"switch_id", switch_id},
                                  {"pbs_id", pbs_id},
                                  {"entry", pbs_entry_json(entry, false)}});
    });
    const zv_status_t status = carry_out(call, handle, [&](Switch &sw) -> zv_status_t {
        if (!has_ports(entry)) {
            return kNullParameter;
        }
        if (cmd != ZV_ACCESS_CMD_GET) {
            return kCommandUnsupported;
        }
        return pbs_read(sw, switch_id, pbs_id, entry);
    });
    call.out([&](OrderedJson &out) { out["entry"] = pbs_entry_json(entry, status == kSuccess); });
    return call.finish(status);
}

zv_status_t zv_api_flow_counter_set(zv_api_handle_t handle, uint32_t cmd, uint32_t counter_type,
                                    uint32_t *counter_id) {
    zv_sim::Call call("zv_api_flow_counter_set");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"cmd", cmd},
                                  {"counter_type", counter_type},
                                  {"counter_id", number_json(counter_id)}});
    });
    const zv_status_t status = carry_out(call, handle, [&](Switch &sw) -> zv_status_t {
        if (counter_id == nullptr) {
            return kNullParameter;
        }
        switch (cmd) {
            case ZV_ACCESS_CMD_CREATE:
                return counter_create(sw, counter_type, counter_id);
            case ZV_ACCESS_CMD_DESTROY:
                return counter_destroy(sw, *counter_id);
            default:
                return kCommandUnsupported;
        }
    });
    call.out([&](OrderedJson &out) { out["counter_id"] = number_json(counter_id); });
    return call.finish(status);
}

zv_status_t zv_api_flow_counter_get(zv_api_handle_t handle, uint32_t cmd, uint32_t counter_id,
                                    zv_flow_counter_set_t *values) {
    zv_sim::Call call("zv_api_flow_counter_get");
    call.args([&](OrderedJson &args) {
        args = zv_sim::object_of({{"cmd", cmd}, {"counter_id", counter_id}});
    });
    const zv_status_t status = carry_out(call, handle, [&](Switch &sw) -> zv_status_t {
        if (values == nullptr) {
            return kNullParameter;
        }
        if (cmd != ZV_ACCESS_CMD_READ && cmd != ZV_ACCESS_CMD_READ_CLEAR) {
            return kCommandUnsupported;
        }
        return counter_read(sw, counter_id, cmd == ZV_ACCESS_CMD_READ_CLEAR, values);
    });
    call.out([&](OrderedJson &out) {
        if (status == kSuccess) {
            out["values"] = counter_values_json(*values);
        }
    });
    return call.finish(status);
}

zv_status_t zv_api_flow_counter_clear_set(zv_api_handle_t handle, uint32_t counter_id) {
    zv_sim::Call call("zv_api_flow_counter_clear_set");
    call.args([&](OrderedJson &args) { args = zv_sim::object_of({{"counter_id", counter_id}}); });
    return call.finish(
        carry_out(call, handle, [&](Switch &sw) { return counter_clear(sw, counter_id); }));
}
