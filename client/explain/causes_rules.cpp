/* The checks of rules: counts, offsets, keys, what rules forward to and count with. */
#include <algorithm>

#include "client/explain/cause.h"

namespace zv_acl_rm_lib {

namespace {

constexpr uint32_t kMaxRules = 6400;
constexpr uint32_t kMaxForwardingPorts = 100;
constexpr uint32_t kKeyTypes = 4;
constexpr uint32_t kToLogPort = 1;
constexpr uint32_t kToMcGroup = 2;

using RuleSet = zv_acl_rm_acl_rule_set_params_t;
using RuleGet = zv_acl_rm_acl_rule_get_params_t;
using MoveBlock = zv_acl_rm_acl_rule_move_block_params_t;

/* The rules of a request of either kind. */
struct Rules {
    const acl_rm_rule *rules;
    uint32_t num;     /* those that the record holds */
    uint32_t claimed; /* those that it says it holds */
    bool are_written; /* a rule's offset is its priority then */

    uint32_t offset(uint32_t i) const { return are_written ? rules[i].priority : rules[i].offset; }
};

template <typename Params>
Rules rules_in(const Params &params, bool are_written) {
    return {params.rules, std::min(params.rules_num, ZV_ACL_RM_RULES_PER_RECORD), params.rules_num,
            are_written};
}

Rules rules_of(const Refusal &refusal) {
    if (refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET)) {
        return rules_in(refusal.as<RuleSet>(), refusal.cmd() == ZV_ACL_RM_ACCESS_CMD_WRITE);
    }
    return rules_in(refusal.as<RuleGet>(), false);
}

bool is_write(const Refusal &refusal) {
    return refusal.cmd() == ZV_ACL_RM_ACCESS_CMD_WRITE;
}

std::string number_of(const Rules &rules, uint32_t num) {
    return std::to_string(num) + (rules.claimed == 1 ? " rule" : " rules");
}

/* Rules are counted from 1, as a reader does. */
std::string rule_words(uint32_t i) {
    return "rule " + std::to_string(i + 1);
}

std::string of_the_request(uint32_t i) {
    return " (" + rule_words(i) + " of the request)";
}

std::string offset_words(uint32_t offset) {
    return "offset " + std::to_string(offset);
}

/* The first pair of rules at one offset. */
bool find_twins(const Rules &rules, uint32_t *first, uint32_t *second) {
    for (*second = 1; *second < rules.num; ++*second) {
        for (*first = 0; *first < *second; ++*first) {
            if (rules.offset(*first) == rules.offset(*second)) {
                return true;
            }
        }
    }
    return false;
}

std::string twin_words(const Rules &rules, uint32_t first, uint32_t second) {
    return "rules " + std::to_string(first + 1) + " and " + std::to_string(second + 1) +
           " of the request both name " + offset_words(rules.offset(first));
}

/* "past the end of ACL 7 (PRA's), which has room for 64 rules", or without the number. */
Finding past_region(const Refusal &refusal, const std::string &subject, uint32_t offset) {
    const std::optional<uint32_t> size = refusal.ask.find_region_size(refusal.acl_id(), offset);
    if (size) {
        return certain(subject + " past the end of " + acl_words(refusal) +
                       ", which has room for " + std::to_string(*size) +
                       (*size == 1 ? " rule" : " rules"));
    }
    return possible(subject + " past the end of " + acl_words(refusal) +
                    ", which has no room for rules: its size is 0");
}

/* Whether anything forwards to a port already, which needs no new entry then. */
bool is_forwarded_to(const CacheText &cache, uint32_t log_port) {
    return std::any_of(cache.forwardings.begin(), cache.forwardings.end(),
                       [=](const CachedForwarding &entry) { return entry.log_port == log_port; });
}

/* The first rule that forwards to a port nothing forwards to. */
std::optional<uint32_t> find_new_port(const Refusal &refusal, const Rules &rules) {
    const CacheText &cache = refusal.ask.cache();
    for (uint32_t i = 0; i < rules.num; i++) {
        const acl_rm_rule_forwarding &forwarding = rules.rules[i].forwarding;
        if (forwarding.type == kToLogPort && !is_forwarded_to(cache, forwarding.log_port)) {
            return i;
        }
    }
    return std::nullopt;
}

/* Whether rules go into the record in their order: those of a lower key type go before others. */
bool have_one_key_type(const Rules &rules) {
    return std::all_of(rules.rules, rules.rules + rules.num, [&](const acl_rm_rule &rule) {
        return rule.key.key_type == rules.rules[0].key.key_type;
    });
}

std::string new_port_words(const Rules &rules, uint32_t i) {
    return rule_words(i) + " of the request forwards to a further one, " +
           std::to_string(rules.rules[i].forwarding.log_port);
}

/* Whether the first rule of a request is on record and the last is not: it got as far as the table,
 * and no further. */
Known is_recorded_in_part(const Refusal &refusal, const Rules &rules) {
    const uint32_t acl_id = refusal.acl_id();
    const Known has_first = refusal.ask.has_rule(acl_id, rules.offset(0));
    const Known has_last = refusal.ask.has_rule(acl_id, rules.offset(rules.num - 1));
    if (has_first == Known::no || has_last == Known::yes) {
        return Known::no;
    }
    if (has_first == Known::unknown || has_last == Known::unknown || !have_one_key_type(rules)) {
        return Known::unknown;
    }
    return refusal.ask.is_same_rule(acl_id, rules.offset(0), rules.rules[0]);
}

/* The rule at an offset of an ACL's region that is on record under another id. */
const CachedRule *find_former_rule(const Refusal &refusal, uint32_t offset) {
    const CacheText &cache = refusal.ask.cache();
    const CachedAcl *acl = find_acl(cache, refusal.acl_id());
    const auto is_former = [&](const CachedRule &rule) {
        return acl != nullptr && rule.region_id == acl->region_id && rule.offset == offset &&
               rule.acl_id != acl->acl_id;
    };
    const auto found = std::find_if(cache.rules.begin(), cache.rules.end(), is_former);
    return found == cache.rules.end() ? nullptr : &*found;
}

bool is_moved_over(const MoveBlock &params, uint32_t offset) {
    return offset >= params.new_start && offset - params.new_start < params.block_size;
}

/* Whether a block has moved in the switch and not on record, looked for where the record stopped:
 * at the first rule in the order in which the daemon moves them. */
Known is_record_behind(const Refusal &refusal) {
    constexpr uint32_t kMaxSteps = 20;
    const auto &params = refusal.as<MoveBlock>();
    for (uint32_t i = 0; i < std::min(params.block_size, kMaxSteps); i++) {
        const bool is_from_end = params.block_start < params.new_start;
        const uint32_t step = is_from_end ? params.block_size - 1 - i : i;
        const uint32_t offset = params.block_start + step;
        if (refusal.ask.has_rule(params.acl_id, offset) == Known::yes) {
            return refusal.ask.is_gone_from_switch(params.acl_id, offset) == Known::yes
                       ? Known::yes
                       : Known::unknown;
        }
    }
    return Known::unknown;
}

}  // namespace

