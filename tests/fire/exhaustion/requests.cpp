#include "tests/fire/exhaustion/requests.h"

namespace zv_fire {

using zv_test::acl_of_size;
using zv_test::count_with;
using zv_test::forward_to_mc_group;
using zv_test::forward_to_port;
using zv_test::make_rule;
using zv_test::make_rules;
using zv_test::TestClient;

namespace {

using zv_test::kPort;

// An ACL that an edit took out of the switch and could not make again stays in the cache.
constexpr unsigned kSkipEverything = ~0u;
constexpr acl_rm_counter_type kPackets = {1, 0};
constexpr zv_acl_rm_status_t kError = ZV_ACL_RM_STATUS_ERROR;
constexpr zv_acl_rm_status_t kNoResources = ZV_ACL_RM_STATUS_NO_RESOURCES;
constexpr zv_acl_rm_status_t kNoBuffer = ZV_ACL_RM_STATUS_NO_BUFFER_SPACE;
constexpr uint32_t kBind = ZV_ACL_RM_ACCESS_CMD_BIND;
constexpr uint32_t kUnbind = ZV_ACL_RM_ACCESS_CMD_UNBIND;
constexpr uint32_t kAddPorts = ZV_ACL_RM_ACCESS_CMD_ADD_PORTS;
constexpr uint32_t kDeletePorts = ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS;

// One of each kind of rule: plain, counted, forwarding to a port and to a group, of four key types.
void make_rules_of_all_kinds(Stage &s) {
    s.acl = s.one.make_acl(200);
    s.one.create_counter(kPackets, s.counter_id);
    s.one.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, s.mc_group_id, {kPort, kPort + 1});
    s.rules = make_rules(0, 16);
    s.rules.push_back(count_with(make_rule(16), s.counter_id));
    s.rules.push_back(forward_to_port(make_rule(17), kPort));
    s.rules.push_back(forward_to_mc_group(make_rule(18), s.mc_group_id));
    s.rules.push_back(count_with(forward_to_port(make_rule(150), kPort + 2), s.counter_id));
}

void write_rules_of_all_kinds(Stage &s) {
    make_rules_of_all_kinds(s);
    s.one.write_rules(s.acl.acl_id, s.rules);
}

void make_acl(Stage &s) {
    s.acl = s.one.make_acl(64);
}

void make_bound_acl(Stage &s) {
    make_acl(s);
    s.one.bind_ports(kBind, s.acl.acl_id, {kPort, kPort + 1});
}

void make_two_acls_one_bound(Stage &s) {
    make_bound_acl(s);
    s.second = s.one.make_acl(64);
}

void make_two_bound_acls(Stage &s) {
    make_two_acls_one_bound(s);
    s.one.bind_ports(kBind, s.second.acl_id, {kPort, kPort + 1});
}

void make_acl_bound_to_rifs(Stage &s) {
    make_acl(s);
    s.one.bind_rifs(kBind, s.acl.acl_id, {7, 8});
}

void make_bound_acl_with_rules(Stage &s) {
    write_rules_of_all_kinds(s);
    s.one.bind_ports(kBind, s.acl.acl_id, {kPort, kPort + 1});
}

void make_system_acl(Stage &s) {
    make_acl(s);
    s.one.bind_system(kBind, s.acl.acl_id);
}

void make_counter(Stage &s) {
    s.one.create_counter(kPackets, s.counter_id);
}

void make_mc_group(Stage &s) {
    s.one.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, s.mc_group_id, {kPort, kPort + 1});
}

void nothing(Stage & /*stage*/) {}

zv_acl_rm_status_t transport_of(Stage &s, uint32_t command, const zv_test::Bytes &body) {
    const auto reply = s.daemon.connect().call(command, body);
    return reply ? reply->transport : zv_test::kNoAnswer;
}

zv_acl_rm_status_t get_counter(Stage &s, uint32_t cmd) {
    zv_acl_rm_counter_get_params_t params = {};
    params.cmd = cmd;
    params.counter_id = s.counter_id;
    return s.one.counter_get(params);
}

std::vector<uint32_t> offsets_of(const std::vector<acl_rm_rule> &rules) {
    std::vector<uint32_t> offsets;
    for (const acl_rm_rule &rule : rules) {
        offsets.push_back(rule.offset);
    }
    return offsets;
}

