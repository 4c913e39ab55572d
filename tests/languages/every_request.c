/* Sends every request once, as every_request.cpp and every_request.py do: a test compares bytes.
 *
 *     every_request_c SOCKET
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zv_acl_rm/zv_acl_rm_client.h"

#define HANDLE 0x1122334455667788u

static zv_acl_rm_client_t *client;
static zv_acl_rm_status_t status;

/* A request that fails ends the program: the comparison would have too few. */
static void must(int error) {
    if (error != 0 || status != ZV_ACL_RM_STATUS_SUCCESS) {
        fprintf(stderr, "error %d, status %u\n", error, status);
        exit(1);
    }
}

static acl_rm_rule rule_at(uint32_t offset) {
    acl_rm_rule rule = {.priority = offset, .offset = offset, .valid = 1};
    return rule;
}

static void set_verdict(acl_rm_rule *rule, uint32_t verdict) {
    memcpy(rule->action + 12, &verdict, sizeof(verdict));
}

static void match_bytes(acl_rm_rule *rule, unsigned count) {
    for (unsigned i = 0; i < count; i++) {
        rule->key.data[i] = (uint8_t)i;
        rule->mask.data[i] = (uint8_t)(255 - i);
    }
}

static zv_acl_rm_acl_rule_set_params_t three_rules(void) {
    zv_acl_rm_acl_rule_set_params_t batch = {.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE, .acl_id = 7};
    batch.rules_num = 3;
    acl_rm_rule *rule = &batch.rules[0];
    *rule = rule_at(3);
    match_bytes(rule, 128);
    rule->key.key_type = 2;
    rule->mask.key_type = 2;
    set_verdict(rule, 2);
    rule->forwarding.type = 1;
    rule->forwarding.log_port = 65537;
    rule->forwarding.counter_id = 77;
    rule = &batch.rules[1];
    *rule = rule_at(4);
    match_bytes(rule, 5);
    rule->forwarding.type = 2;
    rule->forwarding.mc_group_id = 6;
    rule = &batch.rules[2];
    *rule = rule_at(5);
    rule->valid = 0;
    set_verdict(rule, 1);
    return batch;
}

static void send_acl(uint32_t cmd, acl_rm_acl acl) {
    zv_acl_rm_acl_set_params_t params = {.cmd = cmd, .acl = acl};
    must(zv_acl_rm_api_acl_set(client, &params, &status));
}

static void send_acls(void) {
    must(zv_acl_rm_api_open(client, ZV_ACL_RM_OWNER_PRA, &status));
    must(zv_acl_rm_api_init(client, 9, &status));
    send_acl(ZV_ACL_RM_ACCESS_CMD_CREATE, (acl_rm_acl){.key_type = 1,
                                                       .action_type = 2,
                                                       .acl_type = 3,
                                                       .direction = 1,
                                                       .min_size = 64,
                                                       .max_size = 64});
    send_acl(ZV_ACL_RM_ACCESS_CMD_DESTROY,
             (acl_rm_acl){.acl_id = 7, .acl_type = 3, .direction = 1});
    send_acl(ZV_ACL_RM_ACCESS_CMD_EDIT, (acl_rm_acl){.acl_id = 7, .direction = 1});
    zv_acl_rm_acl_resize_params_t resize = {.acl_id = 7, .new_size = 128};
    must(zv_acl_rm_api_acl_resize(client, &resize, &status));
}

static void send_read(uint32_t activity) {
    zv_acl_rm_acl_rule_get_params_t read = {.acl_id = 7, .rules_num = 2};
    for (uint32_t i = 0; i < 2; i++) {
        read.rules[i].priority = i * 3;
        read.rules[i].offset = i * 3;
        read.rules[i].readout.activity_request = activity;
    }
    must(zv_acl_rm_api_acl_rule_get(client, &read, &status));
}

static void send_rules(void) {
    zv_acl_rm_acl_rule_set_params_t batch = three_rules();
    must(zv_acl_rm_api_acl_rule_set(client, &batch, &status));
    memset(&batch, 0, sizeof(batch));
    batch.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    batch.acl_id = 7;
    for (uint32_t offset = 0; offset < 20; offset++) {
        batch.rules[batch.rules_num++] = rule_at(offset);
    }
    must(zv_acl_rm_api_acl_rule_set(client, &batch, &status));
    memset(&batch, 0, sizeof(batch));
    batch.cmd = ZV_ACL_RM_ACCESS_CMD_DELETE;
    batch.acl_id = 7;
    batch.rules_num = 2;
    batch.rules[0].priority = batch.rules[0].offset = 1;
    batch.rules[1].priority = batch.rules[1].offset = 5;
    must(zv_acl_rm_api_acl_rule_set(client, &batch, &status));
    send_read(0);
    send_read(2);
    zv_acl_rm_acl_rule_move_block_params_t move = {
        .acl_id = 7, .block_start = 1, .block_size = 2, .new_start = 5};
    must(zv_acl_rm_api_acl_rule_move_block(client, &move, &status));
}

static void send_port_bind(uint32_t cmd, uint32_t ports_num) {
    zv_acl_rm_acl_port_bind_params_t bind = {.cmd = cmd, .acl_id = 7, .ports_num = ports_num};
    for (uint32_t i = 0; i < ports_num; i++) {
        bind.log_ports[i] = 65537 + i;
    }
    must(zv_acl_rm_api_acl_port_bind(client, &bind, &status));
}

