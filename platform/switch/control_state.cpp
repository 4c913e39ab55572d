// A full switch holds 65536 rules of 700 characters: rules are rendered one by one into the text,
// since a JSON tree of them all would take ten times its room.

#include "platform/switch/control_state.h"

#include "platform/sim/json.h"
#include "platform/switch/render.h"
#include "platform/switch/state.h"

namespace zv_switch {
namespace {

struct RegionCopy {
    uint32_t region_id;
    uint32_t region_size;
    uint32_t key_type;
    uint32_t action_type;
    std::vector<StoredRule> rules;
};

struct StateCopy {
    std::vector<RegionCopy> regions;
    std::map<uint32_t, Acl> acls;
    std::map<uint32_t, Group> groups;
    std::map<BindPoint, uint32_t> bindings;
    std::map<uint32_t, Pbs> pbs;
    std::map<uint32_t, Counter> counters;
};

StateCopy copy_state() {
    Switch &sw = the_switch();
    const std::lock_guard lock(sw.mutex);
    StateCopy copy{{},          sw.acls.items(), sw.groups.items(),
                   sw.bindings, sw.pbs.items(),  sw.counters.items()};
    for (const auto &[id, region] : sw.regions.items()) {
        copy.regions.push_back(
            {id, region.region_size, region.key_type, region.action_type, region.rules.copy()});
    }
    return copy;
}

void append_rules(const std::vector<StoredRule> &rules, std::string *text) {
    const char *separator = "";
    for (const StoredRule &stored : rules) {
        OrderedJson rule = rule_json(stored.rule);
        rule["activity"] = stored.active ? 1 : 0;
        text->append(separator).append(rule.dump());
        separator = ",";
    }
}

void append_regions(const std::vector<RegionCopy> &regions, std::string *text) {
    const char *separator = "";
    *text += "\"regions\":[";
    for (const RegionCopy &region : regions) {
        const OrderedJson head = zv_sim::object_of({{"region_id", region.region_id},
                                                    {"region_size", region.region_size},
                                                    {"key_type", region.key_type},
                                                    {"action_type", region.action_type}});
        std::string opened = head.dump();
        opened.pop_back();
        text->append(separator).append(opened).append(",\"rules\":[");
        append_rules(region.rules, text);
        *text += "]}";
        separator = ",";
    }
    *text += "]";
}

OrderedJson acls_json(const std::map<uint32_t, Acl> &acls) {
    OrderedJson list = OrderedJson::array();
    for (const auto &[id, acl] : acls) {
        list.push_back(zv_sim::object_of({{"acl_id", id},
                                          {"acl_type", acl.acl_type},
                                          {"direction", acl.direction},
                                          {"region_id", acl.region_id}}));
    }
    return list;
}

OrderedJson groups_json(const std::map<uint32_t, Group> &groups) {
    OrderedJson list = OrderedJson::array();
    for (const auto &[id, group] : groups) {
        list.push_back(zv_sim::object_of({{"group_id", id},
                                          {"direction", group.direction},
                                          {"acl_ids", OrderedJson(group.acl_ids)}}));
    }
    return list;
}

OrderedJson bindings_json(const std::map<BindPoint, uint32_t> &bindings) {
    OrderedJson list = OrderedJson::array();
    for (const auto &[point, group_id] : bindings) {
        list.push_back(zv_sim::object_of(
            {{point.is_rif ? "rif_id" : "log_port", point.number}, {"group_id", group_id}}));
    }
    return list;
}

OrderedJson pbs_json(const std::map<uint32_t, Pbs> &entries) {
    OrderedJson list = OrderedJson::array();
    for (const auto &[id, pbs] : entries) {
        list.push_back(zv_sim::object_of({{"pbs_id", id},
                                          {"switch_id", pbs.switch_id},
                                          {"entry_type", pbs.entry_type},
                                          {"ports", OrderedJson(pbs.ports)}}));
    }
    return list;
}

OrderedJson counters_json(const std::map<uint32_t, Counter> &counters) {
    OrderedJson list = OrderedJson::array();
    for (const auto &[id, counter] : counters) {
        list.push_back(zv_sim::object_of({{"counter_id", id},
                                          {"counter_type", counter.counter_type},
                                          {"values", counter_values_json(counter.values)}}));
    }
    return list;
}

}  // namespace

std::string state_members() {
    const StateCopy copy = copy_state();
    OrderedJson rest = OrderedJson::object();
    rest["acls"] = acls_json(copy.acls);
    rest["groups"] = groups_json(copy.groups);
    rest["bindings"] = bindings_json(copy.bindings);
    rest["pbs"] = pbs_json(copy.pbs);
    rest["counters"] = counters_json(copy.counters);
    rest["ports"] = zv_sim::ports_json(zv_sim::ports());
    std::string text;
    append_regions(copy.regions, &text);
    const std::string tail = rest.dump();
    return text + "," + tail.substr(1, tail.size() - 2);
}

}  // namespace zv_switch
