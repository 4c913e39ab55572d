/* A client in C: an ACL of eight rules, three writes under way at once, and a refusal explained.
 * Prints what it did; ends with 1 where anything went otherwise. */
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "zv_acl_rm/zv_acl_rm_client.h"

#define HANDLE 0xc11

static int check(const char *what, int error, zv_acl_rm_status_t status) {
    if (error != 0) {
        fprintf(stderr, "%s: %s\n", what, strerror(error));
    } else if (status != ZV_ACL_RM_STATUS_SUCCESS) {
        fprintf(stderr, "%s: %s\n", what, zv_acl_rm_status_name(status));
    }
    return error == 0 && status == ZV_ACL_RM_STATUS_SUCCESS;
}

static int make_acl(zv_acl_rm_client_t *client, uint32_t *acl_id) {
    zv_acl_rm_acl_set_params_t params = {.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE};
    zv_acl_rm_status_t status = 0;
    params.acl.min_size = 8;
    params.acl.max_size = 8;
    int error = zv_acl_rm_api_acl_set(client, &params, &status);
    *acl_id = params.acl.acl_id;
    return check("create", error, status);
}

static int write_rules(zv_acl_rm_client_t *client, uint32_t acl_id) {
    uint32_t sequence = 0;
    zv_acl_rm_status_t status = 0;
    for (uint32_t i = 0; i < 3; i++) {
        zv_acl_rm_acl_rule_set_params_t params = {.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE,
                                                  .acl_id = acl_id};
        params.rules_num = 1;
        params.rules[0].priority = i;
        params.rules[0].valid = 1;
        int error = zv_acl_rm_client_submit(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, &params,
                                            sizeof(params), &sequence);
        if (!check("submit", error, 0)) {
            return 0;
        }
    }
    for (uint32_t i = 0; i < 3; i++) {
        int error = zv_acl_rm_client_collect(client, &sequence, NULL, NULL, &status);
        if (!check("collect", error, status)) {
            return 0;
        }
    }
    return 1;
}

static int be_refused(zv_acl_rm_client_t *client, uint32_t acl_id) {
    char text[ZV_ACL_RM_EXPLANATION_BYTES];
    zv_acl_rm_status_t status = 0;
    zv_acl_rm_acl_rule_set_params_t params = {.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE, .acl_id = acl_id};
    params.rules_num = 1;
    params.rules[0].priority = 8;
    int error = zv_acl_rm_api_acl_rule_set(client, &params, &status);
    if (error != 0 || status == ZV_ACL_RM_STATUS_SUCCESS) {
        return 0;
    }
    error = zv_acl_rm_client_explain(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, &params,
                                     sizeof(params), status, text, sizeof(text), NULL);
    printf("%s\n", text);
    return check("explain", error, 0);
}

static int tell_story(zv_acl_rm_client_t *client) {
    zv_acl_rm_acl_set_params_t params = {.cmd = ZV_ACL_RM_ACCESS_CMD_DESTROY};
    zv_acl_rm_status_t status = 0;
    uint32_t acl_id = 0;
    int error = zv_acl_rm_api_open(client, ZV_ACL_RM_OWNER_TARN_OS, &status);
    if (!check("open", error, status)) {
        return 0;
    }
    error = zv_acl_rm_api_init(client, 3, &status);
    if (!check("init", error, status) || !make_acl(client, &acl_id) ||
        !write_rules(client, acl_id) || !be_refused(client, acl_id)) {
        return 0;
    }
    params.acl.acl_id = acl_id;
    error = zv_acl_rm_api_acl_set(client, &params, &status);
    return check("destroy", error, status);
}

int main(void) {
    zv_acl_rm_client_t *client = NULL;
    int error = zv_acl_rm_client_connect(NULL, HANDLE, &client);
    if (error != 0) {
        fprintf(stderr, "connect: %s\n", strerror(error));
        return 1;
    }
    int is_told = tell_story(client);
    zv_acl_rm_client_close(client);
    return is_told ? 0 : 1;
}
