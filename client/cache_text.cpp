/* One line is one record, but for an ACL's, which breaks before its ports. The tables follow in a
 * fixed order, each with a headline; a line of another shape ends the reading. */
#include "client/cache_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <tuple>

namespace zv_cache_text {

namespace {

/* A list of ports that reached this length was cut: the daemon appends while fewer bytes are used,
 * and the last item may be cut in itself. */
constexpr size_t kPortsBytes = 2591;

class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    bool skip(std::string_view expected) {
        if (text_.substr(0, expected.size()) != expected) {
            return false;
        }
        text_.remove_prefix(expected.size());
        return true;
    }

    /* Everything before `mark`, which is passed over. */
    bool until(std::string_view mark, std::string_view *found) {
        const size_t end = text_.find(mark);
        if (end == std::string_view::npos) {
            return false;
        }
        *found = text_.substr(0, end);
        text_.remove_prefix(end + mark.size());
        return true;
    }

    template <typename Number>
    bool number(std::string_view label, Number *value, std::string_view rest) {
        std::string_view digits;
        if (!skip(label) || !until(rest, &digits)) {
            return false;
        }
        const char *end = digits.data() + digits.size();
        const auto result = std::from_chars(digits.data(), end, *value);
        return result.ec == std::errc() && result.ptr == end;
    }

    /* "1, 2, 3, "; what is no whole item at the end is left out. */
    bool list(std::string_view label, std::vector<uint32_t> *values, std::string_view rest,
              size_t *bytes = nullptr) {
        std::string_view items;
        if (!skip(label) || !until(rest, &items)) {
            return false;
        }
        if (bytes != nullptr) {
            *bytes = items.size();
        }
        Reader reader(items);
        uint32_t value = 0;
        while (reader.number("", &value, ", ")) {
            values->push_back(value);
        }
        return true;
    }

    template <typename Record>
    bool table(std::string_view headline, const char *name, std::string *reached,
               std::vector<Record> *records, bool (*read)(Reader &, Record *)) {
        if (!skip(headline)) {
            return false;
        }
        *reached = name;
        while (true) {
            Record record{};
            const std::string_view before = text_;
            if (!read(*this, &record)) {
                text_ = before;
                return true;
            }
            records->push_back(std::move(record));
        }
    }

    bool at_end() const { return text_.empty(); }

  private:
    std::string_view text_;
};

bool read_rule(Reader &in, CachedRule *rule) {
    return in.number("key_format:=[", &rule->acl_id, "_") && in.number("", &rule->offset, "]\t") &&
           in.number("offset:=[", &rule->written_at, "]\t") &&
           in.number("region_id[", &rule->region_id, "]\n");
}

bool read_group(Reader &in, CachedGroup *group) {
    return in.number("group_id:=[", &group->group_id, "]\t") &&
           in.list("acl_ids:=[", &group->acl_ids, "]\t") &&
           in.number("number of acls in group[", &group->acls_num, "]\n");
}

bool read_acl(Reader &in, CachedAcl *acl) {
    std::string_view bound;
    std::vector<uint32_t> regions;
    size_t bytes = 0;
    if (!in.number("acl_id:=[", &acl->acl_id, "]\t ") ||
        !in.number("acl_owner:=[", &acl->owner, "]\t ") || !in.skip("bound_to_system=[") ||
        !in.until("]\t ", &bound) || !in.list("acl_regions:=[", &regions, "]\n ") ||
        regions.size() != 1 || !in.list("acl_bound_ports[", &acl->bound_to, "]\n", &bytes)) {
        return false;
    }
    acl->bound_to_system = bound == "true";
    acl->region_id = regions[0];
    acl->bound_to_whole = bytes < kPortsBytes;
    return bound == "true" || bound == "false";
}

bool read_bind_point(Reader &in, CachedBindPoint *point) {
    std::string_view type;
    if (!in.number("port_id:=[", &point->number, "], type[") || !in.until("]\t\t", &type) ||
        !in.number("id:=[", &point->group_id, "]\n")) {
        return false;
    }
    point->router_interface = type == "router interface";
    return point->router_interface || type == "logical port";
}

bool read_forwarding(Reader &in, CachedForwarding *entry) {
    return in.number("logical index:=[", &entry->log_port, "]\t") &&
           in.number("entry_type:=[", &entry->entry_type, "]\t") &&
           in.number("forwading_log_port_num:=[", &entry->forward_port, "]\t") &&
           in.number("forward_pbs_index=[", &entry->pbs_id, "]\t") &&
           in.number("times_consumed=[", &entry->rules_num, "]\n");
}

bool read_mc_group(Reader &in, CachedMcGroup *group) {
    return in.number("mcg_id:=[", &group->mc_group_id, "]\t") &&
           in.number("group_id:=[", &group->pbs_id, "]\t") &&
           in.number("owner=[", &group->owner, "]\n");
}

/* Each table notes by its headline how far the reading got. */
bool read_tables(Reader &in, CacheText *cache) {
    std::string_view when;
    if (!in.skip("\n====ACL-RM dump data started at: ") || !in.until("\n====\n", &when)) {
        return false;
    }
    cache->started_at = when;
    if (!in.skip("=====ACL_RM Cache dump start:=====\n") || !in.skip("\nGlobal vars dump:\n") ||
        !in.number("g_acl_table_cnt=[", &cache->acls_num, "]\n") ||
        !in.number("g_rules_cnt=[", &cache->rules_num, "]\n")) {
        return false;
    }
    std::string *reached = &cache->read_up_to;
    return in.table("\nacl_rule_id_2_region_id_ht dump:\n", "rules", reached, &cache->rules,
                    read_rule) &&
           in.table("\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n", "groups", reached,
                    &cache->groups, read_group) &&
           in.table("\nacl_id_2_acl_id_info_table_ht dump:\n", "acls", reached, &cache->acls,
                    read_acl) &&
           in.table("\nport_id_2_sdk_acl_group_ht dump:\n", "ports", reached, &cache->bind_points,
                    read_bind_point) &&
           in.table("\nlogical_forward_port_2_forward_pbs_info_ht dump:\n", "forwarding", reached,
                    &cache->forwardings, read_forwarding) &&
           in.table("\nmcg_id_2_mcg_id_info_table_ht dump:\n", "mc", reached, &cache->mc_groups,
                    read_mc_group) &&
           in.skip("\n=====ACL_RM Cache dump end=====\n") && in.at_end();
}

template <typename Record, typename Key>
void sort_by(std::vector<Record> *records, Key key) {
    std::stable_sort(records->begin(), records->end(),
                     [key](const Record &a, const Record &b) { return key(a) < key(b); });
}

template <typename Records, typename Wanted>
auto *find_in(const Records &records, Wanted is_wanted) {
    const auto found = std::find_if(records.begin(), records.end(), is_wanted);
    return found == records.end() ? nullptr : &*found;
}

}  // namespace

