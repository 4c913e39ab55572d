/* The sixteen commands, one function each: what is particular to it is in its row; here a record is
 * made where the function takes single arguments, and copied where it is the caller's constant. */
#include <cerrno>

#include "client/client_object.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace {

template <typename Params>
int perform(zv_acl_rm_client_t *client, uint32_t command, Params *params,
            zv_acl_rm_status_t *status) {
    return zv_acl_rm_lib::perform(client, command, params, sizeof(*params), status);
}

}  // namespace

extern "C" {

int zv_acl_rm_api_open(zv_acl_rm_client_t *client, uint32_t owner, zv_acl_rm_status_t *status) {
    zv_acl_rm_open_params_t params{0, owner, 0};
    return perform(client, ZV_ACL_RM_API_INT_CMD_OPEN, &params, status);
}

int zv_acl_rm_api_init(zv_acl_rm_client_t *client, uint32_t chip_type, zv_acl_rm_status_t *status) {
    zv_acl_rm_init_params_t params{0, chip_type, 0};
    return perform(client, ZV_ACL_RM_API_INT_CMD_INIT, &params, status);
}

int zv_acl_rm_api_acl_set(zv_acl_rm_client_t *client, zv_acl_rm_acl_set_params_t *params,
                          zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_ACL_SET, params, status);
}

int zv_acl_rm_api_acl_resize(zv_acl_rm_client_t *client, zv_acl_rm_acl_resize_params_t *params,
                             zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, params, status);
}

int zv_acl_rm_api_acl_rule_set(zv_acl_rm_client_t *client, zv_acl_rm_acl_rule_set_params_t *params,
                               zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, params, status);
}

int zv_acl_rm_api_acl_rule_get(zv_acl_rm_client_t *client, zv_acl_rm_acl_rule_get_params_t *params,
                               zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, params, status);
}

int zv_acl_rm_api_acl_rule_move_block(zv_acl_rm_client_t *client,
                                      const zv_acl_rm_acl_rule_move_block_params_t *params,
                                      zv_acl_rm_status_t *status) {
    if (params == nullptr) {
        return EINVAL;
    }
    zv_acl_rm_acl_rule_move_block_params_t sent = *params;
    return perform(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK, &sent, status);
}

int zv_acl_rm_api_acl_port_bind(zv_acl_rm_client_t *client,
                                zv_acl_rm_acl_port_bind_params_t *params,
                                zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, params, status);
}

int zv_acl_rm_api_acl_rif_bind(zv_acl_rm_client_t *client, zv_acl_rm_acl_rif_bind_params_t *params,
                               zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, params, status);
}

int zv_acl_rm_api_counter_set(zv_acl_rm_client_t *client, zv_acl_rm_counter_set_params_t *params,
                              zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_COUNTER_SET, params, status);
}

int zv_acl_rm_api_counter_get(zv_acl_rm_client_t *client, zv_acl_rm_counter_get_params_t *params,
                              zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_COUNTER_GET, params, status);
}

int zv_acl_rm_api_mc_group_set(zv_acl_rm_client_t *client, zv_acl_rm_mc_group_set_params_t *params,
                               zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, params, status);
}

int zv_acl_rm_api_mc_group_get(zv_acl_rm_client_t *client, zv_acl_rm_mc_group_get_params_t *params,
                               zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, params, status);
}

int zv_acl_rm_api_system_bind_set(zv_acl_rm_client_t *client,
                                  zv_acl_rm_acl_system_bind_params_t *params,
                                  zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET, params, status);
}

int zv_acl_rm_api_port_set(zv_acl_rm_client_t *client, zv_acl_rm_port_set_params_t *params,
                           zv_acl_rm_status_t *status) {
    return perform(client, ZV_ACL_RM_API_INT_CMD_PORT_SET, params, status);
}

int zv_acl_rm_api_dump(zv_acl_rm_client_t *client, const char *path, zv_acl_rm_status_t *status) {
    zv_acl_rm_dump_params_t params{0, reinterpret_cast<uintptr_t>(path)};
    return perform(client, ZV_ACL_RM_API_INT_CMD_DUMP, &params, status);
}

}  // extern "C"
