#include "tests/tools/command_rows.h"

#include <algorithm>
#include <cstring>
#include <ostream>

#include "zv_acl_rm/zv_acl_rm_records.h"

namespace zv_test {

namespace {

using nlohmann::json;

constexpr uint64_t kHandle = 0xac1;

template <typename Params>
Bytes bytes_of(const Params &params) {
    Bytes bytes(sizeof(params));
    std::memcpy(bytes.data(), &params, sizeof(params));
    return bytes;
}

/* The record as the daemon answers with it: `change` is what the daemon fills in. */
template <typename Params, typename Change>
CommandRow with_reply(CommandRow row, Params params, Change change) {
    change(params);
    row.reply = bytes_of(params);
    return row;
}

template <typename Params>
Params with_handle() {
    Params params;
    std::memset(&params, 0, sizeof(params));
    params.client_handle = kHandle;
    return params;
}

zv_acl_rm_acl_set_params_t acl_set(uint32_t cmd, acl_rm_acl acl) {
    auto params = with_handle<zv_acl_rm_acl_set_params_t>();
    params.cmd = cmd;
    params.acl = acl;
    return params;
}

void add_acl_rows(std::vector<CommandRow> *rows) {
    rows->push_back({"AclDestroy",
                     {"acl", "destroy", "--acl", "3"},
                     4,
                     bytes_of(acl_set(5, {3, 0, 0, 0, 0, 0, 0, 0})),
                     Bytes(32),
                     "ACL 3 destroyed, with its rules and bindings.\n",
                     {{"ok", true},
                      {"acl_id", 3},
                      {"acl_type", 0},
                      {"direction", 0},
                      {"direction_name", "ingress"}},
                     "destroying ACL 3"});
    rows->push_back({"AclDestroyOfAnotherTypeAndDirection",
                     {"acl", "destroy", "--acl", "3", "--acl-type", "4", "--direction", "egress"},
                     4,
                     bytes_of(acl_set(5, {3, 0, 0, 4, 1, 0, 0, 0})),
                     Bytes(32),
                     "ACL 3 destroyed, with its rules and bindings.\n",
                     {{"ok", true},
                      {"acl_id", 3},
                      {"acl_type", 4},
                      {"direction", 1},
                      {"direction_name", "egress"}},
                     "destroying ACL 3"});
    acl_rm_acl edited{9, 0, 0, 0, 1, 0, 0, 0};
    rows->push_back({"AclEdit",
                     {"acl", "edit", "--acl", "3", "--direction", "egress", "--force"},
                     4,
                     bytes_of(acl_set(2, {3, 0, 0, 0, 1, 0, 0, 0})),
                     bytes_of(edited),
                     "ACL 3 is now ACL 9, egress.\n",
                     {{"ok", true},
                      {"acl_id", 9},
                      {"former_acl_id", 3},
                      {"direction", 1},
                      {"direction_name", "egress"}},
                     "changing the direction of ACL 3"});
    const zv_acl_rm_acl_resize_params_t resize{kHandle, 3, 64};
    rows->push_back({"AclResize",
                     {"acl", "resize", "--acl", "3", "--size", "64"},
                     5,
                     bytes_of(resize),
                     bytes_of(resize),
                     "ACL 3 has room for 64 rules.\n",
                     {{"ok", true}, {"acl_id", 3}, {"size", 64}},
                     "resizing ACL 3 to 64 rules"});
}

std::string hex(const std::string &first) {
    return first + std::string(256 - first.size(), '0');
}

void put_hex(const std::string &digits, uint8_t *bytes) {
    for (size_t i = 0; i < digits.size() / 2; i++) {
        bytes[i] = static_cast<uint8_t>(std::stoi(digits.substr(2 * i, 2), nullptr, 16));
    }
}

const char *const kTelnetKey = "00000000c6336400060000000017";
const char *const kTelnetMask = "00000000ffffff00ff000000ffff";

/* tcp any > 198.51.100.0/24 port 23, drop. */
acl_rm_rule telnet_rule(uint32_t offset) {
    acl_rm_rule rule;
    std::memset(&rule, 0, sizeof(rule));
    rule.priority = offset;
    rule.offset = offset;
    rule.valid = 1;
    put_hex(kTelnetKey, rule.key.data);
    put_hex(kTelnetMask, rule.mask.data);
    rule.action[12] = 1;
    return rule;
}

json telnet_object(uint32_t offset) {
    return {{"offset", offset},
            {"valid", true},
            {"key_type", 0},
            {"key", hex(kTelnetKey)},
            {"mask", hex(kTelnetMask)},
            {"rule", "tcp any > 198.51.100.0/24 port 23"},
            {"verdict", 1},
            {"verdict_name", "drop"},
            {"forward_port", nullptr},
            {"forward_mc", nullptr},
            {"counter_id", 0}};
}

json merged(json object, const json &more) {
    object.update(more);
    return object;
}

void add_rule_add_rows(std::vector<CommandRow> *rows) {
    auto add = with_handle<zv_acl_rm_acl_rule_set_params_t>();
    add.cmd = 6;
    add.acl_id = 3;
    add.rules_num = 1;
    add.rules[0] = telnet_rule(7);
    add.rules[0].forwarding.type = 1;
    add.rules[0].forwarding.log_port = 65540;
    add.rules[0].forwarding.counter_id = 5;
    rows->push_back({"RuleAddOfA5Tuple",
                     {"rule", "add", "--acl", "3", "--priority", "7", "--proto", "tcp", "--dst",
                      "198.51.100.0/24", "--dport", "23", "--verdict", "drop", "--counter", "5",
                      "--forward-port", "65540"},
                     6,
                     bytes_of(add),
                     bytes_of(add),
                     "ACL 3, offset 7: tcp any > 198.51.100.0/24 port 23\n"
                     "  drop, counted by 5, forwarded to port 65540\n",
                     merged(telnet_object(7), {{"ok", true},
                                               {"acl_id", 3},
                                               {"counter_id", 5},
                                               {"forward_port", 65540},
                                               {"masked", json::array()}}),
                     "writing a rule at priority 7 of ACL 3"});
    auto raw = with_handle<zv_acl_rm_acl_rule_set_params_t>();
    raw.cmd = 6;
    raw.acl_id = 3;
    raw.rules_num = 1;
    raw.rules[0].priority = raw.rules[0].offset = 8;
    raw.rules[0].valid = 1;
    raw.rules[0].key.key_type = raw.rules[0].mask.key_type = 2;
    put_hex("0a00ff", raw.rules[0].key.data);
    put_hex("ff00ff", raw.rules[0].mask.data);
    raw.rules[0].forwarding.type = 2;
    raw.rules[0].forwarding.mc_group_id = 4;
    rows->push_back({"RuleAddOfAKey",
                     {"rule", "add", "--acl", "3", "--priority", "8", "--key-type", "2", "--key",
                      "0A00ff", "--mask", "ff00ff", "--forward-mc", "4"},
                     6,
                     bytes_of(raw),
                     bytes_of(raw),
                     "ACL 3, offset 8: key type 2: 0a00ff/ff00ff\n"
                     "  permit, forwarded to MC 4\n",
                     {{"ok", true},
                      {"acl_id", 3},
                      {"offset", 8},
                      {"valid", true},
                      {"key_type", 2},
                      {"key", hex("0a00ff")},
                      {"mask", hex("ff00ff")},
                      {"rule", "key type 2: 0a00ff/ff00ff"},
                      {"verdict", 0},
                      {"verdict_name", "permit"},
                      {"forward_port", nullptr},
                      {"forward_mc", 4},
                      {"counter_id", 0},
                      {"masked", json::array()}},
                     "writing a rule at priority 8 of ACL 3"});
}

zv_acl_rm_acl_rule_get_params_t get_request(uint32_t activity) {
    auto get = with_handle<zv_acl_rm_acl_rule_get_params_t>();
    get.acl_id = 3;
    get.rules_num = 3;
    const uint32_t offsets[] = {7, 8, 20};
    for (int i = 0; i < 3; i++) {
        get.rules[i].offset = offsets[i];
        get.rules[i].readout.activity_request = activity;
    }
    return get;
}

/* A rule that forwards to a port and counts, one that forwards to an MC group, one that was hit. */
void fill_get(zv_acl_rm_acl_rule_get_params_t &get) {
    for (int i = 0; i < 3; i++) {
        const acl_rm_rule_readout readout = get.rules[i].readout;
        get.rules[i] = telnet_rule(get.rules[i].offset);
        get.rules[i].priority = 0;
        get.rules[i].readout = readout;
    }
    get.rules[0].readout.forwarding_type = 1;
    get.rules[0].readout.log_port = 65540;
    get.rules[0].readout.counter_id = 5;
    get.rules[1].readout.forwarding_type = 2;
    get.rules[1].readout.mc_pbs_id = 4;
    get.rules[2].valid = 0;
    get.rules[2].action[12] = 9;
    get.rules[2].readout.activity = 1;
}

json got_object(bool activity) {
    json rules{merged(telnet_object(7), {{"counter_id", 5}, {"forward_port", 65540}}),
               merged(telnet_object(8), {{"forward_mc", 4}}),
               merged(telnet_object(20),
                      {{"valid", false}, {"verdict", 9}, {"verdict_name", "verdict 9"}})};
    for (int i = 0; activity && i < 3; i++) {
        rules[i]["active"] = i == 2;
    }
    return {{"ok", true}, {"acl_id", 3}, {"rules", rules}};
}

void add_rule_get_rows(std::vector<CommandRow> *rows) {
    const std::string columns =
        "  offset  valid  verdict    forward     counter  rule\n"
        "       7  yes    drop       port 65540        5  tcp any > 198.51.100.0/24 port 23\n"
        "       8  yes    drop       MC 4              -  tcp any > 198.51.100.0/24 port 23\n"
        "      20  no     verdict 9  -                 -  tcp any > 198.51.100.0/24 port 23\n";
    const std::string with_hits =
        "  offset  valid  verdict    forward     counter  hit  rule\n"
        "       7  yes    drop       port 65540        5  no   tcp any > 198.51.100.0/24 port 23\n"
        "       8  yes    drop       MC 4              -  no   tcp any > 198.51.100.0/24 port 23\n"
        "      20  no     verdict 9  -                 -  yes  tcp any > 198.51.100.0/24 port 23\n";
    const char *const options[] = {"", "--activity", "--clear-activity"};
    const char *const names[] = {"RuleGet", "RuleGetWithActivity", "RuleGetClearingActivity"};
    for (uint32_t activity = 0; activity < 3; activity++) {
        CommandRow row{names[activity],
                       {"rule", "get", "--acl", "3", "7-8", "20"},
                       7,
                       bytes_of(get_request(activity)),
                       {},
                       activity == 0 ? columns : with_hits,
                       got_object(activity != 0),
                       "reading the rules at offsets 7-8, 20 of ACL 3"};
        if (activity != 0) {
            row.words.emplace_back(options[activity]);
        }
        rows->push_back(with_reply(row, get_request(activity), fill_get));
    }
}

void add_rule_rows(std::vector<CommandRow> *rows) {
    auto del = with_handle<zv_acl_rm_acl_rule_set_params_t>();
    del.cmd = 3;
    del.acl_id = 3;
    del.rules_num = 4;
    const uint32_t offsets[] = {7, 8, 9, 40};
    for (int i = 0; i < 4; i++) {
        del.rules[i].offset = offsets[i];
    }
    rows->push_back({"RuleDel",
                     {"rule", "del", "--acl", "3", "7-9", "40"},
                     6,
                     bytes_of(del),
                     bytes_of(del),
                     "4 rules of ACL 3 deleted: offsets 7-9, 40.\n",
                     {{"ok", true}, {"acl_id", 3}, {"offsets", {7, 8, 9, 40}}, {"commands", 1}},
                     "deleting the rules at offsets 7-9, 40 of ACL 3"});
    rows->push_back({"RuleMove",
                     {"rule", "move", "--acl", "3", "--from", "4", "--count", "3", "--to", "10"},
                     8,
                     bytes_of(zv_acl_rm_acl_rule_move_block_params_t{kHandle, 3, 4, 3, 10}),
                     {},
                     "3 rules of ACL 3 moved from offset 4-6 to 10-12.\n",
                     {{"ok", true}, {"acl_id", 3}, {"from", 4}, {"count", 3}, {"to", 10}},
                     "moving 3 rules from offset 4 to 10 of ACL 3"});
}

void add_bind_rows(std::vector<CommandRow> *rows) {
    for (const bool bind : {true, false}) {
        const std::string verb = bind ? "bind" : "unbind";
        const std::string name = bind ? "Bind" : "Unbind";
        const std::string done = bind ? "ACL 3 bound to " : "ACL 3 unbound from ";
        const std::string doing = bind ? "binding ACL 3 to " : "unbinding ACL 3 from ";
        const uint32_t cmd = bind ? 7 : 8;
        auto ports = with_handle<zv_acl_rm_acl_port_bind_params_t>();
        ports.cmd = cmd;
        ports.acl_id = 3;
        ports.log_ports[0] = 65537;
        ports.log_ports[1] = 65538;
        ports.ports_num = 2;
        rows->push_back({name + "Port",
                         {verb, "port", "--acl", "3", "65537-65538"},
                         9,
                         bytes_of(ports),
                         bytes_of(ports),
                         done + "2 ports: 65537-65538.\n",
                         {{"ok", true}, {"acl_id", 3}, {"bound", bind}, {"ports", {65537, 65538}}},
                         doing + "ports 65537-65538"});
        auto rifs = with_handle<zv_acl_rm_acl_rif_bind_params_t>();
        rifs.cmd = cmd;
        rifs.acl_id = 3;
        rifs.rifs[0] = 65535;
        rifs.rifs_num = 1;
        rows->push_back({name + "Rif",
                         {verb, "rif", "--acl", "3", "65535"},
                         10,
                         bytes_of(rifs),
                         bytes_of(rifs),
                         done + "1 router interface: 65535.\n",
                         {{"ok", true}, {"acl_id", 3}, {"bound", bind}, {"rifs", {65535}}},
                         doing + "router interface 65535"});
        const zv_acl_rm_acl_system_bind_params_t system{kHandle, cmd, 3};
        rows->push_back(
            {name + "System",
             {verb, "system", "--acl", "3"},
             15,
             bytes_of(system),
             bytes_of(system),
             done + (bind ? "every front-panel port, now and to come.\n" : "every port.\n"),
             {{"ok", true}, {"acl_id", 3}, {"bound", bind}, {"system", true}},
             doing + "the system"});
        auto set = with_handle<zv_acl_rm_port_set_params_t>();
        set.cmd = bind ? 9 : 10;
        set.log_ports[0] = 70000;
        set.ports_num = 1;
        rows->push_back({bind ? "PortAdd" : "PortDel",
                         {"port", bind ? "add" : "del", "70000"},
                         16,
                         bytes_of(set),
                         bytes_of(set),
                         bind ? "1 port added: 70000.\n"
                                "  ACLs bound to the system are bound there, too.\n"
                              : "1 port deleted: 70000.\n"
                                "  ACLs bound to the system are bound there no more.\n",
                         {{"ok", true}, {"added", bind}, {"ports", {70000}}},
                         bind ? "adding port 70000" : "deleting port 70000"});
    }
}

/* Bytes are the type's first flag and the record's first value, packets the second of both. */
void add_counter_rows(std::vector<CommandRow> *rows) {
    for (const bool bytes : {true, false}) {
        const std::string type = bytes ? "bytes" : "packets";
        const acl_rm_counter_type flags{bytes ? 1u : 0u, bytes ? 0u : 1u};
        const zv_acl_rm_counter_set_params_t create{kHandle, 4, flags, 0};
        rows->push_back(with_reply(
            {bytes ? "CounterCreateOfBytes" : "CounterCreateOfPackets",
             {"counter", "create", "--type", type},
             11,
             bytes_of(create),
             {},
             "Counter 6 created, of type " + type + ".\n",
             {{"ok", true}, {"counter_id", 6}, {"type", type}, {"type_number", bytes ? 0 : 1}},
             "creating a counter"},
            create, [](auto &params) { params.counter_id = 6; }));
        const zv_acl_rm_counter_get_params_t read{kHandle, 13, 6, {0, 0}, {0, 0}};
        rows->push_back(with_reply(
            {bytes ? "CounterReadOfBytes" : "CounterReadOfPackets",
             {"counter", "read", "6"},
             12,
             bytes_of(read),
             {},
             bytes ? "Counter 6: 18446744073709551615 bytes.\n" : "Counter 6: 1 packet.\n",
             {{"ok", true},
              {"counter_id", 6},
              {"type", type},
              {"type_number", bytes ? 0 : 1},
              {type, bytes ? UINT64_MAX : uint64_t{1}}},
             "reading counter 6"},
            read, [&](auto &params) {
                params.counter_type = flags;
                params.values[0] = bytes ? UINT64_MAX : 77;
                params.values[1] = bytes ? 77 : 1;
            }));
    }
    const zv_acl_rm_counter_set_params_t destroy{kHandle, 5, {0, 0}, 6};
    rows->push_back({"CounterDestroy",
                     {"counter", "destroy", "6"},
                     11,
                     bytes_of(destroy),
                     bytes_of(destroy),
                     "Counter 6 destroyed; where rules use it, it goes with the last of them.\n",
                     {{"ok", true}, {"counter_id", 6}},
                     "destroying counter 6"});
    const zv_acl_rm_counter_get_params_t clear{kHandle, 15, 6, {0, 0}, {0, 0}};
    rows->push_back({"CounterClear",
                     {"counter", "clear", "6"},
                     12,
                     bytes_of(clear),
                     bytes_of(clear),
                     "Counter 6 set to 0.\n",
                     {{"ok", true}, {"counter_id", 6}},
                     "clearing counter 6"});
}

zv_acl_rm_mc_group_set_params_t mc_set(uint32_t cmd, uint32_t id,
                                       const std::vector<uint32_t> &ports) {
    auto params = with_handle<zv_acl_rm_mc_group_set_params_t>();
    params.cmd = cmd;
    params.mc_group_id = id;
    params.ports_num = static_cast<uint32_t>(ports.size());
    std::copy(ports.begin(), ports.end(), params.log_ports);
    return params;
}

void add_mc_rows(std::vector<CommandRow> *rows) {
    const auto give_id = [](auto &params) { params.mc_group_id = 4; };
    const auto create = mc_set(1, 0, {65541, 65543});
    rows->push_back(with_reply({"McCreate",
                                {"mc", "create", "65541,65543"},
                                13,
                                bytes_of(create),
                                {},
                                "MC group 4 created with 2 ports: 65541, 65543.\n",
                                {{"ok", true}, {"mc_group_id", 4}, {"ports", {65541, 65543}}},
                                "creating an MC group of ports 65541, 65543"},
                               create, give_id));
    const auto empty = mc_set(1, 0, {});
    rows->push_back(with_reply({"McCreateWithoutPorts",
                                {"mc", "create"},
                                13,
                                bytes_of(empty),
                                {},
                                "MC group 4 created without ports.\n",
                                {{"ok", true}, {"mc_group_id", 4}, {"ports", json::array()}},
                                "creating an MC group"},
                               empty, give_id));
    for (const bool add : {true, false}) {
        const auto change = mc_set(add ? 9 : 10, 4, {5});
        rows->push_back(
            {add ? "McAdd" : "McDel",
             {"mc", add ? "add" : "del", "4", "5"},
             13,
             bytes_of(change),
             bytes_of(change),
             add ? "1 port added to MC group 4: 5.\n" : "1 port removed from MC group 4: 5.\n",
             {{"ok", true}, {"mc_group_id", 4}, {"added", add}, {"ports", {5}}},
             add ? "adding port 5 to MC group 4" : "removing port 5 from MC group 4"});
    }
    const auto remove = mc_set(3, 4, {});
    rows->push_back({"McDelete",
                     {"mc", "delete", "4"},
                     13,
                     bytes_of(remove),
                     bytes_of(remove),
                     "MC group 4 deleted.\n",
                     {{"ok", true}, {"mc_group_id", 4}},
                     "deleting MC group 4"});
    auto get = with_handle<zv_acl_rm_mc_group_get_params_t>();
    get.mc_group_id = 4;
    get.ports_num = 100;
    const CommandRow row{
        "McGet",
        {"mc", "get", "4"},
        14,
        bytes_of(get),
        {},
        "MC group 4: 3 ports: 5-6, 9.\n",
        {{"ok", true}, {"mc_group_id", 4}, {"ports", {5, 6, 9}}, {"may_have_more", false}},
        "reading MC group 4"};
    rows->push_back(with_reply(row, get, [](auto &params) {
        params.ports_num = 3;
        params.log_ports[0] = 5;
        params.log_ports[1] = 6;
        params.log_ports[2] = 9;
    }));
}

}  // namespace

std::vector<CommandRow> command_rows() {
    std::vector<CommandRow> rows;
    add_acl_rows(&rows);
    add_rule_add_rows(&rows);
    add_rule_get_rows(&rows);
    add_rule_rows(&rows);
    add_bind_rows(&rows);
    add_counter_rows(&rows);
    add_mc_rows(&rows);
    return rows;
}

void PrintTo(const CommandRow &row, std::ostream *out) {
    *out << row.name;
}

}  // namespace zv_test
