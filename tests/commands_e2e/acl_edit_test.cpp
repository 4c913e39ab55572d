// ACL_SET edit: another direction and a new id, and all that goes on naming the old one.
#include <gtest/gtest.h>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Ids = std::vector<uint32_t>;

// The id and the new direction mean something; no other field has a value used elsewhere.
acl_rm_acl to_direction(uint32_t acl_id, uint32_t direction) {
    return {acl_id, 101, 102, 103, direction, 105, 106, 107};
}

Lines not_destroyed(uint32_t sdk_status, uint32_t acl_id) {
    return failed(1,
                  "Failed to remove ACL in SDK (error: " + std::to_string(sdk_status) +
                      ") , acl id: [" + std::to_string(acl_id) + "]",
                  1);
}

class AclEdit : public testing::Test {
  protected:
    explicit AclEdit(const DaemonOptions &options = {}) : daemon_(options), client_(daemon_) {}

    Answer edit(const acl_rm_acl &acl) {
        return send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_SET,
                           acl_set_request(client_.handle(), ZV_ACL_RM_ACCESS_CMD_EDIT, acl));
    }
    // Demands success and returns the new id.
    uint32_t edited(uint32_t acl_id, uint32_t direction, Here here = Here::now()) {
        acl_rm_acl acl = to_direction(acl_id, direction);
        EXPECT_EQ(client_.edit_acl(acl, here), ZV_ACL_RM_STATUS_SUCCESS);
        return acl.acl_id;
    }

    DaemonProcess daemon_;
    TestClient client_;
};

TEST_F(AclEdit, AnswersWithTheAclRecordInWhichOnlyTheIdIsNew) {
    client_.make_acl(1);
    const acl_rm_acl acl = to_direction(client_.make_acl(4).acl_id, 9);
    const Answer answer = edit(acl);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    acl_rm_acl expected = acl;
    expected.acl_id = 3;
    EXPECT_EQ(answer.body, bytes_of(expected));
    EXPECT_EQ(answer.body.size(), 32u);
    check_cache(daemon_);
}