std::vector<Request> session_requests() {
    return {
        {"OPEN", nothing, [](Stage &s) { return s.one.open(0); }, {kError}, 0, false},
        {"INIT", nothing, [](Stage &s) { return s.one.init(3); }, {kError}, 0, false},
        {"DUMP to a file",
         write_rules_of_all_kinds,
         [](Stage &s) { return s.one.dump(s.daemon.root().file("asked")); },
         {kNoResources}},
        {"DUMP to the log",
         write_rules_of_all_kinds,
         [](Stage &s) { return s.one.dump("/proc/no/such/place"); },
         {kNoResources}},
        {"a new connection", nothing, [](Stage &s) { return transport_of(s, 17, {1}); }, {}},
        {"a packet that is too long",
         nothing,
         [](Stage &s) {
             return transport_of(s, 1, zv_test::Bytes(9000)) == zv_test::kTooLong ? 0u : 1u;
         },
         {}},
    };
}

std::vector<Request> acl_requests() {
    return {
        {"ACL_SET create",
         nothing,
         [](Stage &s) {
             s.acl = acl_of_size(200);
             return s.one.create_acl(s.acl);
         },
         {kError, ZV_ACL_RM_STATUS_PARAM_NULL, kNoResources},
         zv_test::kSkipLeftOvers | zv_test::kSkipCounts},
        {"ACL_SET edit",
         make_acl,
         [](Stage &s) {
             s.acl.direction = 1;
             return s.one.edit_acl(s.acl);
         },
         {kError},
         kSkipEverything},
        {"ACL_SET destroy",
         write_rules_of_all_kinds,
         [](Stage &s) { return s.one.destroy_acl(s.acl); },
         {kNoBuffer},
         zv_test::kSkipRules},
        {"ACL_SET destroy, bound",
         make_bound_acl_with_rules,
         [](Stage &s) { return s.one.destroy_acl(s.acl); },
         {kNoBuffer},
         zv_test::kSkipRules},
        {"ACL_RESIZE",
         write_rules_of_all_kinds,
         [](Stage &s) { return s.one.resize_acl(s.acl.acl_id, 200); },
         {kError, kNoResources}},
    };
}

std::vector<Request> rule_requests() {
    return {
        {"ACL_RULE_SET write",
         make_rules_of_all_kinds,
         [](Stage &s) { return s.one.write_rules(s.acl.acl_id, s.rules); },
         {kError, kNoResources},
         zv_test::kSkipLeftOvers},
        {"ACL_RULE_SET delete",
         write_rules_of_all_kinds,
         [](Stage &s) { return s.one.delete_rules(s.acl.acl_id, offsets_of(s.rules)); },
         {kNoBuffer}},
        {"ACL_RULE_GET",
         write_rules_of_all_kinds,
         [](Stage &s) {
             std::vector<acl_rm_rule> read = s.rules;
             return s.one.read_rules(s.acl.acl_id, read);
         },
         {kError, kNoResources}},
        {"ACL_RULE_MOVE_BLOCK",
         write_rules_of_all_kinds,
         [](Stage &s) { return s.one.move_block(s.acl.acl_id, 0, 19, 100); },
         {kError},
         0,
         true,
         zv_test::kSkipRules},
    };
}