/* They stand before the first table. */
bool has_counts(const CacheText &cache) {
    return !cache.read_up_to.empty();
}

/* A table is whole once the next one was reached. */
bool has_all(const CacheText &cache, std::string_view table) {
    constexpr std::array<std::string_view, 6> kOrder{"rules", "groups",     "acls",
                                                     "ports", "forwarding", "mc"};
    const auto place = [&](std::string_view name) {
        return std::find(kOrder.begin(), kOrder.end(), name) - kOrder.begin();
    };
    return cache.complete || (!cache.read_up_to.empty() && place(cache.read_up_to) > place(table));
}

const CachedAcl *find_acl(const CacheText &cache, uint32_t acl_id) {
    return find_in(cache.acls, [=](const CachedAcl &acl) { return acl.acl_id == acl_id; });
}

const CachedGroup *find_group(const CacheText &cache, uint32_t group_id) {
    return find_in(cache.groups,
                   [=](const CachedGroup &group) { return group.group_id == group_id; });
}

const CachedMcGroup *find_mc_group(const CacheText &cache, uint32_t mc_group_id) {
    return find_in(cache.mc_groups,
                   [=](const CachedMcGroup &group) { return group.mc_group_id == mc_group_id; });
}

const CachedBindPoint *find_bind_point(const CacheText &cache, bool router_interface,
                                       uint32_t number) {
    return find_in(cache.bind_points, [=](const CachedBindPoint &point) {
        return point.router_interface == router_interface && point.number == number;
    });
}

const CachedRule *find_rule(const CacheText &cache, uint32_t acl_id, uint32_t offset) {
    return find_in(cache.rules, [=](const CachedRule &rule) {
        return rule.acl_id == acl_id && rule.offset == offset;
    });
}

CacheText read_cache_text(std::string_view text) {
    CacheText cache;
    Reader in(text);
    cache.complete = read_tables(in, &cache);
    sort_by(&cache.rules, [](const CachedRule &r) { return std::pair(r.acl_id, r.offset); });
    sort_by(&cache.groups, [](const CachedGroup &g) { return g.group_id; });
    sort_by(&cache.acls, [](const CachedAcl &a) { return a.acl_id; });
    sort_by(&cache.bind_points,
            [](const CachedBindPoint &p) { return std::pair(p.router_interface, p.number); });
    sort_by(&cache.forwardings, [](const CachedForwarding &f) { return f.log_port; });
    sort_by(&cache.mc_groups, [](const CachedMcGroup &g) { return g.mc_group_id; });
    return cache;
}

}  // namespace zv_cache_text