TEST_F(AclEdit, DestroysWithTheOldDirectionAndCreatesWithTheNewOneOverTheSameRegion) {
    client_.make_acl(1);
    acl_rm_acl acl = {0, 3, 5, 7, 8, 40, 40, 0};
    ASSERT_EQ(client_.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(edited(2, 9), 3u);
    acl.direction = 9;  // type 7 is the cached one, not the client's 103
    watch.expect_calls({acl_destroyed(7, 8, 2, 2), acl_created(acl, 2, 3)});
    watch.expect_lines({});
    const Watch again(daemon_);
    EXPECT_EQ(edited(3, 10), 4u);
    acl.direction = 10;
    again.expect_calls({acl_destroyed(7, 9, 2, 3), acl_created(acl, 2, 4)});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 2, rules 0", "acl 1: owner 0, region 1", "acl 4: owner 0, region 2"}));
    EXPECT_EQ(switch_digest(daemon_),
              (Digest{"region 1: size 1", "region 2: size 40", "acl 1: region 1, direction 0",
                      "acl 4: region 2, direction 10"}));
    check_cache(daemon_);
}

TEST_F(AclEdit, ToTheSameDirectionGivesANewIdAllTheSame) {
    const acl_rm_acl acl = client_.make_acl(4, 6);
    EXPECT_EQ(edited(acl.acl_id, 6), 2u);
    check_cache(daemon_);
}

TEST_F(AclEdit, OfSize0NeedsNoMemory) {
    const acl_rm_acl acl = client_.make_acl(0);
    const Watch watch(daemon_);
    EXPECT_EQ(edited(acl.acl_id, 1), 2u);
    watch.expect_calls({acl_destroyed(0, 0, 1, 1), acl_created(acl_of_size(0, 1), 1, 2)});
    check_cache(daemon_);
}

TEST_F(AclEdit, TheOldIdIsUnknownToEveryCommand) {
    const uint32_t old_id = client_.make_acl(4).acl_id;
    edited(old_id, 1);
    const auto refuses = [this](uint32_t status, int callers, Here here = Here::now()) {
        EXPECT_EQ(status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        for (const LogLine &line : failed_by_name(4, callers)) {
            daemon_.expect_log(line, here);
        }
    };
    refuses(edit(to_direction(old_id, 0)).status, 2);
    refuses(client_.destroy_acl(to_direction(old_id, 0)), 2);
    refuses(client_.resize_acl(old_id, 4), 1);
    refuses(client_.write_rules(old_id, {make_rule(0)}), 1);
    refuses(client_.bind_ports(kBind, old_id, {kPort}), 1);
    check_cache(daemon_);
}

TEST_F(AclEdit, TheOwnerStaysTheSame) {
    TestClient other(daemon_, ZV_ACL_RM_OWNER_OF13);
    acl_rm_acl acl = to_direction(other.make_acl(4).acl_id, 1);
    ASSERT_EQ(other.edit_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(daemon_)[1], "acl 2: owner 3, region 1");
    const Watch watch(daemon_);
    EXPECT_EQ(edit(acl).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Wrong owner[0] trying to control another owner[3] resource", 2));
    EXPECT_EQ(other.destroy_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(AclEdit, TheRulesTakeNewDirectionsPackets) {
    const acl_rm_acl acl = client_.make_acl(4);
    ASSERT_EQ(client_.write_rules(acl.acl_id, {make_rule(2)}), ZV_ACL_RM_STATUS_SUCCESS);
    const uint32_t new_id = edited(acl.acl_id, 1);
    ASSERT_EQ(client_.bind_ports(kBind, new_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    const nlohmann::json hit =
        daemon_.control().packet("log_port", kPort, 1, 0, std::string(256, '0'));
    EXPECT_EQ(hit.at("matched"), true);
    EXPECT_EQ(hit.at("acl_id"), new_id);
    EXPECT_EQ(hit.at("offset"), 2);
}

TEST_F(AclEdit, TheFlagsOfTheOffsetsCarryOver) {
    const acl_rm_acl acl = client_.make_acl(0);
    ASSERT_EQ(client_.resize_acl(acl.acl_id, 16), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(client_.write_rules(acl.acl_id, {make_rule(7)}), ZV_ACL_RM_STATUS_SUCCESS);
    const uint32_t new_id = edited(acl.acl_id, 1);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.resize_acl(new_id, 7), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4, "Can't reduce ACL table size, offset [7] is valid in ACL [2]", 0));
    EXPECT_EQ(client_.resize_acl(new_id, 8), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(AclEdit, CountsNothingAtTheLimitEither) {
    for (uint32_t i = 0; i < 399; ++i) {
        client_.make_acl(0);
    }
    EXPECT_EQ(edited(399, 1), 400u);
    EXPECT_EQ(daemon_.dump().acl_table_cnt, 399u);
    check_cache(daemon_);
}

struct EditWithOneAclInTheSwitch : AclEdit {
    EditWithOneAclInTheSwitch() : AclEdit(configured()) {}
    static DaemonOptions configured() {
        DaemonOptions options;
        options.config = {{"acls", 1}};
        return options;
    }
};

TEST_F(EditWithOneAclInTheSwitch, MakesItsOwnRoom) {
    EXPECT_EQ(edited(client_.make_acl(1).acl_id, 1), 2u);
    check_cache(daemon_);
}

// --- rules go on under the old id

class RulesOfAnEditedAcl : public AclEdit {
  protected:
    RulesOfAnEditedAcl() {
        const uint32_t old_id = client_.make_acl(16).acl_id;
        EXPECT_EQ(client_.write_rules(old_id, {make_rule(3), forward_to_port(make_rule(5), kPort)}),
                  ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(edited(old_id, 1), 2u);
    }
    const Digest cache_ = {"acls 1, rules 2", "acl 2: owner 0, region 1", "rule 1_3: region 1",
                           "rule 1_5: region 1", "forward 65537: pbs 1, users 1"};
};

TEST_F(RulesOfAnEditedAcl, KeepTheOldIdInTheCacheAndTheirPlaceInTheSwitch) {
    EXPECT_EQ(cache_digest(daemon_), cache_);
    EXPECT_EQ(switch_digest(daemon_),
              (Digest{"region 1: size 16, rules 3 5", "acl 2: region 1, direction 1",
                      "pbs 1: port 65537"}));
    check_cache(daemon_, kSkipRules);
}

TEST_F(RulesOfAnEditedAcl, CannotBeDeletedUnderEitherId) {
    const Watch old_id(daemon_);
    EXPECT_EQ(client_.delete_rules(1, {3}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    old_id.expect_lines(failed_by_name(4, 1));
    const Watch new_id(daemon_);
    EXPECT_EQ(client_.delete_rules(2, {3}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    new_id.expect_lines(failed(5, "key:[2_3] not found", 1));
    EXPECT_EQ(cache_digest(daemon_), cache_);
}

// The check for occupied offsets asks for the new id's rule, the flag knows better.
TEST_F(RulesOfAnEditedAcl, AreOverwrittenInTheSwitchBeforeTheFlagRefuses) {
    const acl_rm_rule rule = match_byte(make_rule(3), 0, 1);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.write_rules(2, {rule}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "rule in offset[3] should not be valid", 3));
    watch.expect_calls({rules_written(1, {sdk_rule(rule)})});
    EXPECT_EQ(rule_keys(daemon_.dump()), (std::vector<std::string>{"1_3", "1_5", "2_3"}));
}

TEST_F(RulesOfAnEditedAcl, LeaveTheOtherOffsetsToNewRules) {
    EXPECT_EQ(client_.write_rules(2, {make_rule(4)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(rule_keys(daemon_.dump()), (std::vector<std::string>{"1_3", "1_5", "2_4"}));
    EXPECT_EQ(client_.delete_rules(2, {4}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(daemon_), cache_);
}

// Kept: the destroy looks for the rule of a valid offset under the new id.
TEST_F(RulesOfAnEditedAcl, KeepTheAclFromBeingDestroyed) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        const Watch watch(daemon_);
        EXPECT_EQ(client_.destroy_acl(to_direction(2, 1)), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
        watch.expect_lines(failed(5, "key:[2_3] not found", 2));
        watch.expect_calls({});
    }
    EXPECT_EQ(cache_digest(daemon_), cache_);
    check_cache(daemon_, kSkipRules);
}

TEST_F(AclEdit, WithoutRulesTheAclCanBeDestroyed) {
    const uint32_t new_id = edited(client_.make_acl(4).acl_id, 1);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(to_direction(new_id, 1)), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({memory_freed(), acl_destroyed(103, 1, 1, 2), region_destroyed(0, 0, 4, 1)});
    EXPECT_EQ(switch_digest(daemon_), Digest{});
    check_cache(daemon_);
}

// --- groups and bindings go on under the old id

TEST_F(AclEdit, OfABoundAclIsRefusedByTheSwitchAndTheAclIsForgotten) {
    const acl_rm_acl acl = client_.make_acl(4);
    ASSERT_EQ(client_.bind_ports(kBind, acl.acl_id, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    const Answer answer = edit(to_direction(acl.acl_id, 1));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(not_destroyed(8, 1));
    watch.expect_calls({acl_destroyed(0, 0, 1, 1, 8), memory_freed()});
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 1, rules 0", "group 1: acl 1", "port 65537: group 1"}));
    EXPECT_EQ(switch_digest(daemon_), (Digest{"region 1: size 4", "acl 1: region 1, direction 0",
                                              "group 1: acl 1", "port 65537: group 1"}));
    const Watch again(daemon_);
    EXPECT_EQ(edit(to_direction(acl.acl_id, 1)).status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    again.expect_lines(failed_by_name(4, 2));
}

class EditInUse : public AclEdit {
  protected:
    EditInUse() : AclEdit(configured()) {
        EXPECT_EQ(client_.bind_ports(kBind, client_.make_acl(4).acl_id, {kPort, kPort + 1}),
                  ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(edited(1, 1), 2u);
    }
    static DaemonOptions configured() {
        DaemonOptions options;
        options.config = {{"acl_destroy_in_use", true}};
        return options;
    }
};

TEST_F(EditInUse, KeepsTheBindPointsUnderTheNewIdAndTheGroupsUnderTheOld) {
    EXPECT_EQ(
        cache_digest(daemon_),
        (Digest{"acls 1, rules 0", "acl 2: owner 0, region 1, bound to 65537 65538",
                "group 1: acl 1", "group 2: acl 1", "port 65537: group 1", "port 65538: group 2"}));
    EXPECT_EQ(switch_digest(daemon_),
              (Digest{"region 1: size 4", "acl 2: region 1, direction 1", "group 1: empty",
                      "group 2: empty", "port 65537: group 1", "port 65538: group 2"}));
}

TEST_F(EditInUse, AnUnbindFindsNothingBoundAndTakesThePortOffTheList) {
    const Watch watch(daemon_);
    EXPECT_EQ(client_.bind_ports(kUnbind, 2, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines({{"ZV_ACL_RM", "NOTICE", "ACL [2] already Unbound from port_id [10001]."}});
    watch.expect_calls({});
    EXPECT_EQ(ports_of_acl(daemon_.dump(), 2), Ids{kPort + 1});
    EXPECT_EQ(acls_of_group(daemon_.dump(), 1), Ids{1});
}

TEST_F(EditInUse, ADestroyLeavesTheGroupsOfTheOldId) {
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(to_direction(2, 1)), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines({{"ZV_ACL_RM", "NOTICE", "ACL [2] already Unbound from port_id [10001]."},
                        {"ZV_ACL_RM", "NOTICE", "ACL [2] already Unbound from port_id [10002]."}});
    watch.expect_calls({memory_freed(), acl_destroyed(103, 1, 1, 2), region_destroyed(0, 0, 4, 1)});
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 0, rules 0", "group 1: acl 1", "group 2: acl 1",
                                             "port 65537: group 1", "port 65538: group 2"}));
}

TEST_F(EditInUse, ASystemAclStaysOne) {
    const acl_rm_acl acl = client_.make_acl(0, 1);
    daemon_.control().set_ports(nlohmann::json::array());
    ASSERT_EQ(client_.bind_system(kBind, acl.acl_id), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(edited(acl.acl_id, 2), 4u);
    EXPECT_EQ(cache_digest(daemon_)[2], "acl 4: owner 0, region 2, system");
}

// --- edits that fail

TEST_F(AclEdit, ThatCannotCreateLosesTheAclButNotItsRegionRulesAndCount) {
    const acl_rm_acl acl = client_.make_acl(4);
    ASSERT_EQ(client_.write_rules(acl.acl_id, {make_rule(2)}), ZV_ACL_RM_STATUS_SUCCESS);
    daemon_.control().fail("zv_api_acl_set", 5, 2);
    const Watch watch(daemon_);
    const Answer answer = edit(to_direction(acl.acl_id, 9));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed(
        1, "Failed to create ACL in SDK (error: 5) , type: [0] , direction: [9] , regions : [1]",
        1));
    watch.expect_calls(
        {acl_destroyed(0, 0, 1, 1), acl_created(acl_of_size(4, 9), 1, 1, 5), memory_freed()});
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 1, rules 1", "rule 1_2: region 1"}));
    EXPECT_EQ(switch_digest(daemon_), Digest{"region 1: size 4, rules 2"});
    // The next ACL is counted on top.
    client_.make_acl(1);
    EXPECT_EQ(daemon_.dump().acl_table_cnt, 2u);
}

TEST_F(AclEdit, ThatFailsWithoutFlagsFreesNothing) {
    const acl_rm_acl acl = client_.make_acl(0);
    daemon_.control().fail("zv_api_acl_set", 1);
    const Watch watch(daemon_);
    EXPECT_EQ(edit(to_direction(acl.acl_id, 1)).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(not_destroyed(1, 1));
    watch.expect_calls({acl_destroyed(0, 0, 1, 1, 1)});
}

TEST_F(AclEdit, AfterADestroyThatFailedGoesWellWithoutFlags) {
    const acl_rm_acl acl = client_.make_acl(4);
    daemon_.control().fail("zv_api_acl_set", 1);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(not_destroyed(1, 1));
    EXPECT_EQ(edited(acl.acl_id, 1), 2u);
    check_cache(daemon_);
    // What is left has no flags to give back.
    const size_t mark = daemon_.trace_mark();
    daemon_.stop();
    EXPECT_TRUE(daemon_.calls("cl_free", mark).empty());
}

TEST_F(AclEdit, GivesTheFlagsBackOnceWhenTheDaemonStops) {
    edited(client_.make_acl(4).acl_id, 1);
    const size_t mark = daemon_.trace_mark();
    daemon_.stop();
    EXPECT_EQ(daemon_.calls("cl_free", mark).size(), 1u);
}

}  // namespace
}  // namespace zv_test
