// ACL_RULE_MOVE_BLOCK: like an overlapping memory move, in the switch and in the cache.
#include <gtest/gtest.h>

#include <map>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Offsets = std::vector<uint32_t>;
// By the offset where a rule lies now: the offset it was written for.
using Places = std::map<uint32_t, uint32_t>;

struct Block {
    uint32_t start, size, new_start;
};

// Tells where it was written for by its key.
acl_rm_rule marked_rule(uint32_t offset) {
    return match_byte(make_rule(offset), 0, static_cast<uint8_t>(offset));
}

Answer move_as(DaemonProcess &daemon, uint64_t handle, uint32_t acl_id, const Block &block) {
    const zv_acl_rm_acl_rule_move_block_params_t request = {handle, acl_id, block.start, block.size,
                                                            block.new_start};
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK, request);
}

nlohmann::json moved(const Block &block, uint32_t sdk_status = 0) {
    return block_moved(1, block.start, block.size, block.new_start, sdk_status);
}

// The texts of the operations that hand up a failure of the cache, which came at that source.
Lines half_moved(uint32_t status, uint32_t source) {
    return failed(
               status,
               "Failed to modify the offset for entry at offset [" + std::to_string(source) + "]",
               0) +
           failed(status, "Failed to update rules new offsets in DB", 0) +
           failed(status, "Failed in move block operation", 0);
}

// The cache's entries keep the offset they were written with.
Places places_in_cache(const CacheDump &dump) {
    Places places;
    for (const CacheDump::Rule &rule : dump.rules) {
        places[rule.key_offset] = rule.offset;
    }
    return places;
}

Places places_in_switch(DaemonProcess &daemon) {
    Places places;
    const nlohmann::json state = daemon.control().state();
    for (const auto &rule : state.at("regions").at(0).at("rules")) {
        const std::string key = rule.at("key");
        places[rule.at("offset")] =
            static_cast<uint32_t>(std::stoul(key.substr(0, 2), nullptr, 16));
    }
    return places;
}

// ACL 1 of open-flow, offsets 0 to 15, over region 1.
class RuleMove : public testing::Test {
  protected:
    RuleMove() : client_(daemon_), acl_(client_.make_acl(16)) {}

    void write(const std::vector<acl_rm_rule> &rules, Here here = Here::now()) {
        if (client_.write_rules(acl_.acl_id, rules) != kOk) {
            ADD_FAILURE_AT(here.file, here.line) << "the rules were not written";
        }
    }
    void write_at(const Offsets &offsets, Here here = Here::now()) {
        std::vector<acl_rm_rule> rules;
        for (const uint32_t offset : offsets) {
            rules.push_back(marked_rule(offset));
        }
        write(rules, here);
    }
    Answer move(const Block &block) {
        return move_as(daemon_, client_.handle(), acl_.acl_id, block);
    }
    // Where the rules are, in cache and switch alike, and how many are counted.
    void expect_places(const Places &expected, Here here = Here::now()) {
        const testing::ScopedTrace trace(here.file, here.line, "places");
        const CacheDump dump = daemon_.dump();
        EXPECT_EQ(places_in_cache(dump), expected);
        EXPECT_EQ(dump.rules_cnt, expected.size());
        EXPECT_EQ(places_in_switch(daemon_), expected);
        // An entry whose key and field differ is what a move leaves.
        check_cache(daemon_, kSkipRules, here);
    }

    DaemonProcess daemon_;
    TestClient client_;
    acl_rm_acl acl_;
};

// --- checks, in their order

TEST(RuleMoveChecks, ALengthThatIsOffByOneIsRefusedFirst) {
    DaemonProcess daemon;
    for (const size_t length : {size_t{0}, size_t{23}, size_t{25}}) {
        const Watch watch(daemon);
        const Answer answer =
            send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK, Bytes(length));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines({{"ACL_RM_RPC", "ERROR",
                             "failed to received zv_acl_rm_api_acl_rule_move_block len " +
                                 std::to_string(length) + "."}});
        watch.expect_calls({});
    }
}

TEST(RuleMoveChecks, AClosedSwitchComesBeforeTheOwner) {
    DaemonProcess daemon;
    const Watch watch(daemon);
    EXPECT_EQ(move_as(daemon, kNobody, kNoAcl, {0, 1, 2}).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "ACL RM is not initialized", 0));
    watch.expect_calls({});
}

