// Every switch call that writing, deleting, reading and moving rules make, failing; and what
// becomes of the next request after it. Nothing is undone.
#include <gtest/gtest.h>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/failure_table.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

constexpr uint32_t kAclId = 1;

const char *const kRulesGet = "zv_api_acl_rules_get";
const char *const kActivityGet = "zv_api_acl_rule_activity_get";
const char *const kMove = "zv_api_acl_rule_block_move_set";

// ACL 1 of open-flow over region 1, with these rules.
void prepare(World &world, const std::vector<acl_rm_rule> &rules) {
    ASSERT_EQ(world.open_flow.make_acl(8).acl_id, kAclId);
    ASSERT_EQ(world.open_flow.write_rules(kAclId, rules), kOk);
}

// Counters 1, 2, ...
void make_counters(World &world, uint32_t num) {
    for (uint32_t i = 1; i <= num; ++i) {
        uint32_t counter_id = 0;
        ASSERT_EQ(world.open_flow.create_counter({1, 0}, counter_id), kOk);
        ASSERT_EQ(counter_id, i);
    }
}

void empty_acl(World &world) {
    prepare(world, {});
}
void two_rules(World &world) {
    prepare(world, make_rules(0, 2));
}
// At 0, 1 and 2, each with a forwarding entry of its own.
void three_forwarding_rules(World &world) {
    prepare(world, {forward_to_port(make_rule(0), kPort), forward_to_port(make_rule(1), kPort + 1),
                    forward_to_port(make_rule(2), kPort + 2)});
}
// At 0 and 1, each with a counter of its own; the first one forwards.
void two_counting_rules(World &world) {
    make_counters(world, 2);
    prepare(world,
            {count_with(forward_to_port(make_rule(0), kPort), 1), count_with(make_rule(1), 2)});
}
// At 0 and 1 plain ones, at 4 and 5 such with a counter and a forwarding entry of their own.
void rules_to_overwrite(World &world) {
    make_counters(world, 2);
    prepare(world, {make_rule(0), make_rule(1), count_with(forward_to_port(make_rule(4), kPort), 1),
                    count_with(forward_to_port(make_rule(5), kPort + 1), 2)});
}

Answer write(World &world, const std::vector<acl_rm_rule> &rules) {
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
                       write_request(world.open_flow.handle(), kAclId, rules));
}
Answer erase(World &world, const std::vector<uint32_t> &offsets) {
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
                       delete_request(world.open_flow.handle(), kAclId, offsets));
}
// Reads offsets 0 and 1 with their activity, and clears it.
Answer read_two(World &world) {
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET,
                       read_request(world.open_flow.handle(), kAclId, {{0, 2}, {1, 2}}));
}
Answer move(World &world, uint32_t start, uint32_t size, uint32_t new_start) {
    const zv_acl_rm_acl_rule_move_block_params_t request = {world.open_flow.handle(), kAclId, start,
                                                            size, new_start};
    return send_record(world.daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK, request);
}
Answer write_all_key_types(World &world) {
    return write(world, {make_rule(3, 3), make_rule(0, 0), make_rule(2, 2), make_rule(1, 1)});
}
Answer write_to_two_ports(World &world) {
    return write(world,
                 {forward_to_port(make_rule(0), kPort), forward_to_port(make_rule(1), kPort + 1)});
}
Answer delete_two(World &world) {
    return erase(world, {0, 1});
}
Answer delete_three(World &world) {
    return erase(world, {0, 1, 2});
}
// Offset 1 goes first.
Answer overwrite_two(World &world) {
    return move(world, 0, 2, 4);
}

// What is there, the ACL and its region first.
Digest cache_of(uint32_t rules_cnt, const Digest &rest) {
    Digest digest = {"acls 1, rules " + std::to_string(rules_cnt), "acl 1: owner 0, region 1"};
    digest.insert(digest.end(), rest.begin(), rest.end());
    return digest;
}
Digest switch_of(const std::string &offsets, const Digest &rest = {}) {
    Digest digest = {"region 1: size 8" + (offsets.empty() ? "" : ", rules " + offsets),
                     "acl 1: region 1, direction 0"};
    digest.insert(digest.end(), rest.begin(), rest.end());
    return digest;
}

// --- write

