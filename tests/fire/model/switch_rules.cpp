// What the switch refuses by itself: told here only for calls whose own status nobody saw.
#include <algorithm>
#include <functional>
#include <string>

#include "tests/fire/model/switch_objects.h"

namespace zv_model {

using nlohmann::json;

namespace {

// One call that is asked about.
struct Asked {
    const SwitchObjects &held;
    const json &args;
    const json &config;

    uint32_t arg(const char *name) const { return args.at(name).get<uint32_t>(); }
    uint32_t cmd() const { return arg("cmd"); }
    uint64_t capacity(const char *name, uint64_t otherwise) const {
        return config.is_object() ? config.value(name, otherwise) : otherwise;
    }
    bool has_rows(uint64_t more, uint64_t fewer) const {
        uint64_t used = more;
        for (const auto &[id, region] : held.regions) {
            used += region.region_size;
        }
        return used - fewer <= capacity("tcam_entries", 65536);
    }
};

bool region_set(const Asked &asked) {
    const auto &held = asked.held;
    const uint32_t size = asked.arg("region_size");
    if (asked.cmd() == kCreate) {
        return held.regions.size() < asked.capacity("regions", 512) && asked.has_rows(size, 0);
    }
    const uint32_t id = asked.arg("region_id");
    const auto region = held.regions.find(id);
    if (region == held.regions.end()) {
        return false;
    }
    if (asked.cmd() == kEdit) {
        const auto &rules = region->second.rules;
        return (rules.empty() || rules.rbegin()->first < size) &&
               asked.has_rows(size, region->second.region_size);
    }
    return asked.cmd() == kDestroy &&
           std::none_of(held.acls.begin(), held.acls.end(),
                        [&](const auto &acl) { return acl.second.region_id == id; });
}

bool acl_set(const Asked &asked) {
    const auto &held = asked.held;
    if (asked.cmd() == kCreate) {
        const json &group = asked.args.at("group");
        return held.regions.contains(group.at("region_id")) && group.at("type") == 0 &&
               held.acls.size() < asked.capacity("acls", 512);
    }
    const uint32_t id = asked.arg("acl_id");
    const bool in_use = std::any_of(held.groups.begin(), held.groups.end(), [&](const auto &one) {
        const auto &ids = one.second.acl_ids;
        return std::find(ids.begin(), ids.end(), id) != ids.end();
    });
    const bool may_be = asked.config.is_object() && asked.config.value("acl_destroy_in_use", false);
    return asked.cmd() == kDestroy && held.acls.contains(id) && (!in_use || may_be);
}

bool takes_acls(const Asked &asked) {
    const json &ids = asked.args.at("acl_ids");
    return asked.arg("count") <= 16 && std::all_of(ids.begin(), ids.end(), [&](const json &id) {
               const auto acl = asked.held.acls.find(id.get<uint32_t>());
               return acl != asked.held.acls.end() &&
                      acl->second.direction == asked.arg("direction");
           });
}

bool group_set(const Asked &asked) {
    const auto &held = asked.held;
    if (asked.cmd() == kCreate) {
        return takes_acls(asked) && held.groups.size() < asked.capacity("groups", 256);
    }
    const uint32_t id = asked.arg("group_id");
    const auto group = held.groups.find(id);
    if (group == held.groups.end()) {
        return false;
    }
    if (asked.cmd() == kSet) {
        return takes_acls(asked) && group->second.direction == asked.arg("direction");
    }
    return asked.cmd() == kDestroy &&
           std::none_of(held.bindings.begin(), held.bindings.end(),
                        [&](const auto &binding) { return binding.second == id; });
}

bool bind_set(const Asked &asked) {
    const auto &held = asked.held;
    const bool is_rif = asked.args.contains("rif_id");
    const auto bound = held.bindings.find({is_rif, asked.arg(is_rif ? "rif_id" : "log_port")});
    if (asked.cmd() == kBind) {
        return held.groups.contains(asked.arg("group_id")) && bound == held.bindings.end() &&
               held.bindings.size() < asked.capacity("bindings", 1024);
    }
    return asked.cmd() == kUnbind && bound != held.bindings.end() &&
           bound->second == asked.arg("group_id");
}

bool rules_set(const Asked &asked) {
    const auto region = asked.held.regions.find(asked.arg("region_id"));
    const json &rules = asked.args.at("rules");
    return (asked.cmd() == kSet || asked.cmd() == kDelete) && region != asked.held.regions.end() &&
           std::all_of(rules.begin(), rules.end(), [&](const json &rule) {
               return rule.at("offset").get<uint32_t>() < region->second.region_size;
           });
}

bool block_move(const Asked &asked) {
    const auto region = asked.held.regions.find(asked.arg("region_id"));
    const auto fits = [&](const char *start) {
        return uint64_t{asked.arg(start)} + asked.arg("block_size") <= region->second.region_size;
    };
    return region != asked.held.regions.end() && fits("block_start") && fits("new_start");
}

bool pbs_set(const Asked &asked) {
    const auto &held = asked.held;
    const json &entry = asked.args.at("entry");
    if (asked.cmd() == kAdd) {
        const std::set<uint32_t> ports = entry.at("ports");
        return (entry.at("entry_type") != 0 || ports.size() == 1) &&
               held.pbs.size() < asked.capacity("pbs_entries", 1024);
    }
    const auto pbs = held.pbs.find(asked.arg("pbs_id"));
    if (pbs == held.pbs.end() || pbs->second.switch_id != asked.arg("switch_id")) {
        return false;
    }
    if (asked.cmd() == kDelete) {
        return true;
    }
    std::set<uint32_t> ports = pbs->second.ports;
    for (const json &port : entry.at("ports")) {
        if (asked.cmd() == kAddPorts) {
            ports.insert(port.get<uint32_t>());
        } else {
            ports.erase(port.get<uint32_t>());
        }
    }
    return (asked.cmd() == kAddPorts || asked.cmd() == kDeletePorts) &&
           (pbs->second.entry_type != 0 || ports.size() == 1);
}

bool counter_set(const Asked &asked) {
    if (asked.cmd() == kCreate) {
        return asked.held.counters.size() < asked.capacity("counters", 1024);
    }
    return asked.cmd() == kDestroy && asked.held.counters.contains(asked.arg("counter_id"));
}

}  // namespace

bool SwitchObjects::would_do(const std::string &call, const json &args, const json &config) const {
    static const std::map<std::string, bool (*)(const Asked &)> rules = {
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
    const auto rule = rules.find(call);
    return rule != rules.end() && rule->second({*this, args, config});
}

}  // namespace zv_model
