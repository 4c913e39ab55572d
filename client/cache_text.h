/* The daemon's cache, read back from the text it dumps: for the library's explanations and for the
 * tool.
 *
 * A dump is cut at 65535 characters and the lists in its lines are bounded, both without a word. So
 * a reader has to notice: `complete` is false where the end is missing, and a list tells whether it
 * is whole.
 */
#ifndef ZV_ACL_RM_CACHE_TEXT_H
#define ZV_ACL_RM_CACHE_TEXT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zv_cache_text {

struct CachedRule {
    uint32_t acl_id;
    uint32_t offset;     /* where the rule is now */
    uint32_t written_at; /* where it was written; another offset after a move */
    uint32_t region_id;
};

struct CachedGroup {
    uint32_t group_id;
    std::vector<uint32_t> acl_ids; /* in the order packets meet them, as many as the line holds */
    uint32_t acls_num;             /* how many there are */
};

struct CachedAcl {
    uint32_t acl_id;
    int32_t owner; /* -1 for none */
    bool bound_to_system;
    uint32_t region_id;
    std::vector<uint32_t> bound_to; /* ports and router interfaces, in the order of binding */
    bool bound_to_whole;            /* false: the line had no room for all of them */
};

struct CachedBindPoint {
    bool router_interface;
    uint32_t number;
    uint32_t group_id;
};

struct CachedForwarding {
    uint32_t log_port;
    uint32_t entry_type;
    uint32_t forward_port;
    uint32_t pbs_id;
    uint32_t rules_num; /* rules that forward by it */
};

struct CachedMcGroup {
    uint32_t mc_group_id;
    uint32_t pbs_id;
    uint32_t owner;
};

struct CacheText {
    bool complete = false;  /* every line was understood, the end line included */
    std::string started_at; /* as the daemon wrote it: "Wed Jun  3 10:01:02 2026" */
    uint32_t acls_num = 0;  /* the daemon's own counts, from the head of the dump */
    uint32_t rules_num = 0;
    std::string read_up_to; /* the last table reached: "rules", "groups", "acls", "ports",
                               "forwarding" or "mc", in the order of the dump; "" for none */
    std::vector<CachedRule> rules;
    std::vector<CachedGroup> groups;
    std::vector<CachedAcl> acls;
    std::vector<CachedBindPoint> bind_points;
    std::vector<CachedForwarding> forwardings;
    std::vector<CachedMcGroup> mc_groups;
};

/* Whether the counts at the dump's head are there. */
bool has_counts(const CacheText &cache);

/* Whether all of a table is there; `table` as read_up_to names it. */
bool has_all(const CacheText &cache, std::string_view table);

/* Null for what is not there. */
const CachedAcl *find_acl(const CacheText &cache, uint32_t acl_id);
const CachedGroup *find_group(const CacheText &cache, uint32_t group_id);
const CachedMcGroup *find_mc_group(const CacheText &cache, uint32_t mc_group_id);
const CachedBindPoint *find_bind_point(const CacheText &cache, bool router_interface,
                                       uint32_t number);
const CachedRule *find_rule(const CacheText &cache, uint32_t acl_id, uint32_t offset);

/* Every table sorted by its first member. A dump that was cut gives what was read up to there, a
 * text of another kind nothing. May throw bad_alloc. */
CacheText read_cache_text(std::string_view text);

}  // namespace zv_cache_text

#endif