TEST_F(RuleMove, TheOwnerComesBeforeTheSwitch) {
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    write_at({2});
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
        {pra.handle(), acl_.acl_id, 1,
         failed(1, "Wrong owner[2] trying to control another owner[0] resource", 1)},
    };
    for (const auto &refusal : refusals) {
        for (const Block &block : {Block{2, 1, 3}, Block{0, 0, 0}, Block{99, 1, 3}}) {
            const Watch watch(daemon_);
            const Answer answer = move_as(daemon_, refusal.handle, refusal.acl_id, block);
            EXPECT_EQ(answer.status, refusal.status);
            EXPECT_EQ(answer.body, Bytes());
            watch.expect_lines(refusal.lines);
            watch.expect_calls({});
        }
    }
    expect_places({{2, 2}});
    check_cache(daemon_);
}

struct OutOfRegion : RuleMove, testing::WithParamInterface<Block> {};

TEST_P(OutOfRegion, IsLeftToTheSwitchToRefuse) {
    write_at({0, 1, 14, 15});
    const Watch watch(daemon_);
    const Answer answer = move(GetParam());
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(
        failed(1, "Failed to move block of rules in region [1] in SDK , error: 4", 0) +
        failed(1, "Failed in move block operation", 0));
    watch.expect_calls({moved(GetParam(), 4)});
    expect_places({{0, 0}, {1, 1}, {14, 14}, {15, 15}});
    check_cache(daemon_);
}

void PrintTo(const Block &block, std::ostream *out) {
    *out << block.size << " from " << block.start << " to " << block.new_start;
}

INSTANTIATE_TEST_SUITE_P(RuleMove, OutOfRegion,
                         testing::Values(Block{14, 3, 0}, Block{0, 3, 14}, Block{16, 1, 0},
                                         Block{0, 1, 16}, Block{0, 17, 0}, Block{0xffffffff, 2, 0},
                                         Block{0, 2, 0xffffffff}, Block{1, 0xffffffff, 0}));

// --- where rules go

struct Move {
    std::string name;
    Offsets occupied;
    Block block;
    Places after;
    Offsets overwritten = {};  // in the order in which they are taken out
};

void PrintTo(const Move &move, std::ostream *out) {
    *out << move.name;
}

struct MovedBlock : RuleMove, testing::WithParamInterface<Move> {};

TEST_P(MovedBlock, LeavesCacheAndSwitchAlike) {
    write_at(GetParam().occupied);
    Lines lines;
    for (const uint32_t offset : GetParam().overwritten) {
        lines = lines + rules_gone(1, {offset});
    }
    const Watch watch(daemon_);
    const Answer answer = move(GetParam().block);
    EXPECT_EQ(answer.status, kOk);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_calls({moved(GetParam().block)});
    watch.expect_lines(lines);
    expect_places(GetParam().after);
}

const Move kMoves[] = {
    {"UpIntoFreeOffsets", {2, 3, 4}, {2, 3, 8}, {{8, 2}, {9, 3}, {10, 4}}},
    {"DownIntoFreeOffsets", {8, 9}, {8, 2, 1}, {{1, 8}, {2, 9}}},
    {"UpByOne", {2, 3, 4}, {2, 3, 3}, {{3, 2}, {4, 3}, {5, 4}}},
    {"DownByOne", {3, 4, 5}, {3, 3, 2}, {{2, 3}, {3, 4}, {4, 5}}},
    {"UpOverHalfOfItself", {2, 3, 4, 5}, {2, 4, 4}, {{4, 2}, {5, 3}, {6, 4}, {7, 5}}},
    {"DownOverHalfOfItself", {4, 5, 6, 7}, {4, 4, 2}, {{2, 4}, {3, 5}, {4, 6}, {5, 7}}},
    {"UpByOneWithAGap", {2, 4}, {2, 3, 3}, {{3, 2}, {5, 4}}},
    {"DownByOneWithAGap", {3, 5}, {3, 3, 2}, {{2, 3}, {4, 5}}},
    {"UpByOneOntoARule", {2, 3, 5}, {2, 3, 3}, {{3, 2}, {4, 3}}, {5}},
    {"DownByOneOntoARule", {1, 3, 4}, {2, 3, 1}, {{2, 3}, {3, 4}}, {1}},
    {"UpOntoRules", {2, 3, 8, 9}, {2, 2, 8}, {{8, 2}, {9, 3}}, {9, 8}},
    {"DownOntoRules", {2, 3, 8, 9}, {8, 2, 2}, {{2, 8}, {3, 9}}, {2, 3}},
    {"UpOntoSomeRules", {2, 4, 7, 8, 9, 10}, {2, 3, 8}, {{7, 7}, {8, 2}, {10, 4}}, {10, 9, 8}},
    {"EmptySourcesUp", {4, 8, 9, 10, 11}, {0, 3, 8}, {{4, 4}, {11, 11}}, {10, 9, 8}},
    {"EmptySourcesDown", {1, 2, 3, 4}, {8, 3, 1}, {{4, 4}}, {1, 2, 3}},
    {"NothingToNothing", {0, 15}, {4, 3, 8}, {{0, 0}, {15, 15}}},
    {"NoRules", {2, 5}, {2, 0, 5}, {{2, 2}, {5, 5}}},
    {"ToItself", {2, 3, 5}, {2, 4, 2}, {{2, 2}, {3, 3}, {5, 5}}},
    {"TheWholeRegionToItself", {0, 15}, {0, 16, 0}, {{0, 0}, {15, 15}}},
    {"FirstToLast", {0, 1, 14}, {0, 1, 15}, {{1, 1}, {14, 14}, {15, 0}}},
    {"LastToFirst", {1, 14, 15}, {15, 1, 0}, {{0, 15}, {1, 1}, {14, 14}}},
    {"AllButOneUp", {0, 7, 14}, {0, 15, 1}, {{1, 0}, {8, 7}, {15, 14}}},
    {"NeighboursStay", {1, 2, 3, 7, 9}, {2, 1, 8}, {{1, 1}, {3, 3}, {7, 7}, {8, 2}, {9, 9}}},
};

