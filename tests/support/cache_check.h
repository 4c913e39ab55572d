// cache_check.h - the invariants of the daemon's cache, as far as a dump and the switch show them.
//
// To be called after every case that left daemon and switch in agreement: no injected fault, no
// drift. What a case breaks on purpose is named in `skip`.
#ifndef ZV_TESTS_SUPPORT_CACHE_CHECK_H
#define ZV_TESTS_SUPPORT_CACHE_CHECK_H

#include <nlohmann/json.hpp>

#include "tests/support/cache_dump.h"
#include "tests/support/here.h"

namespace zv_test {

class DaemonProcess;

// What is not to be looked at.
enum CacheSkip : unsigned {
    kSkipNothing = 0,
    kSkipCounts = 1,      // the two global counters
    kSkipRules = 2,       // rules against ACLs and regions (an edit leaves the former ACL id)
    kSkipGroups = 4,      // groups, bind points and bound ports
    kSkipForwarding = 8,  // forwarding entries and multicast groups against PBS entries
    kSkipLeftOvers = 16,  // objects of the switch that the daemon does not know
};

// Dumps the cache, reads the switch's state and runs all the checks below. The daemon must have
// been started with its control socket.
void check_cache(DaemonProcess &daemon, unsigned skip = kSkipNothing, Here here = Here::now());

// What holds whatever the switch did, faults included: no key stands twice in a table, no table
// holds more than it has room for, owners are owners and every bind point's group is there. (Rules
// may outlive their ACL, where the switch refused half of what changed it.)
void check_cache_alone(const CacheDump &dump, Here here = Here::now());
// g_acl_table_cnt and g_rules_cnt equal the entries of their tables.
void check_counts(const CacheDump &dump, Here here = Here::now());
// Each rule's ACL exists and has the rule's region; key and offset agree; the switch has a rule
// there, and no other rules in the regions of ACLs.
void check_rules(const CacheDump &dump, const nlohmann::json &state, Here here = Here::now());
// Each ACL and its region exist in the switch, joined alike.
void check_acls(const CacheDump &dump, const nlohmann::json &state, Here here = Here::now());
// Each group's ACLs exist; the switch's group holds the same ones in the same order.
void check_groups(const CacheDump &dump, const nlohmann::json &state, Here here = Here::now());
// Each bind point's group exists and is bound there in the switch; an ACL lists a port exactly
// when it is in the group bound there.
void check_bind_points(const CacheDump &dump, const nlohmann::json &state, Here here = Here::now());
// Each forwarding entry has its PBS entry of one port, and times_consumed is the number of the
// switch's rules that forward through it; each multicast group has its PBS entry.
void check_forwarding(const CacheDump &dump, const nlohmann::json &state, Here here = Here::now());
// The switch holds no ACL, region, group, binding or PBS entry that the daemon does not know.
void check_left_overs(const CacheDump &dump, const nlohmann::json &state, Here here = Here::now());

}  // namespace zv_test

#endif
