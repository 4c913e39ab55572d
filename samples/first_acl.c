/* A first client: an ACL of three rules on two ports, read back, and taken away again.
 *
 *     cc first_acl.c $(pkg-config --cflags --libs zv_acl_rm) -o first_acl && ./first_acl
 *
 * first_acl.cpp and first_acl.py do the same in C++ and Python, and print the same text.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zv_acl_rm/zv_acl_rm_client.h"

#define HANDLE 0xf125u /* any number; what the daemon knows this client by */
#define CHIP_TYPE 1u
#define VERDICT_AT 12 /* in the switch's action block */

/* Where key type 0 has its fields. */
enum { PROTOCOL_AT = 8, DESTINATION_PORT_AT = 12 };
enum { PERMIT, DROP, TRAP };

static const char *const verdict_names[] = {"permit", "drop", "trap"};
static const uint32_t ports[] = {65537, 65538};

/* Every call has two results: whether an answer came, and the daemon's answer. */
static int failed(const char *what, int error, zv_acl_rm_status_t status) {
    if (error != 0) {
        fprintf(stderr, "%s: no answer: %s\n", what, strerror(error));
    } else if (status != ZV_ACL_RM_STATUS_SUCCESS) {
        fprintf(stderr, "%s: %s: %s\n", what, zv_acl_rm_status_name(status),
                zv_acl_rm_status_meaning(status));
    }
    return error != 0 || status != ZV_ACL_RM_STATUS_SUCCESS;
}

/* A rule for every packet; the callers narrow it down. */
static acl_rm_rule *add_rule(zv_acl_rm_acl_rule_set_params_t *batch, uint32_t verdict) {
    acl_rm_rule *rule = &batch->rules[batch->rules_num];
    rule->priority = batch->rules_num; /* the rule's place in the ACL: lower ones match first */
    rule->offset = batch->rules_num;
    rule->valid = 1;
    memcpy(rule->action + VERDICT_AT, &verdict, sizeof(verdict));
    batch->rules_num++;
    return rule;
}

static void match_byte(acl_rm_rule *rule, int place, uint8_t value) {
    rule->key.data[place] = value;
    rule->mask.data[place] = 0xff;
}

static void match_port(acl_rm_rule *rule, uint16_t port) { /* in network byte order */
    match_byte(rule, DESTINATION_PORT_AT, (uint8_t)(port >> 8));
    match_byte(rule, DESTINATION_PORT_AT + 1, (uint8_t)(port & 0xff));
}

static int write_rules(zv_acl_rm_client_t *client, uint32_t acl_id) {
    zv_acl_rm_acl_rule_set_params_t batch = {.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE, .acl_id = acl_id};
    acl_rm_rule *telnet = add_rule(&batch, DROP);
    match_byte(telnet, PROTOCOL_AT, 6);
    match_port(telnet, 23);
    match_byte(add_rule(&batch, TRAP), PROTOCOL_AT, 89);
    add_rule(&batch, PERMIT);
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
    int error = zv_acl_rm_api_acl_rule_set(client, &batch, &status);
    if (failed("writing rules", error, status)) {
        return 1;
    }
    printf("%u rules written\n", batch.rules_num);
    return 0;
}

static int bind_ports(zv_acl_rm_client_t *client, uint32_t acl_id, uint32_t cmd) {
    zv_acl_rm_acl_port_bind_params_t bind = {.cmd = cmd, .acl_id = acl_id, .ports_num = 2};
    memcpy(bind.log_ports, ports, sizeof(ports));
    int binds = cmd == ZV_ACL_RM_ACCESS_CMD_BIND;
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
    int error = zv_acl_rm_api_acl_port_bind(client, &bind, &status);
    if (failed(binds ? "binding" : "unbinding", error, status)) {
        return 1;
    }
    printf("%s ports %u and %u\n", binds ? "bound to" : "unbound from", ports[0], ports[1]);
    return 0;
}

static int read_rules(zv_acl_rm_client_t *client, uint32_t acl_id) {
    zv_acl_rm_acl_rule_get_params_t batch = {.acl_id = acl_id, .rules_num = 3};
    for (uint32_t i = 0; i < batch.rules_num; i++) {
        batch.rules[i].priority = i;
        batch.rules[i].offset = i;
    }
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
    int error = zv_acl_rm_api_acl_rule_get(client, &batch, &status);
    if (failed("reading rules", error, status)) {
        return 1;
    }
    for (uint32_t i = 0; i < batch.rules_num; i++) {
        const acl_rm_rule *rule = &batch.rules[i];
        uint32_t verdict = 0;
        memcpy(&verdict, rule->action + VERDICT_AT, sizeof(verdict));
        printf("offset %u: protocol %u/%u, %s\n", rule->offset, rule->key.data[PROTOCOL_AT],
               rule->mask.data[PROTOCOL_AT], verdict_names[verdict % 3]);
    }
    return 0;
}

static int use_acl(zv_acl_rm_client_t *client, uint32_t acl_id) {
    return write_rules(client, acl_id) || bind_ports(client, acl_id, ZV_ACL_RM_ACCESS_CMD_BIND) ||
           read_rules(client, acl_id) || bind_ports(client, acl_id, ZV_ACL_RM_ACCESS_CMD_UNBIND);
}

static int run(zv_acl_rm_client_t *client) {
    zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
    int error = zv_acl_rm_api_open(client, ZV_ACL_RM_OWNER_OPEN_FLOW, &status);
    if (failed("opening as open-flow", error, status)) {
        return 1;
    }
    error = zv_acl_rm_api_init(client, CHIP_TYPE, &status);
    if (failed("loading the chip's limits", error, status)) {
        return 1;
    }
    zv_acl_rm_acl_set_params_t acl = {.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE};
    acl.acl.min_size = 16;
    acl.acl.max_size = 16;
    error = zv_acl_rm_api_acl_set(client, &acl, &status);
    if (failed("creating an ACL", error, status)) {
        return 1;
    }
    printf("ACL %u created in region %u\n", acl.acl.acl_id, acl.acl.region_id);
    int result = use_acl(client, acl.acl.acl_id);
    acl.cmd = ZV_ACL_RM_ACCESS_CMD_DESTROY; /* also when something failed: it is ours */
    error = zv_acl_rm_api_acl_set(client, &acl, &status);
    if (failed("destroying the ACL", error, status)) {
        return 1;
    }
    printf("ACL %u destroyed\n", acl.acl.acl_id);
    return result;
}

int main(void) {
    zv_acl_rm_client_t *client = NULL;
    int error = zv_acl_rm_client_connect(NULL, HANDLE, &client);
    if (error != 0) {
        const char *root = getenv("ZV_PLATFORM_ROOT"); /* is put before the socket's path */
        fprintf(stderr, "no daemon at %s" ZV_ACL_RM_SOCKET_PATH ": %s\n", root ? root : "",
                strerror(error));
        return 1;
    }
    int result = run(client);
    zv_acl_rm_client_close(client);
    return result;
}