FailureOutcome without_pbs(bool is_full, std::vector<std::string> calls, const Digest &early,
                           const Digest &late) {
    const std::string text = "Can't initiate forwarding action for the rule";
    return {.status = is_full ? ZV_ACL_RM_STATUS_NO_HW_RESOURCES : ZV_ACL_RM_STATUS_ERROR,
            .lines = is_full ? notified(7, text + ", not enough resources", 3) : failed(1, text, 3),
            .calls = std::move(calls),
            .cache = cache_of(0, {}),
            .early = switch_of("", early),
            .late = switch_of("", late)};
}

FailureRow pbs_create(const std::string &name, int nth, const std::vector<std::string> &calls,
                      const Digest &early, const Digest &late) {
    return {.name = name,
            .prepare = empty_acl,
            .request = write_to_two_ports,
            .call = kPbsSet,
            .nth = nth,
            .on_other = without_pbs(false, calls, early, late),
            .on_5 = without_pbs(true, calls, early, late)};
}

Lines not_written() {
    return failed(1, "Failed to add rule to a region in SDK , error: {sdk}", 2);
}

FailureRow key_type_write(const std::string &name, int nth, const FailureOutcome &outcome) {
    return {.name = name,
            .prepare = empty_acl,
            .request = write_all_key_types,
            .call = kRulesSet,
            .nth = nth,
            .on_other = outcome};
}

const std::vector<FailureRow> &write_rows() {
    static const auto &list = *new std::vector<FailureRow>{
        pbs_create("PbsOfTheFirstRule", 1, {kPbsSet}, {}, {"pbs 1: port 65537"}),
        pbs_create("PbsOfTheSecondRule", 2, {kPbsSet, kPbsSet}, {"pbs 1: port 65537"},
                   {"pbs 1: port 65537", "pbs 2: port 65538"}),
        key_type_write("FirstKeyType", 1,
                       {.lines = not_written(),
                        .calls = {kRulesSet},
                        .cache = cache_of(0, {}),
                        .early = switch_of(""),
                        .late = switch_of("0")}),
        key_type_write("SecondKeyType", 2,
                       {.lines = not_written(),
                        .calls = {kRulesSet, kRulesSet},
                        .cache = cache_of(1, {"rule 1_0: region 1"}),
                        .early = switch_of("0"),
                        .late = switch_of("0 1")}),
        key_type_write("ThirdKeyType", 3,
                       {.lines = not_written(),
                        .calls = {kRulesSet, kRulesSet, kRulesSet},
                        .cache = cache_of(2, {"rule 1_0: region 1", "rule 1_1: region 1"}),
                        .early = switch_of("0 1"),
                        .late = switch_of("0 1 2")}),
        key_type_write("FourthKeyType", 4,
                       {.lines = not_written(),
                        .calls = {kRulesSet, kRulesSet, kRulesSet, kRulesSet},
                        .cache = cache_of(
                            3, {"rule 1_0: region 1", "rule 1_1: region 1", "rule 1_2: region 1"}),
                        .early = switch_of("0 1 2"),
                        .late = switch_of("0 1 2 3")}),
        {.name = "RulesToNewPorts",
         .prepare = empty_acl,
         .request = write_to_two_ports,
         .call = kRulesSet,
         .on_other = {.lines = not_written(),
                      .calls = {kPbsSet, kPbsSet, kRulesSet},
                      .cache = cache_of(0, {}),
                      .early = switch_of("", {"pbs 1: port 65537", "pbs 2: port 65538"}),
                      .late = switch_of("0 1", {"pbs 1: port 65537", "pbs 2: port 65538"})}},
    };
    return list;
}
ZV_FAILURE_TABLE(RuleWriteFails, write_rows());

// --- delete

// The text is the same for the rules and for the forwarding entry of one (kept).
Lines not_removed(int callers, const std::string &sdk_status = "{sdk}") {
    return failed(1, "Failed to remove rule from a region in SDK , error: " + sdk_status, callers);
}

Lines counter_not_destroyed(const std::string &counter_id, int callers) {
    return failed(1, "Fail to destroy counter ID (" + counter_id + ").", 0) +
           failed(1, "Fail to clear counter ID (" + counter_id + ") in counter DB.", callers);
}

