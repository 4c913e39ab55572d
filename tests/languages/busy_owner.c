/* An owner at work beside two others; busy_owner.py says how, busy_owner.cpp is the third.
 *
 *     busy_owner_c ARRIVED GO ROUNDS
 */
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "zv_acl_rm/zv_acl_rm_client.h"

#define HANDLE 0xb1u
#define TAG 0xb1u
#define CHIP_TYPE 3u
#define BATCHES 3u
#define BATCH 20u
#define VERDICT_AT 12

static const uint32_t ports[] = {65537, 65538};

static zv_acl_rm_client_t *client;
static zv_acl_rm_status_t status;

static void require(int right, const char *what) {
    if (!right) {
        fprintf(stderr, "wrong: %s\n", what);
        exit(1);
    }
}

static void must(const char *what, int error) {
    if (error != 0 || status != ZV_ACL_RM_STATUS_SUCCESS) {
        fprintf(stderr, "%s: error %d, %s\n", what, error, zv_acl_rm_status_name(status));
        exit(1);
    }
}

static acl_rm_rule make_rule(uint32_t offset, uint32_t round) {
    acl_rm_rule rule = {.priority = offset, .offset = offset, .valid = 1};
    const uint32_t verdict = offset % 3;
    rule.key.data[0] = TAG;
    rule.key.data[1] = (uint8_t)round;
    rule.key.data[2] = (uint8_t)offset;
    memset(rule.mask.data, 0xff, 3);
    memcpy(rule.action + VERDICT_AT, &verdict, sizeof(verdict));
    return rule;
}

static void write_rules(uint32_t acl_id, uint32_t round) {
    uint32_t sent[BATCHES];
    for (uint32_t batch = 0; batch < BATCHES; batch++) {
        zv_acl_rm_acl_rule_set_params_t params = {.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE,
                                                  .acl_id = acl_id};
        while (params.rules_num < BATCH) {
            params.rules[params.rules_num] = make_rule(batch * BATCH + params.rules_num, round);
            params.rules_num++;
        }
        must("submitting", zv_acl_rm_client_submit(client, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
                                                   &params, sizeof(params), &sent[batch]));
    }
    for (uint32_t batch = 0; batch < BATCHES; batch++) {
        uint32_t sequence = 0;
        must("writing rules", zv_acl_rm_client_collect(client, &sequence, NULL, NULL, &status));
        require(sequence == sent[batch], "the order of the answers");
    }
}

static void check_batch(uint32_t acl_id, uint32_t first, uint32_t round) {
    zv_acl_rm_acl_rule_get_params_t params = {.acl_id = acl_id, .rules_num = BATCH};
    for (uint32_t i = 0; i < BATCH; i++) {
        params.rules[i].offset = first + i;
    }
    must("reading rules", zv_acl_rm_api_acl_rule_get(client, &params, &status));
    for (uint32_t i = 0; i < BATCH; i++) {
        const acl_rm_rule expected = make_rule(first + i, round);
        const acl_rm_rule *rule = &params.rules[i];
        require(rule->offset == first + i, "an offset");
        require(memcmp(&rule->key, &expected.key, sizeof(rule->key)) == 0, "a key");
        require(memcmp(&rule->mask, &expected.mask, sizeof(rule->mask)) == 0, "a mask");
        require(memcmp(rule->action + VERDICT_AT, expected.action + VERDICT_AT, 4) == 0,
                "a verdict");
    }
}

static void set_binding(uint32_t acl_id, uint32_t cmd) {
    zv_acl_rm_acl_port_bind_params_t params = {.cmd = cmd, .acl_id = acl_id, .ports_num = 2};
    memcpy(params.log_ports, ports, sizeof(ports));
    must("binding or unbinding", zv_acl_rm_api_acl_port_bind(client, &params, &status));
}