Finding too_many_rules(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    if (rules.claimed <= ZV_ACL_RM_RULES_PER_RECORD) {
        return no_cause();
    }
    return certain(number_of(rules, rules.claimed) + " in one command; it takes at most " +
                   std::to_string(ZV_ACL_RM_RULES_PER_RECORD));
}

Finding chip_takes_no_rules(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    if (rules.num == 0 || rules.claimed > rules.num) {
        return no_cause();
    }
    return finding(negated(refusal.ask.takes_rules(rules.num)),
                   "the daemon takes no rules: no INIT has named the chip yet, or it named chip 5, "
                   "7 or 10");
}

Finding rules_full(const Refusal &refusal) {
    const CacheText &cache = refusal.ask.cache();
    const std::string text = "the daemon holds " + std::to_string(kMaxRules) +
                             " rules, as many as it can: delete some first";
    if (has_counts(cache)) {
        return finding(cache.rules_num == kMaxRules ? Known::yes : Known::no, text);
    }
    return possible(text);
}

Finding rules_overflowed(const Refusal &refusal) {
    const CacheText &cache = refusal.ask.cache();
    const bool is_move = refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK);
    if (has_counts(cache) && cache.rules_num != kMaxRules) {
        return no_cause();
    }
    const std::string text =
        "the daemon holds " + std::to_string(kMaxRules) + " rules, as many as it can";
    if (is_move) {
        return finding(has_counts(cache) ? is_record_behind(refusal) : Known::unknown,
                       text +
                           ", so that a rule cannot move to an empty offset: the switch has "
                           "moved the block, and the daemon has no record of it there");
    }
    const Rules rules = rules_of(refusal);
    if (!is_write(refusal) || rules.num < 2) {
        return no_cause();
    }
    return finding(has_counts(cache) ? is_recorded_in_part(refusal, rules) : Known::unknown,
                   text +
                       ", and the last rules of the request are past them: they are in the "
                       "switch, without a record");
}