std::vector<Request> bind_requests() {
    return {
        {"ACL_BIND_PORT_SET bind, new groups",
         make_acl,
         [](Stage &s) {
             return s.one.bind_ports(kBind, s.acl.acl_id, {kPort, kPort + 1});
         },
         {kError, kNoResources},
         zv_test::kSkipLeftOvers | zv_test::kSkipGroups},
        {"ACL_BIND_PORT_SET bind, groups that are there",
         make_two_acls_one_bound,
         [](Stage &s) {
             return s.one.bind_ports(kBind, s.second.acl_id, {kPort, kPort + 1});
         },
         {kError, kNoResources},
         zv_test::kSkipGroups},
        {"ACL_BIND_PORT_SET unbind",
         make_two_bound_acls,
         [](Stage &s) {
             return s.one.bind_ports(kUnbind, s.acl.acl_id, {kPort, kPort + 1});
         },
         {kError, kNoResources},
         zv_test::kSkipGroups},
        {"ACL_BIND_RIF_SET bind",
         make_acl,
         [](Stage &s) {
             return s.one.bind_rifs(kBind, s.acl.acl_id, {7, 8});
         },
         {kError, kNoResources},
         zv_test::kSkipLeftOvers | zv_test::kSkipGroups},
        {"ACL_BIND_RIF_SET unbind",
         make_acl_bound_to_rifs,
         [](Stage &s) {
             return s.one.bind_rifs(kUnbind, s.acl.acl_id, {7, 8});
         },
         {kError, kNoResources},
         zv_test::kSkipGroups},
        {"ACL_BIND_SYSTEM_SET bind",
         make_acl,
         [](Stage &s) { return s.one.bind_system(kBind, s.acl.acl_id); },
         {kError, kNoResources},
         zv_test::kSkipLeftOvers | zv_test::kSkipGroups},
        {"ACL_BIND_SYSTEM_SET unbind",
         make_system_acl,
         [](Stage &s) { return s.one.bind_system(kUnbind, s.acl.acl_id); },
         {kError, kNoResources},
         zv_test::kSkipGroups},
        {"PORT_SET add",
         make_system_acl,
         [](Stage &s) {
             return s.one.port_set(kAddPorts, {70001, 70002});
         },
         {kError, kNoResources},
         zv_test::kSkipLeftOvers | zv_test::kSkipGroups},
        {"PORT_SET delete",
         make_system_acl,
         [](Stage &s) {
             return s.one.port_set(kDeletePorts, {kPort, kPort + 1});
         },
         {kError, kNoResources},
         zv_test::kSkipGroups},
    };
}

std::vector<Request> other_requests() {
    return {
        {"COUNTER_SET create",
         nothing,
         [](Stage &s) { return s.one.create_counter(kPackets, s.counter_id); },
         {kError}},
        {"COUNTER_SET destroy",
         make_counter,
         [](Stage &s) { return s.one.destroy_counter(s.counter_id); },
         {kError}},
        {"COUNTER_GET",
         make_counter,
         [](Stage &s) { return get_counter(s, ZV_ACL_RM_ACCESS_CMD_READ); },
         {kError}},
        {"COUNTER_GET clear",
         make_counter,
         [](Stage &s) { return get_counter(s, ZV_ACL_RM_ACCESS_CMD_CLEAR); },
         {kError}},
        {"COUNTER_GET read and clear",
         make_counter,
         [](Stage &s) {
             // Refused whatever there is of memory.
             const auto status = get_counter(s, ZV_ACL_RM_ACCESS_CMD_READ_CLEAR);
             return status == ZV_ACL_RM_STATUS_CMD_UNSUPPORTED ? 0u : kError;
         },
         {}},
        {"MC_GRP_SET add",
         nothing,
         [](Stage &s) {
             return s.one.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, s.mc_group_id, {kPort, kPort + 1});
         },
         {kError}},
        {"MC_GRP_SET add ports",
         make_mc_group,
         [](Stage &s) { return s.one.mc_group_set(kAddPorts, s.mc_group_id, {kPort + 5}); },
         {kError}},
        {"MC_GRP_SET delete ports",
         make_mc_group,
         [](Stage &s) { return s.one.mc_group_set(kDeletePorts, s.mc_group_id, {kPort}); },
         {kError}},
        {"MC_GRP_SET delete",
         make_mc_group,
         [](Stage &s) {
             return s.one.mc_group_set(ZV_ACL_RM_ACCESS_CMD_DELETE, s.mc_group_id, {});
         },
         {kError}},
        {"MC_GRP_GET",
         make_mc_group,
         [](Stage &s) {
             std::vector<uint32_t> ports;
             return s.one.mc_group_get(s.mc_group_id, 10, ports);
         },
         {kError}},
    };
}

TestClient make_client(zv_test::DaemonProcess &daemon, uint32_t owner, bool opened) {
    return opened ? TestClient(daemon, owner) : TestClient::unopened(daemon, 900 + owner);
}

}  // namespace

Stage::Stage(Faults &armed, bool opened)
    : faults(armed),
      daemon(failing_daemon(armed)),
      one(make_client(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW, opened)),
      other(make_client(daemon, ZV_ACL_RM_OWNER_TARN_OS, opened)) {
    daemon.allow_error_lines();
}

const std::vector<Request> &requests() {
    static const std::vector<Request> all = [] {
        std::vector<Request> joined;
        for (const auto list :
             {session_requests, acl_requests, rule_requests, bind_requests, other_requests}) {
            for (const Request &request : list()) {
                joined.push_back(request);
            }
        }
        return joined;
    }();
    return all;
}

}  // namespace zv_fire
