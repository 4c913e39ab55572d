// ACL_RULE_SET delete: what goes with a rule, in which order, and what stays after a refusal.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Offsets = std::vector<uint32_t>;

// ACL 1 of open-flow over region 1.
class RuleDelete : public testing::Test {
  protected:
    RuleDelete() : client_(daemon_), acl_(client_.make_acl(64)) {}

    void write(const std::vector<acl_rm_rule> &rules, Here here = Here::now()) {
        if (client_.write_rules(acl_.acl_id, rules) != kOk) {
            ADD_FAILURE_AT(here.file, here.line) << "the rules were not written";
        }
    }
    Answer erase(const Offsets &offsets) {
        return erase_as(client_.handle(), acl_.acl_id, offsets);
    }
    Answer erase_as(uint64_t handle, uint32_t acl_id, const Offsets &offsets) {
        return send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
                           delete_request(handle, acl_id, offsets));
    }
    uint32_t make_counter() {
        uint32_t counter_id = 0;
        EXPECT_EQ(client_.create_counter({1, 0}, counter_id), kOk);
        return counter_id;
    }
    // What cache and switch hold besides the ACL and its region. The count of rules is what the
    // cache says it is.
    void expect_left(uint32_t rules_cnt, const Digest &cache, const Digest &in_switch,
                     Here here = Here::now()) {
        const testing::ScopedTrace trace(here.file, here.line, "what is left");
        Digest wanted = {"acls 1, rules " + std::to_string(rules_cnt), "acl 1: owner 0, region 1"};
        wanted.insert(wanted.end(), cache.begin(), cache.end());
        EXPECT_EQ(cache_digest(daemon_, here), wanted);
        EXPECT_EQ(switch_digest(daemon_, here), in_switch);
    }

    DaemonProcess daemon_;
    TestClient client_;
    acl_rm_acl acl_;
};

const char *const kAcl = "acl 1: region 1, direction 0";

// --- checks, in their order

TEST(RuleDeleteChecks, AClosedSwitchComesFirst) {
    DaemonProcess daemon;
    auto request = delete_request(kNobody, kNoAcl, Offsets(21, 0));
    const Watch watch(daemon);
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request).status,
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "ACL RM is not initialized", 0));
    watch.expect_calls({});
}

TEST_F(RuleDelete, TheCountComesBeforeTheOwner) {
    for (const uint32_t rules_num : {21u, 22u, 0x80000000u, 0xffffffffu}) {
        auto request = delete_request(kNobody, kNoAcl, {0});
        request.rules_num = rules_num;
        const Watch watch(daemon_);
        const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request);
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(failed(
            4, "To many rules [" + std::to_string(rules_num) + "] to configure in one action", 0));
        watch.expect_calls({});
    }
}

TEST_F(RuleDelete, TheOwnerComesBeforeTheRules) {
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    const acl_rm_acl others = pra.make_acl(4);
    ASSERT_EQ(pra.write_rules(others.acl_id, {make_rule(2)}), kOk);
    const struct {
        uint64_t handle;
        uint32_t acl_id;
        uint32_t status;
        Lines lines;
    } refusals[] = {
        {kNobody, kNoAcl, 4,
         failed(4,
                "Wrong owner of the handle[119] toward ACL_RM, trying to control another owner "
                "resource",
                1)},
        {client_.handle(), kNoAcl, 4, failed_by_name(4, 1)},
        {client_.handle(), others.acl_id, 1,
         failed(1, "Wrong owner[0] trying to control another owner[2] resource", 1)},
    };
    for (const Offsets &offsets : {Offsets{}, Offsets{2}, Offsets{3}}) {
        for (const auto &refusal : refusals) {
            const Watch watch(daemon_);
            const Answer answer = erase_as(refusal.handle, refusal.acl_id, offsets);
            EXPECT_EQ(answer.status, refusal.status);
            EXPECT_EQ(answer.body, Bytes());
            watch.expect_lines(refusal.lines);
            watch.expect_calls({});
        }
    }
    EXPECT_EQ(rule_keys(daemon_.dump()), std::vector<std::string>{"2_2"});
    check_cache(daemon_);
}

// --- what goes

