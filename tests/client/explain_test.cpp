/* "Why was I refused", asked of a real daemon right after it refused: one case a cause, word for
 * word, and that nothing is changed by asking. */
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/client/explain_support.h"
#include "tests/support/cache_check.h"
#include "tests/support/daemon_process.h"
#include "tests/support/switch_control.h"
#include "tests/support/test_client.h"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace {

using namespace zv_test;

class Explain : public testing::Test {
  protected:
    Explain() { daemon_.allow_error_lines(); }

    DaemonProcess daemon_;
};

/* --- the daemon, handles, owners */

TEST_F(Explain, ADaemonThatWasNeverOpened) {
    TestClient client = TestClient::unopened(daemon_, 42);
    EXPECT_EQ(why(client, acl_create(8, 8)),
              "the daemon is not initialised: send OPEN or INIT first");
    EXPECT_EQ(why(client, port_bind(BIND, 1, {65537})),
              "the daemon is not initialised: send OPEN or INIT first");
}

TEST_F(Explain, AHandleThatNeverOpened) {
    const acl_rm_acl acl = TestClient(daemon_).make_acl(8);
    TestClient client = TestClient::unopened(daemon_, 0x2a);
    const std::string expected =
        "no owner's client has the handle 0x2a: it never opened, or another client has opened as "
        "the same owner since";
    EXPECT_EQ(why(client, acl_create(8, 8)), expected);
    EXPECT_EQ(why(client, acl_destroy(acl.acl_id)), expected);
    EXPECT_EQ(why(client, rule_write(acl.acl_id, {make_rule(1)})), expected);
    EXPECT_EQ(why(client, port_bind(BIND, acl.acl_id, {65537})), expected);
    EXPECT_EQ(why(client, resize(acl.acl_id, 9)), expected);
    EXPECT_EQ(why(client, mc_group(ZV_ACL_RM_ACCESS_CMD_ADD, 0, {65537})), expected);
}

TEST_F(Explain, AnOwnerThatAnotherClientHasTaken) {
    TestClient first(daemon_, ZV_ACL_RM_OWNER_PRA);
    const acl_rm_acl acl = first.make_acl(8);
    TestClient second = TestClient::unopened(daemon_, 0x99);
    ASSERT_EQ(second.open(ZV_ACL_RM_OWNER_PRA), 0u);
    EXPECT_EQ(why(first, rule_write(acl.acl_id, {make_rule(1)})),
              "this client is PRA no more: another client has opened as PRA since");
}

TEST_F(Explain, AnAclThatThereIsNot) {
    TestClient client(daemon_);
    const std::string expected =
        "there is no ACL 99: never created, destroyed, or edited, which gives an ACL another id";
    EXPECT_EQ(why(client, acl_destroy(99)), expected);
    EXPECT_EQ(why(client, resize(99, 8)), expected);
    EXPECT_EQ(why(client, rule_write(99, {make_rule(0)})), expected);
    EXPECT_EQ(why(client, rule_read(99, {0})), expected);
    EXPECT_EQ(why(client, move_block(99, 0, 1, 2)), expected);
    EXPECT_EQ(why(client, port_bind(BIND, 99, {65537})), expected);
    EXPECT_EQ(why(client, rif_bind(BIND, 99, {1})), expected);
    EXPECT_EQ(why(client, system_bind(BIND, 99)), expected);
}

TEST_F(Explain, AnAclOfAnotherOwner) {
    const acl_rm_acl acl = TestClient(daemon_, ZV_ACL_RM_OWNER_PRA).make_acl(8);
    TestClient client(daemon_, ZV_ACL_RM_OWNER_OPEN_FLOW);
    const std::string expected =
        "ACL " + std::to_string(acl.acl_id) + " belongs to PRA; this client acts for open-flow";
    EXPECT_EQ(why(client, acl_destroy(acl.acl_id)), expected);
    EXPECT_EQ(why(client, resize(acl.acl_id, 9)), expected);
    EXPECT_EQ(why(client, rule_write(acl.acl_id, {make_rule(0)})), expected);
    EXPECT_EQ(why(client, move_block(acl.acl_id, 0, 1, 2)), expected);
    EXPECT_EQ(why(client, port_bind(BIND, acl.acl_id, {65537})), expected);
    EXPECT_EQ(why(client, system_bind(BIND, acl.acl_id)), expected);
}

