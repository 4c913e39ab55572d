/* Refusals of commands that had done a part before they failed: what they did themselves is not to
 * be taken for the cause. */
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/client/explain_support.h"
#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace {

using namespace zv_test;

constexpr uint32_t kChipWithoutRules = 5;
constexpr const char *kPastTheTable =
    "the daemon holds 6400 rules, as many as it can, and the last rules of the request are past "
    "them: they are in the switch, without a record";

std::string name(const acl_rm_acl &acl) {
    return "ACL " + std::to_string(acl.acl_id);
}

class ExplainHalfDone : public testing::Test {
  protected:
    ExplainHalfDone() { daemon_.allow_error_lines(); }

    void fill(uint32_t acl_id, uint32_t rules_num) {
        for (uint32_t first = 0; first < rules_num; first += 20) {
            const uint32_t batch = std::min(20u, rules_num - first);
            ASSERT_EQ(client_.write_rules(acl_id, make_rules(first, batch)), 0u);
        }
    }

    DaemonProcess daemon_;
    TestClient client_{daemon_};
    acl_rm_acl acl_ = client_.make_acl(64);
};

TEST_F(ExplainHalfDone, ABatchThatRunsIntoTheTable) {
    const acl_rm_acl large = client_.make_acl(6500);
    fill(large.acl_id, 6399);
    EXPECT_EQ(why(client_, rule_write(large.acl_id, make_rules(6399, 20))), kPastTheTable);
}

/* Its key types are written one after the other: the second may have been refused by the switch. */
TEST_F(ExplainHalfDone, ABatchOfTwoKeyTypesThatRunsIntoTheTable) {
    const acl_rm_acl large = client_.make_acl(6500);
    fill(large.acl_id, 6399);
    const std::string text =
        why(client_, rule_write(large.acl_id, {make_rule(6399, 0), make_rule(6400, 1)}));
    EXPECT_EQ(text.substr(0, text.find('\n')), kPastTheTable);
    EXPECT_NE(text.find(kSwitchRefused), std::string::npos) << text;
}

/* The owner is asked for before the table is looked at. */
TEST_F(ExplainHalfDone, AFullTableDoesNotRefuseWhatAnotherOwnersAclDoes) {
    const acl_rm_acl large = client_.make_acl(6400);
    fill(large.acl_id, 6400);
    TestClient other(daemon_, ZV_ACL_RM_OWNER_PRA);
    const std::string expected = name(acl_) + " is another owner's\n" + kSwitchRefused;
    EXPECT_EQ(why(other, rule_write(acl_.acl_id, make_rules(0, 2))), expected);
    EXPECT_EQ(why(other, rule_write(acl_.acl_id, make_rules(0, 1))), expected);
}

TEST_F(ExplainHalfDone, AMoveInAFullTable) {
    const acl_rm_acl large = client_.make_acl(6500);
    fill(large.acl_id, 6400);
    EXPECT_EQ(why(client_, move_block(large.acl_id, 6390, 5, 6450)),
              "the daemon holds 6400 rules, as many as it can, so that a rule cannot move to an "
              "empty offset: the switch has moved the block, and the daemon has no record of it "
              "there");
}

TEST_F(ExplainHalfDone, AMoveThatAnotherOwnersAclRefusesInAFullTable) {
    const acl_rm_acl large = client_.make_acl(6500);
    fill(large.acl_id, 6400);
    TestClient other(daemon_, ZV_ACL_RM_OWNER_PRA);
    const std::string text = why(other, move_block(large.acl_id, 6390, 5, 6450));
    EXPECT_NE(text.find(name(large) + " is another owner's"), std::string::npos) << text;
}

/* A rule alone, and one among others: all are gone. */
TEST_F(ExplainHalfDone, ADeletionOfARuleThatForwardsToPort0) {
    for (const std::vector<uint32_t> &offsets : {std::vector<uint32_t>{2}, {2, 3}}) {
        ASSERT_EQ(
            client_.write_rules(acl_.acl_id, {forward_to_port(make_rule(2), 0), make_rule(3)}), 0u);
        EXPECT_EQ(why(client_, rule_delete(acl_.acl_id, offsets)),
                  "offset 2 of " + words(acl_) +
                      " holds no rule (rule 1 of the request); or it held one "
                      "that forwarded to logical port 0, which is deleted now");
        client_.delete_rules(acl_.acl_id, {3});
    }
}

TEST_F(ExplainHalfDone, ADestroyOfAnAclWithARuleThatForwardsToPort0) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, {forward_to_port(make_rule(2), 0)}), 0u);
    EXPECT_EQ(why(client_, acl_destroy(acl_.acl_id)),
              "a rule of " + words(acl_) +
                  " forwarded to logical port 0, of which there is no record: that rule is gone, "
                  "and a second destroy goes on behind it");
    EXPECT_EQ(client_.destroy_acl(acl_), 0u);
}

