/* Why rules and bindings were refused, word for word, by a real daemon. */
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/client/explain_support.h"
#include "tests/support/daemon_process.h"
#include "tests/support/switch_control.h"
#include "tests/support/test_client.h"

namespace {

using namespace zv_test;

class ExplainRules : public testing::Test {
  protected:
    ExplainRules() { daemon_.allow_error_lines(); }

    DaemonProcess daemon_;
    TestClient client_{daemon_};
    acl_rm_acl acl_ = client_.make_acl(64);
};

TEST_F(ExplainRules, MoreThanACommandTakes) {
    EXPECT_EQ(why(client_, rule_set(WRITE, acl_.acl_id, {}, 21)),
              "21 rules in one command; it takes at most 20");
}

TEST_F(ExplainRules, AChipThatTakesNone) {
    ASSERT_EQ(client_.init(5), 0u);
    const std::string expected =
        "the daemon takes no rules: no INIT has named the chip yet, or it named chip 5, 7 or 10";
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {make_rule(1)})), expected);
    EXPECT_EQ(why(client_, rule_read(acl_.acl_id, {1})), expected);
}

TEST_F(ExplainRules, AnUnknownKeyType) {
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {make_rule(1), make_rule(2, 4)})),
              "rule 2 of the request has key type 4; there are 0 to 3");
}

TEST_F(ExplainRules, AnOccupiedOffset) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, {match_byte(make_rule(5), 0, 1)}), 0u);
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {make_rule(4), make_rule(5)})),
              "offset 5 of " + words(acl_) +
                  " holds a rule already: delete it first (rule 2 of the request)");
}

TEST_F(ExplainRules, AnOffsetThatHoldsTheVeryRule) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, {make_rule(5)}), 0u);
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {make_rule(5)})),
              "offset 5 of " + words(acl_) +
                  " holds that very rule already, from before or from this command (rule 1 of the "
                  "request)\n" +
                  kSwitchRefused);
}

/* The first key type is written before the second is refused: its rule is no cause. */
TEST_F(ExplainRules, AnOffsetPastTheRegionBehindARuleThatTheCommandWrote) {
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {make_rule(5, 0), make_rule(64, 1)})),
              "offset 64 (rule 2 of the request) lies past the end of " + words(acl_) +
                  ", which has room for 64 rules\n"
                  "offset 5 of " +
                  words(acl_) +
                  " holds that very rule already, from before or from this command (rule 1 of the "
                  "request)");
}

TEST_F(ExplainRules, OneOffsetTwice) {
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {make_rule(1), make_rule(5), make_rule(5)})),
              "rules 2 and 3 of the request both name offset 5");
}

TEST_F(ExplainRules, AnOffsetPastTheRegion) {
    const std::string end =
        " lies past the end of " + words(acl_) + ", which has room for 64 rules";
    for (const uint32_t offset : {64u, 65u, 100u, 70000u, UINT32_MAX}) {
        EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {make_rule(offset)})),
                  "offset " + std::to_string(offset) + " (rule 1 of the request)" + end);
    }
    EXPECT_EQ(why(client_, rule_read(acl_.acl_id, {64})),
              "offset 64 (rule 1 of the request)" + end);
}

TEST_F(ExplainRules, ARegionWithoutRoom) {
    const acl_rm_acl empty = client_.make_acl(0);
    EXPECT_EQ(why(client_, rule_write(empty.acl_id, {make_rule(0)})),
              "offset 0 (rule 1 of the request) lies past the end of " + words(empty) +
                  ", which has no room for rules: its size is 0\n" + kSwitchRefused);
}

TEST_F(ExplainRules, AFullTable) {
    const acl_rm_acl large = client_.make_acl(6400);
    for (uint32_t first = 0; first < 6400; first += 20) {
        ASSERT_EQ(client_.write_rules(large.acl_id, make_rules(first, 20)), 0u);
    }
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {make_rule(0)})),
              "the daemon holds 6400 rules, as many as it can: delete some first");
}

/* The dump of a full table is cut before it comes to the ACLs. */
TEST_F(ExplainRules, BehindADumpThatWasCutSingleReadsTell) {
    const acl_rm_acl large = client_.make_acl(3000);
    for (uint32_t first = 0; first < 3000; first += 20) {
        ASSERT_EQ(client_.write_rules(large.acl_id, make_rules(first, 20)), 0u);
    }
    const std::string name = "ACL " + std::to_string(large.acl_id);
    EXPECT_EQ(why(client_, rule_write(large.acl_id, {match_byte(make_rule(2999), 0, 1)})),
              "offset 2999 of " + name +
                  " holds a rule already: delete it first (rule 1 of the request)\n" + name +
                  " is another owner's");
    EXPECT_EQ(why(client_, rule_write(99, {make_rule(0)})),
              "there is no ACL 99: never created, destroyed, or edited, which gives an ACL another "
              "id");
}

TEST_F(ExplainRules, WhatARuleForwardsToAndCountsWith) {
    EXPECT_EQ(why(client_,
                  rule_write(acl_.acl_id, {make_rule(1), forward_to_mc_group(make_rule(2), 77)})),
              "rule 2 of the request forwards to MC group 77, which there is not");
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {count_with(make_rule(3), 99)})),
              "rule 1 of the request counts with counter 99, which there is not");
}

