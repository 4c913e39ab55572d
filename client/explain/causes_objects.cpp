/* The checks of ACLs, counters and MC groups, and of what opens the daemon. */
#include <algorithm>

#include "client/explain/cause.h"

namespace zv_acl_rm_lib {

namespace {

/* The limits of every chip that has limits; either count stops the next ACL. */
constexpr uint32_t kAclLimits[] = {399, 511};
constexpr uint32_t kCachedAcls = 648;
constexpr uint32_t kMaxCounters = 255;
constexpr uint32_t kMaxMcGroups = 6400;
constexpr uint32_t kChips[] = {1, 3, 5, 6, 7, 8, 9, 10, 11};

using AclSet = zv_acl_rm_acl_set_params_t;
using Resize = zv_acl_rm_acl_resize_params_t;

bool is_create(const Refusal &refusal) {
    return refusal.cmd() == ZV_ACL_RM_ACCESS_CMD_CREATE;
}

/* The highest offset of an ACL that holds a rule. */
std::optional<uint32_t> find_last_rule(const CacheText &cache, uint32_t acl_id) {
    std::optional<uint32_t> last;
    for (const CachedRule &rule : cache.rules) {
        if (rule.acl_id == acl_id && (!last || rule.offset > *last)) {
            last = rule.offset;
        }
    }
    return last;
}

}  // namespace

Finding sizes_differ(const Refusal &refusal) {
    const acl_rm_acl &acl = refusal.as<AclSet>().acl;
    if (!is_create(refusal) || acl.min_size == acl.max_size) {
        return no_cause();
    }
    return certain("min_size is " + std::to_string(acl.min_size) + " and max_size " +
                   std::to_string(acl.max_size) + "; they must be equal");
}

Finding acls_full(const Refusal &refusal) {
    const CacheText &cache = refusal.ask.cache();
    if (!has_counts(cache)) {
        return possible("the daemon holds 399 ACLs, as many as its chip allows");
    }
    const bool is_limit = std::any_of(std::begin(kAclLimits), std::end(kAclLimits),
                                      [&](uint32_t limit) { return cache.acls_num == limit; });
    if (!is_create(refusal) || !is_limit) {
        return no_cause();
    }
    return certain("the daemon holds " + std::to_string(cache.acls_num) +
                   " ACLs, as many as its chip allows: destroy one first");
}

Finding acl_cache_full(const Refusal &refusal) {
    if (!is_create(refusal) || refusal.ask.cache().acls.size() < kCachedAcls) {
        return no_cause();
    }
    return certain("the daemon holds " + std::to_string(kCachedAcls) +
                   " ACLs, as many as it can keep; the switch has the new one all the same");
}

/* Its rules lie in its region, and are known by the id they were written under. */
Finding edited_acl_has_rules(const Refusal &refusal) {
    const CacheText &cache = refusal.ask.cache();
    const CachedAcl *acl = find_acl(cache, refusal.acl_id());
    const auto is_under_former_id = [=](const CachedRule &rule) {
        return acl != nullptr && rule.region_id == acl->region_id && rule.acl_id != acl->acl_id;
    };
    const auto rule = std::find_if(cache.rules.begin(), cache.rules.end(), is_under_former_id);
    if (refusal.cmd() != ZV_ACL_RM_ACCESS_CMD_DESTROY || rule == cache.rules.end()) {
        return no_cause();
    }
    return certain(acl_words(refusal) + " was ACL " + std::to_string(rule->acl_id) +
                   " before it was edited, and its rules are still recorded under that id: an "
                   "edited ACL with rules cannot be destroyed");
}

/* An edit that the switch refused has lost the ACL; the groups of its ports still name it. */
Finding edited_acl_was_bound(const Refusal &refusal) {
    const CacheText &cache = refusal.ask.cache();
    const uint32_t acl_id = refusal.acl_id();
    const bool is_edit = refusal.cmd() == ZV_ACL_RM_ACCESS_CMD_EDIT;
    if (!is_edit || !has_all(cache, "ports") || find_acl(cache, acl_id) != nullptr) {
        return no_cause();
    }
    for (const CachedBindPoint &point : cache.bind_points) {
        const CachedGroup *group = find_group(cache, point.group_id);
        const bool carries =
            group != nullptr &&
            std::find(group->acl_ids.begin(), group->acl_ids.end(), acl_id) != group->acl_ids.end();
        if (carries) {
            return possible((point.router_interface ? "router interface " : "port ") +
                            std::to_string(point.number) + " carries ACL " +
                            std::to_string(acl_id) +
                            ", and the switch gave up no ACL that is bound: the daemon has "
                            "forgotten the ACL, the switch has not");
        }
    }
    return no_cause();
}

Finding rule_past_new_size(const Refusal &refusal) {
    const auto &params = refusal.as<Resize>();
    const CacheText &cache = refusal.ask.cache();
    const std::optional<uint32_t> last = find_last_rule(cache, params.acl_id);
    if (last && *last >= params.new_size) {
        return possible("offset " + std::to_string(*last) + " of " + acl_words(refusal) +
                        " holds a rule, past the end of a region of " +
                        std::to_string(params.new_size) + " rules");
    }
    return has_all(cache, "rules") ? no_cause()
                                   : possible("a rule lies past the new end of the region");
}

/* The sizes of creation are in no dump. */
Finding size_is_fixed(const Refusal &refusal) {
    return possible(acl_words(refusal) +
                    " was created with a size, which stays: only an ACL created with size 0 can "
                    "be resized");
}

Finding no_room_for_size(const Refusal &refusal) {
    return certain("the switch has no room for a region of " +
                   std::to_string(refusal.as<Resize>().new_size) + " rules");
}

Finding counter_type_flags(const Refusal &refusal) {
    const acl_rm_counter_type &type = refusal.as<zv_acl_rm_counter_set_params_t>().counter_type;
    const bool is_valid = type.first <= 1 && type.second <= 1 && type.first + type.second == 1;
    if (!is_create(refusal) || is_valid) {
        return no_cause();
    }
    return certain("the counter's type flags are " + std::to_string(type.first) + " and " +
                   std::to_string(type.second) + "; exactly one of them must be 1, the other 0");
}

Finding counters_full(const Refusal &) {
    return certain("the daemon holds " + std::to_string(kMaxCounters) +
                   " counters, as many as it can: destroy one first");
}

Finding unknown_counter(const Refusal &refusal) {
    const uint32_t counter_id = refusal.is(ZV_ACL_RM_API_INT_CMD_COUNTER_SET)
                                    ? refusal.as<zv_acl_rm_counter_set_params_t>().counter_id
                                    : refusal.as<zv_acl_rm_counter_get_params_t>().counter_id;
    return finding(negated(refusal.ask.has_counter(counter_id)),
                   "there is no counter " + std::to_string(counter_id) +
                       ": never created, destroyed, or gone with the last rule that used it");
}

Finding mc_groups_full(const Refusal &refusal) {
    const CacheText &cache = refusal.ask.cache();
    const bool may_be_full = !has_all(cache, "mc") || cache.mc_groups.size() >= kMaxMcGroups;
    if (refusal.cmd() != ZV_ACL_RM_ACCESS_CMD_ADD || !may_be_full) {
        return no_cause();
    }
    return possible("the daemon holds " + std::to_string(kMaxMcGroups) +
                    " MC groups, as many as it can keep");
}

Finding no_room_for_mc_group(const Refusal &refusal) {
    const CacheText &cache = refusal.ask.cache();
    std::string text = "the switch has no room for another MC group";
    if (has_all(cache, "mc")) {
        text += ": there are " + std::to_string(cache.mc_groups.size()) +
                ", and rules forward to " + std::to_string(cache.forwardings.size()) +
                " ports, which take the same room";
    }
    return certain(std::move(text));
}

Finding unknown_chip(const Refusal &refusal) {
    const uint32_t chip_type = refusal.as<zv_acl_rm_init_params_t>().chip_type;
    if (std::find(std::begin(kChips), std::end(kChips), chip_type) != std::end(kChips)) {
        return no_cause();
    }
    return certain("there is no chip type " + std::to_string(chip_type) +
                   "; there are 1, 3 and 5 to 11");
}

Finding unknown_owner(const Refusal &refusal) {
    return certain("there is no owner " +
                   std::to_string(refusal.as<zv_acl_rm_open_params_t>().owner) +
                   "; there are open-flow (0), tarn-os (1), PRA (2) and OF13 (3)");
}

Finding switch_not_opened(const Refusal &) {
    return certain("the daemon could not open the switch; its log has the switch's reason");
}

Finding dump_without_path(const Refusal &) {
    return certain("the request had no path");
}

Finding dump_not_written(const Refusal &) {
    return certain(
        "the daemon opened the file and could not write its first line: its disk is "
        "full, or the file is a pipe or a device that takes nothing");
}

}  // namespace zv_acl_rm_lib