static void use_counter(void) {
    zv_acl_rm_counter_set_params_t counter = {.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE,
                                              .counter_type = {.second = 1}};
    must("creating a counter", zv_acl_rm_api_counter_set(client, &counter, &status));
    zv_acl_rm_counter_get_params_t value = {.cmd = ZV_ACL_RM_ACCESS_CMD_READ,
                                            .counter_id = counter.counter_id};
    must("reading a counter", zv_acl_rm_api_counter_get(client, &value, &status));
    require(value.counter_type.second == 1 && value.values[1] == 0, "a counter's value");
    counter.cmd = ZV_ACL_RM_ACCESS_CMD_DESTROY;
    must("destroying a counter", zv_acl_rm_api_counter_set(client, &counter, &status));
}

static void use_group(void) {
    zv_acl_rm_mc_group_set_params_t group = {.cmd = ZV_ACL_RM_ACCESS_CMD_ADD, .ports_num = 2};
    memcpy(group.log_ports, ports, sizeof(ports));
    must("creating a group", zv_acl_rm_api_mc_group_set(client, &group, &status));
    zv_acl_rm_mc_group_get_params_t get = {.mc_group_id = group.mc_group_id, .ports_num = 100};
    must("reading a group", zv_acl_rm_api_mc_group_get(client, &get, &status));
    require(get.ports_num == 2 && get.log_ports[0] + get.log_ports[1] == ports[0] + ports[1],
            "ports");
    group.cmd = ZV_ACL_RM_ACCESS_CMD_DELETE;
    must("deleting a group", zv_acl_rm_api_mc_group_set(client, &group, &status));
}

static void work(uint32_t round) {
    zv_acl_rm_acl_set_params_t acl = {.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE};
    acl.acl.min_size = acl.acl.max_size = BATCHES * BATCH;
    must("creating an ACL", zv_acl_rm_api_acl_set(client, &acl, &status));
    const uint32_t acl_id = acl.acl.acl_id;
    write_rules(acl_id, round);
    set_binding(acl_id, ZV_ACL_RM_ACCESS_CMD_BIND);
    use_counter();
    use_group();
    for (uint32_t batch = 0; batch < BATCHES; batch++) {
        check_batch(acl_id, batch * BATCH, round);
    }
    set_binding(acl_id, ZV_ACL_RM_ACCESS_CMD_UNBIND);
    zv_acl_rm_acl_rule_set_params_t first = {
        .cmd = ZV_ACL_RM_ACCESS_CMD_DELETE, .acl_id = acl_id, .rules_num = BATCH};
    for (uint32_t i = 0; i < BATCH; i++) {
        first.rules[i].offset = i;
    }
    must("deleting rules", zv_acl_rm_api_acl_rule_set(client, &first, &status));
    acl.cmd = ZV_ACL_RM_ACCESS_CMD_DESTROY;
    must("destroying the ACL", zv_acl_rm_api_acl_set(client, &acl, &status));
}

static int is_readable(int fd) {
    struct pollfd waited = {.fd = fd, .events = POLLIN};
    return poll(&waited, 1, 0) > 0;
}

int main(int argc, char **argv) {
    require(argc == 4, "the arguments");
    const int arrived = open(argv[1], O_WRONLY);
    const int go = open(argv[2], O_RDONLY);
    const uint32_t rounds = (uint32_t)strtoul(argv[3], NULL, 10);
    char byte = 'x';
    must("connecting", zv_acl_rm_client_connect(NULL, HANDLE, &client));
    must("setting the time limit", zv_acl_rm_client_set_timeout_ms(client, 60000));
    must("opening", zv_acl_rm_api_open(client, ZV_ACL_RM_OWNER_OPEN_FLOW, &status));
    must("initialising", zv_acl_rm_api_init(client, CHIP_TYPE, &status));
    require(write(arrived, &byte, 1) == 1 && read(go, &byte, 1) == 1, "the start");
    uint32_t done = 0;
    do {
        work(done++);
        require(done != rounds || write(arrived, &byte, 1) == 1, "the end");
    } while (done < rounds || !is_readable(go));
    zv_acl_rm_client_close(client);
    printf("%u rounds\n", done);
    return 0;
}
