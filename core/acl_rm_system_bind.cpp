#include <algorithm>
#include <memory>
#include <new>

#include "core/acl_rm.h"
#include "core/acl_rm_cache.h"
#include "core/acl_rm_group.h"
#include "core/acl_rm_owner.h"
#include "core/acl_rm_unbind.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "zv_net.h"

// System ACLs: bound to every front-panel port there is, and to those that come and go later.

namespace {

constexpr uint32_t PORTS_SELECTOR = 2;
constexpr uint32_t PORTS_HEADROOM = 10;  // for ports that appear between counting and listing
constexpr uint32_t FRONT_PANEL_PORT = 0;

using Keys = std::unique_ptr<bind_point_key[]>;
using Ports = std::unique_ptr<zv_net_port_t[]>;

// The texts carry the name of the operation, as its callers know it.
constexpr char system_bind_name[] = "acl_rm_acl_system_bind_set";
constexpr char port_set_name[] = "acl_rm_port_set";

zv_acl_rm_status_t list_ports(Ports *ports, uint32_t *ports_num) {
    uint32_t result = zv_net_ports_get_all(PORTS_SELECTOR, nullptr, ports_num);
    if (result != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "%s: error %d getting number of ports from netlib", system_bind_name,
                             static_cast<int>(result));
    const uint32_t room = *ports_num + PORTS_HEADROOM;
    ports->reset(new (std::nothrow) zv_net_port_t[room]());
    if (*ports == nullptr)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_RESOURCES,
                             "%s: failed to allocate memory for port parameters buffer",
                             system_bind_name);
    *ports_num = room;
    result = zv_net_ports_get_all(PORTS_SELECTOR, ports->get(), ports_num);
    if (result != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "%s: error %d getting ports info from netlib",
                             system_bind_name, static_cast<int>(result));
    *ports_num = std::min(*ports_num, room);  // no more than there is, whatever the library says
    return ZV_ACL_RM_STATUS_SUCCESS;
}

uint32_t collect_keys(uint32_t acl_id, const Ports &ports, uint32_t ports_num, const Keys &keys) {
    uint32_t keys_num = 0;
    for (uint32_t i = 0; i < ports_num; i++) {
        if (ports[i].kind != FRONT_PANEL_PORT)
            continue;
        keys[keys_num++] = {BIND_POINT_LOG_PORT, ports[i].log_port};
        LOG_LINE(core_log, info, "ACL %u will be bound to logical port [0x%x]", acl_id,
                 ports[i].log_port);
    }
    return keys_num;
}