INSTANTIATE_TEST_SUITE_P(RuleMove, MovedBlock, testing::ValuesIn(kMoves),
                         [](const testing::TestParamInfo<Move> &move) { return move.param.name; });

// --- after a move

TEST_F(RuleMove, OfAMovedRuleKeepsTheOffsetItWasWrittenWith) {
    write_at({3});
    EXPECT_EQ(move({3, 1, 5}).status, kOk);
    EXPECT_EQ(move({4, 2, 10}).status, kOk);
    expect_places({{11, 3}});
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 1, rules 1", "acl 1: owner 0, region 1",
                                             "rule 1_11: region 1, offset 3"}));
    // Back where it came from it is as if it had never moved.
    EXPECT_EQ(move({11, 1, 3}).status, kOk);
    check_cache(daemon_);
}

TEST_F(RuleMove, ARuleIsReadWhereItIsNowAndNotWhereItWas) {
    write({forward_to_port(marked_rule(3), kPort)});
    ASSERT_EQ(move({3, 1, 5}).status, kOk);
    std::vector<acl_rm_rule> rules = {make_rule(5)};
    EXPECT_EQ(client_.read_rules(acl_.acl_id, rules), kOk);
    EXPECT_EQ(rules[0].offset, 5u);
    EXPECT_EQ(rules[0].key.data[0], 3);
    EXPECT_EQ(rules[0].readout.forwarding_type, 1u);
    EXPECT_EQ(rules[0].readout.log_port, kPort);
    rules = {make_rule(3)};
    const Watch watch(daemon_);
    EXPECT_EQ(client_.read_rules(acl_.acl_id, rules), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(
        failed(5, "Failed to retrieve rule at offset [3] from ACL RM DB for ACL ID [1], error: 5",
               0) +
        failed(5, "Failed to retrieve rules for acl_id [1] ", 0));
}

TEST_F(RuleMove, ARuleIsDeletedWhereItIsNowAndNotWhereItWas) {
    write({forward_to_port(marked_rule(3), kPort)});
    ASSERT_EQ(move({3, 1, 5}).status, kOk);
    const Watch former(daemon_);
    EXPECT_EQ(client_.delete_rules(acl_.acl_id, {3}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    former.expect_lines(failed(5, "key:[1_3] not found", 1));
    const Watch present(daemon_);
    EXPECT_EQ(client_.delete_rules(acl_.acl_id, {5}), kOk);
    present.expect_calls({rules_deleted(1, {5}), port_pbs_deleted(kPort, 1)});
    present.expect_lines(rules_gone(1, {5}));
    expect_places({});
}

TEST_F(RuleMove, TheFormerOffsetIsFreeAndThePresentOneIsNot) {
    write_at({3});
    ASSERT_EQ(move({3, 1, 5}).status, kOk);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.write_rules(acl_.acl_id, {marked_rule(5)}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "key:[1_5] was found while trying to check if it not exists", 0) +
                       failed(1, "override new rule is forbidden for command:[6]", 2));
    write_at({3});
    expect_places({{3, 3}, {5, 3}});
}

// An ACL may be cut off where no offset is marked as occupied.
TEST(RuleMoveMarks, GoWithTheRule) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(0);
    ASSERT_EQ(client.resize_acl(acl.acl_id, 8), kOk);
    ASSERT_EQ(client.write_rules(acl.acl_id, {marked_rule(7)}), kOk);
    ASSERT_EQ(client.move_block(acl.acl_id, 7, 1, 2), kOk);
    EXPECT_EQ(client.resize_acl(acl.acl_id, 2), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    daemon.expect_log(error_line(4, "Can't reduce ACL table size, offset [2] is valid in ACL [1]"));
    EXPECT_EQ(client.resize_acl(acl.acl_id, 3), kOk);
    check_cache(daemon, kSkipRules);
}

TEST_F(RuleMove, MovesInTheRegionOfItsOwnAcl) {
    const acl_rm_acl second = client_.make_acl(8);
    write_at({3});
    ASSERT_EQ(client_.write_rules(second.acl_id, {marked_rule(3)}), kOk);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.move_block(second.acl_id, 3, 1, 7), kOk);
    watch.expect_calls({block_moved(2, 3, 1, 7)});
    EXPECT_EQ(rule_keys(daemon_.dump()), (std::vector<std::string>{"1_3", "2_7"}));
    check_cache(daemon_, kSkipRules);
}

// --- what rules carry along, and what overwritten ones leave

TEST_F(RuleMove, ForwardingAndCounterGoWithTheRule) {
    uint32_t counter = 0;
    ASSERT_EQ(client_.create_counter({1, 0}, counter), kOk);
    write({count_with(forward_to_port(marked_rule(3), kPort), counter)});
    const Watch watch(daemon_);
    EXPECT_EQ(move({3, 1, 5}).status, kOk);
    watch.expect_calls({moved({3, 1, 5})});
    expect_places({{5, 3}});
    EXPECT_EQ(daemon_.dump().forwardings.at(0).times_consumed, 1u);
    const Watch gone(daemon_);
    EXPECT_EQ(client_.delete_rules(acl_.acl_id, {5}), kOk);
    gone.expect_calls(
        {rules_deleted(1, {5}), counter_destroyed(0, counter), port_pbs_deleted(kPort, 1)});
}

TEST_F(RuleMove, AnOverwrittenRuleLosesCounterAndForwarding) {
    uint32_t counters[2] = {};
    ASSERT_EQ(client_.create_counter({1, 0}, counters[0]), kOk);
    ASSERT_EQ(client_.create_counter({0, 1}, counters[1]), kOk);
    write({marked_rule(2), count_with(forward_to_port(marked_rule(8), kPort), counters[0]),
           count_with(forward_to_port(marked_rule(9), kPort + 1), counters[1])});
    const Watch watch(daemon_);
    EXPECT_EQ(move({2, 2, 8}).status, kOk);
    watch.expect_calls({moved({2, 2, 8}), counter_destroyed(1, counters[1]),
                        port_pbs_deleted(kPort + 1, 2), counter_destroyed(0, counters[0]),
                        port_pbs_deleted(kPort, 1)});
    watch.expect_lines(rules_gone(1, {9}) + rules_gone(1, {8}));
    expect_places({{8, 2}});
}

TEST_F(RuleMove, WhatTheMovedRuleSharesWithTheOverwrittenOneStays) {
    uint32_t counter = 0;
    ASSERT_EQ(client_.create_counter({1, 0}, counter), kOk);
    write({count_with(forward_to_port(marked_rule(2), kPort), counter)});
    write({count_with(forward_to_port(marked_rule(8), kPort), counter)});
    const Watch watch(daemon_);
    EXPECT_EQ(move({2, 1, 8}).status, kOk);
    watch.expect_calls({moved({2, 1, 8})});
    expect_places({{8, 2}});
    EXPECT_EQ(daemon_.dump().forwardings.at(0).times_consumed, 1u);
    const Watch gone(daemon_);
    EXPECT_EQ(client_.delete_rules(acl_.acl_id, {8}), kOk);
    gone.expect_calls(
        {rules_deleted(1, {8}), counter_destroyed(0, counter), port_pbs_deleted(kPort, 1)});
}

TEST_F(RuleMove, AnOverwrittenRuleLeavesItsMulticastGroupAlone) {
    uint32_t group = 0;
    ASSERT_EQ(client_.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, group, {kPort}), kOk);
    write({marked_rule(2), forward_to_mc_group(marked_rule(8), group)});
    const Watch watch(daemon_);
    EXPECT_EQ(move({2, 1, 8}).status, kOk);
    watch.expect_calls({moved({2, 1, 8})});
    expect_places({{8, 2}});
}

