// The world as text, and as objects.
#include <algorithm>

#include "tests/fire/model/world.h"

namespace zv_model {

using nlohmann::json;

namespace {

constexpr size_t kTextLen = 65535;
constexpr char kHeadline[] = "\n====ACL-RM dump data started at: ";
constexpr char kHeadlineEnd[] = "====\n";

template <uint32_t Buckets>
uint32_t by_number(uint64_t key) {
    return static_cast<uint32_t>(key) % Buckets;
}

// Keys of eight bytes all share one bucket.
uint32_t in_one_bucket(uint64_t) {
    return 0;
}

uint32_t by_text(uint64_t key) {
    uint32_t hash = 0;
    for (const char digit : rule_key_text(key)) {
        hash = hash * 33 ^
               static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(digit)));
    }
    return hash % 12800;
}

// Appends numbers and texts, and knows when more would be cut off anyway.
class Writer {
  public:
    Writer &operator<<(const char *text) { return add(text); }
    Writer &operator<<(const std::string &text) { return add(text); }
    Writer &operator<<(uint32_t number) { return add(std::to_string(number)); }
    bool is_full() const { return text_.size() >= kTextLen; }
    std::string cut() const { return text_.substr(0, kTextLen); }

  private:
    template <class Text>
    Writer &add(const Text &text) {
        text_ += text;
        return *this;
    }
    std::string text_;
};

template <class List, class Number>
std::string listed(const List &list, size_t room, Number number_of) {
    std::string text;
    for (const auto &item : list) {
        if (text.size() >= room) {
            break;
        }
        text += std::to_string(number_of(item)) + ", ";
    }
    return text.substr(0, room - 1);
}

uint32_t itself(uint32_t number) {
    return number;
}

template <class Table, class Line>
void section(Writer &out, const char *name, const Table &table, Line line) {
    out << "\n" << name << " dump:\n";
    for (const auto &[place, row] : table) {
        if (out.is_full()) {
            return;
        }
        line(row.key, row.value);
    }
}

void write_acl(Writer &out, const Acl &acl) {
    out << "acl_id:=[" << acl.id << "]\t acl_owner:=[" << acl.owner << "]\t bound_to_system=["
        << (acl.is_system ? "true" : "false") << "]\t acl_regions:=["
        << listed(std::vector<uint32_t>{acl.region}, 20, itself) << "]\n acl_bound_ports["
        << listed(acl.points, 2592, [](const BindPoint &point) { return point.id; }) << "]\n";
}

}  // namespace

World::World()
    : rules(6400, by_text),
      groups(128, by_number<256>),
      acls(648, by_number<1296>),
      bindings(648, in_one_bucket),
      forwardings(100, by_number<200>),
      mc_groups(6400, by_number<12800>) {}

std::string rule_key_text(uint64_t key) {
    return std::to_string(key >> 32) + "_" + std::to_string(static_cast<uint32_t>(key));
}

