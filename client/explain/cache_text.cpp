#include "client/explain/cache_text.h"

#include <algorithm>
#include <charconv>

namespace zv_acl_rm_lib {

namespace {

/* What stands in the brackets after a name: "group_id:=[7]" has 7 for "group_id:=". */
std::string_view field(std::string_view line, std::string_view name) {
    const size_t at = line.find(name);
    const size_t begin = at + name.size() + 1;
    if (at == std::string_view::npos || begin > line.size() || line[begin - 1] != '[') {
        return {};
    }
    const size_t end = line.find(']', begin);
    return end == std::string_view::npos ? std::string_view{} : line.substr(begin, end - begin);
}

uint32_t number(std::string_view digits) {
    uint32_t value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return value;
}

uint32_t number(std::string_view line, std::string_view name) {
    return number(field(line, name));
}

/* "1, 2, 3, ": an item that was cut has no comma behind it and is left out. */
std::vector<uint32_t> number_list(std::string_view items) {
    std::vector<uint32_t> numbers;
    for (size_t comma = items.find(','); comma != std::string_view::npos; comma = items.find(',')) {
        numbers.push_back(number(items.substr(0, comma)));
        items.remove_prefix(std::min(comma + 2, items.size()));
    }
    return numbers;
}

void read_acl_count(std::string_view line, CacheText *cache) {
    cache->acls_num = number(line, "g_acl_table_cnt=");
}

void read_rule_count(std::string_view line, CacheText *cache) {
    cache->rules_num = number(line, "g_rules_cnt=");
}

void read_rule(std::string_view line, CacheText *cache) {
    const std::string_view key = field(line, "key_format:=");
    const size_t between = std::min(key.find('_'), key.size());
    const std::string_view offset = key.substr(std::min(between + 1, key.size()));
    cache->rules.push_back(
        {number(key.substr(0, between)), number(offset), number(line, "region_id")});
}

void read_group(std::string_view line, CacheText *cache) {
    cache->groups.push_back({number(line, "group_id:="), number_list(field(line, "acl_ids:=")),
                             number(line, "number of acls in group")});
}

void read_acl(std::string_view line, CacheText *cache) {
    const std::vector<uint32_t> regions = number_list(field(line, "acl_regions:="));
    cache->acls.push_back({number(line, "acl_id:="), number(line, "acl_owner:="),
                           regions.empty() ? 0 : regions.front(),
                           field(line, "bound_to_system=") == "true", 0});
}

void read_bound_ports(std::string_view line, CacheText *cache) {
    if (!cache->acls.empty()) {
        cache->acls.back().bound_num =
            static_cast<uint32_t>(number_list(field(line, "acl_bound_ports")).size());
    }
}

void read_bind_point(std::string_view line, CacheText *cache) {
    cache->bind_points.push_back({field(line, "type") == "router interface",
                                  number(line, "port_id:="), number(line, "\tid:=")});
}

void read_forwarding(std::string_view line, CacheText *cache) {
    cache->forwardings.push_back({number(line, "logical index:=")});
}

void read_mc_group(std::string_view line, CacheText *cache) {
    cache->mc_groups.push_back({number(line, "mcg_id:="), number(line, "owner=")});
}

/* A line is known by its beginning. A headline opens a section and has nothing to read. */
struct LineRow {
    std::string_view begins;
    Section opens;
    void (*read)(std::string_view line, CacheText *cache);
};

constexpr LineRow kLines[] = {
    {"Global vars dump:", Section::globals, nullptr},
    {"g_acl_table_cnt=", Section::none, read_acl_count},
    {"g_rules_cnt=", Section::none, read_rule_count},
    {"acl_rule_id_2_region_id_ht dump:", Section::rules, nullptr},
    {"key_format:=", Section::none, read_rule},
    {"sdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:", Section::groups, nullptr},
    {"group_id:=", Section::none, read_group},
    {"acl_id_2_acl_id_info_table_ht dump:", Section::acls, nullptr},
    {"acl_id:=", Section::none, read_acl},
    {" acl_bound_ports", Section::none, read_bound_ports},
    {"port_id_2_sdk_acl_group_ht dump:", Section::bind_points, nullptr},
    {"port_id:=", Section::none, read_bind_point},
    {"logical_forward_port_2_forward_pbs_info_ht dump:", Section::forwarding, nullptr},
    {"logical index:=", Section::none, read_forwarding},
    {"mcg_id_2_mcg_id_info_table_ht dump:", Section::mc_groups, nullptr},
    {"mcg_id:=", Section::none, read_mc_group},
    {"=====ACL_RM Cache dump end", Section::end, nullptr},
};

void read_line(std::string_view line, CacheText *cache) {
    for (const LineRow &row : kLines) {
        if (!line.starts_with(row.begins)) {
            continue;
        }
        if (row.read != nullptr) {
            row.read(line, cache);
        } else {
            cache->reached = row.opens;
        }
        return;
    }
}

template <typename Items, typename Wanted>
auto *find_in(const Items &items, Wanted is_wanted) {
    const auto found = std::find_if(items.begin(), items.end(), is_wanted);
    return found == items.end() ? nullptr : &*found;
}

}  // namespace

const CacheText::Acl *CacheText::find_acl(uint32_t acl_id) const {
    return find_in(acls, [=](const Acl &acl) { return acl.acl_id == acl_id; });
}

const CacheText::Group *CacheText::find_group(uint32_t group_id) const {
    return find_in(groups, [=](const Group &group) { return group.group_id == group_id; });
}

const CacheText::McGroup *CacheText::find_mc_group(uint32_t mc_group_id) const {
    return find_in(mc_groups,
                   [=](const McGroup &group) { return group.mc_group_id == mc_group_id; });
}

const CacheText::BindPoint *CacheText::find_bind_point(bool is_rif, uint32_t id) const {
    return find_in(bind_points, [=](const BindPoint &point) {
        return point.is_rif == is_rif && point.id == id;
    });
}

bool CacheText::has_rule(uint32_t acl_id, uint32_t offset) const {
    return find_in(rules, [=](const Rule &rule) {
               return rule.acl_id == acl_id && rule.offset == offset;
           }) != nullptr;
}

/* A line without its end was cut and is not read. */
CacheText parse_cache_text(std::string_view text) {
    CacheText cache;
    for (size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        read_line(text.substr(0, end), &cache);
        text.remove_prefix(end + 1);
    }
    return cache;
}

}  // namespace zv_acl_rm_lib