/* The daemon deletes a rule where an ACL is destroyed or a block moves over it. */
Finding chip_deletes_no_rules(const Refusal &refusal) {
    const bool is_move = refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK);
    if (!is_move && refusal.cmd() != ZV_ACL_RM_ACCESS_CMD_DESTROY) {
        return no_cause();
    }
    const CacheText &cache = refusal.ask.cache();
    const CachedAcl *acl = find_acl(cache, refusal.acl_id());
    const auto is_in_the_way = [&](const CachedRule &rule) {
        return is_move ? rule.acl_id == refusal.acl_id() &&
                             is_moved_over(refusal.as<MoveBlock>(), rule.offset)
                       : acl != nullptr && rule.region_id == acl->region_id;
    };
    const bool has_rule = std::any_of(cache.rules.begin(), cache.rules.end(), is_in_the_way);
    if (!has_rule && has_all(cache, "rules")) {
        return no_cause();
    }
    const Known takes_rules = refusal.ask.takes_rules(1);
    const std::string text =
        "the daemon takes no rules, nor deletes any: no INIT has named the chip yet, or it named "
        "chip 5, 7 or 10; " +
        (is_move
             ? (has_rule ? "the block moves over a rule of " : "the block may move over one of ") +
                   acl_words(refusal)
             : acl_words(refusal) + (has_rule ? " has rules" : " may have rules"));
    return finding(takes_rules == Known::no && !has_rule ? Known::unknown : negated(takes_rules),
                   text);
}

Finding unknown_key_type(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    for (uint32_t i = 0; i < rules.num && is_write(refusal); i++) {
        const uint32_t key_type = rules.rules[i].key.key_type;
        if (key_type >= kKeyTypes) {
            return certain(rule_words(i) + " of the request has key type " +
                           std::to_string(key_type) + "; there are 0 to 3");
        }
    }
    return no_cause();
}

Finding offset_written_twice(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    uint32_t first = 0;
    uint32_t second = 0;
    if (!is_write(refusal) || !find_twins(rules, &first, &second)) {
        return no_cause();
    }
    return certain(twin_words(rules, first, second));
}

/* A command of several key types may have written the rule itself before it failed at a later one:
 * what is there is then the request's own rule. */