/* The owner it acts for was opened on another connection, which the library cannot know. */
TEST_F(Explain, AnAclOfAnotherOwnerToAClientThatOpenedElsewhere) {
    const acl_rm_acl acl = TestClient(daemon_, ZV_ACL_RM_OWNER_PRA).make_acl(8);
    TestClient opened(daemon_, ZV_ACL_RM_OWNER_OF13);
    TestClient client = TestClient::unopened(daemon_, opened.handle());
    EXPECT_EQ(why(client, resize(acl.acl_id, 9)),
              "ACL " + std::to_string(acl.acl_id) +
                  " belongs to PRA, and this client acts for another owner\n"
                  "the switch refused it; the daemon's log has the switch's reason");
}

TEST_F(Explain, AnAccessCommandThatTheCommandHasNot) {
    TestClient client(daemon_);
    const acl_rm_acl acl = client.make_acl(8);
    EXPECT_EQ(
        why(client, acl_set(WRITE, acl)),
        "ACL_SET does not take access command WRITE (6), only CREATE (4), DESTROY (5) or EDIT "
        "(2)");
    EXPECT_EQ(why(client, port_bind(77, acl.acl_id, {65537})),
              "ACL_BIND_PORT_SET does not take access command 77, only BIND (7) or UNBIND (8)");
    uint32_t counter_id = 0;
    ASSERT_EQ(client.create_counter({1, 0}, counter_id), 0u);
    EXPECT_EQ(why(client, counter_get(ZV_ACL_RM_ACCESS_CMD_READ_CLEAR, counter_id)),
              "COUNTER_GET does not take access command READ_CLEAR (14), only READ (13) or CLEAR "
              "(15)");
}

TEST_F(Explain, AnUnknownChip) {
    TestClient client(daemon_);
    zv_acl_rm_init_params_t record{0, 4, 0};
    EXPECT_EQ(why(client, Request(ZV_ACL_RM_API_INT_CMD_INIT, record)),
              "there is no chip type 4; there are 1, 3 and 5 to 11");
}

TEST_F(Explain, ASwitchThatCannotBeOpened) {
    daemon_.control().fail("zv_api_open", 1, 1, 2);
    TestClient client = TestClient::unopened(daemon_, 42);
    zv_acl_rm_open_params_t record{0, ZV_ACL_RM_OWNER_PRA, 0};
    EXPECT_EQ(why(client, Request(ZV_ACL_RM_API_INT_CMD_OPEN, record)),
              "the daemon could not open the switch; its log has the switch's reason");
}

/* --- ACLs */

TEST_F(Explain, SizesThatDiffer) {
    TestClient client(daemon_);
    EXPECT_EQ(why(client, acl_create(8, 16)), "min_size is 8 and max_size 16; they must be equal");
}

TEST_F(Explain, ADaemonFullOfAcls) {
    TestClient client(daemon_);
    for (uint32_t i = 0; i < 399; i++) {
        client.make_acl(1);
    }
    EXPECT_EQ(why(client, acl_create(1, 1)),
              "the daemon holds 399 ACLs, as many as its chip allows: destroy one first");
}

TEST_F(Explain, AnEditedAclWithRules) {
    TestClient client(daemon_);
    acl_rm_acl acl = client.make_acl(8);
    const uint32_t former_id = acl.acl_id;
    ASSERT_EQ(client.write_rules(acl.acl_id, {make_rule(1)}), 0u);
    acl.direction = 1;
    ASSERT_EQ(client.edit_acl(acl), 0u);
    EXPECT_EQ(why(client, acl_destroy(acl.acl_id)),
              "ACL " + std::to_string(acl.acl_id) + " (open-flow's) was ACL " +
                  std::to_string(former_id) +
                  " before it was edited, and its rules are still recorded under that id: an "
                  "edited ACL with rules cannot be destroyed");
}

TEST_F(Explain, AResizeThatWouldCutARuleOff) {
    TestClient client(daemon_);
    const acl_rm_acl acl = client.make_acl(0);
    ASSERT_EQ(client.resize_acl(acl.acl_id, 64), 0u);
    ASSERT_EQ(client.write_rules(acl.acl_id, {make_rule(3), make_rule(40)}), 0u);
    const std::string words = "ACL " + std::to_string(acl.acl_id) + " (open-flow's)";
    EXPECT_EQ(why(client, resize(acl.acl_id, 40)),
              "offset 40 of " + words + " holds a rule, past the end of a region of 40 rules\n" +
                  words +
                  " was created with a size, which stays: only an ACL created with size 0 can be "
                  "resized");
    EXPECT_EQ(client.resize_acl(acl.acl_id, 41), 0u) << "one more has room for it";
}