const std::vector<FailureRow> &delete_rows() {
    const Digest ports = {"pbs 1: port 65537", "pbs 2: port 65538", "pbs 3: port 65539"};
    static const auto &list = *new std::vector<FailureRow>{
        {.name = "Rules",
         .prepare = two_counting_rules,
         .request = delete_two,
         .call = kRulesSet,
         .on_other = {.lines = not_removed(1),
                      .calls = {kRulesSet},
                      .cache = cache_of(2, {"rule 1_0: region 1", "rule 1_1: region 1",
                                            "forward 65537: pbs 1, users 1"}),
                      .early = switch_of(
                          "0 1", {"pbs 1: port 65537", "counter 1: type 0", "counter 2: type 0"}),
                      .late = switch_of(
                          "", {"pbs 1: port 65537", "counter 1: type 0", "counter 2: type 0"})}},
        {.name = "CounterOfTheFirstRule",
         .prepare = two_counting_rules,
         .request = delete_two,
         .call = kCounterSet,
         .on_other = {.lines = counter_not_destroyed("1", 2),
                      .calls = {kRulesSet, kCounterSet},
                      .cache = cache_of(2, {"rule 1_0: region 1", "rule 1_1: region 1",
                                            "forward 65537: pbs 1, users 1"}),
                      .early = switch_of(
                          "", {"pbs 1: port 65537", "counter 1: type 0", "counter 2: type 0"}),
                      .late = switch_of("", {"pbs 1: port 65537", "counter 2: type 0"})}},
        {.name = "CounterOfTheSecondRule",
         .prepare = two_counting_rules,
         .request = delete_two,
         .call = kCounterSet,
         .nth = 2,
         .on_other = {.lines = Lines{rules_gone(1, {0})[0]} + counter_not_destroyed("2", 2),
                      .calls = {kRulesSet, kCounterSet, kCounterSet},
                      .cache = cache_of(1, {"rule 1_1: region 1", "forward 65537: pbs 1, users 1"}),
                      .early = switch_of("", {"pbs 1: port 65537", "counter 2: type 0"}),
                      .late = switch_of("", {"pbs 1: port 65537"})}},
        {.name = "PbsOfTheFirstRule",
         .prepare = three_forwarding_rules,
         .request = delete_three,
         .call = kPbsSet,
         .on_other = {.lines = rules_gone(1, {0, 1, 2}) + not_removed(1),
                      .calls = {kRulesSet, kPbsSet},
                      .cache = cache_of(
                          0, {"forward 65537: pbs 1, users 0", "forward 65538: pbs 2, users 1",
                              "forward 65539: pbs 3, users 1"}),
                      .early = switch_of("", ports),
                      .late = switch_of("", {ports[1], ports[2]})}},
        {.name = "PbsOfTheSecondRule",
         .prepare = three_forwarding_rules,
         .request = delete_three,
         .call = kPbsSet,
         .nth = 2,
         .on_other = {.lines = rules_gone(1, {0, 1, 2}) + not_removed(1),
                      .calls = {kRulesSet, kPbsSet, kPbsSet},
                      .cache = cache_of(
                          0, {"forward 65538: pbs 2, users 0", "forward 65539: pbs 3, users 1"}),
                      .early = switch_of("", {ports[1], ports[2]}),
                      .late = switch_of("", {ports[2]})}},
    };
    return list;
}
ZV_FAILURE_TABLE(RuleDeleteFails, delete_rows());

// --- read

FailureRow read_row(const std::string &name, const char *call, int nth, const std::string &what,
                    std::vector<std::string> calls) {
    const Lines lines =
        failed(1, "Failed to retrieve " + what + " from region [1] in SDK , error: {sdk}", 0) +
        failed(1, "Failed to retrieve rules for acl_id [1] ", 0);
    return {.name = name,
            .prepare = two_rules,
            .request = read_two,
            .call = call,
            .nth = nth,
            .on_other = {.lines = lines,
                         .calls = std::move(calls),
                         .cache = cache_of(2, {"rule 1_0: region 1", "rule 1_1: region 1"}),
                         .early = switch_of("0 1"),
                         .late = switch_of("0 1")}};
}

const std::vector<FailureRow> &read_rows() {
    static const auto &list = *new std::vector<FailureRow>{
        read_row("FirstRule", kRulesGet, 1, "rules", {kRulesGet}),
        read_row("SecondRule", kRulesGet, 2, "rules", {kRulesGet, kActivityGet, kRulesGet}),
        read_row("FirstActivity", kActivityGet, 1, "rules activity", {kRulesGet, kActivityGet}),
        read_row("SecondActivity", kActivityGet, 2, "rules activity",
                 {kRulesGet, kActivityGet, kRulesGet, kActivityGet}),
    };
    return list;
}
ZV_FAILURE_TABLE(RuleReadFails, read_rows());

// --- move

Lines block_refused(const std::string &sdk_status = "{sdk}") {
    return failed(1, "Failed to move block of rules in region [1] in SDK , error: " + sdk_status,
                  0) +
           failed(1, "Failed in move block operation", 0);
}

