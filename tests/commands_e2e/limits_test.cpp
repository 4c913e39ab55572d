// Limits that change under objects that exist already.
#include <gtest/gtest.h>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

constexpr uint32_t kChipWithLimits = 3;
constexpr uint32_t kChipWithoutLimits = 5;

// Rules were written while the chip took 20 an action; then another INIT took the limit away.
class LimitsTakenAway : public testing::Test {
  protected:
    LimitsTakenAway() : client_(daemon_), acl_(client_.make_acl(8)) {
        EXPECT_EQ(client_.write_rules(acl_.acl_id, make_rules(0, 3)), kOk);
        EXPECT_EQ(client_.init(kChipWithoutLimits), kOk);
    }
    Lines too_many(const std::string &text, int callers) { return failed(4, text, callers); }

    DaemonProcess daemon_;
    TestClient client_;
    acl_rm_acl acl_;
};

TEST_F(LimitsTakenAway, RefuseToDeleteARule) {
    const Watch watch(daemon_);
    EXPECT_EQ(client_.delete_rules(acl_.acl_id, {0}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4, "To many rules [1] to configure in one action", 0));
    watch.expect_calls({});
}

TEST_F(LimitsTakenAway, RefuseToReadARule) {
    std::vector<acl_rm_rule> rules(1);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.read_rules(acl_.acl_id, rules), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4, "To many rules [1] to configure in one action", 0));
    watch.expect_calls({});
}

TEST_F(LimitsTakenAway, AllowRequestsWithoutRules) {
    std::vector<acl_rm_rule> rules;
    EXPECT_EQ(client_.delete_rules(acl_.acl_id, {}), kOk);
    EXPECT_EQ(client_.read_rules(acl_.acl_id, rules), kOk);
}

// The rules are taken out one by one, and one is more than the limit.
TEST_F(LimitsTakenAway, KeepAnAclWithRulesFromBeingDestroyed) {
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl_), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed_by_name(4, 2));
    watch.expect_calls({});
    check_cache(daemon_);
    EXPECT_EQ(client_.init(kChipWithLimits), kOk);
    EXPECT_EQ(client_.destroy_acl(acl_), kOk);
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 0, rules 0"}));
    check_cache(daemon_);
}

TEST_F(LimitsTakenAway, LetABlockMoveOverNothingButNotOverARule) {
    EXPECT_EQ(client_.move_block(acl_.acl_id, 0, 3, 4), kOk);
    EXPECT_EQ(rule_keys(daemon_.dump()), (std::vector<std::string>{"1_4", "1_5", "1_6"}));
    const Watch watch(daemon_);
    EXPECT_EQ(client_.move_block(acl_.acl_id, 4, 1, 6), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(
        failed_by_name(4, 0) +
        failed(4, "Failed to delete rule at offset [6] from ACL RM DB for ACL ID [1], error: 4",
               0) +
        failed(4, "Failed to modify the offset for entry at offset [4]", 0) +
        failed(4, "Failed to update rules new offsets in DB", 0) +
        failed(4, "Failed in move block operation", 0));
    check_cache(daemon_, kSkipRules);
}

// A group's 128 is in the way of 648 bind points, unless the switch refuses to unbind an empty
// group: each bind after that lists the port once more.
TEST(BindPointLimit, TheSixHundredFortyNinthIsNotRecorded) {
    constexpr uint32_t kBind = ZV_ACL_RM_ACCESS_CMD_BIND;
    constexpr uint32_t kUnbind = ZV_ACL_RM_ACCESS_CMD_UNBIND;
    DaemonProcess daemon;
    TestClient client(daemon);
    const uint32_t acl_id = client.make_acl(0).acl_id;
    ASSERT_EQ(client.bind_ports(kBind, acl_id, {kPort}), kOk);
    daemon.control().fail("zv_api_acl_port_bind_set", 2, 1, -1);
    for (int listed = 1; listed < 648; ++listed) {
        ASSERT_EQ(client.bind_ports(kUnbind, acl_id, {kPort}), ZV_ACL_RM_STATUS_ERROR);
        ASSERT_EQ(client.bind_ports(kBind, acl_id, {kPort}), kOk);
    }
    ASSERT_EQ(client.bind_ports(kUnbind, acl_id, {kPort}), ZV_ACL_RM_STATUS_ERROR);
    daemon.allow_error_lines();
    const Watch watch(daemon);
    EXPECT_EQ(client.bind_ports(kBind, acl_id, {kPort}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(
        failed(4, "acl id[1] is bound to [648] ports, port_id[65537] is not recorded", 2));
    EXPECT_EQ(acls_of_group(daemon.dump(), 1), std::vector<uint32_t>{acl_id});
    // The switch comes round, and the whole list goes at once.
    daemon.control().clear_faults();
    EXPECT_EQ(client.bind_ports(kUnbind, acl_id, {kPort}), kOk);
    EXPECT_EQ(cache_digest(daemon), (Digest{"acls 1, rules 0", "acl 1: owner 0, region 1"}));
    check_cache(daemon);
}

}  // namespace
}  // namespace zv_test
