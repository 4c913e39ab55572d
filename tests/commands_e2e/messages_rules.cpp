// ACL_RULE_SET, ACL_RULE_GET and ACL_RULE_MOVE_BLOCK.
#include <gtest/gtest.h>

#include "tests/commands_e2e/message_situations.h"
#include "tests/commands_e2e/requests.h"

namespace zv_test {

namespace {

uint32_t read_rule(TestClient &client, uint32_t acl_id, uint32_t offset, uint32_t activity = 0) {
    std::vector<acl_rm_rule> rules(1);
    rules[0].offset = offset;
    rules[0].readout.activity_request = activity;
    return client.read_rules(acl_id, rules);
}

std::vector<LogLine> play_ordinary_rules() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    const uint32_t acl_id = client.make_acl(32).acl_id;
    EXPECT_EQ(client.write_rules(acl_id, {forward_to_port(make_rule(5, 0), 4000), make_rule(6, 2)}),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(read_rule(client, acl_id, 5), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.move_block(acl_id, 6, 1, 9), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.delete_rules(acl_id, {5, 9}), ZV_ACL_RM_STATUS_SUCCESS);
    return stopped(daemon);
}

std::vector<LogLine> play_refused_rules() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    TestClient pra(daemon, ZV_ACL_RM_OWNER_PRA);
    const uint32_t acl_id = client.make_acl(8).acl_id;
    auto request = write_request(client.handle(), acl_id, {});
    request.cmd = 5;
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request).status,
              ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    const auto refuse = [&](uint32_t status, const std::vector<acl_rm_rule> &rules) {
        EXPECT_EQ(client.write_rules(acl_id, rules), status);
    };
    EXPECT_EQ(client.write_rules(acl_id, {}, 21), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(TestClient::unopened(daemon, 0x77).write_rules(acl_id, {}),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(pra.write_rules(acl_id, {}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(client.write_rules(99, {}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    refuse(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, {make_rule(0, 4)});
    refuse(ZV_ACL_RM_STATUS_ERROR, {make_rule(8)});
    refuse(ZV_ACL_RM_STATUS_ERROR, {make_rule(1), make_rule(1)});
    refuse(ZV_ACL_RM_STATUS_ERROR, {make_rule(1)});
    refuse(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, {forward_to_mc_group(make_rule(2), 6)});
    refuse(ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, {count_with(make_rule(2), 9)});
    daemon.control().fail("zv_api_acl_policy_based_switching_set", 5);
    refuse(ZV_ACL_RM_STATUS_NO_HW_RESOURCES, {forward_to_port(make_rule(3), 4000)});
    daemon.control().fail("zv_api_acl_policy_based_switching_set", 1);
    refuse(ZV_ACL_RM_STATUS_ERROR, {forward_to_port(make_rule(3), 4000)});
    return stopped(daemon);
}

// The edited ACL has the flags of rules that are cached under its former id.
std::vector<LogLine> play_rules_of_edited_acl() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    acl_rm_acl acl = client.make_acl(8);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(5)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.edit_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.write_rules(acl.acl_id, {make_rule(5)}), ZV_ACL_RM_STATUS_ERROR);
    return stopped(daemon);
}

// An ACL whose region has grown, but for whose flags there was no memory: its rule is cached all
// the same, and gets a flag that does not know of it with the next resize.
std::vector<LogLine> play_rules_without_flags() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    const uint32_t acl_id = client.make_acl(0).acl_id;
    daemon.control().fail("cl_malloc", 1);
    EXPECT_EQ(client.resize_acl(acl_id, 16), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(client.write_rules(acl_id, {make_rule(0)}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(client.move_block(acl_id, 0, 1, 5), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(client.resize_acl(acl_id, 8), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.delete_rules(acl_id, {0}), ZV_ACL_RM_STATUS_ERROR);
    return stopped(daemon);
}

// The second of two equal offsets is gone when its turn comes. Port 0 is never remembered.
std::vector<LogLine> play_refused_deletions() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    const uint32_t acl_id = client.make_acl(8).acl_id;
    EXPECT_EQ(client.write_rules(acl_id, {make_rule(3), forward_to_port(make_rule(4), 0)}),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.delete_rules(acl_id, {7}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    daemon.control().fail("zv_api_acl_rules_set", 2);
    EXPECT_EQ(client.delete_rules(acl_id, {3}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(client.delete_rules(acl_id, {3, 3}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(client.delete_rules(acl_id, {4}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    return stopped(daemon);
}

std::vector<LogLine> play_refused_reads() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    const uint32_t acl_id = client.make_acl(8).acl_id;
    zv_acl_rm_acl_rule_get_params_t request = {};
    request.rules_num = 22;
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, request).status,
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(read_rule(client, 99, 0), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(read_rule(client, acl_id, 8), ZV_ACL_RM_STATUS_ERROR);
    daemon.control().fail("zv_api_acl_rule_activity_get", 2);
    EXPECT_EQ(read_rule(client, acl_id, 7, 1), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(read_rule(client, acl_id, 6), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    return stopped(daemon);
}

// The rule that lies where another is moved to cannot go, since its counter cannot.
std::vector<LogLine> play_refused_moves() {
    DaemonProcess daemon(talkative());
    TestClient client(daemon);
    const uint32_t acl_id = client.make_acl(8).acl_id;
    EXPECT_EQ(client.move_block(acl_id, 7, 2, 0), ZV_ACL_RM_STATUS_ERROR);
    uint32_t counter_id = 0;
    EXPECT_EQ(client.create_counter({1, 0}, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.write_rules(acl_id, {make_rule(1), count_with(make_rule(2), counter_id)}),
              ZV_ACL_RM_STATUS_SUCCESS);
    daemon.control().fail("zv_api_flow_counter_set", 2);
    EXPECT_EQ(client.move_block(acl_id, 1, 1, 2), ZV_ACL_RM_STATUS_ERROR);
    return stopped(daemon);
}

std::vector<Message> of_ordinary_rules() {
    return {
        rpc("INFO", "got message zv_acl_rm_api_acl_rule_set."),
        core("DEBUG", "acl_rm_set_rule_by_key_type: ******** ADD ACL RULE ********"),
        core("INFO", "key_format:1_5 "),
        core("DEBUG", "acl_rm_set_rule_by_key_type: ********  ACL 0 RULE ADDED********"),
        core("DEBUG", "acl_rm_set_rule_by_key_type: ********  ACL 2 RULE ADDED********"),
        core("INFO", "Finish to set all rules in sdk."),
        core("INFO", "Finish to bind all forwarding port to rules."),
        core("DEBUG", "Insert successful"),
        core("INFO", "Insert rule[=5] to acl_id[1], within region[1] pbs entry type[0]."),
        core("INFO", "Insert rule[=6] to acl_id[1], within region[1] pbs entry type[0]."),
        core("INFO", "Finish to update DB for rules and PBS."),
        rpc("INFO", "got message zv_acl_rm_api_acl_rule_get"),
        rpc("INFO", "got message zv_acl_rm_api_acl_rule_move_block."),
        core("DEBUG", "acl_rm_delete_rules: ******** DELETE ACL RULE ********"),
        core("DEBUG", "Remove not successful"),  // the text of the removal that succeeded
        core("NOTICE", "delete rule[5] from region[1]."),
        core("NOTICE", "delete rule[9] from region[1]."),
        core("NOTICE", "delete [2] #rules from region[1]."),
    };
}

std::vector<Message> of_refused_rules() {
    return {
        error_line(2, "Command unsupported, cmd type is:5"),
        rpc("INFO", "failed to in acl_rm_acl_rule_set. acl_ret_status:=2."),
        error_line(4, "To many rules [21] to configure in one action"),
        error_line(4,
                   "Wrong owner of the handle[119] toward ACL_RM, trying to control another owner "
                   "resource"),
        error_line(1, "Wrong owner[2] trying to control another owner[0] resource"),
        passed_up_line(4),
        passed_up_line(1),
        passed_up_line(5),
        error_line(4, "unsupported rule key type:4"),
        error_line(1, "Failed to add rule to a region in SDK , error: 4"),
        error_line(1, "key already found while trying to insert new key."),
        error_line(1, "key:[1_1] was found while trying to check if it not exists"),
        error_line(1, "override new rule is forbidden for command:[6]"),
        error_line(5, "Failed to find MCG id 6"),
        error_line(5, "Could not find counter (9) in counter DB.", "ACL_RM_DB"),
        error_line(5, "Fail to update reference counter for counter ID (9) in counter DB."),
        notification_line(7, "Can't initiate forwarding action for the rule, not enough resources"),
        notification_line(7, "ZV_ACL_RM_STATUS_NO_HW_RESOURCES"),
        error_line(1, "Can't initiate forwarding action for the rule"),
    };
}

std::vector<Message> of_refused_reads() {
    return {
        error_line(4, "To many rules [22] to configure in one action"),
        rpc("INFO", "failed to in acl_rm_acl_rule_get. acl_ret_status:=4"),
        error_line(5, "acl id [99] was not found in ACL RM DB"),
        error_line(5, "Failed to retrieve acl info for ACL ID [99] from ACL RM DB, error: 5"),
        error_line(5, "Failed to retrieve region ID from ACL RM DB"),
        error_line(5, "Failed to retrieve rules for acl_id [99] "),
        error_line(1, "Failed to retrieve rules from region [1] in SDK , error: 4"),
        error_line(1, "Failed to retrieve rules activity from region [1] in SDK , error: 2"),
        error_line(5,
                   "Failed to retrieve rule at offset [6] from ACL RM DB for ACL ID [1], error: "
                   "5"),
        error_line(5, "Failed to retrieve rules for acl_id [1] "),
    };
}

}  // namespace

std::vector<Situation> rule_situations() {
    return {
        {"OrdinaryRules", play_ordinary_rules, of_ordinary_rules()},
        {"RefusedRules", play_refused_rules, of_refused_rules()},
        {"RulesOfEditedAcl",
         play_rules_of_edited_acl,
         {error_line(1, "rule in offset[5] should not be valid")}},
        {"RulesWithoutFlags",
         play_rules_without_flags,
         {error_line(4, "rule in offset[0] is past the [0] offsets of acl_id:1"),
          error_line(4,
                     "Failed to insert rule at offset [5] in ACL RM DB for ACL ID [1], error: 4"),
          error_line(1, "rule in offset[0] should be valid")}},
        {"RefusedDeletions",
         play_refused_deletions,
         {error_line(5, "key:[1_7] not found"),
          error_line(1, "Failed to remove rule from a region in SDK , error: 2"),
          error_line(5, "Offset (3) not found in hash table."),
          error_line(5, "Fail to get rule info for acl_id (1) offset (3)."),
          error_line(5, "forwarding port (pbs):=0 not found")}},
        {"RefusedReads", play_refused_reads, of_refused_reads()},
        {"RefusedMoves",
         play_refused_moves,
         {error_line(1, "Failed to move block of rules in region [1] in SDK , error: 4"),
          error_line(1, "Failed in move block operation"),
          rpc("INFO", "failed to in zv_acl_rm_api_acl_rule_move_block. acl_ret_status:=1"),
          error_line(1,
                     "Failed to delete rule at offset [2] from ACL RM DB for ACL ID [1], error: "
                     "1"),
          error_line(1, "Failed to modify the offset for entry at offset [1]"),
          error_line(1, "Failed to update rules new offsets in DB")}},
    };
}

}  // namespace zv_test
