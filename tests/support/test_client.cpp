#include "tests/support/test_client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "tests/support/daemon_process.h"

namespace zv_test {

namespace {

constexpr uint32_t kVerdictAt = 12;  // in the action block
// Any number but 0, which would match owners that never opened.
constexpr uint64_t kFirstHandle = 0x5a000001;
constexpr int kTimeoutMs = 60000;  // only a broken daemon takes that long

zv_acl_rm_status_t answer(int error, zv_acl_rm_status_t status, Here here) {
    if (error != 0) {
        ADD_FAILURE_AT(here.file, here.line) << "no answer: " << strerror(error);
        return kNoAnswer;
    }
    return status;
}

// Calls one function of the client library, which takes the status as its last argument.
template <typename... Parameters, typename... Arguments>
zv_acl_rm_status_t ask(Here here, int (*function)(Parameters...), Arguments &&...arguments) {
    zv_acl_rm_status_t status = kNoAnswer;
    const int error = function(std::forward<Arguments>(arguments)..., &status);
    return answer(error, status, here);
}

template <typename Value, size_t N>
uint32_t fill(Value (&to)[N], const std::vector<Value> &from) {
    std::copy_n(from.begin(), std::min(N, from.size()), to);
    return static_cast<uint32_t>(from.size());
}

}  // namespace

acl_rm_rule make_rule(uint32_t offset, uint32_t key_type) {
    acl_rm_rule rule = {};
    rule.priority = offset;
    rule.offset = offset;
    rule.valid = 1;
    rule.key.key_type = key_type;
    rule.mask.key_type = key_type;
    return rule;
}

acl_rm_rule match_byte(acl_rm_rule rule, uint32_t index, uint8_t value) {
    rule.key.data[index] = value;
    rule.mask.data[index] = 0xff;
    return rule;
}

acl_rm_rule forward_to_port(acl_rm_rule rule, uint32_t log_port) {
    rule.forwarding.type = 1;
    rule.forwarding.log_port = log_port;
    return rule;
}

acl_rm_rule forward_to_mc_group(acl_rm_rule rule, uint32_t mc_group_id) {
    rule.forwarding.type = 2;
    rule.forwarding.mc_group_id = mc_group_id;
    return rule;
}

acl_rm_rule count_with(acl_rm_rule rule, uint32_t counter_id) {
    rule.forwarding.counter_id = counter_id;
    return rule;
}

acl_rm_rule with_verdict(acl_rm_rule rule, uint32_t verdict) {
    std::memcpy(rule.action + kVerdictAt, &verdict, sizeof(verdict));
    return rule;
}

std::vector<acl_rm_rule> make_rules(uint32_t first, uint32_t num, uint32_t key_type) {
    std::vector<acl_rm_rule> rules;
    for (uint32_t i = 0; i < num; ++i) {
        rules.push_back(make_rule(first + i, key_type));
    }
    return rules;
}

acl_rm_acl acl_of_size(uint32_t size, uint32_t direction, uint32_t key_type) {
    acl_rm_acl acl = {};
    acl.key_type = key_type;
    acl.direction = direction;
    acl.min_size = size;
    acl.max_size = size;
    return acl;
}

TestClient::TestClient(DaemonProcess &daemon, uint32_t owner, uint32_t chip_type, Here here)
    : TestClient(unopened(daemon, kFirstHandle + owner, here)) {
    if (open(owner, here) != ZV_ACL_RM_STATUS_SUCCESS ||
        init(chip_type, here) != ZV_ACL_RM_STATUS_SUCCESS) {
        ADD_FAILURE_AT(here.file, here.line) << "OPEN or INIT failed";
    }
}

TestClient TestClient::unopened(DaemonProcess &daemon, uint64_t handle, Here here) {
    TestClient client;
    // The library puts ZV_PLATFORM_ROOT before the path; the test's own environment has none, so
    // the whole path is given.
    const int error =
        zv_acl_rm_client_connect(daemon.socket_path().c_str(), handle, &client.client_);
    if (error != 0) {
        ADD_FAILURE_AT(here.file, here.line) << "cannot connect: " << strerror(error);
    } else {
        zv_acl_rm_client_set_timeout_ms(client.client_, kTimeoutMs);
    }
    return client;
}

TestClient::~TestClient() {
    zv_acl_rm_client_close(client_);
}

TestClient::TestClient(TestClient &&other) noexcept
    : client_(std::exchange(other.client_, nullptr)) {}

zv_acl_rm_status_t TestClient::open(uint32_t owner, Here here) {
    return ask(here, zv_acl_rm_api_open, client_, owner);
}

zv_acl_rm_status_t TestClient::init(uint32_t chip_type, Here here) {
    return ask(here, zv_acl_rm_api_init, client_, chip_type);
}

acl_rm_acl TestClient::make_acl(uint32_t size, uint32_t direction, Here here) {
    acl_rm_acl acl = acl_of_size(size, direction);
    if (create_acl(acl, here) != ZV_ACL_RM_STATUS_SUCCESS) {
        ADD_FAILURE_AT(here.file, here.line) << "no ACL of " << size << " rules";
    }
    return acl;
}

namespace {

zv_acl_rm_status_t acl_set(zv_acl_rm_client_t *client, uint32_t cmd, acl_rm_acl &acl, Here here) {
    zv_acl_rm_acl_set_params_t params = {};
    params.cmd = cmd;
    params.acl = acl;
    const zv_acl_rm_status_t status = ask(here, zv_acl_rm_api_acl_set, client, &params);
    acl = params.acl;
    return status;
}

}  // namespace

zv_acl_rm_status_t TestClient::create_acl(acl_rm_acl &acl, Here here) {
    return acl_set(client_, ZV_ACL_RM_ACCESS_CMD_CREATE, acl, here);
}

zv_acl_rm_status_t TestClient::edit_acl(acl_rm_acl &acl, Here here) {
    return acl_set(client_, ZV_ACL_RM_ACCESS_CMD_EDIT, acl, here);
}

zv_acl_rm_status_t TestClient::destroy_acl(acl_rm_acl acl, Here here) {
    return acl_set(client_, ZV_ACL_RM_ACCESS_CMD_DESTROY, acl, here);
}

zv_acl_rm_status_t TestClient::resize_acl(uint32_t acl_id, uint32_t new_size, Here here) {
    zv_acl_rm_acl_resize_params_t params = {0, acl_id, new_size};
    return ask(here, zv_acl_rm_api_acl_resize, client_, &params);
}

zv_acl_rm_status_t TestClient::write_rules(uint32_t acl_id, const std::vector<acl_rm_rule> &rules,
                                           Here here) {
    return write_rules(acl_id, rules, static_cast<uint32_t>(rules.size()), here);
}

zv_acl_rm_status_t TestClient::write_rules(uint32_t acl_id, const std::vector<acl_rm_rule> &rules,
                                           uint32_t rules_num, Here here) {
    zv_acl_rm_acl_rule_set_params_t params = {};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    params.acl_id = acl_id;
    fill(params.rules, rules);
    params.rules_num = rules_num;
    return ask(here, zv_acl_rm_api_acl_rule_set, client_, &params);
}

zv_acl_rm_status_t TestClient::delete_rules(uint32_t acl_id, const std::vector<uint32_t> &offsets,
                                            Here here) {
    zv_acl_rm_acl_rule_set_params_t params = {};
    params.cmd = ZV_ACL_RM_ACCESS_CMD_DELETE;
    params.acl_id = acl_id;
    params.rules_num = static_cast<uint32_t>(offsets.size());
    for (size_t i = 0; i < offsets.size() && i < ZV_ACL_RM_RULES_PER_RECORD; ++i) {
        params.rules[i].offset = offsets[i];
    }
    return ask(here, zv_acl_rm_api_acl_rule_set, client_, &params);
}

zv_acl_rm_status_t TestClient::read_rules(uint32_t acl_id, std::vector<acl_rm_rule> &rules,
                                          Here here) {
    zv_acl_rm_acl_rule_get_params_t params = {};
    params.acl_id = acl_id;
    params.rules_num = fill(params.rules, rules);
    const zv_acl_rm_status_t status = ask(here, zv_acl_rm_api_acl_rule_get, client_, &params);
    std::copy_n(params.rules, std::min<size_t>(ZV_ACL_RM_RULES_PER_RECORD, rules.size()),
                rules.begin());
    return status;
}

zv_acl_rm_status_t TestClient::move_block(uint32_t acl_id, uint32_t block_start,
                                          uint32_t block_size, uint32_t new_start, Here here) {
    const zv_acl_rm_acl_rule_move_block_params_t params = {0, acl_id, block_start, block_size,
                                                           new_start};
    return ask(here, zv_acl_rm_api_acl_rule_move_block, client_, &params);
}

zv_acl_rm_status_t TestClient::bind_ports(uint32_t cmd, uint32_t acl_id,
                                          const std::vector<uint32_t> &log_ports, Here here) {
    zv_acl_rm_acl_port_bind_params_t params = {};
    params.cmd = cmd;
    params.acl_id = acl_id;
    params.ports_num = fill(params.log_ports, log_ports);
    return ask(here, zv_acl_rm_api_acl_port_bind, client_, &params);
}

zv_acl_rm_status_t TestClient::bind_rifs(uint32_t cmd, uint32_t acl_id,
                                         const std::vector<uint16_t> &rifs, Here here) {
    zv_acl_rm_acl_rif_bind_params_t params = {};
    params.cmd = cmd;
    params.acl_id = acl_id;
    params.rifs_num = fill(params.rifs, rifs);
    return ask(here, zv_acl_rm_api_acl_rif_bind, client_, &params);
}

zv_acl_rm_status_t TestClient::bind_system(uint32_t cmd, uint32_t acl_id, Here here) {
    zv_acl_rm_acl_system_bind_params_t params = {0, cmd, acl_id};
    return ask(here, zv_acl_rm_api_system_bind_set, client_, &params);
}

zv_acl_rm_status_t TestClient::port_set(uint32_t cmd, const std::vector<uint32_t> &log_ports,
                                        Here here) {
    zv_acl_rm_port_set_params_t params = {};
    params.cmd = cmd;
    params.ports_num = fill(params.log_ports, log_ports);
    return ask(here, zv_acl_rm_api_port_set, client_, &params);
}

zv_acl_rm_status_t TestClient::create_counter(acl_rm_counter_type type, uint32_t &counter_id,
                                              Here here) {
    zv_acl_rm_counter_set_params_t params = {0, ZV_ACL_RM_ACCESS_CMD_CREATE, type, counter_id};
    const zv_acl_rm_status_t status = ask(here, zv_acl_rm_api_counter_set, client_, &params);
    counter_id = params.counter_id;
    return status;
}

zv_acl_rm_status_t TestClient::destroy_counter(uint32_t counter_id, Here here) {
    zv_acl_rm_counter_set_params_t params = {0, ZV_ACL_RM_ACCESS_CMD_DESTROY, {1, 0}, counter_id};
    return ask(here, zv_acl_rm_api_counter_set, client_, &params);
}

zv_acl_rm_status_t TestClient::counter_get(zv_acl_rm_counter_get_params_t &params, Here here) {
    return ask(here, zv_acl_rm_api_counter_get, client_, &params);
}

zv_acl_rm_status_t TestClient::mc_group_set(uint32_t cmd, uint32_t &mc_group_id,
                                            const std::vector<uint32_t> &log_ports, Here here) {
    zv_acl_rm_mc_group_set_params_t params = {};
    params.cmd = cmd;
    params.mc_group_id = mc_group_id;
    params.ports_num = fill(params.log_ports, log_ports);
    const zv_acl_rm_status_t status = ask(here, zv_acl_rm_api_mc_group_set, client_, &params);
    mc_group_id = params.mc_group_id;
    return status;
}

zv_acl_rm_status_t TestClient::mc_group_get(uint32_t mc_group_id, uint32_t room,
                                            std::vector<uint32_t> &log_ports, Here here) {
    zv_acl_rm_mc_group_get_params_t params = {};
    params.mc_group_id = mc_group_id;
    params.ports_num = room;
    const zv_acl_rm_status_t status = ask(here, zv_acl_rm_api_mc_group_get, client_, &params);
    if (status == ZV_ACL_RM_STATUS_SUCCESS) {
        log_ports.assign(params.log_ports,
                         params.log_ports + std::min(params.ports_num, ZV_ACL_RM_PORTS_PER_RECORD));
    }
    return status;
}

zv_acl_rm_status_t TestClient::dump(const std::string &path, Here here) {
    return ask(here, zv_acl_rm_api_dump, client_, path.c_str());
}

}  // namespace zv_test
