/* The client's headers in a C11 program: compiles, links, and runs without a daemon. */
#include "zv_acl_rm/zv_acl_rm_client.h"

int zv_test_client_from_c(void);

int zv_test_client_from_c(void) {
    zv_acl_rm_client_t *client = 0;
    zv_acl_rm_acl_set_params_t params = {.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE};
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_LAST;
    return zv_acl_rm_api_acl_set(client, &params, &status);
}