// The texts after the one that tells why the rule at `destination` could not be taken out.
Lines half_moved(const std::string &source, const std::string &destination) {
    return failed(1,
                  "Failed to delete rule at offset [" + destination +
                      "] from ACL RM DB for ACL ID [1], error: 1",
                  0) +
           failed(1, "Failed to modify the offset for entry at offset [" + source + "]", 0) +
           failed(1, "Failed to update rules new offsets in DB", 0) +
           failed(1, "Failed in move block operation", 0);
}

FailureRow overwrite_row(const std::string &name, const char *call, int nth,
                         const FailureOutcome &outcome) {
    return {.name = name,
            .prepare = rules_to_overwrite,
            .request = overwrite_two,
            .call = call,
            .nth = nth,
            .on_other = outcome};
}

FailureRow move_row(const std::string &name, uint32_t size, uint32_t new_start,
                    const std::string &late) {
    return {.name = name,
            .prepare = two_rules,
            .request = [=](World &world) { return move(world, 0, size, new_start); },
            .call = kMove,
            .on_other = {.lines = block_refused(),
                         .calls = {kMove},
                         .cache = cache_of(2, {"rule 1_0: region 1", "rule 1_1: region 1"}),
                         .early = switch_of("0 1"),
                         .late = switch_of(late)}};
}

const std::vector<FailureRow> &move_rows() {
    const std::string at_0 = "rule 1_0: region 1";
    const std::string at_1 = "rule 1_1: region 1";
    const std::string at_4 = "rule 1_4: region 1";
    const std::string at_5 = "rule 1_5: region 1";
    const std::string moved_1 = "rule 1_5: region 1, offset 1";
    const std::string users_1 = "forward 65537: pbs 1, users 1";
    const std::string pbs_1 = "pbs 1: port 65537";
    const std::string pbs_2 = "pbs 2: port 65538";
    const std::string counter_1 = "counter 1: type 0";
    const std::string counter_2 = "counter 2: type 0";
    static const auto &list = *new std::vector<FailureRow>{
        move_row("Block", 2, 4, "4 5"),
        move_row("BlockOfNoRules", 0, 4, "0 1"),
        move_row("BlockToItself", 2, 0, "0 1"),
        overwrite_row("CounterOfTheFirstOverwritten", kCounterSet, 1,
                      {.lines = counter_not_destroyed("2", 1) + half_moved("1", "5"),
                       .calls = {kMove, kCounterSet},
                       .cache = cache_of(
                           4, {at_0, at_1, at_4, at_5, users_1, "forward 65538: pbs 2, users 1"}),
                       .early = switch_of("4 5", {pbs_1, pbs_2, counter_1, counter_2}),
                       .late = switch_of("4 5", {pbs_1, pbs_2, counter_1})}),
        overwrite_row(
            "CounterOfTheSecondOverwritten", kCounterSet, 2,
            {.lines = rules_gone(1, {5}) + counter_not_destroyed("1", 1) + half_moved("0", "4"),
             .calls = {kMove, kCounterSet, kPbsSet, kCounterSet},
             .cache = cache_of(3, {at_0, at_4, moved_1, users_1}),
             .early = switch_of("4 5", {pbs_1, counter_1}),
             .late = switch_of("4 5", {pbs_1})}),
        overwrite_row(
            "PbsOfTheFirstOverwritten", kPbsSet, 1,
            {.lines = rules_gone(1, {5}) + not_removed(0) + half_moved("1", "5"),
             .calls = {kMove, kCounterSet, kPbsSet},
             .cache = cache_of(3, {at_0, at_1, at_4, users_1, "forward 65538: pbs 2, users 0"}),
             .early = switch_of("4 5", {pbs_1, pbs_2, counter_1}),
             .late = switch_of("4 5", {pbs_1, counter_1})}),
        overwrite_row("PbsOfTheSecondOverwritten", kPbsSet, 2,
                      {.lines = rules_gone(1, {5}) + rules_gone(1, {4}) + not_removed(0) +
                                half_moved("0", "4"),
                       .calls = {kMove, kCounterSet, kPbsSet, kCounterSet, kPbsSet},
                       .cache = cache_of(2, {at_0, moved_1, "forward 65537: pbs 1, users 0"}),
                       .early = switch_of("4 5", {pbs_1}),
                       .late = switch_of("4 5")}),
    };
    return list;
}
ZV_FAILURE_TABLE(RuleMoveFails, move_rows());

// --- and then

