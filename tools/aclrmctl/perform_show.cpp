/* The daemon's cache as tables. The dump has the cache; what a rule says and a counter counted has
 * the switch, which any client may read through the daemon. */
#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "daemon_link.h"
#include "exit_codes.h"
#include "perform_parts.h"
#include "switch_control.h"
#include "text_table.h"

namespace aclrmctl {

namespace {

/* The last of the dump's tables that each of ours is made from. */
const char *last_table_of(Table table) {
    switch (table) {
        case Table::kRules:
        case Table::kCounters:
            return "rules";
        case Table::kGroups:
        case Table::kAcls:
        case Table::kPorts:
            return "ports";
        case Table::kForwarding:
            return "forwarding";
        case Table::kAll:
        case Table::kOwners:
        case Table::kMc:
            break;
    }
    return "mc";
}

/* An ACL at a time: what becomes of one while we read concerns only its own rules. */
void read_rules(const Settings &settings, ShowAnswer *answer) {
    const std::vector<CachedRule> &cached = answer->cache.rules;
    for (size_t first = 0, end = 0; first < cached.size(); first = end) {
        RuleGetRequest request;
        request.acl_id = cached[first].acl_id;
        for (end = first; end < cached.size() && cached[end].acl_id == request.acl_id; end++) {
            request.offsets.push_back(cached[end].offset);
        }
        if (answer->asked.acl_id.value_or(request.acl_id) != request.acl_id) {
            continue;
        }
        request.activity = Activity::kRead;
        const Answer read = perform_rule_get(settings, request);
        const auto *got = std::get_if<RuleGetAnswer>(&read);
        if (got == nullptr) {
            answer->whole = false;
            answer->all_rules = false; /* which counters they use is not known */
            answer->notes.push_back("the rules of ACL " + std::to_string(request.acl_id) +
                                    " are not in words: " + std::get<Failure>(read).what);
        }
        for (size_t i = first; i < end; i++) {
            answer->rules.push_back({cached[i], got == nullptr
                                                    ? std::nullopt
                                                    : std::optional(got->rules.at(i - first))});
        }
    }
}

/* Counters that no rule uses are in no dump; the daemon's simulated switch tells of them where it
 * is asked. */
bool add_counters_of_switch(const Settings &settings, std::map<uint32_t, uint32_t> *rules_num) {
    Client client;
    nlohmann::json state;
    if (connect_daemon(settings, &client) ||
        !ask_state_of(zv_acl_rm_client_fd(client.get()), settings, &state)) {
        return false;
    }
    try {
        for (const auto &counter : state.value("counters", nlohmann::json::array())) {
            rules_num->emplace(counter.value("counter_id", 0u), 0);
        }
    } catch (const nlohmann::json::exception &) { /* a member of another type than expected */
        return false;
    }
    return true;
}

void read_counters(const Settings &settings, ShowAnswer *answer) {
    std::map<uint32_t, uint32_t> rules_num;
    for (const ShownRule &rule : answer->rules) {
        if (rule.view && rule.view->targets.counter_id != 0) {
            rules_num[rule.view->targets.counter_id]++;
        }
    }
    answer->all_counters = add_counters_of_switch(settings, &rules_num) || answer->all_rules;
    std::vector<uint32_t> unread;
    std::string first_what;
    for (const auto &[counter_id, rules] : rules_num) {
        const Answer read = perform_counter_read(settings, {counter_id});
        if (const auto *counter = std::get_if<CounterReadAnswer>(&read)) {
            answer->counters.push_back({counter_id, counter->type, counter->value, rules});
            continue;
        }
        const auto &failure = std::get<Failure>(read);
        /* One that was destroyed meanwhile, or that the daemon did not create, is none of its. */
        if (failure.status != ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND) {
            first_what = unread.empty() ? failure.what : first_what;
            unread.push_back(counter_id);
        }
    }
    if (!unread.empty()) {
        answer->whole = false;
        answer->counters_read = answer->all_counters = false;
        answer->notes.push_back(
            (unread.size() == 1 ? "the value of counter " : "the values of counters ") +
            number_runs(unread) + " could not be read: " + first_what);
    }
}

/* None rather than an ACL without rules. */
Failure no_such_acl(uint32_t acl_id) {
    const std::string id = std::to_string(acl_id);
    return {kExitRefused,
            "showing the rules of ACL " + id + ": there is no such ACL",
            {},
            {"it was never created, is destroyed, or got another id by an edit"},
            "'aclrmctl show acls' lists them"};
}

}  // namespace

Answer perform_show(const Settings &settings, const ShowRequest &request) {
    ShowAnswer answer;
    answer.asked = request;
    if (auto failure = read_cache(settings, &answer.cache)) {
        return *failure;
    }
    answer.whole = has_all(answer.cache, last_table_of(request.table));
    if (!answer.whole) {
        answer.notes.push_back(
            "the dump, which holds 65535 characters, was cut" +
            (answer.cache.read_up_to.empty() ? "" : " in its table of " + answer.cache.read_up_to) +
            ": what follows is missing here");
    }
    if (request.acl_id && has_all(answer.cache, "acls") &&
        find_acl(answer.cache, *request.acl_id) == nullptr) {
        return no_such_acl(*request.acl_id);
    }
    const Table table = request.table;
    answer.all_rules = has_all(answer.cache, "rules");
    if (table == Table::kRules || table == Table::kCounters || table == Table::kAll) {
        read_rules(settings, &answer);
    }
    if (table == Table::kCounters || table == Table::kAll) {
        read_counters(settings, &answer);
    }
    return answer;
}

}  // namespace aclrmctl