TEST_F(ExplainRules, ASwitchWithoutRoomToForward) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, {forward_to_port(make_rule(1), kPort)}), 0u);
    daemon_.control().fail("zv_api_acl_policy_based_switching_set", 5);
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {forward_to_port(make_rule(2), kPort),
                                                    forward_to_port(make_rule(3), kPort + 1)})),
              "the switch has no room to forward to a further port: rules forward to 1 ports and "
              "0 MC groups take the same room; rule 2 of the request forwards to a further "
              "one, 65538");
}

TEST_F(ExplainRules, MoreForwardingPortsThanTheDaemonKeeps) {
    for (uint32_t i = 0; i < 100; i += 20) {
        std::vector<acl_rm_rule> rules = make_rules(100 + i, 20);
        for (uint32_t k = 0; k < 20; k++) {
            rules[k] = forward_to_port(make_rule(i / 20 * 20 % 60 + k), 1000 + i + k);
        }
        const acl_rm_acl other = client_.make_acl(128);
        ASSERT_EQ(client_.write_rules(other.acl_id, rules), 0u);
    }
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {forward_to_port(make_rule(1), 5000)})),
              "rules forward to 100 ports, as many as the daemon can keep, and rule 1 of the "
              "request forwards to a further one, 5000");
}

TEST_F(ExplainRules, AnOffsetWithoutARule) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, {make_rule(1)}), 0u);
    const std::string expected =
        "offset 2 of " + words(acl_) + " holds no rule (rule 2 of the request)";
    EXPECT_EQ(why(client_, rule_delete(acl_.acl_id, {1, 2})), expected);
    EXPECT_EQ(why(client_, rule_read(acl_.acl_id, {1, 2})), expected);
}

TEST_F(ExplainRules, OneOffsetDeletedTwice) {
    ASSERT_EQ(client_.write_rules(acl_.acl_id, {make_rule(1)}), 0u);
    EXPECT_EQ(why(client_, rule_delete(acl_.acl_id, {1, 1})),
              "rules 1 and 2 of the request both name offset 1, which is empty after the first of "
              "them");
}

TEST_F(ExplainRules, ABlockThatLeavesItsRegion) {
    const std::string end =
        ", ends past the end of " + words(acl_) + ", which has room for 64 rules";
    EXPECT_EQ(why(client_, move_block(acl_.acl_id, 60, 5, 0)), "the block, offsets 60 to 64" + end);
    EXPECT_EQ(why(client_, move_block(acl_.acl_id, 0, 5, 60)),
              "the block's new place, offsets 60 to 64" + end);
    EXPECT_EQ(why(client_, move_block(acl_.acl_id, UINT32_MAX, UINT32_MAX, 0)),
              "the block, offsets 4294967295 to 8589934589" + end);
}

TEST_F(ExplainRules, ARuleOfAnAclWhoseDestroyFailed) {
    daemon_.control().fail("zv_api_acl_set", 1);
    ASSERT_NE(client_.destroy_acl(acl_), 0u);
    daemon_.control().clear_faults();
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {make_rule(7)})),
              words(acl_) +
                  " has lost its record of offset 7, after a resize past 16383 rules or a destroy "
                  "that failed; rule 1 of the request is in the switch");
}

TEST_F(ExplainRules, ARefusalOfTheSwitch) {
    daemon_.control().fail("zv_api_acl_rules_set", 1);
    EXPECT_EQ(why(client_, rule_write(acl_.acl_id, {make_rule(1)})), kSwitchRefused);
}

using ExplainBind = ExplainRules;

TEST_F(ExplainBind, NoPorts) {
    EXPECT_EQ(why(client_, port_bind(BIND, acl_.acl_id, {})), "the request names no port");
    EXPECT_EQ(why(client_, rif_bind(BIND, acl_.acl_id, {})),
              "the request names no router interface");
}

TEST_F(ExplainBind, PortsOfTheOtherDirection) {
    const acl_rm_acl other = client_.make_acl(8, 1);
    ASSERT_EQ(client_.bind_ports(BIND, acl_.acl_id, {kPort + 1}), 0u);
    EXPECT_EQ(why(client_, port_bind(BIND, other.acl_id, {kPort, kPort + 1})),
              "port 65538 carries ACL " + std::to_string(acl_.acl_id) + ", and ACL " +
                  std::to_string(other.acl_id) +
                  " has another direction: all ACLs of a port have one\n" + kSwitchRefused);
    ASSERT_EQ(client_.bind_rifs(BIND, acl_.acl_id, {9}), 0u);
    EXPECT_EQ(why(client_, rif_bind(BIND, other.acl_id, {9})),
              "router interface 9 carries ACL " + std::to_string(acl_.acl_id) + ", and ACL " +
                  std::to_string(other.acl_id) +
                  " has another direction: all ACLs of a port have one\n" + kSwitchRefused);
}

