#include "client/command_rows.h"

#include <cerrno>
#include <cstring>
#include <iterator>

#include "zv_acl_rm/zv_acl_rm_records.h"

namespace zv_acl_rm_lib {

namespace {

constexpr size_t kPathBytes = 4096; /* of a dump path, with its NUL */

/* The daemon stores the handle at the owner's place without a look at the number. */
int check_owner(const void *record) {
    const auto *params = static_cast<const zv_acl_rm_open_params_t *>(record);
    return params->owner < ZV_ACL_RM_OWNER_NUM ? 0 : EINVAL;
}

uint32_t listed_num(const zv_acl_rm_acl_rif_bind_params_t &params) {
    return params.rifs_num;
}

template <typename Params>
uint32_t listed_num(const Params &params) {
    return params.ports_num;
}

/* A count of ports past the record's array is stopped here, before anybody trusts it. */
template <typename Params>
int check_ports(const void *record) {
    const auto *params = static_cast<const Params *>(record);
    return listed_num(*params) <= ZV_ACL_RM_PORTS_PER_RECORD ? 0 : EINVAL;
}

int check_path(const void *record) {
    const auto *params = static_cast<const zv_acl_rm_dump_params_t *>(record);
    const auto *path = reinterpret_cast<const char *>(static_cast<uintptr_t>(params->path));
    if (path == nullptr || path[0] == '\0') {
        return EINVAL;
    }
    return strnlen(path, kPathBytes) < kPathBytes ? 0 : ENAMETOOLONG;
}

template <typename Params>
constexpr CommandRow echoed(uint32_t command, int (*check)(const void *) = nullptr) {
    return {command, sizeof(Params), 0, sizeof(Params), check};
}

template <typename Params>
constexpr CommandRow without_reply(uint32_t command, int (*check)(const void *) = nullptr) {
    return {command, sizeof(Params), 0, 0, check};
}

constexpr CommandRow kRows[] = {
    without_reply<zv_acl_rm_open_params_t>(ZV_ACL_RM_API_INT_CMD_OPEN, check_owner),
    without_reply<zv_acl_rm_init_params_t>(ZV_ACL_RM_API_INT_CMD_INIT),
    {ZV_ACL_RM_API_INT_CMD_ACL_SET, sizeof(zv_acl_rm_acl_set_params_t),
     offsetof(zv_acl_rm_acl_set_params_t, acl), sizeof(acl_rm_acl), nullptr},
    echoed<zv_acl_rm_acl_resize_params_t>(ZV_ACL_RM_API_INT_CMD_ACL_RESIZE),
    echoed<zv_acl_rm_acl_rule_set_params_t>(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET),
    echoed<zv_acl_rm_acl_rule_get_params_t>(ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET),
    without_reply<zv_acl_rm_acl_rule_move_block_params_t>(
        ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK),
    echoed<zv_acl_rm_acl_port_bind_params_t>(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET,
                                             check_ports<zv_acl_rm_acl_port_bind_params_t>),
    echoed<zv_acl_rm_acl_rif_bind_params_t>(ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET,
                                            check_ports<zv_acl_rm_acl_rif_bind_params_t>),
    echoed<zv_acl_rm_counter_set_params_t>(ZV_ACL_RM_API_INT_CMD_COUNTER_SET),
    echoed<zv_acl_rm_counter_get_params_t>(ZV_ACL_RM_API_INT_CMD_COUNTER_GET),
    echoed<zv_acl_rm_mc_group_set_params_t>(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET,
                                            check_ports<zv_acl_rm_mc_group_set_params_t>),
    echoed<zv_acl_rm_mc_group_get_params_t>(ZV_ACL_RM_API_INT_CMD_MC_GRP_GET,
                                            check_ports<zv_acl_rm_mc_group_get_params_t>),
    echoed<zv_acl_rm_acl_system_bind_params_t>(ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET),
    echoed<zv_acl_rm_port_set_params_t>(ZV_ACL_RM_API_INT_CMD_PORT_SET,
                                        check_ports<zv_acl_rm_port_set_params_t>),
    echoed<zv_acl_rm_dump_params_t>(ZV_ACL_RM_API_INT_CMD_DUMP, check_path),
};

/* The rows stand in the order of their numbers, which have no gaps. */
constexpr uint32_t kFirst = ZV_ACL_RM_API_INT_CMD_OPEN;

constexpr bool rows_in_order() {
    for (uint32_t i = 0; i < std::size(kRows); i++) {
        if (kRows[i].command != kFirst + i) {
            return false;
        }
    }
    return true;
}
static_assert(rows_in_order());

}  // namespace

const CommandRow *find_row(uint32_t command) {
    const uint32_t index = command - kFirst;
    return index < std::size(kRows) ? &kRows[index] : nullptr;
}

}  // namespace zv_acl_rm_lib
