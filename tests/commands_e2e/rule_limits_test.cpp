// 6400 rules are what the cache holds: below it a batch is accepted, at it none.
#include <gtest/gtest.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"

namespace zv_test {
namespace {

// The dump's 64 KiB do not hold 6400 rules, so its counters are what is looked at.
class RuleLimit : public testing::Test {
  protected:
    RuleLimit() : client_(daemon_), acl_(client_.make_acl(6500)) {}

    // Fills offsets 0 to rules_num - 1.
    void fill(uint32_t rules_num) {
        for (uint32_t first = 0; first < rules_num; first += 20) {
            const uint32_t batch = std::min(20u, rules_num - first);
            ASSERT_EQ(client_.write_rules(acl_.acl_id, make_rules(first, batch)),
                      ZV_ACL_RM_STATUS_SUCCESS);
        }
        ASSERT_EQ(daemon_.dump().rules_cnt, rules_num);
    }

    size_t rules_in_switch() {
        return daemon_.control().state().at("regions").at(0).at("rules").size();
    }

    static Lines full() {
        return notified(6, "Not enough resources to create rules, #rules = [6400]", 1);
    }

    DaemonProcess daemon_;
    TestClient client_;
    acl_rm_acl acl_;
};

TEST_F(RuleLimit, TheLastRuleFitsAndThenEveryWriteIsRefused) {
    fill(6399);
    EXPECT_EQ(client_.write_rules(acl_.acl_id, {make_rule(6399)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon_.dump().rules_cnt, 6400u);

    const Watch one(daemon_);
    const Answer answer =
        send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
                    write_request(client_.handle(), acl_.acl_id, {make_rule(6400)}));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_EQ(answer.body, Bytes());
    one.expect_lines(full());
    one.expect_calls({});

    // Also one that carries nothing, or nothing good.
    for (const std::vector<acl_rm_rule> &rules :
         {std::vector<acl_rm_rule>{}, {make_rule(6400, 4)}, {make_rule(0)}}) {
        const Watch watch(daemon_);
        EXPECT_EQ(client_.write_rules(acl_.acl_id, rules), ZV_ACL_RM_STATUS_NO_RESOURCES);
        watch.expect_lines(full());
        watch.expect_calls({});
    }
    EXPECT_EQ(rules_in_switch(), 6400u);
}

TEST_F(RuleLimit, ABatchThatStartsBelowItRunsIntoTheTable) {
    fill(6399);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.write_rules(acl_.acl_id, make_rules(6399, 20)), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Insert not successful", 3));
    std::vector<nlohmann::json> written;
    for (const acl_rm_rule &rule : make_rules(6399, 20)) {
        written.push_back(sdk_rule(rule));
    }
    watch.expect_calls({rules_written(1, written)});
    // The first of the batch took the last entry; the switch has all twenty.
    EXPECT_EQ(daemon_.dump().rules_cnt, 6400u);
    EXPECT_EQ(rules_in_switch(), 6419u);

    const Watch after(daemon_);
    EXPECT_EQ(client_.write_rules(acl_.acl_id, {make_rule(6450)}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    after.expect_lines(full());
}

TEST_F(RuleLimit, ABatchThatFitsExactlyIsWritten) {
    fill(6380);
    EXPECT_EQ(client_.write_rules(acl_.acl_id, make_rules(6380, 20)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon_.dump().rules_cnt, 6400u);
}

TEST_F(RuleLimit, TheOwnerAndTheCountComeBeforeIt) {
    fill(6400);
    TestClient other(daemon_, ZV_ACL_RM_OWNER_PRA);
    const Watch owner(daemon_);
    EXPECT_EQ(other.write_rules(acl_.acl_id, {make_rule(6400)}), ZV_ACL_RM_STATUS_ERROR);
    owner.expect_lines(failed(1, "Wrong owner[2] trying to control another owner[0] resource", 1));
    const Watch count(daemon_);
    EXPECT_EQ(client_.write_rules(acl_.acl_id, make_rules(6400, 20), 21),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    count.expect_lines(failed(4, "To many rules [21] to configure in one action", 0));
}

}  // namespace
}  // namespace zv_test