// Every byte of the records but the offsets is another than those of the rules written.
TEST_F(RuleDelete, TakesTheRuleOutOfSwitchAndCacheByItsOffsetAlone) {
    write({make_rule(5), make_rule(9)});
    const auto request = delete_request(client_.handle(), acl_.acl_id, {5});
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request);
    EXPECT_EQ(answer.status, kOk);
    EXPECT_EQ(answer.body, bytes_of(request));
    watch.expect_calls({rules_deleted(1, {5})});
    watch.expect_lines(rules_gone(1, {5}));
    expect_left(1, {"rule 1_9: region 1"}, {"region 1: size 64, rules 9", kAcl});
    check_cache(daemon_);
}

TEST_F(RuleDelete, TakesTwentyInTheOrderOfTheRequestWithOneCall) {
    write(make_rules(20, 20));
    write({make_rule(0), make_rule(63)});
    Offsets offsets = {63, 0};
    for (uint32_t i = 0; i < 18; ++i) {
        offsets.push_back(39 - i);
    }
    const auto request = delete_request(client_.handle(), acl_.acl_id, offsets);
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request);
    EXPECT_EQ(answer.status, kOk);
    EXPECT_EQ(answer.body, bytes_of(request));
    watch.expect_calls({rules_deleted(1, offsets)});
    watch.expect_lines(rules_gone(1, offsets));
    expect_left(2, {"rule 1_20: region 1", "rule 1_21: region 1"},
                {"region 1: size 64, rules 20 21", kAcl});
    check_cache(daemon_);
}

TEST_F(RuleDelete, OfNoRulesChangesNothing) {
    write({make_rule(5)});
    const auto request = delete_request(client_.handle(), acl_.acl_id, {});
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request);
    EXPECT_EQ(answer.status, kOk);
    EXPECT_EQ(answer.body, bytes_of(request));
    watch.expect_nothing();
    expect_left(1, {"rule 1_5: region 1"}, {"region 1: size 64, rules 5", kAcl});
    check_cache(daemon_);
}

TEST_F(RuleDelete, FreesTheOffsetForAnotherRule) {
    write({match_byte(make_rule(5), 0, 1)});
    ASSERT_EQ(erase({5}).status, kOk);
    const acl_rm_rule another = match_byte(make_rule(5, 2), 0, 7);
    const Watch watch(daemon_);
    write({another});
    watch.expect_calls({rules_written(1, {sdk_rule(another)})});
    expect_left(1, {"rule 1_5: region 1"}, {"region 1: size 64, rules 5", kAcl});
    check_cache(daemon_);
}

// An ACL may be cut off where no offset is marked as occupied.
TEST(RuleDeleteMarks, AnOffsetIsUnmarkedByTheDeletion) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(0);
    ASSERT_EQ(client.resize_acl(acl.acl_id, 8), kOk);
    ASSERT_EQ(client.write_rules(acl.acl_id, {make_rule(7)}), kOk);
    EXPECT_EQ(client.resize_acl(acl.acl_id, 7), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    daemon.expect_log(error_line(4, "Can't reduce ACL table size, offset [7] is valid in ACL [1]"));
    ASSERT_EQ(client.delete_rules(acl.acl_id, {7}), kOk);
    EXPECT_EQ(client.resize_acl(acl.acl_id, 7), kOk);
    check_cache(daemon);
}

// The switch does not mind an offset that is empty already.
TEST_F(RuleDelete, TakesOutARuleThatTheSwitchHasLost) {
    write({make_rule(5), make_rule(6)});
    daemon_.control().corrupt(1, 5);
    EXPECT_EQ(erase({5}).status, kOk);
    expect_left(1, {"rule 1_6: region 1"}, {"region 1: size 64, rules 6", kAcl});
    check_cache(daemon_);
}

// --- refused before anything has changed

using Absent = std::pair<Offsets, std::string>;  // a batch, and the key that it stops at

struct AbsentOffset : RuleDelete, testing::WithParamInterface<Absent> {};

