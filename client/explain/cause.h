/* cause.h - what an explanation is made of: a refused request, and functions that each know one
 * check of the daemon and say whether it is what refused the request.
 *
 * A cause is certain where its check, as the daemon is now, refuses this very request with this
 * very status; possible where that cannot be seen from outside; and no cause where it is known to
 * pass.
 */
#ifndef ZV_ACL_RM_EXPLAIN_CAUSE_H
#define ZV_ACL_RM_EXPLAIN_CAUSE_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "client/explain/inquiry.h"

namespace zv_acl_rm_lib {

struct Refusal {
    uint32_t command;
    zv_acl_rm_status_t status;
    const void *record;
    uint64_t handle;
    uint32_t opened_as; /* bit N: the client opened as owner N */
    Inquiry &ask;

    template <typename Params>
    const Params &as() const {
        return *static_cast<const Params *>(record);
    }
    bool is(uint32_t wanted) const { return command == wanted; }
    /* The words of the record that many commands have; 0 where this one has none. */
    uint32_t cmd() const;
    uint32_t acl_id() const;
    uint32_t mc_group_id() const;
    /* The owner the client acts for, as far as this object knows. */
    std::optional<uint32_t> owner() const;
};

enum class Certainty { none, possible, certain };

struct Finding {
    Certainty certainty = Certainty::none;
    std::string text = {};
};

inline Finding no_cause() {
    return {};
}
inline Finding possible(std::string text) {
    return {Certainty::possible, std::move(text)};
}
inline Finding certain(std::string text) {
    return {Certainty::certain, std::move(text)};
}
/* Certain where it is known, possible where nothing is. */
inline Finding finding(Known known, std::string text) {
    switch (known) {
        case Known::yes:
            return certain(std::move(text));
        case Known::unknown:
            return possible(std::move(text));
        case Known::no:
            break;
    }
    return no_cause();
}
inline Known negated(Known known) {
    if (known == Known::unknown) {
        return known;
    }
    return known == Known::yes ? Known::no : Known::yes;
}

using FindCause = Finding (*)(const Refusal &);

/* --- of many commands */
Finding not_initialized(const Refusal &refusal);
Finding unsupported_cmd(const Refusal &refusal);
Finding unknown_acl(const Refusal &refusal);
Finding acl_of_another_owner(const Refusal &refusal);
Finding unknown_handle(const Refusal &refusal);
Finding unknown_mc_group(const Refusal &refusal);
Finding mc_group_of_another_owner(const Refusal &refusal);
Finding client_is_of13(const Refusal &refusal);
Finding memory_ran_out(const Refusal &refusal);
Finding switch_refused(const Refusal &refusal);

/* --- of rules */
Finding too_many_rules(const Refusal &refusal);
Finding chip_takes_no_rules(const Refusal &refusal);
Finding rules_full(const Refusal &refusal);
Finding rules_overflowed(const Refusal &refusal);
Finding chip_deletes_no_rules(const Refusal &refusal);
Finding unknown_key_type(const Refusal &refusal);
Finding offset_written_twice(const Refusal &refusal);
Finding offset_occupied(const Refusal &refusal);
Finding forwarding_ports_full(const Refusal &refusal);
Finding offset_past_region(const Refusal &refusal);
Finding block_past_region(const Refusal &refusal);
Finding offset_without_record(const Refusal &refusal);
Finding unknown_mc_group_of_rule(const Refusal &refusal);
Finding unknown_counter_of_rule(const Refusal &refusal);
Finding offset_deleted_twice(const Refusal &refusal);
Finding no_rule_at_offset(const Refusal &refusal);
Finding rule_to_port_0(const Refusal &refusal);
Finding no_room_to_forward(const Refusal &refusal);

/* --- of bindings */
Finding no_ports(const Refusal &refusal);
Finding bound_to_system_already(const Refusal &refusal);
Finding other_direction(const Refusal &refusal);
Finding sixteen_acls_on_port(const Refusal &refusal);
Finding groups_full(const Refusal &refusal);
Finding former_id_on_port(const Refusal &refusal);
Finding too_many_bind_points(const Refusal &refusal);
Finding no_room_to_bind(const Refusal &refusal);

/* --- of ACLs, counters, MC groups, the daemon itself */
Finding sizes_differ(const Refusal &refusal);
Finding acls_full(const Refusal &refusal);
Finding acl_cache_full(const Refusal &refusal);
Finding edited_acl_has_rules(const Refusal &refusal);
Finding edited_acl_was_bound(const Refusal &refusal);
Finding rule_past_new_size(const Refusal &refusal);
Finding size_is_fixed(const Refusal &refusal);
Finding no_room_for_size(const Refusal &refusal);
Finding counter_type_flags(const Refusal &refusal);
Finding counters_full(const Refusal &refusal);
Finding unknown_counter(const Refusal &refusal);
Finding mc_groups_full(const Refusal &refusal);
Finding no_room_for_mc_group(const Refusal &refusal);
Finding unknown_chip(const Refusal &refusal);
Finding unknown_owner(const Refusal &refusal);
Finding switch_not_opened(const Refusal &refusal);
Finding dump_without_path(const Refusal &refusal);
Finding dump_not_written(const Refusal &refusal);

/* --- words */
std::string owner_name(uint32_t owner);
/* "ACL 7", and whose it is where that can be seen: "ACL 7 (PRA's)". */
std::string acl_words(const Refusal &refusal);
/* "CREATE (4)"; a number that is none is printed alone. */
std::string cmd_words(uint32_t cmd);

}  // namespace zv_acl_rm_lib

#endif
