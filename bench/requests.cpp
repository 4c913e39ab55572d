#include "bench/requests.h"

#include <string.h>

#include "bench/die.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace bench {

namespace {

constexpr uint64_t CLIENT_HANDLE = 0x5a01;
constexpr uint32_t CHIP_TYPE = 3;  // any with limits that let rules be written
constexpr uint32_t LOG_PORT = 65537;

uint32_t create_acl(int fd, uint32_t rules_num) {
    zv_acl_rm_acl_set_params_t record = {};
    record.client_handle = CLIENT_HANDLE;
    record.cmd = ZV_ACL_RM_ACCESS_CMD_CREATE;
    record.acl.min_size = rules_num;
    record.acl.max_size = rules_num;
    Message request = {};
    Message reply = {};
    make_request_of(&request, ZV_ACL_RM_API_INT_CMD_ACL_SET, record);
    exchange_ok(fd, request, &reply, "create an ACL");
    acl_rm_acl acl = {};
    memcpy(&acl, reply.body, sizeof acl);
    return acl.acl_id;
}

void initialise(int fd) {
    zv_acl_rm_init_params_t record = {};
    record.client_handle = CLIENT_HANDLE;
    record.chip_type = CHIP_TYPE;
    Message request = {};
    Message reply = {};
    make_request_of(&request, ZV_ACL_RM_API_INT_CMD_INIT, record);
    exchange_ok(fd, request, &reply, "INIT");
}

// A rule as clients send it: a few key bytes that matter, no forwarding, no counter.
void make_rule(acl_rm_rule *rule, uint32_t offset) {
    rule->priority = offset;
    rule->valid = 1;
    rule->key.key_type = 0;
    rule->mask.key_type = 0;
    memcpy(rule->key.data, &offset, sizeof offset);
    memset(rule->mask.data, 0xff, 16);
}

}  // namespace

Session::Session(int fd) {
    if (fd < 0) {
        return;
    }
    Message request = {};
    Message reply = {};
    make_open(&request);
    exchange_ok(fd, request, &reply, "OPEN");
    initialise(fd);
    for (uint32_t &acl_id : acl_ids_) {
        acl_id = create_acl(fd, BATCHES_PER_ACL * RULES_PER_BATCH);
    }
    make_port_bind(&request);
    exchange_ok(fd, request, &reply, "bind an ACL to a port");
}

void Session::make_open(Message *request) const {
    zv_acl_rm_open_params_t record = {};
    record.client_handle = CLIENT_HANDLE;
    record.owner = ZV_ACL_RM_OWNER_TARN_OS;
    make_request_of(request, ZV_ACL_RM_API_INT_CMD_OPEN, record);
}

void Session::make_port_bind(Message *request) const {
    zv_acl_rm_acl_port_bind_params_t record = {};
    record.client_handle = CLIENT_HANDLE;
    record.cmd = ZV_ACL_RM_ACCESS_CMD_BIND;
    record.acl_id = acl_ids_[0];
    record.log_ports[0] = LOG_PORT;
    record.ports_num = 1;
    make_request_of(request, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, record);
}

void Session::make_rule_set(Message *request) {
    if (batches_ == MAX_BATCHES) {
        die("more rules than the daemon holds");
    }
    zv_acl_rm_acl_rule_set_params_t record = {};
    record.client_handle = CLIENT_HANDLE;
    record.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    record.acl_id = acl_ids_[batches_ / BATCHES_PER_ACL];
    record.rules_num = RULES_PER_BATCH;
    const uint32_t first = batches_ % BATCHES_PER_ACL * RULES_PER_BATCH;
    for (uint32_t i = 0; i < RULES_PER_BATCH; i++) {
        make_rule(&record.rules[i], first + i);
    }
    make_request_of(request, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, record);
    batches_++;
}

}  // namespace bench