TEST_P(AbsentOffset, ChangesNothingWhereverItStandsInTheBatch) {
    const auto &[offsets, key] = GetParam();
    const uint32_t counter = make_counter();
    write({count_with(make_rule(0), counter), forward_to_port(make_rule(1), kPort), make_rule(63)});
    const Watch watch(daemon_);
    const Answer answer = erase(offsets);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed(5, "key:[" + key + "] not found", 1));
    watch.expect_calls({});
    expect_left(
        3,
        {"rule 1_0: region 1", "rule 1_1: region 1", "rule 1_63: region 1",
         "forward 65537: pbs 1, users 1"},
        {"region 1: size 64, rules 0 1 63", kAcl, "pbs 1: port 65537", "counter 1: type 0"});
    check_cache(daemon_);
    // Nor has the counter lost its reference: it survives being destroyed by its client.
    EXPECT_EQ(client_.destroy_counter(counter), kOk);
    EXPECT_EQ(daemon_.control().used("counters"), 1u);
}

INSTANTIATE_TEST_SUITE_P(RuleDelete, AbsentOffset,
                         testing::Values(Absent{Offsets{2}, "1_2"}, Absent{Offsets{2, 0, 1}, "1_2"},
                                         Absent{Offsets{0, 1, 62, 63}, "1_62"},
                                         Absent{Offsets{63, 1, 2, 3}, "1_2"},
                                         Absent{Offsets{0, 64}, "1_64"},
                                         Absent{Offsets{0, 0xffffffff}, "1_4294967295"}));

TEST_F(RuleDelete, ARuleOfAnotherAclIsNoneOfThisOne) {
    const acl_rm_acl second = client_.make_acl(8);
    ASSERT_EQ(client_.write_rules(second.acl_id, {make_rule(3)}), kOk);
    const Watch watch(daemon_);
    EXPECT_EQ(erase({3}).status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(failed(5, "key:[1_3] not found", 1));
    EXPECT_EQ(client_.delete_rules(second.acl_id, {3}), kOk);
    check_cache(daemon_);
}

TEST_F(RuleDelete, ASecondTimeIsRefused) {
    write({make_rule(5)});
    ASSERT_EQ(erase({5}).status, kOk);
    const Watch watch(daemon_);
    EXPECT_EQ(erase({5}).status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(failed(5, "key:[1_5] not found", 1));
    watch.expect_calls({});
    expect_left(0, {}, {"region 1: size 64", kAcl});
}

// --- refused half-way

// Both pass the look-up. The switch takes all four away; the cache stops at the second of the pair,
// and forwarding is released only at the end.
TEST_F(RuleDelete, TheSameOffsetTwiceStopsAfterItsFirstDeletion) {
    write({forward_to_port(make_rule(4), kPort), make_rule(5), make_rule(6)});
    const Watch watch(daemon_);
    const Answer answer = erase({4, 5, 5, 6});
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_calls({rules_deleted(1, {4, 5, 5, 6})});
    const Lines gone = rules_gone(1, {4, 5});
    watch.expect_lines(Lines{gone[0], gone[1]} +
                       failed(5, "Offset (5) not found in hash table.", 0) +
                       failed(5, "Fail to get rule info for acl_id (1) offset (5).", 2));
    expect_left(1, {"rule 1_6: region 1", "forward 65537: pbs 1, users 1"},
                {"region 1: size 64", kAcl, "pbs 1: port 65537"});
    // What is left in the cache can be deleted once more.
    EXPECT_EQ(erase({6}).status, kOk);
}

// Memory for the flags wraps at 16384 offsets: 16386 have two flags.
TEST(RuleDeleteMarks, AnOffsetPastTheFlagsIsRefusedAfterItsRuleIsGone) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(0);
    ASSERT_EQ(client.resize_acl(acl.acl_id, 16386), kOk);
    const std::string past = "rule in offset[2] is past the [2] offsets of acl_id:1";
    const Watch written(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(1)}), kOk);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(2)}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    written.expect_lines(failed(4, past, 3));
    const Watch watch(daemon);
    EXPECT_EQ(client.delete_rules(acl.acl_id, {2, 1}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4, past, 2));
    watch.expect_calls({rules_deleted(1, {2, 1})});
    // The rule is gone from the cache, but still counted; the one behind it was not reached.
    EXPECT_EQ(cache_digest(daemon),
              (Digest{"acls 1, rules 2", "acl 1: owner 0, region 1", "rule 1_1: region 1"}));
    EXPECT_EQ(switch_digest(daemon), (Digest{"region 1: size 16386", kAcl}));
}

// --- forwarding

