/* cache_text.h - the text of a cache dump, read back as far as an explanation needs it.
 *
 * A dump is cut at 65535 bytes, in the middle of a line. What was cut is not there: each section
 * says whether it was read to its end, so that absence is told from ignorance.
 */
#ifndef ZV_ACL_RM_EXPLAIN_CACHE_TEXT_H
#define ZV_ACL_RM_EXPLAIN_CACHE_TEXT_H

#include <cstdint>
#include <string_view>
#include <vector>

namespace zv_acl_rm_lib {

/* In the order of the dump. */
enum class Section { none, globals, rules, groups, acls, bind_points, forwarding, mc_groups, end };

struct CacheText {
    struct Rule {
        uint32_t acl_id, offset, region_id;
    };
    struct Group {
        uint32_t group_id;
        std::vector<uint32_t> acl_ids; /* as many as its line had room for */
        uint32_t acls_num;             /* how many there are */
    };
    struct Acl {
        uint32_t acl_id, owner, region_id;
        bool bound_to_system;
        uint32_t bound_num; /* ports and router interfaces that its line had room for */
    };
    struct BindPoint {
        bool is_rif;
        uint32_t id, group_id;
    };
    struct Forwarding {
        uint32_t log_port;
    };
    struct McGroup {
        uint32_t mc_group_id, owner;
    };

    Section reached = Section::none; /* the section that the text ends in */
    uint32_t acls_num = 0;           /* with those that only the switch knows */
    uint32_t rules_num = 0;
    std::vector<Rule> rules;
    std::vector<Group> groups;
    std::vector<Acl> acls;
    std::vector<BindPoint> bind_points;
    std::vector<Forwarding> forwardings;
    std::vector<McGroup> mc_groups;

    /* Whether all of a section is there. */
    bool has_all(Section section) const { return reached > section; }

    const Acl *find_acl(uint32_t acl_id) const;
    const Group *find_group(uint32_t group_id) const;
    const McGroup *find_mc_group(uint32_t mc_group_id) const;
    const BindPoint *find_bind_point(bool is_rif, uint32_t id) const;
    bool has_rule(uint32_t acl_id, uint32_t offset) const;
};

/* Any text gives a result; of what is no dump, one that has reached nothing. May throw bad_alloc.
 */
CacheText parse_cache_text(std::string_view text);

}  // namespace zv_acl_rm_lib

#endif
