// cache_dump.h - the text of a cache dump, read back into records.
#ifndef ZV_TESTS_SUPPORT_CACHE_DUMP_H
#define ZV_TESTS_SUPPORT_CACHE_DUMP_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zv_test {

struct CacheDump {
    struct Rule {
        std::string key;              // "acl_offset"
        uint32_t acl_id, key_offset;  // the two halves of the key
        uint32_t offset, region_id;
    };
    struct Group {
        uint32_t group_id;
        std::vector<uint32_t> acl_ids;  // as many as the line has room for
        uint32_t acls_num;              // how many there are
    };
    struct Acl {
        uint32_t acl_id;
        int32_t owner;
        bool bound_to_system;
        uint32_t region_id;
        std::vector<uint32_t> bound_ports;  // ports and router interfaces alike
    };
    struct BindPoint {
        bool is_rif;
        uint32_t port_id, group_id;
    };
    struct Forwarding {
        uint32_t log_port, entry_type, forwarding_log_port, pbs_id, times_consumed;
    };
    struct McGroup {
        uint32_t mcg_id, pbs_id, owner;
    };

    bool complete = false;   // every line was understood, from the start line to the end line
    std::string started_at;  // the time in the headline, with the newline at its end
    uint32_t acl_table_cnt = 0;
    uint32_t rules_cnt = 0;
    std::vector<Rule> rules;
    std::vector<Group> groups;
    std::vector<Acl> acls;
    std::vector<BindPoint> bind_points;
    std::vector<Forwarding> forwardings;
    std::vector<McGroup> mc_groups;
};

// Reads a dump file, or the text of a dump that went to the log. A dump that was cut gives what
// was read up to there, with `complete` false.
CacheDump parse_dump(std::string_view text);

}  // namespace zv_test

#endif