TEST_F(RuleDelete, OnlyTheLastUserOfAPortTakesItsPbsEntryWithIt) {
    write({forward_to_port(make_rule(0), kPort)});
    write({forward_to_port(make_rule(1), kPort), forward_to_port(make_rule(2), kPort)});
    for (const uint32_t offset : {1u, 0u}) {
        const Watch watch(daemon_);
        EXPECT_EQ(erase({offset}).status, kOk);
        watch.expect_calls({rules_deleted(1, {offset})});
        watch.expect_lines(rules_gone(1, {offset}));
        EXPECT_EQ(daemon_.dump().forwardings.at(0).times_consumed, offset + 1);
        check_cache(daemon_);
    }
    const Watch watch(daemon_);
    EXPECT_EQ(erase({2}).status, kOk);
    watch.expect_calls({rules_deleted(1, {2}), port_pbs_deleted(kPort, 1)});
    watch.expect_lines(rules_gone(1, {2}));
    expect_left(0, {}, {"region 1: size 64", kAcl});
    check_cache(daemon_);
    // The port is unknown again.
    const acl_rm_rule next = forward_to_port(make_rule(0), kPort);
    const Watch rewritten(daemon_);
    write({next});
    rewritten.expect_calls(
        {port_pbs_created(kPort, 2), rules_written(1, {forwarded(sdk_rule(next), 2)})});
    check_cache(daemon_);
}

TEST_F(RuleDelete, PbsEntriesGoAfterAllRulesInTheOrderOfTheRequest) {
    write({forward_to_port(make_rule(0), kPort), forward_to_port(make_rule(1), kPort + 1),
           make_rule(2), forward_to_port(make_rule(3), kPort + 2)});
    write({forward_to_port(make_rule(4), kPort + 1)});
    const Watch watch(daemon_);
    EXPECT_EQ(erase({3, 1, 2, 0, 4}).status, kOk);
    watch.expect_calls({rules_deleted(1, {3, 1, 2, 0, 4}), port_pbs_deleted(kPort + 2, 3),
                        port_pbs_deleted(kPort, 1), port_pbs_deleted(kPort + 1, 2)});
    watch.expect_lines(rules_gone(1, {3, 1, 2, 0, 4}));
    expect_left(0, {}, {"region 1: size 64", kAcl});
    check_cache(daemon_);
}

TEST_F(RuleDelete, UsersAreCountedOverAclsAndOwners) {
    TestClient other(daemon_, ZV_ACL_RM_OWNER_OF13);
    const acl_rm_acl acl = other.make_acl(4);
    write({forward_to_port(make_rule(0), kPort)});
    ASSERT_EQ(other.write_rules(acl.acl_id, {forward_to_port(make_rule(0), kPort)}), kOk);
    EXPECT_EQ(erase({0}).status, kOk);
    EXPECT_EQ(daemon_.dump().forwardings.at(0).times_consumed, 1u);
    const Watch watch(daemon_);
    EXPECT_EQ(other.delete_rules(acl.acl_id, {0}), kOk);
    watch.expect_calls({rules_deleted(2, {0}), port_pbs_deleted(kPort, 1)});
    check_cache(daemon_);
}

TEST_F(RuleDelete, AMulticastGroupKeepsItsPbsEntry) {
    uint32_t group = 0;
    ASSERT_EQ(client_.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, group, {kPort, kPort + 1}), kOk);
    write({forward_to_mc_group(make_rule(0), group), forward_to_port(make_rule(1), kPort)});
    const Watch watch(daemon_);
    EXPECT_EQ(erase({0}).status, kOk);
    watch.expect_calls({rules_deleted(1, {0})});
    watch.expect_lines(rules_gone(1, {0}));
    expect_left(1, {"rule 1_1: region 1", "forward 65537: pbs 2, users 1", "mc group 1: owner 0"},
                {"region 1: size 64, rules 1", kAcl, "pbs 1: mc 65537 65538", "pbs 2: port 65537"});
    check_cache(daemon_);
}

// Two rules of one batch made an entry each and only the first one's is remembered: the other one
// outlives its rule.
TEST_F(RuleDelete, OfTwoPbsEntriesMadeByOneBatchOneStays) {
    write({forward_to_port(make_rule(0), kPort), forward_to_port(make_rule(1), kPort)});
    const Watch watch(daemon_);
    EXPECT_EQ(erase({0, 1}).status, kOk);
    watch.expect_calls({rules_deleted(1, {0, 1}), port_pbs_deleted(kPort, 1)});
    expect_left(0, {}, {"region 1: size 64", kAcl, "pbs 2: port 65537"});
    check_cache(daemon_, kSkipLeftOvers);
}

