// Calls that did their work, folded into what the switch holds.
#include <map>
#include <string>

#include "tests/fire/model/model.h"

namespace zv_model {

using nlohmann::json;

namespace {

uint32_t u32(const json &object, const char *name) {
    return object.at(name).get<uint32_t>();
}

void region_set(SwitchObjects &held, const Call &call) {
    const json &args = call.args;
    switch (u32(args, "cmd")) {
        case kCreate:
            held.regions[u32(call.out, "region_id")] = {
                u32(args, "region_size"), u32(args, "key_type"), u32(args, "action_type"), {}};
            break;
        case kEdit:
            held.regions.at(u32(args, "region_id")).region_size = u32(args, "region_size");
            break;
        case kDestroy:
            held.regions.erase(u32(args, "region_id"));
            break;
    }
}

void acl_set(SwitchObjects &held, const Call &call) {
    const json &args = call.args;
    if (u32(args, "cmd") == kCreate) {
        held.acls[u32(call.out, "acl_id")] = {u32(args, "acl_type"), u32(args, "direction"),
                                              u32(args.at("group"), "region_id")};
    }
    if (u32(args, "cmd") == kDestroy) {
        const uint32_t id = u32(args, "acl_id");
        held.acls.erase(id);
        // Where the switch is configured to let an ACL in use go, groups lose it.
        for (auto &[group_id, group] : held.groups) {
            std::erase(group.acl_ids, id);
        }
    }
}

void group_set(SwitchObjects &held, const Call &call) {
    const json &args = call.args;
    switch (u32(args, "cmd")) {
        case kCreate:
            held.groups[u32(call.out, "group_id")] = {u32(args, "direction"), args.at("acl_ids")};
            break;
        case kSet:
            held.groups.at(u32(args, "group_id")).acl_ids =
                args.at("acl_ids").get<std::vector<uint32_t>>();
            break;
        case kDestroy:
            held.groups.erase(u32(args, "group_id"));
            break;
    }
}

void bind_set(SwitchObjects &held, const Call &call) {
    const bool is_rif = call.args.contains("rif_id");
    const SwitchObjects::BindPoint point{is_rif, u32(call.args, is_rif ? "rif_id" : "log_port")};
    switch (u32(call.args, "cmd")) {
        case kBind:
            held.bindings[point] = u32(call.args, "group_id");
            break;
        case kUnbind:
            held.bindings.erase(point);
            break;
    }
}

void rules_set(SwitchObjects &held, const Call &call) {
    auto &rules = held.regions.at(u32(call.args, "region_id")).rules;
    for (const json &rule : call.args.at("rules")) {
        if (u32(call.args, "cmd") == kSet) {
            rules[u32(rule, "offset")] = rule;
        } else {
            rules.erase(u32(rule, "offset"));
        }
    }
}

void block_move(SwitchObjects &held, const Call &call) {
    auto &rules = held.regions.at(u32(call.args, "region_id")).rules;
    const uint64_t from = u32(call.args, "block_start"), to = u32(call.args, "new_start"),
                   num = u32(call.args, "block_size");
    std::map<uint32_t, json> moved;
    for (const auto &[offset, rule] : rules) {
        if (offset >= from && offset < from + num) {
            const auto at = static_cast<uint32_t>(offset - from + to);
            moved[at] = rule;
            moved[at]["offset"] = at;
        }
    }
    std::erase_if(rules, [&](const auto &one) {
        const uint64_t at = one.first;
        return (at >= from && at < from + num) || (at >= to && at < to + num);
    });
    rules.merge(moved);
}

void pbs_set(SwitchObjects &held, const Call &call) {
    const json &args = call.args;
    const uint32_t cmd = u32(args, "cmd");
    if (cmd == kDelete) {
        held.pbs.erase(u32(args, "pbs_id"));
        return;
    }
    const std::set<uint32_t> ports = args.at("entry").at("ports");
    if (cmd == kAdd) {
        held.pbs[u32(call.out, "pbs_id")] = {u32(args, "switch_id"),
                                             u32(args.at("entry"), "entry_type"), ports};
        return;
    }
    auto &held_ports = held.pbs.at(u32(args, "pbs_id")).ports;
    for (const uint32_t port : ports) {
        if (cmd == kAddPorts) {
            held_ports.insert(port);
        } else if (cmd == kDeletePorts) {
            held_ports.erase(port);
        }
    }
}

void counter_set(SwitchObjects &held, const Call &call) {
    if (u32(call.args, "cmd") == kCreate) {
        held.counters[u32(call.out, "counter_id")] = u32(call.args, "counter_type");
    } else {
        held.counters.erase(u32(call.args, "counter_id"));
    }
}

// Calls that are not here change nothing.
const std::map<std::string, void (*)(SwitchObjects &, const Call &)> &changes() {
    static const std::map<std::string, void (*)(SwitchObjects &, const Call &)> table = {
        {"zv_api_acl_region_set", region_set},
        {"zv_api_acl_set", acl_set},
        {"zv_api_acl_group_set", group_set},
        {"zv_api_acl_port_bind_set", bind_set},
        {"zv_api_acl_rif_bind_set", bind_set},
        {"zv_api_acl_rules_set", rules_set},
        {"zv_api_acl_rule_block_move_set", block_move},
        {"zv_api_acl_policy_based_switching_set", pbs_set},
        {"zv_api_flow_counter_set", counter_set},
    };
    return table;
}

json regions_json(const SwitchObjects &held) {
    json list = json::array();
    for (const auto &[id, region] : held.regions) {
        json rules = json::array();
        for (const auto &[offset, rule] : region.rules) {
            rules.push_back(rule);
        }
        list.push_back({{"region_id", id},
                        {"region_size", region.region_size},
                        {"key_type", region.key_type},
                        {"action_type", region.action_type},
                        {"rules", std::move(rules)}});
    }
    return list;
}

}  // namespace

SwitchModel::SwitchModel(json config) : config_(std::move(config)) {}

void SwitchModel::add(const Call &call, bool late) {
    const auto change = changes().find(call.name);
    if (change == changes().end()) {
        return;
    }
    if (late ? objects_.would_do(call.name, call.args, config_) : call.status == 0) {
        change->second(objects_, call);
    }
}

json SwitchModel::state() const {
    json state = {
        {"regions", regions_json(objects_)}, {"acls", json::array()}, {"groups", json::array()},
        {"bindings", json::array()},         {"pbs", json::array()},  {"counters", json::array()}};
    for (const auto &[id, acl] : objects_.acls) {
        state["acls"].push_back({{"acl_id", id},
                                 {"acl_type", acl.acl_type},
                                 {"direction", acl.direction},
                                 {"region_id", acl.region_id}});
    }
    for (const auto &[id, group] : objects_.groups) {
        state["groups"].push_back(
            {{"group_id", id}, {"direction", group.direction}, {"acl_ids", group.acl_ids}});
    }
    for (const auto &[point, group] : objects_.bindings) {
        json binding = {{"group_id", group}};
        binding[point.first ? "rif_id" : "log_port"] = point.second;
        state["bindings"].push_back(std::move(binding));
    }
    for (const auto &[id, pbs] : objects_.pbs) {
        state["pbs"].push_back({{"pbs_id", id},
                                {"switch_id", pbs.switch_id},
                                {"entry_type", pbs.entry_type},
                                {"ports", pbs.ports}});
    }
    for (const auto &[id, type] : objects_.counters) {
        state["counters"].push_back({{"counter_id", id}, {"counter_type", type}});
    }
    return state;
}

json SwitchModel::comparable(json control_state) {
    control_state.erase("ok");
    control_state.erase("ports");
    for (json &region : control_state["regions"]) {
        for (json &rule : region["rules"]) {
            rule.erase("activity");
        }
    }
    for (json &counter : control_state["counters"]) {
        counter.erase("values");
    }
    return control_state;
}

}  // namespace zv_model
