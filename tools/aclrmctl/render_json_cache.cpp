#include "render_json_cache.h"

#include <algorithm>

#include "names.h"

namespace aclrmctl {

namespace {

using nlohmann::ordered_json;

ordered_json owner_or_null(int64_t owner) {
    return owner < 0 ? ordered_json(nullptr)
                     : ordered_json(owner_name(static_cast<uint32_t>(owner)));
}

/* An empty list would say that there is nothing, where nothing was told. */
template <typename List>
ordered_json list_or_null(const List &list, bool whole) {
    return list.empty() && !whole ? ordered_json(nullptr) : ordered_json(list);
}

template <typename Record>
ordered_json list_of(const std::vector<Record> &records, ordered_json (*object)(const Record &)) {
    ordered_json list = ordered_json::array();
    for (const Record &record : records) {
        list.push_back(object(record));
    }
    return list;
}

ordered_json rule_in_cache(const CachedRule &rule) {
    return {{"acl_id", rule.acl_id},
            {"offset", rule.offset},
            {"written_at", rule.written_at},
            {"region_id", rule.region_id}};
}

ordered_json group_in_cache(const CachedGroup &group) {
    return {{"group_id", group.group_id}, {"acl_ids", group.acl_ids}, {"acls_num", group.acls_num}};
}

ordered_json acl_in_cache(const CachedAcl &acl) {
    return {{"acl_id", acl.acl_id},
            {"owner", acl.owner},
            {"owner_name", owner_or_null(acl.owner)},
            {"bound_to_system", acl.bound_to_system},
            {"region_id", acl.region_id},
            {"bound_to", acl.bound_to},
            {"bound_to_whole", acl.bound_to_whole}};
}

ordered_json bind_point_in_cache(const CachedBindPoint &point) {
    return {{"kind", point.router_interface ? "rif" : "port"},
            {"number", point.number},
            {"group_id", point.group_id}};
}

ordered_json forwarding_in_cache(const CachedForwarding &entry) {
    return {{"log_port", entry.log_port},
            {"entry_type", entry.entry_type},
            {"forward_port", entry.forward_port},
            {"pbs_id", entry.pbs_id},
            {"rules_num", entry.rules_num}};
}

ordered_json mc_group_in_cache(const CachedMcGroup &group) {
    return {{"mc_group_id", group.mc_group_id},
            {"pbs_id", group.pbs_id},
            {"owner", group.owner},
            {"owner_name", owner_or_null(group.owner)}};
}

ordered_json owners_of(const CacheText &cache) {
    ordered_json list = ordered_json::array();
    for (const auto &[name, number] : owner_names()) {
        std::vector<uint32_t> acl_ids;
        std::vector<uint32_t> mc_group_ids;
        for (const CachedAcl &acl : cache.acls) {
            if (acl.owner == static_cast<int32_t>(number)) {
                acl_ids.push_back(acl.acl_id);
            }
        }
        for (const CachedMcGroup &group : cache.mc_groups) {
            if (group.owner == number) {
                mc_group_ids.push_back(group.mc_group_id);
            }
        }
        const auto rules_num =
            std::count_if(cache.rules.begin(), cache.rules.end(), [&](const CachedRule &rule) {
                return std::find(acl_ids.begin(), acl_ids.end(), rule.acl_id) != acl_ids.end();
            });
        const bool all_acls = has_all(cache, "acls");
        list.push_back({{"owner", number},
                        {"owner_name", name},
                        {"acl_ids", all_acls ? ordered_json(acl_ids) : ordered_json(nullptr)},
                        {"rules_num", all_acls ? ordered_json(rules_num) : ordered_json(nullptr)},
                        {"mc_group_ids", has_all(cache, "mc") ? ordered_json(mc_group_ids)
                                                              : ordered_json(nullptr)}});
    }
    return list;
}

ordered_json shown_rules(const ShowAnswer &answer) {
    ordered_json list = ordered_json::array();
    for (const ShownRule &rule : answer.rules) {
        ordered_json object = rule_in_cache(rule.cached);
        if (rule.view) {
            object.update(rule_object(*rule.view));
        }
        list.push_back(object);
    }
    return list_or_null(list, has_all(answer.cache, "rules"));
}

ordered_json shown_counters(const ShowAnswer &answer) {
    ordered_json list = ordered_json::array();
    for (const ShownCounter &counter : answer.counters) {
        list.push_back({{"counter_id", counter.counter_id},
                        {"type", counter_type_name(counter.type)},
                        {"type_number", static_cast<uint32_t>(counter.type)},
                        {"value", counter.value},
                        {"rules_num", answer.all_rules ? ordered_json(counter.rules_num)
                                                       : ordered_json(nullptr)}});
    }
    return list_or_null(list, answer.all_counters);
}

ordered_json told_of(const CacheText &cache, const std::string &table) {
    if (table == "rules") {
        return list_of(cache.rules, rule_in_cache);
    }
    if (table == "groups") {
        return list_of(cache.groups, group_in_cache);
    }
    if (table == "acls") {
        return list_of(cache.acls, acl_in_cache);
    }
    if (table == "ports") {
        return list_of(cache.bind_points, bind_point_in_cache);
    }
    if (table == "forwarding") {
        return list_of(cache.forwardings, forwarding_in_cache);
    }
    return list_of(cache.mc_groups, mc_group_in_cache);
}

}  // namespace

ordered_json cache_head(const CacheText &cache) {
    return {{"started_at", cache.started_at},
            {"complete", cache.complete},
            {"acls_num", cache.acls_num},
            {"rules_num", cache.rules_num}};
}

ordered_json cache_table(const CacheText &cache, const std::string &table) {
    return list_or_null(told_of(cache, table), has_all(cache, table));
}

ordered_json shown_tables(const ShowAnswer &answer) {
    const Table asked = answer.asked.table;
    ordered_json tables = ordered_json::object();
    const auto wanted = [asked](Table table) { return asked == table || asked == Table::kAll; };
    constexpr std::pair<Table, const char *> kCached[] = {{Table::kAcls, "acls"},
                                                          {Table::kGroups, "groups"},
                                                          {Table::kPorts, "ports"},
                                                          {Table::kMc, "mc"},
                                                          {Table::kForwarding, "forwarding"}};
    if (wanted(Table::kOwners)) {
        tables["owners"] = owners_of(answer.cache);
    }
    for (const auto &[table, name] : kCached) {
        if (wanted(table)) {
            tables[name] = cache_table(answer.cache, name);
        }
    }
    if (wanted(Table::kCounters)) {
        tables["counters"] = shown_counters(answer);
    }
    if (asked == Table::kRules) {
        tables["rules"] = shown_rules(answer);
    }
    return tables;
}

}  // namespace aclrmctl