TEST_F(ExplainBind, APortThatCarriesSixteenAcls) {
    std::string list;
    for (uint32_t i = 0; i < 16; i++) {
        const acl_rm_acl acl = client_.make_acl(1);
        ASSERT_EQ(client_.bind_ports(BIND, acl.acl_id, {kPort}), 0u);
        list += (i == 0 ? "" : (i == 15 ? " and " : ", ")) + std::to_string(acl.acl_id);
    }
    EXPECT_EQ(why(client_, port_bind(BIND, acl_.acl_id, {kPort + 1, kPort})),
              "port 65537 carries 16 ACLs, as many as it can: ACLs " + list);
}

TEST_F(ExplainBind, AHundredAndTwentyEightGroups) {
    for (uint16_t rif = 0; rif < 128; rif++) {
        ASSERT_EQ(client_.bind_rifs(BIND, acl_.acl_id, {rif}), 0u);
    }
    EXPECT_EQ(why(client_, port_bind(BIND, acl_.acl_id, {kPort})),
              "128 ports and router interfaces carry ACLs, as many as can: port 65537 would be one "
              "more");
    EXPECT_EQ(why(client_, system_bind(BIND, acl_.acl_id)),
              "128 ports and router interfaces carry ACLs, as many as can: unbind one first");
}

/* Only unbinding that fails leaves an ACL's list longer than there are groups: it keeps those that
 * were taken off before the failure, and binding them again lists them once more. */
TEST_F(ExplainBind, AnAclWhoseListOfBoundPointsIsFull) {
    std::vector<uint16_t> rifs;
    for (uint16_t rif = 1; rif <= 100; rif++) {
        rifs.push_back(rif);
    }
    for (int i = 0; i < 6; i++) {
        ASSERT_EQ(client_.bind_rifs(BIND, acl_.acl_id, rifs), 0u);
        daemon_.control().fail("zv_api_acl_rif_bind_set", 6, 100);
        ASSERT_EQ(client_.bind_rifs(UNBIND, acl_.acl_id, rifs), ZV_ACL_RM_STATUS_ERROR);
        daemon_.control().clear_faults();
    }
    ASSERT_EQ(client_.bind_rifs(BIND, acl_.acl_id, {rifs.begin(), rifs.begin() + 48}), 0u)
        << "the 648th";
    EXPECT_EQ(why(client_, rif_bind(BIND, acl_.acl_id, {49})),
              words(acl_) +
                  " lists 648 ports and router interfaces that it is bound to, as many as it can");
    EXPECT_EQ(client_.bind_rifs(BIND, acl_.acl_id, {49}), 0u) << "bound, though not listed";
    EXPECT_EQ(client_.bind_rifs(BIND, acl_.acl_id, {50}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
}

/* A switch that lets go of an ACL in use. */
TEST(ExplainBindOfEdited, APortWithAnAclThatWasEdited) {
    DaemonOptions options;
    options.config = {{"acl_destroy_in_use", true}};
    DaemonProcess daemon(options);
    daemon.allow_error_lines();
    TestClient client(daemon);
    acl_rm_acl edited = client.make_acl(8);
    const uint32_t former_id = edited.acl_id;
    ASSERT_EQ(client.bind_ports(BIND, edited.acl_id, {kPort}), 0u);
    edited.direction = 1;
    ASSERT_EQ(client.edit_acl(edited), 0u);
    const acl_rm_acl other = client.make_acl(8);
    EXPECT_EQ(why(client, port_bind(BIND, other.acl_id, {kPort})),
              "port 65537 carries ACL " + std::to_string(former_id) +
                  ", which was edited since and has another id: the port takes no further ACL");
}

TEST_F(ExplainBind, ASwitchWithoutRoomToBind) {
    daemon_.control().fail("zv_api_acl_port_bind_set", 5);
    EXPECT_EQ(why(client_, port_bind(BIND, acl_.acl_id, {kPort})),
              "the switch has no room left to bind ACL " + std::to_string(acl_.acl_id) +
                  " to port 65537");
}

TEST_F(ExplainBind, TheSystemTwiceOrNotAtAll) {
    EXPECT_EQ(why(client_, system_bind(UNBIND, acl_.acl_id)),
              words(acl_) + " is not bound to the system");
    ASSERT_EQ(client_.bind_system(BIND, acl_.acl_id), 0u);
    EXPECT_EQ(why(client_, system_bind(BIND, acl_.acl_id)),
              words(acl_) + " is bound to the system already");
}

TEST_F(ExplainBind, ANewPortThatASystemAclCannotHave) {
    const acl_rm_acl other = client_.make_acl(8, 1);
    ASSERT_EQ(client_.bind_system(BIND, acl_.acl_id), 0u);
    ASSERT_EQ(client_.bind_ports(BIND, other.acl_id, {999}), 0u);
    EXPECT_EQ(why(client_, port_set(ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, {999})),
              "port 999 carries ACL " + std::to_string(other.acl_id) + ", and ACL " +
                  std::to_string(acl_.acl_id) +
                  " has another direction: all ACLs of a port have one\n" + kSwitchRefused);
}

}  // namespace