TEST_F(ExplainHalfDone, AMoveOverARuleThatForwardsToPort0) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, {make_rule(2), forward_to_port(make_rule(3), 0)}),
              0u);
    EXPECT_EQ(why(client_, move_block(acl_.acl_id, 2, 1, 3)),
              "the block moved over a rule that forwarded to logical port 0, of which there is no "
              "record: that rule is gone, and the switch has moved the block");
}

TEST_F(ExplainHalfDone, AMoveOverARuleOnAChipThatTakesNone) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, make_rules(0, 2)), 0u);
    ASSERT_EQ(client_.init(kChipWithoutRules), 0u);
    EXPECT_EQ(why(client_, move_block(acl_.acl_id, 0, 1, 1)),
              "the daemon takes no rules, nor deletes any: no INIT has named the chip yet, or it "
              "named chip 5, 7 or 10; the block moves over a rule of " +
                  words(acl_) +
                  "\nthis client is open-flow no more: another client has opened as open-flow "
                  "since");
}

TEST_F(ExplainHalfDone, ADestroyOfAnAclWithRulesOnAChipThatTakesNone) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, make_rules(0, 2)), 0u);
    ASSERT_EQ(client_.init(kChipWithoutRules), 0u);
    EXPECT_EQ(why(client_, acl_destroy(acl_.acl_id)),
              "the daemon takes no rules, nor deletes any: no INIT has named the chip yet, or it "
              "named chip 5, 7 or 10; " +
                  words(acl_) + " has rules");
}

TEST_F(ExplainHalfDone, AnOffsetOfAnEditedAclThatIsTakenUnderItsFormerId) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, {make_rule(3)}), 0u);
    acl_rm_acl edited = acl_;
    edited.direction = 1;
    ASSERT_EQ(client_.edit_acl(edited), 0u);
    EXPECT_EQ(why(client_, rule_write(edited.acl_id, {make_rule(3)})),
              "offset 3 of " + words(edited) +
                  " holds a rule from before it was edited, when it was " + name(acl_) +
                  ": the new rule has taken its place in the switch (rule 1 of the request)");
}

TEST_F(ExplainHalfDone, AnEditOfAnAclThatIsBound) {
    ASSERT_EQ(client_.bind_ports(BIND, acl_.acl_id, {kPort}), 0u);
    acl_rm_acl edited = acl_;
    edited.direction = 1;
    EXPECT_EQ(why(client_, acl_set(ZV_ACL_RM_ACCESS_CMD_EDIT, edited)),
              "port 65537 carries " + name(acl_) +
                  ", and the switch gave up no ACL that is bound: the daemon has forgotten the "
                  "ACL, the switch has not\n" +
                  kSwitchRefused);
}

/* An ACL that has grown past what has marks: of offset 3 there is a record, and no mark. */
class ExplainWithoutMarks : public testing::Test {
  protected:
    static DaemonOptions large_switch() {
        DaemonOptions options;
        options.config = {{"tcam_entries", 100000}};
        return options;
    }
    ExplainWithoutMarks() {
        daemon_.allow_error_lines();
        EXPECT_EQ(client_.resize_acl(acl_.acl_id, 16), 0u);
        EXPECT_EQ(client_.write_rules(acl_.acl_id, make_rules(0, 5)), 0u);
        EXPECT_EQ(client_.resize_acl(acl_.acl_id, 16385), 0u);
    }
    std::string lost(const std::string &what) const {
        return words(acl_) + " has lost its record of " + what +
               ", after a resize past 16383 rules or a destroy that failed; ";
    }

    DaemonProcess daemon_{large_switch()};
    TestClient client_{daemon_};
    acl_rm_acl acl_ = client_.make_acl(0);
};

TEST_F(ExplainWithoutMarks, ADeletionAtOne) {
    EXPECT_EQ(why(client_, rule_delete(acl_.acl_id, {3})),
              lost("offset 3") + "its rule is deleted all the same (rule 1 of the request)");
}

TEST_F(ExplainWithoutMarks, ADeletionThatStopsBehindOne) {
    EXPECT_EQ(why(client_, rule_delete(acl_.acl_id, {0, 3, 4})),
              lost("offset 3") +
                  "the rules of the request are deleted in the switch all the same (rule 2 of the "
                  "request)");
}

TEST_F(ExplainWithoutMarks, AMoveToOne) {
    EXPECT_EQ(
        why(client_, move_block(acl_.acl_id, 0, 1, 8)),
        lost("an offset of the block or of its new place") + "the switch has moved the block");
}

}  // namespace
