/* The daemon's cache as tables for people. */
#include <algorithm>
#include <ostream>

#include "render_text.h"
#include "text_table.h"

namespace aclrmctl {

namespace {

constexpr const char *kNotTold = "not told";

std::string owner_text(const Names &names, int64_t owner) {
    return owner < 0 ? "nobody" : names.owner(static_cast<uint32_t>(owner));
}

std::string joined(const std::vector<std::string> &items) {
    std::string text;
    for (const std::string &item : items) {
        text += (text.empty() ? "" : ", ") + item;
    }
    return text.empty() ? "-" : text;
}

/* "1 (open-flow), 4 (PRA)": the order packets meet them in matters more than the numbers. */
std::string acls_of_group(const Names &names, const CacheText &cache, uint32_t group_id) {
    const CachedGroup *group = find_group(cache, group_id);
    if (group == nullptr) {
        return "-";
    }
    std::vector<std::string> items;
    for (const uint32_t acl_id : group->acl_ids) {
        const CachedAcl *acl = find_acl(cache, acl_id);
        items.push_back(std::to_string(acl_id) +
                        (acl == nullptr ? "" : " (" + owner_text(names, acl->owner) + ")"));
    }
    if (group->acls_num > group->acl_ids.size()) {
        items.push_back("and " + std::to_string(group->acls_num - group->acl_ids.size()) + " more");
    }
    return joined(items);
}

std::string points_text(const std::vector<uint32_t> &ports, const std::vector<uint32_t> &rifs) {
    std::vector<std::string> items;
    if (!ports.empty()) {
        items.push_back((ports.size() == 1 ? "port " : "ports ") + number_runs(ports));
    }
    if (!rifs.empty()) {
        items.push_back((rifs.size() == 1 ? "rif " : "rifs ") + number_runs(rifs));
    }
    return joined(items);
}

/* An ACL's list in the dump does not say which of its numbers are router interfaces: the table of
 * bind points does. */
bool is_router_interface(const CacheText &cache, uint32_t number) {
    bool port = false;
    bool rif = false;
    for (const CachedBindPoint &point : cache.bind_points) {
        port = port || (point.number == number && !point.router_interface);
        rif = rif || (point.number == number && point.router_interface);
    }
    return rif && !port;
}

/* Where the table of bind points was cut, a number that is not in it may be of either kind. */
std::string bound_to(const CacheText &cache, const CachedAcl &acl) {
    std::vector<uint32_t> ports;
    std::vector<uint32_t> rifs;
    for (const uint32_t number : acl.bound_to) {
        (is_router_interface(cache, number) ? rifs : ports).push_back(number);
    }
    std::sort(ports.begin(), ports.end());
    std::sort(rifs.begin(), rifs.end());
    std::string text = has_all(cache, "ports") || ports.empty()
                           ? points_text(ports, rifs)
                           : "ports or rifs " + number_runs(acl.bound_to);
    if (acl.bound_to_system) {
        text = text == "-" ? "system" : "system: " + text;
    }
    return text + (acl.bound_to_whole ? "" : " and more");
}

TextTable acls_table(const Names &names, const CacheText &cache) {
    TextTable table({">ACL", "owner", ">region", ">rules", "bound to"});
    for (const CachedAcl &acl : cache.acls) {
        const auto rules =
            std::count_if(cache.rules.begin(), cache.rules.end(),
                          [&](const CachedRule &r) { return r.acl_id == acl.acl_id; });
        table.add({std::to_string(acl.acl_id), owner_text(names, acl.owner),
                   std::to_string(acl.region_id), std::to_string(rules), bound_to(cache, acl)});
    }
    return table;
}

TextTable rules_table(const Names &names, const ShowAnswer &answer) {
    TextTable table({">ACL", ">offset", "hit", "verdict", "forward", ">counter", "rule"});
    for (const ShownRule &rule : answer.rules) {
        const auto &view = rule.view;
        std::string forward = "-";
        if (view && view->targets.forward_port) {
            forward = "port " + std::to_string(*view->targets.forward_port);
        } else if (view && view->targets.forward_mc) {
            forward = "MC " + std::to_string(*view->targets.forward_mc);
        }
        const bool counted_rule = view && view->targets.counter_id != 0;
        table.add({std::to_string(rule.cached.acl_id), std::to_string(rule.cached.offset),
                   view ? (view->active.value_or(false) ? "yes" : "no") : "-",
                   view ? names.verdict(view->verdict) : "-", forward,
                   counted_rule ? std::to_string(view->targets.counter_id) : "-",
                   view ? describe_key(view->key_type, view->key, view->mask) : "-"});
    }
    return table;
}

TextTable groups_table(const Names &names, const CacheText &cache) {
    TextTable table({">group", "bound to", "ACLs in order"});
    for (const CachedGroup &group : cache.groups) {
        std::vector<uint32_t> ports;
        std::vector<uint32_t> rifs;
        for (const CachedBindPoint &point : cache.bind_points) {
            if (point.group_id == group.group_id) {
                (point.router_interface ? rifs : ports).push_back(point.number);
            }
        }
        table.add({std::to_string(group.group_id),
                   has_all(cache, "ports") ? points_text(ports, rifs) : kNotTold,
                   acls_of_group(names, cache, group.group_id)});
    }
    return table;
}

TextTable ports_table(const Names &names, const CacheText &cache) {
    TextTable table({"kind", ">number", ">group", "ACLs in order"});
    for (const CachedBindPoint &point : cache.bind_points) {
        table.add({point.router_interface ? "rif" : "port", std::to_string(point.number),
                   std::to_string(point.group_id), acls_of_group(names, cache, point.group_id)});
    }
    return table;
}

/* Points with the same ACLs as one line: an ACL of the whole system is bound to dozens. */
TextTable points_table(const Names &names, const CacheText &cache) {
    struct Points {
        std::vector<uint32_t> ports;
        std::vector<uint32_t> rifs;
    };
    std::vector<std::pair<std::string, Points>> lines;
    for (const CachedBindPoint &point : cache.bind_points) {
        const std::string acls = acls_of_group(names, cache, point.group_id);
        auto line = std::find_if(lines.begin(), lines.end(),
                                 [&](const auto &entry) { return entry.first == acls; });
        if (line == lines.end()) {
            line = lines.insert(lines.end(), {acls, {}});
        }
        (point.router_interface ? line->second.rifs : line->second.ports).push_back(point.number);
    }
    TextTable table({"ACLs in order", "bound to"});
    for (const auto &[acls, points] : lines) {
        table.add({acls, points_text(points.ports, points.rifs)});
    }
    return table;
}

TextTable counters_table(const Names &names, const ShowAnswer &answer) {
    TextTable table({">counter", "type", ">value", ">rules"});
    for (const ShownCounter &counter : answer.counters) {
        table.add({std::to_string(counter.counter_id),
                   names.counter_type(static_cast<uint32_t>(counter.type)),
                   std::to_string(counter.value),
                   answer.all_rules ? std::to_string(counter.rules_num) : "-"});
    }
    return table;
}

/* All four, since one that holds nothing is an answer, too. */
TextTable owners_table(const Names &names, const CacheText &cache) {
    TextTable table({"owner", ">ACLs", ">rules", ">MC groups", "ACL ids"});
    for (const auto &[name, owner] : owner_names()) {
        std::vector<uint32_t> acl_ids;
        for (const CachedAcl &acl : cache.acls) {
            if (acl.owner == static_cast<int32_t>(owner)) {
                acl_ids.push_back(acl.acl_id);
            }
        }
        const auto rules =
            std::count_if(cache.rules.begin(), cache.rules.end(), [&](const CachedRule &rule) {
                return std::find(acl_ids.begin(), acl_ids.end(), rule.acl_id) != acl_ids.end();
            });
        const uint32_t number = owner;
        const auto mc_groups =
            std::count_if(cache.mc_groups.begin(), cache.mc_groups.end(),
                          [&](const CachedMcGroup &group) { return group.owner == number; });
        const bool all_acls = has_all(cache, "acls");
        const std::string ids = acl_ids.empty() ? "-" : number_runs(acl_ids);
        table.add({names.owner(number), all_acls ? std::to_string(acl_ids.size()) : "-",
                   all_acls ? std::to_string(rules) : "-",
                   has_all(cache, "mc") ? std::to_string(mc_groups) : "-",
                   all_acls ? ids : kNotTold});
    }
    return table;
}

TextTable mc_table(const Names &names, const CacheText &cache) {
    TextTable table({">MC group", "owner", ">entry"});
    for (const CachedMcGroup &group : cache.mc_groups) {
        table.add({std::to_string(group.mc_group_id), owner_text(names, group.owner),
                   std::to_string(group.pbs_id)});
    }
    return table;
}

TextTable forwarding_table(const CacheText &cache) {
    TextTable table({">port", ">entry", ">rules"});
    for (const CachedForwarding &entry : cache.forwardings) {
        table.add({std::to_string(entry.log_port), std::to_string(entry.pbs_id),
                   std::to_string(entry.rules_num)});
    }
    return table;
}

struct Section {
    Table table;
    const char *title;
    const char *dumped; /* the dump's table that its lines are of; "" where they are of none */
    bool overview;      /* among all the tables; groups say what ports say, and rules are many */
};

constexpr Section kSections[] = {
    {Table::kOwners, "Owners", "", true},
    {Table::kAcls, "ACLs", "acls", true},
    {Table::kGroups, "Groups", "groups", false},
    {Table::kPorts, "Ports", "ports", true},
    {Table::kCounters, "Counters", "", true},
    {Table::kMc, "MC groups", "mc", true},
    {Table::kForwarding, "Forwarding", "forwarding", true},
    {Table::kRules, "Rules", "rules", false},
};

TextTable table_of(const Names &names, const ShowAnswer &answer, Table table) {
    switch (table) {
        case Table::kAcls:
            return acls_table(names, answer.cache);
        case Table::kRules:
            return rules_table(names, answer);
        case Table::kGroups:
            return groups_table(names, answer.cache);
        case Table::kPorts:
            return ports_table(names, answer.cache);
        case Table::kCounters:
            return counters_table(names, answer);
        case Table::kMc:
            return mc_table(names, answer.cache);
        case Table::kForwarding:
            return forwarding_table(answer.cache);
        case Table::kOwners:
        case Table::kAll:
            break;
    }
    return owners_table(names, answer.cache);
}

std::string why_not_told(const ShowAnswer &answer, const Section &section) {
    if (section.table == Table::kCounters && !answer.counters_read) {
        return "not told: counters could not be read\n";
    }
    return has_all(answer.cache, "rules") && !answer.all_rules
               ? "not told: rules could not be read\n"
               : "not told: the dump was cut\n";
}

bool is_told(const ShowAnswer &answer, const Section &section) {
    if (section.table == Table::kCounters) {
        return answer.all_counters;
    }
    return section.dumped[0] == '\0' || has_all(answer.cache, section.dumped);
}

}  // namespace

/* One table stands alone, so that a script can skip its first line; several have titles. */
void TextRenderer::operator()(const ShowAnswer &answer) const {
    const bool all = answer.asked.table == Table::kAll;
    for (const Section &section : kSections) {
        if (all ? !section.overview : section.table != answer.asked.table) {
            continue;
        }
        const TextTable table = all && section.table == Table::kPorts
                                    ? points_table(names_, answer.cache)
                                    : table_of(names_, answer, section.table);
        if (table.empty()) {
            out_ << section.title
                 << (is_told(answer, section) ? ": none\n" : ": " + why_not_told(answer, section));
            continue;
        }
        if (all) {
            out_ << section.title << "\n";
        }
        table.print(out_, columns_);
        if (!is_told(answer, section)) {
            out_ << "  there may be more, " << why_not_told(answer, section);
        }
    }
    if (all && answer.cache.read_up_to.empty()) {
        out_ << "Rules: not told\n";
    } else if (all) {
        out_ << "Rules: " << answer.cache.rules_num << " ('aclrmctl show rules' lists them)\n";
    }
    if (!answer.notes.empty()) {
        err_ << "aclrmctl: a part is missing\n";
    }
    for (const std::string &note : answer.notes) {
        err_ << wrapped(note, columns_);
    }
}

}  // namespace aclrmctl
