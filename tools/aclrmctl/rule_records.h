/* Which offsets of an ACL hold rules. The daemon tells it in its dump, as far as that is not cut;
 * beyond that each offset has to be asked for. */
#ifndef ACLRMCTL_RULE_RECORDS_H
#define ACLRMCTL_RULE_RECORDS_H

#include <optional>
#include <set>
#include <vector>

#include "daemon_link.h"

namespace aclrmctl {

inline constexpr uint32_t kMostRules = 6400; /* that the daemon records, of all ACLs */

/* What a dump tells, of one ACL where nothing else is said. */
struct RuleRecords {
    bool is_counted = false;                       /* the number of rules was told */
    bool is_whole = false;                         /* all rules were */
    uint32_t rules_num = 0;                        /* of all ACLs */
    uint32_t others_num = 0;                       /* told of other ACLs */
    std::set<uint32_t> offsets;                    /* told */
    std::optional<std::set<uint32_t>> mc_groups{}; /* all there are, where the dump is whole */
};

/* A dump that cannot be had tells nothing, which is no failure; a daemon that does not answer is.
 */
std::optional<Failure> read_records(const Settings &settings, uint32_t acl_id,
                                    RuleRecords *records);

/* What a read of one offset finds. */
enum class OffsetFound { kRule, kNoRule, kPastEnd };
std::optional<Failure> probe_offset(const Settings &settings, uint32_t acl_id, uint32_t offset,
                                    zv_acl_rm_client_t *client, OffsetFound *found);

/* All offsets of an ACL that hold rules. An ACL that there is not is refused. */
std::optional<Failure> find_offsets(const Settings &settings, uint32_t acl_id,
                                    zv_acl_rm_client_t *client, std::vector<uint32_t> *offsets);

}  // namespace aclrmctl

#endif
