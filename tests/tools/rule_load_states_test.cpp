/* States of a failed load's rules that come about only where somebody else has a hand in the ACL,
 * or the switch fails while it is read: against stubs of daemon and switch. */
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>

#include "rule_encode.h"
#include "tests/tools/acl_stub.h"
#include "tests/tools/json_answer.h"
#include "tests/tools/stub_switch.h"

namespace {

using nlohmann::json;
using zv_test::AclStub;
using zv_test::StubReply;
using zv_test::StubSwitch;
using zv_test::ToolRun;
using Words = std::vector<std::string>;

constexpr uint32_t kRules = 60;
constexpr uint32_t kRefused = 20; /* the priority that the refused command begins with */
constexpr uint32_t kOdd = 5;      /* the offset of the rule that reads as something else */

std::string policy() {
    std::string text;
    for (uint32_t i = 0; i < kRules; i++) {
        text += "drop tcp from 10.0." + std::to_string(i) + ".0/24 to any port 443\n";
    }
    return text;
}

/* The second of three commands is refused; before that, nothing of it was written. */
AclStub stub_that_reads(AclStub::Read read) {
    return AclStub(
        [](StubReply good, uint32_t priority) {
            good.status = priority == kRefused ? uint32_t{ZV_ACL_RM_STATUS_NO_HW_RESOURCES} : 0;
            return good;
        },
        std::move(read));
}

uint32_t other_rule(acl_rm_rule *rule) {
    rule->key.data[0] ^= rule->offset == kOdd ? 1 : 0;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

uint32_t other_verdict(acl_rm_rule *rule) {
    rule->action[12] ^= rule->offset == kOdd ? 1 : 0;
    return ZV_ACL_RM_STATUS_SUCCESS;
}

/* What the daemon shows of a rule that the switch has lost. */
uint32_t empty(acl_rm_rule *rule) {
    if (rule->offset == kOdd) {
        *rule = {};
        rule->offset = kOdd;
    }
    return ZV_ACL_RM_STATUS_SUCCESS;
}

uint32_t unread(acl_rm_rule *rule) {
    return rule->offset == kOdd ? ZV_ACL_RM_STATUS_ERROR : ZV_ACL_RM_STATUS_SUCCESS;
}

/* The state of each rule, by priority. */
std::map<uint32_t, std::string> states_of(const json &answer) {
    std::map<uint32_t, std::string> states;
    for (const json &run : answer.at("load").at("runs")) {
        for (uint32_t i = run.at("first_priority"); i <= run.at("last_priority"); i++) {
            EXPECT_TRUE(states.emplace(i, run.at("state")).second) << "rule " << i << " twice";
        }
    }
    EXPECT_EQ(states.size(), kRules);
    return states;
}

json failed_load(AclStub *stub, int exit_code, bool undo) {
    Words words{"-j", "rule",    "load", stub->file(policy()), "--acl", "6", "--in-flight",
                "1",  "--batch", "20"};
    if (undo) {
        words.emplace_back("--undo");
    }
    return zv_test::own_members(stub->run(words).out, exit_code);
}

/* Everything is as after a plain refusal, but for the odd rule. */
void expect_states(const json &answer, const std::string &first, const std::string &odd) {
    const auto states = states_of(answer);
    for (uint32_t i = 0; i < kRules; i++) {
        EXPECT_EQ(states.at(i), i == kOdd           ? odd
                                : i < kRefused      ? first
                                : i < kRefused + 20 ? "not_in_switch"
                                                    : "not_sent")
            << "rule " << i;
    }
}

/* Offsets in the order in which they were deleted. */
std::vector<uint32_t> deleted(const AclStub &stub) {
    std::vector<uint32_t> offsets;
    for (const auto &params : stub.writes()) {
        for (uint32_t i = 0; params.cmd == ZV_ACL_RM_ACCESS_CMD_DELETE && i < params.rules_num;
             i++) {
            offsets.push_back(params.rules[i].offset);
        }
    }
    return offsets;
}

std::vector<uint32_t> downwards_without(uint32_t left_out) {
    std::vector<uint32_t> offsets;
    for (uint32_t i = kRefused; i-- > 0;) {
        if (i != left_out) {
            offsets.push_back(i);
        }
    }
    return offsets;
}

struct OddCase {
    const char *name;
    AclStub::Read read;
    const char *state;
    uint32_t unknown_num;
};

void PrintTo(const OddCase &each, std::ostream *out) {
    *out << each.name;
}

class OddRule : public testing::TestWithParam<OddCase> {};

TEST_P(OddRule, IsToldAsItIsFound) {
    AclStub stub = stub_that_reads(GetParam().read);
    const json answer = failed_load(&stub, 8, false);
    expect_states(answer, "in_switch", GetParam().state);
    EXPECT_EQ(answer.at("load").at("in_switch"), kRefused - 1);
    EXPECT_EQ(answer.at("load").at("unknown"), GetParam().unknown_num);
    EXPECT_TRUE(deleted(stub).empty());
}

const OddCase kOddCases[] = {{"OtherMatch", other_rule, "other_rule", 0},
                             {"OtherVerdict", other_verdict, "other_rule", 0},
                             {"RecordOnly", empty, "record_only", 0},
                             {"Unread", unread, "unknown_unread", 1}};

INSTANTIATE_TEST_SUITE_P(RuleLoad, OddRule, testing::ValuesIn(kOddCases),
                         [](const auto &each) { return each.param.name; });

TEST(RuleLoadUndo, LeavesARuleOfSomebodyElse) {
    AclStub stub = stub_that_reads(other_rule);
    const json answer = failed_load(&stub, 4, true);
    expect_states(answer, "taken_back", "other_rule");
    EXPECT_EQ(deleted(stub), downwards_without(kOdd));
}

/* The daemon has acknowledged it, so it has a record, by which it deletes. */
TEST(RuleLoadUndo, TakesAnAcknowledgedRuleThatCannotBeReadAway) {
    AclStub stub = stub_that_reads(unread);
    const json answer = failed_load(&stub, 4, true);
    expect_states(answer, "taken_back", "taken_back");
    EXPECT_EQ(deleted(stub), downwards_without(kRules)) << "the last one first";
}

TEST(RuleLoadUndo, TakesARecordWithoutARuleAway) {
    AclStub stub = stub_that_reads(empty);
    const json answer = failed_load(&stub, 4, true);
    expect_states(answer, "taken_back", "taken_back");
    EXPECT_EQ(deleted(stub), downwards_without(kRules)) << "the last one first";
}

/* What the daemon cannot read the simulated switch may tell: the rule, another one, or none. */
json state_with(const json &rules) {
    return {{"ok", true},
            {"acls", {{{"acl_id", 6}, {"region_id", 3}}}},
            {"regions", {{{"region_id", 3}, {"rules", rules}}}}};
}

json switch_rule(const acl_rm_rule &rule) {
    const auto hex = [](const uint8_t *bytes) {
        aclrmctl::KeyBytes copy;
        std::copy_n(bytes, copy.size(), copy.begin());
        return aclrmctl::key_to_hex(copy);
    };
    std::string action(2 * size_t{ZV_ACL_RM_ACTION_BYTES}, '0');
    action[25] = static_cast<char>('0' + rule.action[12]);
    return {{"offset", rule.offset},         {"valid", 1},
            {"key_type", rule.key.key_type}, {"key", hex(rule.key.data)},
            {"mask", hex(rule.mask.data)},   {"action", action}};
}

TEST(UnreadRule, IsWhatTheSimulatedSwitchSaysOfIt) {
    struct {
        const char *state;
        std::function<json(acl_rm_rule)> rules;
    } const rows[] = {
        {"in_switch", [](acl_rm_rule rule) { return json::array({switch_rule(rule)}); }},
        {"other_rule",
         [](acl_rm_rule rule) {
             rule.action[12] = 2;
             return json::array({switch_rule(rule)});
         }},
        {"other_rule",
         [](acl_rm_rule rule) {
             rule.mask.data[0] = 0;
             return json::array({switch_rule(rule)});
         }},
        {"not_in_switch", [](const acl_rm_rule &) { return json::array(); }}};
    for (const auto &row : rows) {
        AclStub stub = stub_that_reads(unread);
        const StubSwitch sim([&](const json &) {
            return state_with(row.rules(stub.writes().at(0).rules[kOdd])).dump() + "\n";
        });
        stub.set_switch_socket(sim.path());
        expect_states(failed_load(&stub, 8, false), "in_switch", row.state);
    }
}

/* With two daemons on a host either socket may be the other one's, whose ACLs have the same ids. */
TEST(UnreadRule, StaysUnknownWhereTheSwitchIsOfAnotherProcess) {
    AclStub stub = stub_that_reads(unread);
    StubSwitch sim([](const json &) { return state_with(json::array()).dump() + "\n"; });
    sim.look_like_another_process();
    stub.set_switch_socket(sim.path());
    expect_states(failed_load(&stub, 8, false), "in_switch", "unknown_unread");
    EXPECT_TRUE(sim.questions().empty());
}

TEST(UnreadRule, StaysUnknownWhereTheSwitchAnswersInAnotherShape) {
    const json acls = {{{"acl_id", 6}, {"region_id", 3}}};
    const json good_rule = {{"offset", kOdd}, {"valid", 1}, {"key_type", 0}, {"key", ""}};
    std::vector<json> answers{{{"ok", true}, {"acls", "none"}},
                              {{"ok", true}, {"acls", {{{"acl_id", "six"}}}}},
                              {{"ok", true}, {"acls", {6}}},
                              {{"ok", true}, {"acls", acls}, {"regions", 3}},
                              {{"ok", true}, {"state", "none"}}};
    for (const auto &member : good_rule.items()) {
        json rule = good_rule;
        rule[member.key()] = json::array();
        answers.push_back(state_with(json::array({rule})));
    }
    answers.push_back(state_with({{"offset", kOdd}})); /* an object where a list should be */
    for (const json &answer : answers) {
        AclStub stub = stub_that_reads(unread);
        const StubSwitch sim([&](const json &) { return answer.dump() + "\n"; });
        stub.set_switch_socket(sim.path());
        SCOPED_TRACE(answer.dump());
        expect_states(failed_load(&stub, 8, false), "in_switch", "unknown_unread");
    }
}

}  // namespace