static void send_system_bind(uint32_t cmd) {
    zv_acl_rm_acl_system_bind_params_t bind = {.cmd = cmd, .acl_id = 7};
    must(zv_acl_rm_api_system_bind_set(client, &bind, &status));
}

static void send_bindings(void) {
    send_port_bind(ZV_ACL_RM_ACCESS_CMD_BIND, 100);
    send_port_bind(ZV_ACL_RM_ACCESS_CMD_UNBIND, 1);
    zv_acl_rm_acl_rif_bind_params_t bind_rifs = {
        .cmd = ZV_ACL_RM_ACCESS_CMD_BIND, .acl_id = 7, .rifs = {1, 65535}, .rifs_num = 2};
    must(zv_acl_rm_api_acl_rif_bind(client, &bind_rifs, &status));
    zv_acl_rm_acl_rif_bind_params_t unbind_rifs = {.cmd = ZV_ACL_RM_ACCESS_CMD_UNBIND, .acl_id = 7};
    must(zv_acl_rm_api_acl_rif_bind(client, &unbind_rifs, &status));
    send_system_bind(ZV_ACL_RM_ACCESS_CMD_BIND);
    send_system_bind(ZV_ACL_RM_ACCESS_CMD_UNBIND);
    zv_acl_rm_port_set_params_t added = {
        .cmd = ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, .log_ports = {65537, 65538}, .ports_num = 2};
    must(zv_acl_rm_api_port_set(client, &added, &status));
    zv_acl_rm_port_set_params_t removed = {
        .cmd = ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS, .log_ports = {65538}, .ports_num = 1};
    must(zv_acl_rm_api_port_set(client, &removed, &status));
}

static void send_counter(uint32_t cmd, acl_rm_counter_type type, uint32_t counter_id) {
    zv_acl_rm_counter_set_params_t params = {
        .cmd = cmd, .counter_type = type, .counter_id = counter_id};
    must(zv_acl_rm_api_counter_set(client, &params, &status));
}

static void send_counter_get(uint32_t cmd) {
    zv_acl_rm_counter_get_params_t params = {.cmd = cmd, .counter_id = 5};
    must(zv_acl_rm_api_counter_get(client, &params, &status));
}

static void send_counters(void) {
    send_counter(ZV_ACL_RM_ACCESS_CMD_CREATE, (acl_rm_counter_type){0, 1}, 0);
    send_counter(ZV_ACL_RM_ACCESS_CMD_CREATE, (acl_rm_counter_type){1, 0}, 0);
    send_counter(ZV_ACL_RM_ACCESS_CMD_DESTROY, (acl_rm_counter_type){0, 0}, 5);
    send_counter_get(ZV_ACL_RM_ACCESS_CMD_READ);
    send_counter_get(ZV_ACL_RM_ACCESS_CMD_CLEAR);
}

static void send_mc_group(uint32_t cmd, uint32_t mc_group_id, uint32_t port, uint32_t ports_num) {
    zv_acl_rm_mc_group_set_params_t params = {
        .cmd = cmd, .mc_group_id = mc_group_id, .ports_num = ports_num};
    for (uint32_t i = 0; i < ports_num; i++) {
        params.log_ports[i] = port + i;
    }
    must(zv_acl_rm_api_mc_group_set(client, &params, &status));
}

static void send_mc_groups(void) {
    send_mc_group(ZV_ACL_RM_ACCESS_CMD_ADD, 0, 65537, 2);
    send_mc_group(ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, 4, 65539, 1);
    send_mc_group(ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS, 4, 65539, 1);
    send_mc_group(ZV_ACL_RM_ACCESS_CMD_DELETE, 4, 0, 0);
    zv_acl_rm_mc_group_get_params_t get = {.mc_group_id = 4, .ports_num = 10};
    must(zv_acl_rm_api_mc_group_get(client, &get, &status));
}

static void submit_some(void) {
    uint32_t sequence = 0;
    zv_acl_rm_acl_set_params_t acl = {.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE,
                                      .acl = {.min_size = 64, .max_size = 64}};
    must(zv_acl_rm_client_submit(client, ZV_ACL_RM_API_INT_CMD_ACL_SET, &acl, sizeof(acl),
                                 &sequence));
    zv_acl_rm_acl_rule_set_params_t batch = three_rules();
    must(zv_acl_rm_client_submit(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, &batch, sizeof(batch),
                                 &sequence));
    static const char path[] = "/tmp/d";
    zv_acl_rm_dump_params_t dump = {.path = (uintptr_t)path};
    must(zv_acl_rm_client_submit(client, ZV_ACL_RM_API_INT_CMD_DUMP, &dump, sizeof(dump),
                                 &sequence));
    for (int i = 0; i < 3; i++) {
        must(zv_acl_rm_client_collect(client, &sequence, NULL, NULL, &status));
    }
}

int main(int argc, char **argv) {
    must(zv_acl_rm_client_connect(argc > 1 ? argv[1] : NULL, HANDLE, &client));
    send_acls();
    send_rules();
    send_bindings();
    send_counters();
    send_mc_groups();
    must(zv_acl_rm_api_dump(client, "/tmp/some file", &status));
    submit_some();
    zv_acl_rm_client_close(client);
    return 0;
}