Finding offset_occupied(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    for (uint32_t i = 0; i < rules.num && is_write(refusal); i++) {
        const uint32_t offset = rules.offset(i);
        if (const CachedRule *former = find_former_rule(refusal, offset); former != nullptr) {
            return certain(offset_words(offset) + " of " + acl_words(refusal) +
                           " holds a rule from before it was edited, when it was ACL " +
                           std::to_string(former->acl_id) +
                           ": the new rule has taken its place in the switch" + of_the_request(i));
        }
        if (refusal.ask.has_rule(refusal.acl_id(), offset) != Known::yes) {
            continue;
        }
        const std::string place = offset_words(offset) + " of " + acl_words(refusal);
        if (refusal.ask.is_same_rule(refusal.acl_id(), offset, rules.rules[i]) == Known::no) {
            return certain(place + " holds a rule already: delete it first" + of_the_request(i));
        }
        return possible(place + " holds that very rule already, from before or from this command" +
                        of_the_request(i));
    }
    return no_cause();
}

Finding forwarding_ports_full(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    const size_t ports_num = refusal.ask.cache().forwardings.size();
    if (!is_write(refusal) || ports_num < kMaxForwardingPorts) {
        return no_cause();
    }
    const std::optional<uint32_t> i = find_new_port(refusal, rules);
    if (!i) {
        return no_cause();
    }
    return certain("rules forward to " + std::to_string(ports_num) +
                   " ports, as many as the daemon can keep, and " + new_port_words(rules, *i));
}

Finding offset_past_region(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    for (uint32_t i = 0; i < rules.num; i++) {
        const uint32_t offset = rules.offset(i);
        switch (refusal.ask.is_past_region(refusal.acl_id(), offset)) {
            case Known::yes:
                return past_region(refusal, offset_words(offset) + of_the_request(i) + " lies",
                                   offset);
            case Known::unknown:
                return possible("an offset lies past the end of " + acl_words(refusal));
            case Known::no:
                break;
        }
    }
    return no_cause();
}

Finding block_past_region(const Refusal &refusal) {
    const auto &params = refusal.as<MoveBlock>();
    if (params.block_size == 0) {
        return no_cause();
    }
    const struct {
        const char *name;
        uint32_t start;
    } ends[] = {{"the block", params.block_start}, {"the block's new place", params.new_start}};
    for (const auto &end : ends) {
        const uint64_t last = uint64_t{end.start} + params.block_size - 1;
        const auto offset = static_cast<uint32_t>(std::min<uint64_t>(last, UINT32_MAX));
        const std::string subject = std::string(end.name) + ", offsets " +
                                    std::to_string(end.start) + " to " + std::to_string(last) +
                                    ", ends";
        switch (refusal.ask.is_past_region(params.acl_id, offset)) {
            case Known::yes:
                return past_region(refusal, subject, offset);
            case Known::unknown:
                return possible(subject + " past the end of " + acl_words(refusal));
            case Known::no:
                break;
        }
    }
    return no_cause();
}

/* An occupied offset is refused with another status, so a rule there now is the request's. A
 * deletion forgets its rules one by one, and stops behind the one that has no mark. */
Finding offset_without_record(const Refusal &refusal) {
    const std::string lost = acl_words(refusal) + " has lost its record of ";
    const std::string why = ", after a resize past 16383 rules or a destroy that failed; ";
    if (refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK)) {
        return possible(lost + "an offset of the block or of its new place" + why +
                        "the switch has moved the block");
    }
    const Rules rules = rules_of(refusal);
    std::optional<uint32_t> last_gone;
    for (uint32_t i = 0; i < rules.num; i++) {
        const uint32_t offset = rules.offset(i);
        const Known has_rule = refusal.ask.has_rule(refusal.acl_id(), offset);
        if (is_write(refusal) && has_rule == Known::yes) {
            std::string words = lost;
            words += offset_words(offset) + why + rule_words(i);
            return certain(words + " of the request is in the switch");
        }
        if (!is_write(refusal) && has_rule == Known::no) {
            last_gone = i;
        }
    }
    if (!last_gone) {
        return no_cause();
    }
    return certain(lost + offset_words(rules.offset(*last_gone)) + why +
                   (rules.num == 1 ? "its rule is deleted all the same"
                                   : "the rules of the request are deleted in the switch all the "
                                     "same") +
                   of_the_request(*last_gone));
}

