// Moving cached rules: the order of the walk, and what stays when tables, memory or the cache's own
// agreement fail on the way.
#include <gtest/gtest.h>

#include <map>

#include "core/acl_rm.h"
#include "core/acl_rm_rule_db.h"
#include "core/acl_rm_rule_read.h"
#include "daemon/logging.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

using Names = std::vector<std::string>;
// By the offset in its key: the offset in a rule's entry.
using Places = std::map<uint32_t, uint32_t>;

const char *const MOVE = "zv_api_acl_rule_block_move_set";

Line about_rule(uint32_t status, const std::string &what, uint32_t offset,
                const char *preposition) {
    return failure(status, "Failed to " + what + " rule at offset [" + std::to_string(offset) +
                               "] " + preposition + " ACL RM DB for ACL ID [1], error: " +
                               std::to_string(status) + "\n");
}
Line not_retrieved(uint32_t status, uint32_t offset) {
    return about_rule(status, "retrieve", offset, "from");
}
Line not_inserted(uint32_t status, uint32_t offset) {
    return about_rule(status, "insert", offset, "in");
}
Line not_deleted(uint32_t status, uint32_t offset) {
    return about_rule(status, "delete", offset, "from");
}
Line rule_gone(uint32_t offset) {
    return line(NOTICE_MASK, "delete rule[" + std::to_string(offset) + "] from region[1].\n");
}
Line one_gone() {
    return line(NOTICE_MASK, "delete [1] #rules from region[1].\n");
}

// ACL 1 with 16 offsets over region 1.
class RuleMoveTest : public RulesFixture {
  protected:
    static Places places() {
        Places found;
        for (uint32_t offset = 0; offset < 32; offset++) {
            const acl_rule_entry *entry = cached_rule(ACL, offset);
            if (entry != nullptr)
                found[offset] = entry->offset;
        }
        return found;
    }
    // Offsets that are marked as occupied.
    std::vector<uint32_t> marks() const {
        std::vector<uint32_t> found;
        for (uint32_t offset = 0; offset < 16; offset++)
            if (flag_at(offset) == 1)
                found.push_back(offset);
        return found;
    }
};

using Offsets = std::vector<uint32_t>;

// --- one rule

class RuleReplaceTest : public RuleMoveTest {
  protected:
    // Moves the rule at 2 to 5.
    static zv_acl_rm_status_t replace() { return __acl_db_modify_entry_offset(ACL, REGION, 2, 5); }
};