// --- failing half-way: the switch has moved the block, and is not moved back

// The cache cannot release the forwarding of a rule to port 0, which it never remembered. By then
// the rule is out of the cache; those behind it in the walk stay where they were.
TEST_F(RuleMove, StopsAtTheFirstRuleThatTheCacheCannotMove) {
    write({marked_rule(2), marked_rule(3), marked_rule(4), forward_to_port(marked_rule(9), 0)});
    const Watch watch(daemon_);
    const Answer answer = move({2, 3, 8});
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_calls({moved({2, 3, 8})});
    watch.expect_lines(
        rules_gone(1, {9}) + failed(5, "forwarding port (pbs):=0 not found", 0) +
        failed(5, "Failed to delete rule at offset [9] from ACL RM DB for ACL ID [1], error: 5",
               0) +
        half_moved(5, 3));
    EXPECT_EQ(places_in_cache(daemon_.dump()), (Places{{2, 2}, {3, 3}, {10, 4}}));
    EXPECT_EQ(daemon_.dump().rules_cnt, 3u);
    EXPECT_EQ(places_in_switch(daemon_), (Places{{8, 2}, {9, 3}, {10, 4}}));
    check_cache(daemon_, kSkipRules | kSkipLeftOvers);
}

// 16386 offsets have two flags: memory for them wraps at 16384.
class RuleMovePastTheFlags : public testing::Test {
  protected:
    RuleMovePastTheFlags() : client_(daemon_), acl_(client_.make_acl(0)) {
        EXPECT_EQ(client_.resize_acl(acl_.acl_id, 16386), kOk);
    }
    // The refusal of the cached rule at offset 2, handed up by `callers`.
    static Lines past_the_flags(int callers) {
        return failed(4, "rule in offset[2] is past the [2] offsets of acl_id:1", callers);
    }

