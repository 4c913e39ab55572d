#include "fuzz/support/story.h"

#include <algorithm>
#include <iterator>

#include "fuzz/support/world.h"
#include "zv_acl_rm/zv_acl_rm_records.h"

namespace zv_fuzz {
namespace {

constexpr uint64_t kFirstHandle = 1000;
constexpr uint32_t kFirstPort = 65537;

template <class Record>
Step step_of(uint32_t command, const Record &record) {
    Step step;
    step.command = command;
    step.record.resize(sizeof(record));
    memcpy(step.record.data(), &record, sizeof(record));
    return step;
}

// One of the values in three of four cases, else any small number.
template <size_t Num>
uint32_t mostly(Input &input, const uint32_t (&values)[Num]) {
    const uint32_t choice = input.u8();
    return choice < 192 ? values[choice % Num] : choice % 20;
}

uint64_t handle(Input &input) {
    const uint32_t choice = input.below(64);
    return choice < 60 ? kFirstHandle + choice % 4 : choice == 60 ? 0 : 9999;
}

uint32_t acl_id(Input &input) {
    return input.below(9);
}

uint32_t offset(Input &input) {
    return input.below(41);
}

uint32_t port(Input &input) {
    const uint32_t choice = input.below(64);
    return choice < 60 ? kFirstPort + choice % 8 : choice - 60;
}

// How many: a few, sometimes as many as the record has, or one more.
uint32_t count(Input &input, uint32_t room) {
    const uint32_t choice = input.u8();
    return choice < 240 ? choice % 6 : room - 1 + choice % 3;
}

acl_rm_rule rule(Input &input) {
    acl_rm_rule rule = {};
    const uint32_t kind = input.u8();
    rule.priority = rule.offset = offset(input);
    rule.valid = 1;
    rule.key.key_type = kind < 200 ? 0 : kind % 5;
    rule.key.data[0] = input.u8();
    rule.mask.data[0] = 0xff;
    switch (kind % 5) {
        case 0:
            rule.forwarding = {1, port(input), 0, {0, 0}, 0};
            break;
        case 1:
            rule.forwarding = {2, 0, input.below(9), {0, 0}, 0};
            break;
        case 2:
            rule.forwarding.counter_id = input.below(9);
            break;
        default:
            break;
    }
    return rule;
}

Step open(Input &input) {
    const uint32_t owner = input.below(5);
    return step_of(ZV_ACL_RM_API_INT_CMD_OPEN,
                   zv_acl_rm_open_params_t{
                       input.u8() < 200 ? kFirstHandle + owner % 4 : handle(input), owner, 0});
}

Step init(Input &input) {
    const uint32_t chips[] = {3, 3, 3, 5};
    return step_of(ZV_ACL_RM_API_INT_CMD_INIT,
                   zv_acl_rm_init_params_t{handle(input), mostly(input, chips), 0});
}

Step acl_set(Input &input) {
    const uint32_t cmds[] = {ZV_ACL_RM_ACCESS_CMD_CREATE, ZV_ACL_RM_ACCESS_CMD_CREATE,
                             ZV_ACL_RM_ACCESS_CMD_DESTROY, ZV_ACL_RM_ACCESS_CMD_EDIT};
    zv_acl_rm_acl_set_params_t record = {};
    record.client_handle = handle(input);
    record.cmd = mostly(input, cmds);
    record.acl.acl_id = acl_id(input);
    const uint32_t kind = input.u8();
    record.acl.direction = kind % 2;
    record.acl.min_size = kind % 3 == 0 ? 0 : offset(input);
    record.acl.max_size = record.acl.min_size + (kind > 250 ? 1 : 0);
    return step_of(ZV_ACL_RM_API_INT_CMD_ACL_SET, record);
}

Step acl_resize(Input &input) {
    zv_acl_rm_acl_resize_params_t record = {};
    record.client_handle = handle(input);
    record.acl_id = acl_id(input);
    // Now and then beyond 16 bits of bytes, and of offsets.
    const uint32_t kind = input.u8();
    record.new_size = kind < 240 ? offset(input) : 16380 + kind % 8 + (kind & 8) / 8 * 49152;
    return step_of(ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, record);
}

Step rule_set(Input &input) {
    const uint32_t cmds[] = {ZV_ACL_RM_ACCESS_CMD_WRITE, ZV_ACL_RM_ACCESS_CMD_WRITE,
                             ZV_ACL_RM_ACCESS_CMD_DELETE};
    zv_acl_rm_acl_rule_set_params_t record = {};
    record.client_handle = handle(input);
    record.cmd = mostly(input, cmds);
    record.acl_id = acl_id(input);
    record.rules_num = count(input, ZV_ACL_RM_RULES_PER_RECORD);
    for (uint32_t i = 0; i < std::min(record.rules_num, ZV_ACL_RM_RULES_PER_RECORD); i++) {
        record.rules[i] = rule(input);
    }
    return step_of(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, record);
}

Step rule_get(Input &input) {
    zv_acl_rm_acl_rule_get_params_t record = {};
    record.client_handle = handle(input);
    record.acl_id = acl_id(input);
    record.rules_num = count(input, ZV_ACL_RM_RULES_PER_RECORD);
    for (uint32_t i = 0; i < std::min(record.rules_num, ZV_ACL_RM_RULES_PER_RECORD); i++) {
        record.rules[i].offset = offset(input);
        record.rules[i].readout.activity_request = input.below(4);
    }
    return step_of(ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, record);
}

Step rule_move(Input &input) {
    zv_acl_rm_acl_rule_move_block_params_t record = {};
    record.client_handle = handle(input);
    record.acl_id = acl_id(input);
    record.block_start = offset(input);
    record.block_size = input.below(12);
    record.new_start = offset(input);
    return step_of(ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK, record);
}

constexpr uint32_t kBindCmds[] = {ZV_ACL_RM_ACCESS_CMD_BIND, ZV_ACL_RM_ACCESS_CMD_BIND,
                                  ZV_ACL_RM_ACCESS_CMD_UNBIND};

Step bind_port(Input &input) {
    zv_acl_rm_acl_port_bind_params_t record = {};
    record.client_handle = handle(input);
    record.cmd = mostly(input, kBindCmds);
    record.acl_id = acl_id(input);
    record.ports_num = count(input, ZV_ACL_RM_PORTS_PER_RECORD);
    std::generate_n(record.log_ports, std::min(record.ports_num, ZV_ACL_RM_PORTS_PER_RECORD),
                    [&] { return port(input); });
    return step_of(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, record);
}

Step bind_rif(Input &input) {
    zv_acl_rm_acl_rif_bind_params_t record = {};
    record.client_handle = handle(input);
    record.cmd = mostly(input, kBindCmds);
    record.acl_id = acl_id(input);
    record.rifs_num = count(input, ZV_ACL_RM_PORTS_PER_RECORD);
    std::generate_n(record.rifs, std::min(record.rifs_num, ZV_ACL_RM_PORTS_PER_RECORD),
                    [&] { return static_cast<uint16_t>(input.below(4)); });
    return step_of(ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, record);
}

Step counter_set(Input &input) {
    const uint32_t cmds[] = {ZV_ACL_RM_ACCESS_CMD_CREATE, ZV_ACL_RM_ACCESS_CMD_DESTROY};
    zv_acl_rm_counter_set_params_t record = {};
    record.client_handle = handle(input);
    record.cmd = mostly(input, cmds);
    const uint32_t kind = input.u8();
    record.counter_type = {kind % 2, kind < 240 ? 1 - kind % 2 : kind % 3};
    record.counter_id = input.below(9);
    return step_of(ZV_ACL_RM_API_INT_CMD_COUNTER_SET, record);
}

Step counter_get(Input &input) {
    const uint32_t cmds[] = {ZV_ACL_RM_ACCESS_CMD_READ, ZV_ACL_RM_ACCESS_CMD_READ_CLEAR,
                             ZV_ACL_RM_ACCESS_CMD_CLEAR};
    zv_acl_rm_counter_get_params_t record = {};
    record.client_handle = handle(input);
    record.cmd = mostly(input, cmds);
    record.counter_id = input.below(9);
    return step_of(ZV_ACL_RM_API_INT_CMD_COUNTER_GET, record);
}

Step mc_set(Input &input) {
    const uint32_t cmds[] = {ZV_ACL_RM_ACCESS_CMD_ADD, ZV_ACL_RM_ACCESS_CMD_ADD_PORTS,
                             ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS, ZV_ACL_RM_ACCESS_CMD_DELETE};
    zv_acl_rm_mc_group_set_params_t record = {};
    record.client_handle = handle(input);
    record.cmd = mostly(input, cmds);
    record.mc_group_id = input.below(9);
    record.ports_num = count(input, ZV_ACL_RM_PORTS_PER_RECORD);
    std::generate_n(record.log_ports, std::min(record.ports_num, ZV_ACL_RM_PORTS_PER_RECORD),
                    [&] { return port(input); });
    return step_of(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, record);
}

Step mc_get(Input &input) {
    zv_acl_rm_mc_group_get_params_t record = {};
    record.client_handle = handle(input);
    record.mc_group_id = input.below(9);
    record.ports_num = count(input, ZV_ACL_RM_PORTS_PER_RECORD);
    return step_of(ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, record);
}

Step bind_system(Input &input) {
    zv_acl_rm_acl_system_bind_params_t record = {};
    record.client_handle = handle(input);
    record.cmd = mostly(input, kBindCmds);
    record.acl_id = acl_id(input);
    return step_of(ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET, record);
}

Step port_set(Input &input) {
    const uint32_t cmds[] = {ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS};
    zv_acl_rm_port_set_params_t record = {};
    record.client_handle = handle(input);
    record.cmd = mostly(input, cmds);
    record.ports_num = count(input, ZV_ACL_RM_PORTS_PER_RECORD);
    std::generate_n(record.log_ports, std::min(record.ports_num, ZV_ACL_RM_PORTS_PER_RECORD),
                    [&] { return port(input); });
    return step_of(ZV_ACL_RM_API_INT_CMD_PORT_SET, record);
}

Step dump(Input &input) {
    Step step = step_of(ZV_ACL_RM_API_INT_CMD_DUMP, zv_acl_rm_dump_params_t{handle(input), 0});
    step.has_path = input.below(4) != 0;
    return step;
}

// Any record of the right length: its first bytes from the input, the rest zeros.
Step any_record(Input &input) {
    Step step;
    step.command = ZV_ACL_RM_API_INT_CMD_OPEN + input.below(16);
    step.record = input.bytes(input.u8());
    step.record.resize(record_length(step.command));
    return step;
}

constexpr const char *kFailing[] = {"*",
                                    "zv_api_acl_region_set",
                                    "zv_api_acl_set",
                                    "zv_api_acl_rules_set",
                                    "zv_api_acl_rules_get",
                                    "zv_api_acl_rule_activity_get",
                                    "zv_api_acl_rule_block_move_set",
                                    "zv_api_acl_group_set",
                                    "zv_api_acl_port_bind_set",
                                    "zv_api_acl_rif_bind_set",
                                    "zv_api_acl_policy_based_switching_set",
                                    "zv_api_acl_policy_based_switching_get",
                                    "zv_api_flow_counter_set",
                                    "zv_api_flow_counter_get",
                                    "zv_api_flow_counter_clear_set",
                                    "zv_net_ports_get_all",
                                    "cl_malloc",
                                    "zv_api_open"};

Step order_fault(Input &input) {
    Step step;
    const char *call = kFailing[input.below(std::size(kFailing))];
    const uint32_t nth = 1 + input.below(5);
    const uint32_t kind = input.u8();
    step.fault = zv_sim::Fault{call, nth, 1 + kind % 3, 1 + kind / 4 % 11, (kind & 3) == 3};
    return step;
}

// Weighted by how much of the daemon stands behind each.
constexpr Step (*kSteps[])(Input &) = {
    acl_set,    acl_set,     acl_set,   rule_set,  rule_set,    rule_set,    rule_set,
    bind_port,  bind_port,   bind_port, bind_rif,  mc_set,      mc_set,      bind_system,
    port_set,   counter_set, rule_move, rule_move, rule_get,    mc_get,      open,
    acl_resize, counter_get, dump,      init,      order_fault, order_fault, any_record};

}  // namespace

std::vector<Step> first_steps() {
    std::vector<Step> steps;
    for (uint32_t owner = 0; owner < ZV_ACL_RM_OWNER_NUM; owner++) {
        steps.push_back(step_of(ZV_ACL_RM_API_INT_CMD_OPEN,
                                zv_acl_rm_open_params_t{kFirstHandle + owner, owner, 0}));
    }
    steps.push_back(
        step_of(ZV_ACL_RM_API_INT_CMD_INIT, zv_acl_rm_init_params_t{kFirstHandle, 3, 0}));
    return steps;
}

Step next_step(Input &input) {
    return kSteps[input.below(std::size(kSteps))](input);
}

}  // namespace zv_fuzz
