// The life of an ACL, burst by burst. Whatever is made here is gone when the life is over.
#include <algorithm>
#include <cstring>

#include "tests/fire/soak/lane.h"

namespace zv_fire {

using namespace zv_test;

namespace {

constexpr uint32_t kAclSize = 64;
constexpr uint32_t kBatches = 2;
// Ports that rules forward to: few enough for the table of a hundred, shared by the lanes.
constexpr uint32_t kForwardPorts = 60;
// Ports that the switch does not list, one a lane, for PORT_SET.
constexpr uint32_t kOwnPort = 90000;
// The switch may be asked for many dumps, but they are long.
constexpr uint64_t kLivesPerDump = 16;
constexpr uint64_t kLivesPerSystemBind = 4;

template <typename Record>
Bytes bytes_of(const Record &record) {
    const auto *first = reinterpret_cast<const uint8_t *>(&record);
    return Bytes(first, first + sizeof(record));
}

template <typename Record>
Record record_of(const Bytes &body) {
    Record record = {};
    std::memcpy(&record, body.data(), std::min(body.size(), sizeof(record)));
    return record;
}

// Stores what the reply gives at `field`, which must not be 0.
template <typename Record, typename Field>
Check stores(Field Record::*field, uint32_t &to, const char *what) {
    return [field, &to, what](const Bytes &body) {
        to = record_of<Record>(body).*field;
        return to == 0 ? std::string("no ") + what : std::string();
    };
}

}  // namespace

template <typename Record>
void Lane::ask(uint32_t command, const Record &record, Check check, uint32_t status) {
    send(command, make_request(command, bytes_of(record), std::nullopt, ++sequence_),
         std::move(check), status);
}

const std::vector<Lane::Step> &Lane::steps() {
    static const auto &table = *new std::vector<Step>{
        &Lane::create,     &Lane::make_helpers, &Lane::edit_or_resize, &Lane::write_rules,
        &Lane::read_rules, &Lane::bind,         &Lane::bind_to_all,    &Lane::use_everything,
        &Lane::move,       &Lane::read_rules,   &Lane::refused,        &Lane::dump,
        &Lane::unbind,     &Lane::delete_some,  &Lane::destroy,
    };
    return table;
}

bool Lane::binds_to_all() const {
    return number_ < ZV_ACL_RM_OWNER_NUM && lives_ % kLivesPerSystemBind == 0;
}

void Lane::create() {
    rules_.clear();
    ask(ZV_ACL_RM_API_INT_CMD_OPEN, zv_acl_rm_open_params_t{handle_, owner_, 0});
    ask(ZV_ACL_RM_API_INT_CMD_INIT, zv_acl_rm_init_params_t{handle_, 3, 0});
    // One that begins with no size grows; one that has a size keeps it.
    const acl_rm_acl acl = acl_of_size(lives_ % 2 == 0 ? kAclSize : 0);
    ask(ZV_ACL_RM_API_INT_CMD_ACL_SET,
        zv_acl_rm_acl_set_params_t{handle_, ZV_ACL_RM_ACCESS_CMD_CREATE, acl, 0},
        [this](const Bytes &body) {
            acl_ = record_of<acl_rm_acl>(body);
            return acl_.acl_id == 0 ? "no ACL" : "";
        });
}

void Lane::make_helpers() {
    ask(ZV_ACL_RM_API_INT_CMD_COUNTER_SET,
        zv_acl_rm_counter_set_params_t{handle_, ZV_ACL_RM_ACCESS_CMD_CREATE, {1, 0}, 0},
        stores(&zv_acl_rm_counter_set_params_t::counter_id, used_counter_, "counter"));
    ask(ZV_ACL_RM_API_INT_CMD_COUNTER_SET,
        zv_acl_rm_counter_set_params_t{handle_, ZV_ACL_RM_ACCESS_CMD_CREATE, {0, 1}, 0},
        stores(&zv_acl_rm_counter_set_params_t::counter_id, unused_counter_, "counter"));
    if (has_groups()) {
        zv_acl_rm_mc_group_set_params_t params = {
            handle_, ZV_ACL_RM_ACCESS_CMD_ADD, 0, {kPort, kPort + 1}, 2, 0};
        ask(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, params,
            stores(&zv_acl_rm_mc_group_set_params_t::mc_group_id, group_, "group"));
    }
}

void Lane::edit_or_resize() {
    if (acl_.max_size == 0) {
        for (const uint32_t size : {2 * kAclSize, kAclSize}) {
            ask(ZV_ACL_RM_API_INT_CMD_ACL_RESIZE,
                zv_acl_rm_acl_resize_params_t{handle_, acl_.acl_id, size});
        }
        return;
    }
    // Before it has rules or bind points, which would keep the former id.
    ask(ZV_ACL_RM_API_INT_CMD_ACL_SET,
        zv_acl_rm_acl_set_params_t{handle_, ZV_ACL_RM_ACCESS_CMD_EDIT, acl_, 0},
        [this](const Bytes &body) {
            acl_.acl_id = record_of<acl_rm_acl>(body).acl_id;
            return acl_.acl_id == 0 ? "no new id" : "";
        });
}

// Of one batch only one rule may name a port that nobody forwards to yet, or the switch keeps an
// entry that no rule uses.
void Lane::write_batch(uint32_t first, bool may_forward) {
    zv_acl_rm_acl_rule_set_params_t params = {};
    params.client_handle = handle_;
    params.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    params.acl_id = acl_.acl_id;
    params.rules_num = ZV_ACL_RM_RULES_PER_RECORD;
    for (uint32_t i = 0; i < params.rules_num; ++i) {
        acl_rm_rule rule = match_byte(make_rule(first + i), i, static_cast<uint8_t>(lives_ + i));
        if (may_forward && i == 0) {
            rule = forward_to_port(rule, forward_port_);
        } else if (i % 5 == 1) {
            rule = count_with(rule, used_counter_);
        } else if (i % 7 == 2 && has_groups()) {
            rule = forward_to_mc_group(rule, group_);
        }
        params.rules[i] = rule;
        rules_[first + i] = rule;
    }
    ask(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, params);
}

void Lane::write_rules() {
    forward_port_ = kPort + below(kForwardPorts);
    for (uint32_t batch = 0; batch < kBatches; ++batch) {
        write_batch(batch * ZV_ACL_RM_RULES_PER_RECORD, true);
    }
}

void Lane::read_rules() {
    zv_acl_rm_acl_rule_get_params_t params = {};
    params.client_handle = handle_;
    params.acl_id = acl_.acl_id;
    for (const auto &[offset, rule] : rules_) {
        if (params.rules_num < ZV_ACL_RM_RULES_PER_RECORD) {
            params.rules[params.rules_num].offset = offset;
            params.rules[params.rules_num++].readout.activity_request = below(3);
        }
    }
    ask(ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, params, [this](const Bytes &body) -> std::string {
        const auto read = record_of<zv_acl_rm_acl_rule_get_params_t>(body);
        for (uint32_t i = 0; i < read.rules_num; ++i) {
            const acl_rm_rule &rule = read.rules[i];
            const acl_rm_rule &written = rules_.at(rule.offset);
            if (rule.valid != 1 || std::memcmp(&rule.key, &written.key, sizeof(rule.key)) != 0 ||
                rule.readout.counter_id != written.forwarding.counter_id ||
                (written.forwarding.type == 1 &&
                 rule.readout.log_port != written.forwarding.log_port)) {
                return "rule " + std::to_string(rule.offset) + " is not what was written";
            }
        }
        return "";
    });
}

void Lane::set_ports(uint32_t cmd) {
    // Two lanes share a port, so that groups have several ACLs.
    const zv_acl_rm_acl_port_bind_params_t params = {
        handle_, cmd, acl_.acl_id, {kPort + number_ / 2, kOwnPort + 100 + number_}, 2, 0};
    ask(ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, params);
}

void Lane::set_rifs(uint32_t cmd) {
    const zv_acl_rm_acl_rif_bind_params_t params = {
        handle_, cmd, acl_.acl_id, {static_cast<uint16_t>(number_ + 1), 500}, 2, 0};
    ask(ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET, params);
}

void Lane::bind() {
    if (binds_to_all()) {
        return;  // would meet its own bind points
    }
    set_ports(ZV_ACL_RM_ACCESS_CMD_BIND);
    set_rifs(ZV_ACL_RM_ACCESS_CMD_BIND);
}

void Lane::bind_to_all() {
    if (binds_to_all()) {
        ask(ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET,
            zv_acl_rm_acl_system_bind_params_t{handle_, ZV_ACL_RM_ACCESS_CMD_BIND, acl_.acl_id});
    }
}

void Lane::use_everything() {
    for (const uint32_t cmd : {ZV_ACL_RM_ACCESS_CMD_READ, ZV_ACL_RM_ACCESS_CMD_CLEAR}) {
        zv_acl_rm_counter_get_params_t params = {};
        params.client_handle = handle_;
        params.cmd = cmd;
        params.counter_id = unused_counter_;
        ask(ZV_ACL_RM_API_INT_CMD_COUNTER_GET, params);
    }
    if (has_groups()) {
        const zv_acl_rm_mc_group_set_params_t more = {
            handle_, ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, group_, {kPort + 5, kPort + 6}, 2, 0};
        const zv_acl_rm_mc_group_set_params_t fewer = {
            handle_, ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS, group_, {kPort}, 1, 0};
        ask(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, more);
        ask(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET, fewer);
        zv_acl_rm_mc_group_get_params_t params = {};
        params.client_handle = handle_;
        params.mc_group_id = group_;
        params.ports_num = ZV_ACL_RM_PORTS_PER_RECORD;
        ask(ZV_ACL_RM_API_INT_CMD_MC_GRP_GET, params, [](const Bytes &body) {
            const auto read = record_of<zv_acl_rm_mc_group_get_params_t>(body);
            return read.ports_num == 3 && read.log_ports[0] == kPort + 1 ? "" : "other ports";
        });
    }
    for (const uint32_t cmd : {ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS}) {
        ask(ZV_ACL_RM_API_INT_CMD_PORT_SET,
            zv_acl_rm_port_set_params_t{handle_, cmd, {kOwnPort + number_}, 1});
    }
}

// The second batch moves up by four, over itself, and back again.
void Lane::move() {
    const uint32_t start = ZV_ACL_RM_RULES_PER_RECORD;
    ask(ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK,
        zv_acl_rm_acl_rule_move_block_params_t{handle_, acl_.acl_id, start,
                                               ZV_ACL_RM_RULES_PER_RECORD, start + 4});
    ask(ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK,
        zv_acl_rm_acl_rule_move_block_params_t{handle_, acl_.acl_id, start + 4,
                                               ZV_ACL_RM_RULES_PER_RECORD, start});
}

// Failures leave nothing behind either.
void Lane::refused() {
    if (lives_ % 8 != 0) {
        return;
    }
    ask(ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, zv_acl_rm_acl_resize_params_t{handle_, 0xffffff, 8},
        nullptr, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    zv_acl_rm_acl_rule_set_params_t occupied = {};
    occupied.client_handle = handle_;
    occupied.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    occupied.acl_id = acl_.acl_id;
    occupied.rules[0] = make_rule(0);
    occupied.rules[0].key.key_type = 4;
    occupied.rules_num = 1;
    ask(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, occupied, nullptr,
        ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
}

void Lane::dump() {
    if (lives_ % kLivesPerDump == number_ % kLivesPerDump) {
        const zv_acl_rm_dump_params_t params = {handle_, 0};
        send(ZV_ACL_RM_API_INT_CMD_DUMP,
             make_request(ZV_ACL_RM_API_INT_CMD_DUMP, bytes_of(params), dump_path_, ++sequence_),
             nullptr, 0);
    }
}

// Every third life leaves it to the destroy.
void Lane::unbind() {
    if (lives_ % 3 == 0) {
        return;
    }
    if (binds_to_all()) {
        ask(ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET,
            zv_acl_rm_acl_system_bind_params_t{handle_, ZV_ACL_RM_ACCESS_CMD_UNBIND, acl_.acl_id});
        return;
    }
    set_ports(ZV_ACL_RM_ACCESS_CMD_UNBIND);
    set_rifs(ZV_ACL_RM_ACCESS_CMD_UNBIND);
}

void Lane::delete_some() {
    zv_acl_rm_acl_rule_set_params_t params = {};
    params.client_handle = handle_;
    params.cmd = ZV_ACL_RM_ACCESS_CMD_DELETE;
    params.acl_id = acl_.acl_id;
    params.rules_num = ZV_ACL_RM_RULES_PER_RECORD;
    for (uint32_t i = 0; i < params.rules_num; ++i) {
        params.rules[i].offset = i;
        rules_.erase(i);
    }
    ask(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, params);
}

// The used counter goes with the last rule that names it.
void Lane::destroy() {
    ask(ZV_ACL_RM_API_INT_CMD_ACL_SET,
        zv_acl_rm_acl_set_params_t{handle_, ZV_ACL_RM_ACCESS_CMD_DESTROY, acl_, 0});
    ask(ZV_ACL_RM_API_INT_CMD_COUNTER_SET,
        zv_acl_rm_counter_set_params_t{
            handle_, ZV_ACL_RM_ACCESS_CMD_DESTROY, {0, 1}, unused_counter_});
    if (has_groups()) {
        ask(ZV_ACL_RM_API_INT_CMD_MC_GRP_SET,
            zv_acl_rm_mc_group_set_params_t{
                handle_, ZV_ACL_RM_ACCESS_CMD_DELETE, group_, {}, 0, 0});
    }
}

}  // namespace zv_fire