TEST(RuleFailures, ADeletionThatTheSwitchRefusedCanBeAskedForAgain) {
    World world;
    two_counting_rules(world);
    world.daemon.control().fail(kRulesSet, 1);
    const Watch watch(world.daemon);
    EXPECT_EQ(delete_two(world).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(not_removed(1, "1"));
    EXPECT_EQ(delete_two(world).status, kOk);
    EXPECT_EQ(cache_digest(world.daemon), cache_of(0, {}));
    EXPECT_EQ(switch_digest(world.daemon), switch_of(""));
    check_cache(world.daemon);
}

// The reference was dropped before; dropping it once more takes it below none, so that the rule can
// be deleted and the counter stays for good.
TEST(RuleFailures, ACounterThatWasNotDestroyedOutlivesTheRepeatedDeletion) {
    World world;
    two_counting_rules(world);
    world.daemon.control().fail(kCounterSet, 1);
    const Watch watch(world.daemon);
    EXPECT_EQ(delete_two(world).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(counter_not_destroyed("1", 2));
    const Watch again(world.daemon);
    EXPECT_EQ(delete_two(world).status, kOk);
    again.expect_calls(
        {rules_deleted(1, {0, 1}), counter_destroyed(0, 2), port_pbs_deleted(kPort, 1)});
    EXPECT_EQ(world.open_flow.destroy_counter(1), kOk);
    EXPECT_EQ(cache_digest(world.daemon), cache_of(0, {}));
    EXPECT_EQ(switch_digest(world.daemon), switch_of("", {"counter 1: type 0"}));
    check_cache(world.daemon);
}

// An entry without users stays known: the next rule to its port uses it, and takes it along.
TEST(RuleFailures, APbsEntryThatWasNotDeletedIsUsedAgain) {
    World world;
    prepare(world, {forward_to_port(make_rule(0), kPort)});
    world.daemon.control().fail(kPbsSet, 1);
    const Watch watch(world.daemon);
    EXPECT_EQ(erase(world, {0}).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(rules_gone(1, {0}) + not_removed(1, "1"));
    const acl_rm_rule next = forward_to_port(make_rule(3), kPort);
    const Watch rewritten(world.daemon);
    EXPECT_EQ(write(world, {next}).status, kOk);
    rewritten.expect_calls({rules_written(1, {forwarded(sdk_rule(next), 1)})});
    check_cache(world.daemon);
    EXPECT_EQ(erase(world, {3}).status, kOk);
    EXPECT_EQ(cache_digest(world.daemon), cache_of(0, {}));
    EXPECT_EQ(switch_digest(world.daemon), switch_of(""));
}

TEST(RuleFailures, AReadThatFailedAfterClearingHasLostTheActivity) {
    World world;
    two_rules(world);
    ASSERT_EQ(world.open_flow.bind_ports(ZV_ACL_RM_ACCESS_CMD_BIND, kAclId, {kPort}), kOk);
    ASSERT_EQ(world.daemon.control().packet("log_port", kPort, 0, 0, "00").at("offset"), 0);
    world.daemon.control().fail(kRulesGet, 1, 2);
    const Watch watch(world.daemon);
    EXPECT_EQ(read_two(world).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Failed to retrieve rules from region [1] in SDK , error: 1", 0) +
                       failed(1, "Failed to retrieve rules for acl_id [1] ", 0));
    std::vector<acl_rm_rule> rules = {make_rule(0)};
    rules[0].readout.activity_request = 1;
    EXPECT_EQ(world.open_flow.read_rules(kAclId, rules), kOk);
    EXPECT_EQ(rules[0].readout.activity, 0);
}

// Cache and switch are out of step after a late failure: rules are in the switch where the cache
// has none, and the other way round.
TEST(RuleFailures, AMoveThatTheSwitchMadeAllTheSameCanBeMovedBack) {
    World world;
    two_rules(world);
    world.daemon.control().fail(kMove, 1, 1, 1, true);
    const Watch watch(world.daemon);
    EXPECT_EQ(move(world, 0, 2, 4).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(block_refused("1"));
    // Offsets 4 and 5 are empty in the cache, so the rules at 0 and 1 are taken out of it.
    const Watch back(world.daemon);
    EXPECT_EQ(move(world, 4, 2, 0).status, kOk);
    back.expect_lines(rules_gone(1, {0}) + rules_gone(1, {1}));
    EXPECT_EQ(cache_digest(world.daemon), cache_of(0, {}));
    EXPECT_EQ(switch_digest(world.daemon), switch_of("0 1"));
}

}  // namespace
}  // namespace zv_test