std::string dump_of(const World &world) {
    Writer out;
    out << "=====ACL_RM Cache dump start:=====\n\nGlobal vars dump:\ng_acl_table_cnt=["
        << world.acls_num << "]\ng_rules_cnt=[" << world.rules_num << "]\n";
    section(out, "acl_rule_id_2_region_id_ht", world.rules, [&](uint64_t key, const Rule &rule) {
        out << "key_format:=[" << rule_key_text(key) << "]\toffset:=[" << rule.offset
            << "]\tregion_id[" << rule.region << "]\n";
    });
    section(out, "sdk_acl_grp_2_sdk_acl_grp_info_table_ht", world.groups,
            [&](uint64_t key, const Group &group) {
                out << "group_id:=[" << static_cast<uint32_t>(key) << "]\tacl_ids:=["
                    << listed(group.acls, 64, itself) << "]\tnumber of acls in group["
                    << static_cast<uint32_t>(group.acls.size()) << "]\n";
            });
    section(out, "acl_id_2_acl_id_info_table_ht", world.acls,
            [&](uint64_t, const Acl &acl) { write_acl(out, acl); });
    section(out, "port_id_2_sdk_acl_group_ht", world.bindings, [&](uint64_t key, uint32_t group) {
        out << "port_id:=[" << static_cast<uint32_t>(key) << "], type["
            << (key >> 32 != 0 ? "router interface" : "logical port") << "]\t\tid:=[" << group
            << "]\n";
    });
    section(out, "logical_forward_port_2_forward_pbs_info_ht", world.forwardings,
            [&](uint64_t key, const Forwarding &entry) {
                out << "logical index:=[" << static_cast<uint32_t>(key) << "]\tentry_type:=["
                    << entry.pbs_type << "]\tforwading_log_port_num:=[" << entry.port
                    << "]\tforward_pbs_index=[" << entry.pbs << "]\ttimes_consumed=[" << entry.users
                    << "]\n";
            });
    section(out, "mcg_id_2_mcg_id_info_table_ht", world.mc_groups,
            [&](uint64_t key, const McGroup &group) {
                out << "mcg_id:=[" << static_cast<uint32_t>(key) << "]\tgroup_id:=[" << group.pbs
                    << "]\towner=[" << group.owner << "]\n";
            });
    out << "\n=====ACL_RM Cache dump end=====\n";
    return kHeadline + out.cut();
}

std::string without_time(std::string dump) {
    const size_t time = dump.find(kHeadline);
    const size_t after = time == 0 ? dump.find(kHeadlineEnd, sizeof(kHeadline) - 1) : time;
    if (after == std::string::npos) {
        return dump;
    }
    return dump.erase(sizeof(kHeadline) - 1, after + sizeof(kHeadlineEnd) - sizeof(kHeadline));
}

json cache_of(const World &world) {
    json cache = {{"acls", json::object()},      {"groups", json::object()},
                  {"bindings", json::array()},   {"forwardings", json::object()},
                  {"mc_groups", json::object()}, {"counters", json::object()},
                  {"rules", json::object()}};
    for (const auto &[place, row] : world.acls) {
        const Acl &acl = row.value;
        json points = json::array();
        for (const BindPoint &point : acl.points) {
            points.push_back({{point.type == 0 ? "log_port" : "rif_id", point.id}});
        }
        cache["acls"][std::to_string(acl.id)] = {
            {"acl_type", acl.acl_type}, {"direction", acl.direction},
            {"region_id", acl.region},  {"region_size", acl.size},
            {"key_type", acl.key_type}, {"action_type", acl.action_type},
            {"owner", acl.owner},       {"system", acl.is_system},
            {"bound", points}};
    }
    for (const auto &[place, row] : world.groups) {
        cache["groups"][std::to_string(row.key)] = {{"direction", row.value.direction},
                                                    {"acl_ids", row.value.acls}};
    }
    for (const auto &[place, row] : world.bindings) {
        cache["bindings"].push_back(
            {{row.key >> 32 != 0 ? "rif_id" : "log_port", static_cast<uint32_t>(row.key)},
             {"group_id", row.value}});
    }
    for (const auto &[place, row] : world.forwardings) {
        cache["forwardings"][std::to_string(row.key)] = {{"pbs_id", row.value.pbs},
                                                         {"users", row.value.users}};
    }
    for (const auto &[place, row] : world.mc_groups) {
        cache["mc_groups"][std::to_string(row.key)] = {{"pbs_id", row.value.pbs},
                                                       {"owner", row.value.owner}};
    }
    for (const auto &[id, counter] : world.counters) {
        cache["counters"][std::to_string(id)] = {{"counter_type", counter.first != 0 ? 0 : 1},
                                                 {"users", counter.users}};
    }
    for (const auto &[place, row] : world.rules) {
        const Rule &rule = row.value;
        cache["rules"][rule_key_text(row.key)] = {
            {"region_id", rule.region},  {"offset", rule.offset}, {"counter_id", rule.counter},
            {"forwards", rule.forwards}, {"pbs_id", rule.pbs},    {"log_port", rule.port}};
    }
    return cache;
}

}  // namespace zv_model