// Port 0 is never remembered when a rule is written, but looked for when it is deleted. The rules
// are gone by then; forwarding behind it in the batch is not released.
TEST_F(RuleDelete, ARuleToPort0FailsAfterAllRulesAreGone) {
    write({forward_to_port(make_rule(0), kPort), forward_to_port(make_rule(1), 0),
           forward_to_port(make_rule(2), kPort + 1)});
    const Watch watch(daemon_);
    const Answer answer = erase({0, 1, 2});
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(rules_gone(1, {0, 1, 2}) +
                       failed(5, "forwarding port (pbs):=0 not found", 1));
    watch.expect_calls({rules_deleted(1, {0, 1, 2}), port_pbs_deleted(kPort, 1)});
    expect_left(0, {"forward 65538: pbs 3, users 1"},
                {"region 1: size 64", kAcl, "pbs 2: port 0", "pbs 3: port 65538"});
}

// --- counters

TEST_F(RuleDelete, ACounterGoesWithItsLastRule) {
    const uint32_t counter = make_counter();
    write({count_with(make_rule(0), counter), count_with(make_rule(1), counter)});
    const Watch first(daemon_);
    EXPECT_EQ(erase({1}).status, kOk);
    first.expect_calls({rules_deleted(1, {1})});
    const Watch last(daemon_);
    EXPECT_EQ(erase({0}).status, kOk);
    last.expect_calls({rules_deleted(1, {0}), counter_destroyed(0, counter)});
    last.expect_lines(rules_gone(1, {0}));
    expect_left(0, {}, {"region 1: size 64", kAcl});
    check_cache(daemon_);
    // The daemon has forgotten it as well.
    const Watch forgotten(daemon_);
    EXPECT_EQ(client_.destroy_counter(counter), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    forgotten.expect_lines(failed(5, "Could not find counter id (1) in Counters DB.", 0));
}

// After the switch has lost the rules and before the forwarding is released.
TEST_F(RuleDelete, CountersGoRuleByRuleInTheOrderOfTheRequest) {
    const uint32_t one = make_counter();
    uint32_t two = 0;
    ASSERT_EQ(client_.create_counter({0, 1}, two), kOk);
    write({count_with(forward_to_port(make_rule(0), kPort), one), count_with(make_rule(1), two),
           count_with(make_rule(2), one)});
    const Watch watch(daemon_);
    EXPECT_EQ(erase({0, 1, 2}).status, kOk);
    watch.expect_calls({rules_deleted(1, {0, 1, 2}), counter_destroyed(1, two),
                        counter_destroyed(0, one), port_pbs_deleted(kPort, 1)});
    watch.expect_lines(rules_gone(1, {0, 1, 2}));
    expect_left(0, {}, {"region 1: size 64", kAcl});
    check_cache(daemon_);
}

// --- the whole table

TEST(RuleDeleteLimit, RoomThatADeletionMakesInAFullTableCanBeUsed) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(6500);
    for (uint32_t first = 0; first < 6400; first += 20) {
        ASSERT_EQ(client.write_rules(acl.acl_id, make_rules(first, 20)), kOk);
    }
    Offsets offsets;
    for (uint32_t i = 0; i < 20; ++i) {
        offsets.push_back(i * 300 + 17);
    }
    EXPECT_EQ(client.delete_rules(acl.acl_id, offsets), kOk);
    EXPECT_EQ(daemon.dump().rules_cnt, 6380u);
    // Some of the offsets that became free, some that were never used.
    std::vector<acl_rm_rule> rules = make_rules(6400, 10);
    std::transform(offsets.begin(), offsets.begin() + 10, std::back_inserter(rules),
                   [](uint32_t offset) { return make_rule(offset); });
    EXPECT_EQ(client.write_rules(acl.acl_id, rules), kOk);
    EXPECT_EQ(daemon.dump().rules_cnt, 6400u);
    EXPECT_EQ(daemon.control().state().at("regions").at(0).at("rules").size(), 6400u);
    const Watch watch(daemon);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(6450)}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(notified(6, "Not enough resources to create rules, #rules = [6400]", 1));
}

}  // namespace
}  // namespace zv_test