TEST_F(Explain, AResizeOfAnAclThatKeepsItsSize) {
    TestClient client(daemon_);
    const acl_rm_acl acl = client.make_acl(8);
    EXPECT_EQ(why(client, resize(acl.acl_id, 16)),
              "ACL " + std::to_string(acl.acl_id) +
                  " (open-flow's) was created with a size, which stays: only an ACL created with "
                  "size 0 can be resized");
}

TEST_F(Explain, AResizeThatTheSwitchHasNoRoomFor) {
    TestClient client(daemon_);
    const acl_rm_acl acl = client.make_acl(0);
    EXPECT_EQ(why(client, resize(acl.acl_id, 1u << 30)),
              "the switch has no room for a region of 1073741824 rules");
}

TEST_F(Explain, ARefusalOfTheSwitchThatNobodyOutsideCanName) {
    TestClient client(daemon_);
    daemon_.control().fail("zv_api_acl_region_set", 1);
    EXPECT_EQ(why(client, acl_create(8, 8)),
              "the switch refused it; the daemon's log has the switch's reason");
}

/* --- counters and MC groups */

TEST_F(Explain, TypeFlagsOfACounter) {
    TestClient client(daemon_);
    EXPECT_EQ(why(client, counter_create({1, 1})),
              "the counter's type flags are 1 and 1; exactly one of them must be 1, the other 0");
    EXPECT_EQ(why(client, counter_create({0, 2})),
              "the counter's type flags are 0 and 2; exactly one of them must be 1, the other 0");
}

TEST_F(Explain, ADaemonFullOfCounters) {
    TestClient client(daemon_);
    uint32_t counter_id = 0;
    for (uint32_t i = 0; i < 255; i++) {
        ASSERT_EQ(client.create_counter({1, 0}, counter_id), 0u);
    }
    EXPECT_EQ(why(client, counter_create({1, 0})),
              "the daemon holds 255 counters, as many as it can: destroy one first");
}

TEST_F(Explain, ACounterThatThereIsNot) {
    TestClient client(daemon_);
    const std::string expected =
        "there is no counter 99: never created, destroyed, or gone with the last rule that used it";
    EXPECT_EQ(why(client, counter_get(ZV_ACL_RM_ACCESS_CMD_READ, 99)), expected);
    EXPECT_EQ(why(client, counter_destroy(99)), expected);
}

TEST_F(Explain, MulticastGroups) {
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    uint32_t group_id = 0;
    ASSERT_EQ(pra.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, group_id, {65537}), 0u);
    TestClient client(daemon_);
    const std::string name = "MC group " + std::to_string(group_id);
    EXPECT_EQ(why(client, mc_group(ZV_ACL_RM_ACCESS_CMD_DELETE, group_id, {})),
              name + " belongs to PRA; this client acts for open-flow");
    EXPECT_EQ(why(client, mc_group_get(group_id)),
              name + " belongs to PRA; this client acts for open-flow");
    EXPECT_EQ(why(client, mc_group(ZV_ACL_RM_ACCESS_CMD_DELETE, 999, {})),
              "there is no MC group 999");
    TestClient of13(daemon_, ZV_ACL_RM_OWNER_OF13);
    ASSERT_EQ(of13.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, group_id, {65537}), 0u);
    EXPECT_EQ(why(of13, mc_group(ZV_ACL_RM_ACCESS_CMD_DELETE, group_id, {})),
              "this client opened as OF13, which can create MC groups but neither change "
              "nor read them");
}

/* --- asking */

TEST_F(Explain, ASuccessHasNothingToExplain) {
    TestClient client(daemon_);
    const Answer answer = explain(client.client(), acl_create(8, 8), 0);
    EXPECT_EQ(answer.error, 0);
    EXPECT_EQ(answer.text, "");
    EXPECT_EQ(answer.causes_num, 0u);
}