Finding unknown_mc_group_of_rule(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    Finding found;
    for (uint32_t i = 0; i < rules.num && is_write(refusal); i++) {
        const acl_rm_rule_forwarding &forwarding = rules.rules[i].forwarding;
        if (forwarding.type != kToMcGroup) {
            continue;
        }
        const Finding here =
            finding(negated(refusal.ask.has_mc_group(forwarding.mc_group_id)),
                    rule_words(i) + " of the request forwards to MC group " +
                        std::to_string(forwarding.mc_group_id) + ", which there is not");
        if (here.certainty > found.certainty) {
            found = here;
        }
    }
    return found;
}

Finding unknown_counter_of_rule(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    for (uint32_t i = 0; i < rules.num && is_write(refusal); i++) {
        const uint32_t counter_id = rules.rules[i].forwarding.counter_id;
        if (counter_id == 0) {
            continue;
        }
        Finding found = finding(negated(refusal.ask.has_counter(counter_id)),
                                rule_words(i) + " of the request counts with counter " +
                                    std::to_string(counter_id) + ", which there is not");
        if (found.certainty != Certainty::none) {
            return found;
        }
    }
    return no_cause();
}

Finding offset_deleted_twice(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    uint32_t first = 0;
    uint32_t second = 0;
    if (is_write(refusal) || !find_twins(rules, &first, &second)) {
        return no_cause();
    }
    return certain(twin_words(rules, first, second) + ", which is empty after the first of them");
}

/* A deletion looks for all of its rules before it deletes one. Where none of them is there now, it
 * may have deleted them itself before it failed. */
Finding no_rule_at_offset(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    const bool is_read = refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET);
    bool is_untouched = is_read;
    std::optional<uint32_t> missing;
    Known is_missing = Known::no;
    for (uint32_t i = 0; i < rules.num && !is_write(refusal); i++) {
        const Known here = negated(refusal.ask.has_rule(refusal.acl_id(), rules.offset(i)));
        is_untouched = is_untouched || here == Known::no;
        if (!missing && here != Known::no) {
            missing = i;
            is_missing = here;
        }
        if (missing && is_untouched) {
            break;
        }
    }
    if (!missing) {
        return no_cause();
    }
    std::string words = offset_words(rules.offset(*missing)) + " of " + acl_words(refusal) +
                        " holds no rule" + of_the_request(*missing);
    if (!is_untouched) {
        words += "; or it held one that forwarded to logical port 0, which is deleted now";
    }
    return finding(is_missing, words);
}

/* Forwarding to logical port 0 is not counted, so that it cannot be given up: what deletes such a
 * rule fails when the rule is gone. A deletion's own words are no_rule_at_offset's. */
Finding rule_to_port_0(const Refusal &refusal) {
    const std::string to_port_0 = " forwarded to logical port 0, of which there is no record: ";
    if (refusal.is(ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK)) {
        return certain("the block moved over a rule that" + to_port_0 +
                       "that rule is gone, and the switch has moved the block");
    }
    if (refusal.cmd() != ZV_ACL_RM_ACCESS_CMD_DESTROY) {
        return no_cause();
    }
    return possible("a rule of " + acl_words(refusal) + to_port_0 +
                    "that rule is gone, and a second destroy goes on behind it");
}

Finding no_room_to_forward(const Refusal &refusal) {
    const Rules rules = rules_of(refusal);
    const CacheText &cache = refusal.ask.cache();
    std::string text = "the switch has no room to forward to a further port";
    if (has_all(cache, "mc")) {
        text += ": rules forward to " + std::to_string(cache.forwardings.size()) + " ports and " +
                std::to_string(cache.mc_groups.size()) + " MC groups take the same room";
    }
    const std::optional<uint32_t> i = find_new_port(refusal, rules);
    return certain(i ? text + "; " + new_port_words(rules, *i) : text);
}

}  // namespace zv_acl_rm_lib