    DaemonProcess daemon_;
    TestClient client_;
    acl_rm_acl acl_;
};

TEST_F(RuleMovePastTheFlags, ARuleIsCachedTwiceWhereItsNewOffsetHasNone) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, {marked_rule(1)}), kOk);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.move_block(acl_.acl_id, 1, 1, 2), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(
        past_the_flags(1) +
        failed(4, "Failed to insert rule at offset [2] in ACL RM DB for ACL ID [1], error: 4", 0) +
        half_moved(4, 1));
    EXPECT_EQ(places_in_cache(daemon_.dump()), (Places{{1, 1}, {2, 1}}));
    EXPECT_EQ(daemon_.dump().rules_cnt, 1u);
    EXPECT_EQ(places_in_switch(daemon_), (Places{{2, 1}}));
}

TEST_F(RuleMovePastTheFlags, ARuleIsMovedAndReportedWhereItsFormerOffsetHasNone) {
    const Watch write(daemon_);
    EXPECT_EQ(client_.write_rules(acl_.acl_id, {marked_rule(2)}),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    write.expect_lines(past_the_flags(3));
    const Watch watch(daemon_);
    EXPECT_EQ(client_.move_block(acl_.acl_id, 2, 1, 0), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(
        past_the_flags(1) +
        failed(4, "Failed to delete rule at offset [2] from ACL RM DB for ACL ID [1], error: 4",
               0) +
        half_moved(4, 2));
    EXPECT_EQ(places_in_cache(daemon_.dump()), (Places{{0, 2}}));
    EXPECT_EQ(places_in_switch(daemon_), (Places{{0, 2}}));
}

// A rule is entered under its new key before the old one goes, so a full table has no room for it
// but where it overwrites another.
TEST(RuleMoveLimit, AFullTableHasNoRoomForAMoveButOntoARule) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(6500);
    for (uint32_t first = 0; first < 6400; first += 20) {
        ASSERT_EQ(client.write_rules(acl.acl_id, make_rules(first, 20)), kOk);
    }
    const Watch watch(daemon);
    EXPECT_EQ(client.move_block(acl.acl_id, 5, 1, 6450), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(
        failed(1, "Insert not successful", 1) +
        failed(1, "Failed to insert rule at offset [6450] in ACL RM DB for ACL ID [1], error: 1",
               0) +
        half_moved(1, 5));
    watch.expect_calls({block_moved(1, 5, 1, 6450)});
    EXPECT_EQ(daemon.dump().rules_cnt, 6400u);
    EXPECT_EQ(client.move_block(acl.acl_id, 7, 1, 8), kOk);
    EXPECT_EQ(daemon.dump().rules_cnt, 6399u);
    EXPECT_EQ(client.move_block(acl.acl_id, 8, 1, 6451), kOk);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(8)}), kOk);
    EXPECT_EQ(daemon.dump().rules_cnt, 6400u);
}

}  // namespace
}  // namespace zv_test
