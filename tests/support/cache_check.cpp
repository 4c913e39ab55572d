// Both sides are brought into the same shape, a map or a set of plain values, and compared whole:
// the failure then shows what is too many on either side.
#include "tests/support/cache_check.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <utility>

#include "tests/support/daemon_process.h"

namespace zv_test {

using nlohmann::json;

namespace {

using Ids = std::vector<uint32_t>;
using Pair = std::pair<uint32_t, uint32_t>;

// Set by every check on its way in, so that a failure names the caller's line.
#define ZV_TRACE_HERE(here) testing::ScopedTrace zv_trace_here(here.file, here.line, "cache check")

constexpr uint32_t kUnicast = 0;
constexpr uint32_t kMulticast = 2;

const json &part(const json &state, const char *name) {
    static const json &nothing = *new json(json::array());
    return state.contains(name) ? state.at(name) : nothing;
}

uint32_t id_of(const json &object, const char *name) {
    return object.at(name).get<uint32_t>();
}

std::set<uint32_t> ids_of(const json &state, const char *kind, const char *name) {
    std::set<uint32_t> ids;
    for (const json &object : part(state, kind)) {
        ids.insert(id_of(object, name));
    }
    return ids;
}

std::map<uint32_t, const CacheDump::Acl *> acls_by_id(const CacheDump &dump) {
    std::map<uint32_t, const CacheDump::Acl *> acls;
    for (const CacheDump::Acl &acl : dump.acls) {
        acls[acl.acl_id] = &acl;
    }
    return acls;
}

// (region, offset) of every rule in the switch's regions that belong to ACLs of the dump.
std::set<Pair> switch_rules(const CacheDump &dump, const json &state) {
    std::set<uint32_t> regions;
    for (const CacheDump::Acl &acl : dump.acls) {
        regions.insert(acl.region_id);
    }
    std::set<Pair> rules;
    for (const json &region : part(state, "regions")) {
        for (const json &rule : region.at("rules")) {
            if (regions.count(id_of(region, "region_id")) != 0) {
                rules.emplace(id_of(region, "region_id"), id_of(rule, "offset"));
            }
        }
    }
    return rules;
}

uint32_t word_of(const std::string &hex, size_t at) {
    uint32_t word = 0;
    for (size_t i = 4; i-- > 0;) {
        word =
            word << 8 | static_cast<uint32_t>(std::stoul(hex.substr((at + i) * 2, 2), nullptr, 16));
    }
    return word;
}

// How many rules of the switch forward through each PBS entry.
std::map<uint32_t, uint32_t> pbs_uses(const json &state) {
    constexpr size_t kForwardAt = 0;
    constexpr size_t kPbsAt = 8;
    std::map<uint32_t, uint32_t> uses;
    for (const json &region : part(state, "regions")) {
        for (const json &rule : region.at("rules")) {
            const std::string action = rule.at("action");
            if (word_of(action, kForwardAt) != 0) {
                ++uses[word_of(action, kPbsAt)];
            }
        }
    }
    return uses;
}

struct BindPoint {
    bool is_rif;
    uint32_t port_id;
    auto operator<=>(const BindPoint &) const = default;
};

std::ostream &operator<<(std::ostream &out, const BindPoint &point) {
    return out << (point.is_rif ? "rif " : "port ") << point.port_id;
}

std::map<BindPoint, uint32_t> switch_bindings(const json &state) {
    std::map<BindPoint, uint32_t> bindings;
    for (const json &binding : part(state, "bindings")) {
        const bool is_rif = binding.contains("rif_id");
        bindings[{is_rif, id_of(binding, is_rif ? "rif_id" : "log_port")}] =
            id_of(binding, "group_id");
    }
    return bindings;
}

}  // namespace

void check_cache_alone(const CacheDump &dump, Here here) {
    ZV_TRACE_HERE(here);
    const auto keys_of = [](const auto &entries, const char *table, size_t room, auto key_of) {
        std::set<decltype(key_of(entries[0]))> keys;
        for (const auto &entry : entries) {
            EXPECT_TRUE(keys.insert(key_of(entry)).second) << "twice in the table of " << table;
        }
        EXPECT_LE(entries.size(), room) << "table of " << table;
        return keys;
    };
    keys_of(dump.rules, "rules", 6400, [](const CacheDump::Rule &rule) { return rule.key; });
    keys_of(dump.forwardings, "forwarding entries", 100,
            [](const CacheDump::Forwarding &entry) { return entry.log_port; });
    keys_of(dump.mc_groups, "multicast groups", 6400,
            [](const CacheDump::McGroup &group) { return group.mcg_id; });
    keys_of(dump.bind_points, "bind points", 648, [](const CacheDump::BindPoint &at) {
        return BindPoint{at.is_rif, at.port_id};
    });
    const auto groups = keys_of(dump.groups, "groups", 128,
                                [](const CacheDump::Group &group) { return group.group_id; });
    keys_of(dump.acls, "ACLs", 648, [](const CacheDump::Acl &acl) { return acl.acl_id; });
    for (const CacheDump::BindPoint &at : dump.bind_points) {
        EXPECT_EQ(groups.count(at.group_id), 1u) << "bind point without group " << at.group_id;
    }
    for (const CacheDump::Acl &acl : dump.acls) {
        EXPECT_TRUE(acl.owner >= 0 && acl.owner <= 3) << "owner of ACL " << acl.acl_id;
    }
    for (const CacheDump::McGroup &group : dump.mc_groups) {
        EXPECT_LE(group.owner, 3u) << "owner of multicast group " << group.mcg_id;
    }
}

void check_counts(const CacheDump &dump, Here here) {
    ZV_TRACE_HERE(here);
    EXPECT_EQ(dump.acl_table_cnt, dump.acls.size());
    EXPECT_EQ(dump.rules_cnt, dump.rules.size());
}

void check_rules(const CacheDump &dump, const json &state, Here here) {
    ZV_TRACE_HERE(here);
    const auto acls = acls_by_id(dump);
    std::set<Pair> cached;
    for (const CacheDump::Rule &rule : dump.rules) {
        EXPECT_EQ(rule.key_offset, rule.offset) << "rule " << rule.key;
        const auto acl = acls.find(rule.acl_id);
        if (acl == acls.end()) {
            ADD_FAILURE() << "rule " << rule.key << " is of an ACL that is not there";
            continue;
        }
        EXPECT_EQ(rule.region_id, acl->second->region_id) << "rule " << rule.key;
        EXPECT_TRUE(cached.emplace(rule.region_id, rule.offset).second) << "twice: " << rule.key;
    }
    EXPECT_EQ(cached, switch_rules(dump, state)) << "(region, offset): cache, switch";
}

void check_acls(const CacheDump &dump, const json &state, Here here) {
    ZV_TRACE_HERE(here);
    std::map<uint32_t, uint32_t> in_switch;
    for (const json &acl : part(state, "acls")) {
        in_switch[id_of(acl, "acl_id")] = id_of(acl, "region_id");
    }
    const std::set<uint32_t> regions = ids_of(state, "regions", "region_id");
    for (const CacheDump::Acl &acl : dump.acls) {
        EXPECT_EQ(regions.count(acl.region_id), 1u) << "region of ACL " << acl.acl_id;
        const auto found = in_switch.find(acl.acl_id);
        if (found == in_switch.end()) {
            ADD_FAILURE() << "the switch has no ACL " << acl.acl_id;
        } else {
            EXPECT_EQ(found->second, acl.region_id) << "ACL " << acl.acl_id;
        }
    }
}

void check_groups(const CacheDump &dump, const json &state, Here here) {
    ZV_TRACE_HERE(here);
    const auto acls = acls_by_id(dump);
    std::map<uint32_t, Ids> in_switch;
    for (const json &group : part(state, "groups")) {
        in_switch[id_of(group, "group_id")] = group.at("acl_ids").get<Ids>();
    }
    for (const CacheDump::Group &group : dump.groups) {
        EXPECT_NE(group.acls_num, 0u) << "empty group " << group.group_id;
        for (const uint32_t acl_id : group.acl_ids) {
            EXPECT_EQ(acls.count(acl_id), 1u) << "ACL " << acl_id << " of group " << group.group_id;
        }
        Ids wanted = in_switch[group.group_id];
        EXPECT_EQ(wanted.size(), group.acls_num) << "group " << group.group_id;
        // A long list is cut in the dump; what stands there must be the list's beginning.
        wanted.resize(std::min(wanted.size(), group.acl_ids.size()));
        EXPECT_EQ(group.acl_ids, wanted) << "group " << group.group_id;
    }
}

namespace {

// The ports under which each ACL should be listed, from the groups bound there. Ports and router
// interfaces come together, since an ACL's line does not tell them apart.
std::map<uint32_t, std::multiset<uint32_t>> ports_of_acls(const CacheDump &dump,
                                                          const json &state) {
    std::map<uint32_t, Ids> members;
    for (const json &group : part(state, "groups")) {
        members[id_of(group, "group_id")] = group.at("acl_ids").get<Ids>();
    }
    std::map<uint32_t, std::multiset<uint32_t>> ports;
    for (const CacheDump::BindPoint &point : dump.bind_points) {
        for (const uint32_t acl_id : members[point.group_id]) {
            ports[acl_id].insert(point.port_id);
        }
    }
    return ports;
}

}  // namespace

void check_bind_points(const CacheDump &dump, const json &state, Here here) {
    ZV_TRACE_HERE(here);
    std::set<uint32_t> groups;
    for (const CacheDump::Group &group : dump.groups) {
        groups.insert(group.group_id);
    }
    std::map<BindPoint, uint32_t> cached;
    for (const CacheDump::BindPoint &point : dump.bind_points) {
        EXPECT_EQ(groups.count(point.group_id), 1u) << "group " << point.group_id;
        cached[{point.is_rif, point.port_id}] = point.group_id;
    }
    EXPECT_EQ(cached, switch_bindings(state)) << "cache, switch";
    auto wanted = ports_of_acls(dump, state);
    for (const CacheDump::Acl &acl : dump.acls) {
        const std::multiset<uint32_t> listed(acl.bound_ports.begin(), acl.bound_ports.end());
        EXPECT_EQ(listed, wanted[acl.acl_id]) << "ports of ACL " << acl.acl_id;
    }
}

void check_forwarding(const CacheDump &dump, const json &state, Here here) {
    ZV_TRACE_HERE(here);
    std::map<uint32_t, const json *> pbs;
    for (const json &entry : part(state, "pbs")) {
        pbs[id_of(entry, "pbs_id")] = &entry;
    }
    std::map<uint32_t, uint32_t> uses = pbs_uses(state);
    for (const CacheDump::Forwarding &entry : dump.forwardings) {
        EXPECT_EQ(entry.log_port, entry.forwarding_log_port);
        EXPECT_EQ(entry.entry_type, kUnicast);
        EXPECT_EQ(entry.times_consumed, uses[entry.pbs_id]) << "PBS entry " << entry.pbs_id;
        if (pbs.count(entry.pbs_id) == 0) {
            ADD_FAILURE() << "the switch has no PBS entry " << entry.pbs_id;
            continue;
        }
        EXPECT_EQ(id_of(*pbs[entry.pbs_id], "entry_type"), kUnicast);
        EXPECT_EQ(pbs[entry.pbs_id]->at("ports").get<Ids>(), Ids{entry.log_port});
    }
    for (const CacheDump::McGroup &group : dump.mc_groups) {
        EXPECT_EQ(group.mcg_id, group.pbs_id);
        if (pbs.count(group.pbs_id) == 0) {
            ADD_FAILURE() << "the switch has no PBS entry " << group.pbs_id;
            continue;
        }
        EXPECT_EQ(id_of(*pbs[group.pbs_id], "entry_type"), kMulticast);
    }
}

void check_left_overs(const CacheDump &dump, const json &state, Here here) {
    ZV_TRACE_HERE(here);
    std::set<uint32_t> acls, regions, groups, pbs;
    for (const CacheDump::Acl &acl : dump.acls) {
        acls.insert(acl.acl_id);
        regions.insert(acl.region_id);
    }
    for (const CacheDump::Group &group : dump.groups) {
        groups.insert(group.group_id);
    }
    for (const CacheDump::Forwarding &entry : dump.forwardings) {
        pbs.insert(entry.pbs_id);
    }
    for (const CacheDump::McGroup &group : dump.mc_groups) {
        pbs.insert(group.pbs_id);
    }
    EXPECT_EQ(acls, ids_of(state, "acls", "acl_id")) << "cache, switch";
    EXPECT_EQ(regions, ids_of(state, "regions", "region_id")) << "cache, switch";
    EXPECT_EQ(groups, ids_of(state, "groups", "group_id")) << "cache, switch";
    EXPECT_EQ(pbs, ids_of(state, "pbs", "pbs_id")) << "cache, switch";
}

void check_cache(DaemonProcess &daemon, unsigned skip, Here here) {
    ZV_TRACE_HERE(here);
    const CacheDump dump = daemon.dump(here);
    ASSERT_TRUE(dump.complete) << "the dump was cut: too large for this check";
    const json state = daemon.control().state(here);
    if (!(skip & kSkipCounts)) {
        check_counts(dump, here);
    }
    check_acls(dump, state, here);
    if (!(skip & kSkipRules)) {
        check_rules(dump, state, here);
    }
    if (!(skip & kSkipGroups)) {
        check_groups(dump, state, here);
        check_bind_points(dump, state, here);
    }
    if (!(skip & kSkipForwarding)) {
        check_forwarding(dump, state, here);
    }
    if (!(skip & kSkipLeftOvers)) {
        check_left_overs(dump, state, here);
    }
}

}  // namespace zv_test