zv_acl_rm_status_t bind_to_system(uint32_t acl_id, acl_id_info *info) {
    if (info->bound_to_system != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "%s: acl %u is already a system acl",
                             system_bind_name, acl_id);
    Ports ports;
    uint32_t ports_num = 0;
    zv_acl_rm_status_t status = list_ports(&ports, &ports_num);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return status;
    const Keys keys(new (std::nothrow) bind_point_key[ports_num]());
    if (keys == nullptr)
        return core_log.fail(ZV_ACL_RM_STATUS_NO_RESOURCES,
                             "%s: failed to allocate memory for logical ports buffer",
                             system_bind_name);
    const uint32_t keys_num = collect_keys(acl_id, ports, ports_num, keys);
    status = acl_rm_bind_acl(acl_id, keys.get(), &keys_num);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    info->bound_to_system = 1;
    LOG_LINE(core_log, notice, "Successfully bound ACL %u to system", acl_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

zv_acl_rm_status_t unbind_from_system(uint32_t acl_id, acl_id_info *info) {
    if (info->bound_to_system == 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "%s: acl %u is not a system acl",
                             system_bind_name, acl_id);
    uint32_t keys_num = info->acl_bound_ports_num;
    const zv_acl_rm_status_t status = acl_rm_unbind_acl(acl_id, info->acl_bound_ports, &keys_num);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    info->bound_to_system = 0;
    LOG_LINE(core_log, notice, "Successfully unbound ACL %u from system", acl_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

Keys build_port_keys(const uint32_t *log_ports, uint32_t ports_num) {
    Keys keys(new (std::nothrow) bind_point_key[ports_num]);
    for (uint32_t i = 0; i < ports_num && keys != nullptr; i++)
        keys[i] = {BIND_POINT_LOG_PORT, log_ports[i]};
    return keys;
}

// The ports that came or went, for one system ACL.
zv_acl_rm_status_t apply_ports(uint32_t cmd, uint32_t acl_id, const uint32_t *log_ports,
                               uint32_t ports_num) {
    if (log_ports == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
    if (ports_num > ZV_ACL_RM_PORTS_PER_RECORD)
        return core_log.fail(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                             "%s: wrong ports number [%u], the record holds [%u]", port_set_name,
                             ports_num, ZV_ACL_RM_PORTS_PER_RECORD);
    const Keys keys = build_port_keys(log_ports, ports_num);
    if (keys == nullptr)
        return core_log.pass_up(ZV_ACL_RM_STATUS_NO_RESOURCES);
    const bool is_add = cmd == ZV_ACL_RM_ACCESS_CMD_ADD_PORTS;
    const zv_acl_rm_status_t status = is_add ? acl_rm_bind_acl(acl_id, keys.get(), &ports_num)
                                             : acl_rm_unbind_acl(acl_id, keys.get(), &ports_num);
    if (status != ZV_ACL_RM_STATUS_SUCCESS)
        return core_log.pass_up(status);
    if (is_add)
        LOG_LINE(core_log, notice, "Successfully added ports to ACL %u", acl_id);
    else
        LOG_LINE(core_log, notice, "Successfully deleted ports from ACL %u", acl_id);
    return ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

zv_acl_rm_status_t acl_rm_acl_system_bind_set(uint64_t client_handle, uint32_t cmd,
                                              uint32_t acl_id) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "ACL RM is not initialized");
    acl_id_info *info = nullptr;
    const zv_acl_rm_status_t status = find_own_acl(system_bind_name, client_handle, acl_id, &info);
    if (info == nullptr)
        return status;
    switch (cmd) {
        case ZV_ACL_RM_ACCESS_CMD_BIND:
            return bind_to_system(acl_id, info);
        case ZV_ACL_RM_ACCESS_CMD_UNBIND:
            return unbind_from_system(acl_id, info);
        default:
            return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                                 "%s: received unsupported command %d", system_bind_name,
                                 static_cast<int>(cmd));
    }
}

zv_acl_rm_status_t acl_rm_port_set(uint64_t /*client_handle*/, uint32_t cmd,
                                   const uint32_t *log_ports, uint32_t ports_num) {
    if (is_initialized != 1)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR, "%s: ACL RM is not initialized",
                             port_set_name);
    if (cmd != ZV_ACL_RM_ACCESS_CMD_ADD_PORTS && cmd != ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS)
        return core_log.fail(ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
                             "%s: received unsupported command %d", port_set_name,
                             static_cast<int>(cmd));
    void *key = nullptr;
    void *value = nullptr;
    uint32_t is_found = 0;
    int result = ht_iter_get_first_zvlib(acl_id_2_acl_id_info_table_it, &key, &value, &is_found);
    if (result != 0)
        return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                             "%s: error %d returned getting first ACL from hash table",
                             port_set_name, result);
    while (is_found != 0) {
        if (key == nullptr || value == nullptr)
            return core_log.pass_up(ZV_ACL_RM_STATUS_PARAM_NULL);
        zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
        if (static_cast<const acl_id_info *>(value)->bound_to_system != 0)
            status =
                apply_ports(cmd, static_cast<const PackedId *>(key)->value, log_ports, ports_num);
        if (status != ZV_ACL_RM_STATUS_SUCCESS)
            return status;
        result = ht_iter_get_next_zvlib(acl_id_2_acl_id_info_table_it, &key, &value, &is_found);
        if (result != 0)
            return core_log.fail(ZV_ACL_RM_STATUS_ERROR,
                                 "%s: error %d returned getting next ACL from hash table",
                                 port_set_name, result);
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}
