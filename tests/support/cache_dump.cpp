// One line is one record, but for an ACL's, which breaks before its ports. Each section's lines
// are read with the format they were written with; sections follow in a fixed order, and a line
// that fits no format ends the reading.
#include "tests/support/cache_dump.h"

#include <cstdio>
#include <cstdlib>

namespace zv_test {

namespace {

constexpr std::string_view kHeadline = "\n====ACL-RM dump data started at: ";
constexpr std::string_view kHeadlineEnd = "====\n";

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

    // Everything up to `mark`, which is passed over too; text is left alone when there is none.
    bool until(std::string_view mark, std::string &result) {
        const size_t end = text_.find(mark);
        if (end == std::string_view::npos) {
            return false;
        }
        result = text_.substr(0, end);
        text_.remove_prefix(end + mark.size());
        return true;
    }

    // "label" number "rest"
    bool number(std::string_view label, uint32_t &value, std::string_view rest) {
        std::string digits;
        if (!skip(label) || !until(rest, digits) || digits.empty() ||
            digits.find_first_not_of("0123456789") != std::string::npos) {
            return false;
        }
        value = static_cast<uint32_t>(strtoul(digits.c_str(), nullptr, 10));
        return true;
    }

    bool list(std::string_view label, std::vector<uint32_t> &values, std::string_view rest) {
        std::string items;
        if (!skip(label) || !until(rest, items)) {
            return false;
        }
        Reader reader(items);
        uint32_t value = 0;
        while (reader.number("", value, ", ")) {
            values.push_back(value);
        }
        return true;
    }

    // Reads records into `records` for as long as `read` understands the next one.
    template <typename Record>
    bool section(std::string_view heading, std::vector<Record> &records,
                 bool (*read)(Reader &, Record &)) {
        if (!skip(heading)) {
            return false;
        }
        for (;;) {
            Record record = {};
            const std::string_view before = text_;
            if (!read(*this, record)) {
                text_ = before;
                return true;
            }
            records.push_back(record);
        }
    }

    bool at_end() const { return text_.empty(); }

  private:
    std::string_view text_;
};

bool read_rule(Reader &in, CacheDump::Rule &rule) {
    std::string key;
    if (!in.skip("key_format:=[") || !in.until("]\t", key)) {
        return false;
    }
    rule.key = key;
    return std::sscanf(key.c_str(), "%u_%u", &rule.acl_id, &rule.key_offset) == 2 &&
           in.number("offset:=[", rule.offset, "]\t") &&
           in.number("region_id[", rule.region_id, "]\n");
}

bool read_group(Reader &in, CacheDump::Group &group) {
    return in.number("group_id:=[", group.group_id, "]\t") &&
           in.list("acl_ids:=[", group.acl_ids, "]\t") &&
           in.number("number of acls in group[", group.acls_num, "]\n");
}

bool read_acl(Reader &in, CacheDump::Acl &acl) {
    std::string owner;
    std::string bound;
    std::vector<uint32_t> regions;
    if (!in.number("acl_id:=[", acl.acl_id, "]\t ") || !in.skip("acl_owner:=[") ||
        !in.until("]\t ", owner) || !in.skip("bound_to_system=[") || !in.until("]\t ", bound) ||
        !in.list("acl_regions:=[", regions, "]\n ") || regions.size() != 1 ||
        !in.list("acl_bound_ports[", acl.bound_ports, "]\n")) {
        return false;
    }
    acl.owner = atoi(owner.c_str());
    acl.bound_to_system = bound == "true";
    acl.region_id = regions[0];
    return bound == "true" || bound == "false";
}

bool read_bind_point(Reader &in, CacheDump::BindPoint &point) {
    std::string type;
    if (!in.number("port_id:=[", point.port_id, "], type[") || !in.until("]\t\t", type) ||
        !in.number("id:=[", point.group_id, "]\n")) {
        return false;
    }
    point.is_rif = type == "router interface";
    return point.is_rif || type == "logical port";
}

bool read_forwarding(Reader &in, CacheDump::Forwarding &entry) {
    return in.number("logical index:=[", entry.log_port, "]\t") &&
           in.number("entry_type:=[", entry.entry_type, "]\t") &&
           in.number("forwading_log_port_num:=[", entry.forwarding_log_port, "]\t") &&
           in.number("forward_pbs_index=[", entry.pbs_id, "]\t") &&
           in.number("times_consumed=[", entry.times_consumed, "]\n");
}

bool read_mc_group(Reader &in, CacheDump::McGroup &group) {
    return in.number("mcg_id:=[", group.mcg_id, "]\t") &&
           in.number("group_id:=[", group.pbs_id, "]\t") &&
           in.number("owner=[", group.owner, "]\n");
}

}  // namespace

CacheDump parse_dump(std::string_view text) {
    CacheDump dump;
    Reader in(text);
    if (in.skip(kHeadline)) {
        in.until(kHeadlineEnd, dump.started_at);
    }
    dump.complete =
        in.skip("=====ACL_RM Cache dump start:=====\n") && in.skip("\nGlobal vars dump:\n") &&
        in.number("g_acl_table_cnt=[", dump.acl_table_cnt, "]\n") &&
        in.number("g_rules_cnt=[", dump.rules_cnt, "]\n") &&
        in.section("\nacl_rule_id_2_region_id_ht dump:\n", dump.rules, read_rule) &&
        in.section("\nsdk_acl_grp_2_sdk_acl_grp_info_table_ht dump:\n", dump.groups, read_group) &&
        in.section("\nacl_id_2_acl_id_info_table_ht dump:\n", dump.acls, read_acl) &&
        in.section("\nport_id_2_sdk_acl_group_ht dump:\n", dump.bind_points, read_bind_point) &&
        in.section("\nlogical_forward_port_2_forward_pbs_info_ht dump:\n", dump.forwardings,
                   read_forwarding) &&
        in.section("\nmcg_id_2_mcg_id_info_table_ht dump:\n", dump.mc_groups, read_mc_group) &&
        in.skip("\n=====ACL_RM Cache dump end=====\n") && in.at_end();
    return dump;
}

}  // namespace zv_test