TEST_F(Explain, WhatHasChangedSinceIsNotFound) {
    TestClient client(daemon_);
    const acl_rm_acl acl = client.make_acl(8);
    const Answer answer =
        explain(client.client(), acl_destroy(acl.acl_id), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(answer.error, 0);
    EXPECT_EQ(answer.causes_num, 0u);
    EXPECT_EQ(answer.text, zv_acl_rm_status_meaning(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE));
}

TEST_F(Explain, RefusesNullsUnknownCommandsOtherSizesAndNoRoom) {
    TestClient test_client(daemon_);
    zv_acl_rm_client_t *client = test_client.client();
    zv_acl_rm_acl_resize_params_t record{};
    char text[8] = "before";
    const auto call = [&](zv_acl_rm_client_t *whose, uint32_t command, const void *what,
                          uint32_t bytes, char *where, uint32_t room) {
        return zv_acl_rm_client_explain(whose, command, what, bytes, 1, where, room, nullptr);
    };
    EXPECT_EQ(call(nullptr, 5, &record, 16, text, sizeof(text)), EINVAL);
    EXPECT_EQ(call(client, 1, &record, 16, text, sizeof(text)), EINVAL);
    EXPECT_EQ(call(client, 18, &record, 16, text, sizeof(text)), EINVAL);
    EXPECT_EQ(call(client, 5, nullptr, 16, text, sizeof(text)), EINVAL);
    EXPECT_EQ(call(client, 5, &record, 17, text, sizeof(text)), EINVAL);
    EXPECT_EQ(call(client, 5, &record, 16, nullptr, sizeof(text)), EINVAL);
    EXPECT_EQ(call(client, 5, &record, 16, text, 0), EINVAL);
    EXPECT_STREQ(text, "before");
    EXPECT_EQ(call(client, 5, &record, 16, text, sizeof(text)), 0) << "causes_num may be null";
    EXPECT_STREQ(text, "the swi") << "cut to the room, with its NUL";
}

TEST_F(Explain, AsksNothingWhileAnswersAreOutstandingAndSaysWhatCanBeSaid) {
    TestClient client(daemon_);
    zv_acl_rm_init_params_t init{0, 3, 0};
    uint32_t sequence = 0;
    ASSERT_EQ(zv_acl_rm_client_submit(client.client(), ZV_ACL_RM_API_INT_CMD_INIT, &init,
                                      sizeof(init), &sequence),
              0);
    const Answer answer = explain(client.client(), acl_destroy(99), 4);
    EXPECT_EQ(answer.error, EBUSY);
    EXPECT_EQ(answer.text,
              "there is no ACL 99: never created, destroyed, or edited, which gives an ACL "
              "another id\n"
              "the daemon takes no rules, nor deletes any: no INIT has named the chip yet, or it "
              "named chip 5, 7 or 10; ACL 99 may have rules");
    zv_acl_rm_status_t status = kNoAnswer;
    EXPECT_EQ(zv_acl_rm_client_collect(client.client(), &sequence, nullptr, nullptr, &status), 0);
    EXPECT_EQ(status, 0u) << "the answer is where it was";
}

TEST_F(Explain, SaysWhatCanBeSaidWhenTheDaemonHasGone) {
    TestClient client(daemon_);
    daemon_.stop();
    const Answer answer = explain(client.client(), rule_write(7, {make_rule(1)}), 1);
    EXPECT_EQ(answer.error, ECONNRESET);
    EXPECT_EQ(answer.text,
              "the daemon is not initialised: send OPEN or INIT first\n"
              "ACL 7 is another owner's\n"
              "an offset lies past the end of ACL 7\n"
              "the switch refused it; the daemon's log has the switch's reason");
}

TEST_F(Explain, ChangesNothingAndLeavesNoFileBehind) {
    TestClient client(daemon_);
    const acl_rm_acl acl = client.make_acl(8);
    ASSERT_EQ(client.write_rules(acl.acl_id, {match_byte(make_rule(3), 0, 7)}), 0u);
    std::vector<acl_rm_rule> rule{make_rule(3)};
    const nlohmann::json before = daemon_.control().state();
    const std::filesystem::path temporary = daemon_.root().file("tmp-of-the-client");
    std::filesystem::create_directory(temporary);
    ASSERT_EQ(setenv("TMPDIR", temporary.c_str(), 1), 0);
    const Answer occupied = explain(client.client(), rule_write(acl.acl_id, {make_rule(3)}), 1);
    const Answer handle = explain(client.client(), rule_write(acl.acl_id, {make_rule(9)}), 4);
    unsetenv("TMPDIR");
    EXPECT_EQ(occupied.error, 0);
    EXPECT_NE(occupied.text.find("holds a rule already"), std::string::npos) << occupied.text;
    EXPECT_EQ(handle.error, 0);
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
    EXPECT_EQ(daemon_.control().state(), before);
    check_cache(daemon_);
}

}  // namespace