TEST_F(RuleReplaceTest, NothingMovesToNothing) {
    write({rule_at(3)});
    EXPECT_EQ(replace(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(places(), (Places{{3, 3}}));
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleReplaceTest, RuleIsEnteredAsItWas) {
    write({rule_to_port(2, FORWARD_PORT)});
    EXPECT_EQ(replace(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(places(), (Places{{5, 2}}));
    EXPECT_EQ(cached_rule(ACL, 5)->forward_log_port, FORWARD_PORT);
    EXPECT_EQ(cached_forwarding(FORWARD_PORT)->times_consumed, 1u);
    EXPECT_EQ(marks(), Offsets{5});
    EXPECT_EQ(g_rules_cnt, 1);
    EXPECT_EQ(new_calls(), Names{});
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(RuleReplaceTest, NothingEmptiesTheDestination) {
    write({rule_to_port(5, FORWARD_PORT)});
    EXPECT_EQ(replace(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(places(), Places{});
    EXPECT_EQ(marks(), Offsets{});
    EXPECT_EQ(g_rules_cnt, 0);
    EXPECT_EQ(new_calls(), Names{"zv_api_acl_policy_based_switching_set"});
    EXPECT_EQ(take_lines(), (Lines{rule_gone(5), one_gone()}));
}

TEST_F(RuleReplaceTest, RuleTakesTheDestinationsPlace) {
    write({rule_at(2), rule_at(5)});
    EXPECT_EQ(replace(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(places(), (Places{{5, 2}}));
    EXPECT_EQ(marks(), Offsets{5});
    EXPECT_EQ(g_rules_cnt, 1);
    EXPECT_EQ(new_calls(), Names{});
    EXPECT_EQ(take_lines(), (Lines{rule_gone(5), one_gone()}));
}

// The block move never asks for it: the rule is its own destination, and gone for good.
TEST_F(RuleReplaceTest, RuleMovedOntoItselfIsLost) {
    write({rule_at(2)});
    EXPECT_EQ(__acl_db_modify_entry_offset(ACL, REGION, 2, 2), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(places(), Places{});
    EXPECT_EQ(marks(), Offsets{});
    EXPECT_EQ(g_rules_cnt, 0);
}

TEST_F(RuleReplaceTest, NeedsTheRuleTable) {
    write({rule_at(2)});
    {
        const Missing gone(acl_rule_id_2_region_id_ht);
        EXPECT_EQ(replace(), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(take_lines(), (Lines{passed_up(1), not_retrieved(1, 2)}));
    }
    EXPECT_EQ(places(), (Places{{2, 2}}));
}

TEST_F(RuleReplaceTest, StopsWhereTheDestinationCannotBeDeleted) {
    write({rule_at(2), rule_at(5)});
    fail_allocation(1);
    EXPECT_EQ(replace(), ZV_ACL_RM_STATUS_NO_BUFFER_SPACE);
    EXPECT_EQ(take_lines(), (Lines{passed_up(8), not_deleted(8, 5)}));
    EXPECT_EQ(places(), (Places{{2, 2}, {5, 5}}));
    EXPECT_EQ(g_rules_cnt, 2);
}

// Alike whether a rule is to come there or not.
TEST_F(RuleReplaceTest, StopsWhereTheDestinationIsNotMarked) {
    for (const bool has_source : {true, false}) {
        write({rule_at(5)});
        if (has_source)
            write({rule_at(2)});
        cached_flags()[5] = 0;
        const uint16_t rules_cnt = g_rules_cnt;
        EXPECT_EQ(replace(), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(take_lines(), (Lines{failure(1, "rule in offset[5] should be valid"),
                                       passed_up(1), not_deleted(1, 5)}));
        EXPECT_EQ(places(), has_source ? (Places{{2, 2}}) : Places{});
        EXPECT_EQ(g_rules_cnt, rules_cnt) << "gone, but still counted";
        const uint32_t source_flag = has_source ? 1 : 0;
        EXPECT_EQ(flag_at(2), source_flag);
        if (has_source) {
            __acl_db_rule_delete(ACL, REGION, 2);
            EXPECT_EQ(places(), Places{});
        }
    }
}

TEST_F(RuleReplaceTest, RuleIsCachedTwiceWhereItsPlaceIsMarkedAlready) {
    write({rule_at(2)});
    cached_flags()[5] = 1;
    EXPECT_EQ(replace(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{failure(1, "rule in offset[5] should not be valid"),
                                   passed_up(1), not_inserted(1, 5)}));
    EXPECT_EQ(places(), (Places{{2, 2}, {5, 2}}));
    EXPECT_EQ(g_rules_cnt, 1);
}

TEST_F(RuleReplaceTest, RuleIsMovedWhereItsFormerPlaceIsNotMarked) {
    write({rule_at(2)});
    cached_flags()[2] = 0;
    EXPECT_EQ(replace(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{failure(1, "rule in offset[2] should be valid"), passed_up(1),
                                   not_deleted(1, 2)}));
    EXPECT_EQ(places(), (Places{{5, 2}}));
    EXPECT_EQ(marks(), Offsets{5});
}

TEST_F(RuleReplaceTest, NeedsTheAclTableOnceTheRuleIsEntered) {
    write({rule_at(2)});
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(replace(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{failure(1, "acl_id_2_acl_info hash table not initialized"),
                                   passed_up(1), not_inserted(1, 5)}));
    EXPECT_EQ(places(), (Places{{2, 2}, {5, 2}}));
}

// --- a block

// What the rule table was asked for, in order: a key for each look-up, insertion and removal.
Names keys_asked_for() {
    const std::string head = "key_format:1_";
    Names keys;
    for (const Line &one : take_lines())
        if (one.text.starts_with(head))
            keys.push_back(one.text.substr(head.size(), one.text.find(' ') - head.size()));
    return keys;
}

TEST_F(RuleMoveTest, WalksDownWhereItMovesUp) {
    write({rule_at(2), rule_at(3), rule_at(4)});
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(__acl_db_modify_offset(ACL, REGION, 2, 3, 3), ZV_ACL_RM_STATUS_SUCCESS);
    // Of each rule: source, destination, insertion, removal.
    EXPECT_EQ(keys_asked_for(),
              (Names{"4", "5", "5", "4", "3", "4", "4", "3", "2", "3", "3", "2"}));
    EXPECT_EQ(places(), (Places{{3, 2}, {4, 3}, {5, 4}}));
    EXPECT_EQ(marks(), (Offsets{3, 4, 5}));
}

TEST_F(RuleMoveTest, WalksUpWhereItMovesDown) {
    write({rule_at(3), rule_at(4)});
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(__acl_db_modify_offset(ACL, REGION, 3, 2, 2), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(keys_asked_for(), (Names{"3", "2", "2", "3", "4", "3", "3", "4"}));
    EXPECT_EQ(places(), (Places{{2, 3}, {3, 4}}));
}

TEST_F(RuleMoveTest, OfNoRulesOrToItselfNeedsNoTable) {
    write({rule_at(2), rule_at(3)});
    {
        const Missing gone(acl_rule_id_2_region_id_ht);
        EXPECT_EQ(__acl_db_modify_offset(ACL, REGION, 2, 0, 5), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(__acl_db_modify_offset(ACL, REGION, 5, 0, 2), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(__acl_db_modify_offset(ACL, REGION, 2, 4294967295u, 2), ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_EQ(places(), (Places{{2, 2}, {3, 3}}));
}

TEST_F(RuleMoveTest, OffsetsWrapAtTheEndOfTheirNumbers) {
    const uint32_t sources[] = {4294967294u, 4294967295u, 0};
    for (const uint32_t source : sources)
        cache_rule(ACL, source, REGION);
    // Of another region than the ACL's, so that there are no flags to look for.
    EXPECT_EQ(__acl_db_modify_offset(ACL, REGION + 1, 4294967294u, 3, 5), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(places(), (Places{{5, 4294967294u}, {6, 4294967295u}, {7, 0}}));
    EXPECT_EQ(entries_num(acl_rule_id_2_region_id_ht), 3u);
    // And back, walking down from 7.
    EXPECT_EQ(__acl_db_modify_offset(ACL, REGION + 1, 5, 3, 4294967294u), ZV_ACL_RM_STATUS_SUCCESS);
    for (const uint32_t source : sources)
        EXPECT_NE(cached_rule(ACL, source), nullptr);
    EXPECT_EQ(entries_num(acl_rule_id_2_region_id_ht), 3u);
}

TEST_F(RuleMoveTest, NamesTheSourceWhereItStopped) {
    write({rule_at(2), rule_at(3), rule_at(4)});
    cached_flags()[9] = 1;
    EXPECT_EQ(__acl_db_modify_offset(ACL, REGION, 2, 3, 8), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{failure(1, "rule in offset[9] should not be valid"), passed_up(1),
                     not_inserted(1, 9),
                     failure(1, "Failed to modify the offset for entry at offset [3]\n")}));
    EXPECT_EQ(places(), (Places{{2, 2}, {3, 3}, {9, 3}, {10, 4}}));
    EXPECT_EQ(g_rules_cnt, 3);
}

// --- the command

TEST_F(RuleMoveTest, CommandNeedsTheAclTableForTheOwner) {
    write({rule_at(2)});
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(acl_rm_acl_rule_move_block(OPEN_FLOW_HANDLE, ACL, 2, 1, 5), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{passed_up(1), passed_up(1)}));
    EXPECT_EQ(new_calls(), Names{});
}

TEST_F(RuleMoveTest, CommandLeavesTheSwitchMovedWithoutTheRuleTable) {
    write({rule_at(2)});
    {
        const Missing gone(acl_rule_id_2_region_id_ht);
        EXPECT_EQ(acl_rm_acl_rule_move_block(OPEN_FLOW_HANDLE, ACL, 2, 1, 5),
                  ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(take_lines(),
                  (Lines{passed_up(1), not_retrieved(1, 2),
                         failure(1, "Failed to modify the offset for entry at offset [2]\n"),
                         failure(1, "Failed to update rules new offsets in DB\n"),
                         failure(1, "Failed in move block operation")}));
        EXPECT_EQ(new_calls(), Names{MOVE});
    }
    EXPECT_EQ(places(), (Places{{2, 2}}));
}

TEST_F(RuleMoveTest, UnknownAclIsReportedByTheInnerOperationAlone) {
    EXPECT_EQ(__acl_rule_move_block(NO_ACL, 2, 1, 5), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(
        take_lines(),
        (Lines{failure(5, "acl id [77] was not found in ACL RM DB"),
               failure(5, "Failed to retrieve acl info for ACL ID [77] from ACL RM DB, error: 5\n"),
               failure(5, "Failed to retrieve region ID from ACL RM DB\n")}));
    EXPECT_EQ(new_calls(), Names{});
}

TEST_F(RuleMoveTest, RegionIsTheAclRecords) {
    write({rule_at(2)});
    cached_acl(ACL)->region_id = 99;  // which the switch does not have
    EXPECT_EQ(__acl_rule_move_block(ACL, 2, 1, 5), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(
        take_lines(),
        Lines{failure(1, "Failed to move block of rules in region [99] in SDK , error: 6\n")});
    EXPECT_EQ(places(), (Places{{2, 2}}));
}

}  // namespace
