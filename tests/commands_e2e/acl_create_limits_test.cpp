// How many ACLs there can be: 399 where the chip has limits, else what the cache holds.
#include <gtest/gtest.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

DaemonOptions roomy_switch() {
    DaemonOptions options;
    options.config = {{"acls", 1000}, {"regions", 1000}};
    return options;
}

void make_acls(TestClient &client, uint32_t acls_num, uint32_t size) {
    for (uint32_t i = 0; i < acls_num; ++i) {
        ASSERT_EQ(client.make_acl(size).acl_id, i + 1);
    }
}

TEST(AclLimit, ThreeHundredNinetyNineFitAndTheNextIsRefusedWithANotice) {
    DaemonProcess daemon;
    TestClient client(daemon);
    make_acls(client, 398, 1);
    const acl_rm_acl last = client.make_acl(1);
    EXPECT_EQ(last.acl_id, 399u);
    for (int attempt = 0; attempt < 2; ++attempt) {
        acl_rm_acl acl = acl_of_size(1);
        const Watch watch(daemon);
        EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_NO_RESOURCES);
        watch.expect_lines(notified(6, "Not enough resources to create region", 1));
        watch.expect_calls({});
    }
    EXPECT_EQ(daemon.dump().acl_table_cnt, 399u);
    check_cache(daemon);
}

TEST(AclLimit, UnequalSizesComeBeforeIt) {
    DaemonProcess daemon;
    TestClient client(daemon);
    make_acls(client, 399, 0);
    acl_rm_acl acl = acl_of_size(1);
    acl.max_size = 2;
    const Watch watch(daemon);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4, "Wrong acl size min=[1] != max=[2], it should be equal!", 1));
}

TEST(AclLimit, CountsAclsThatTheCacheCouldNotTake) {
    DaemonProcess daemon;
    TestClient client(daemon);
    daemon.control().fail("cl_malloc", 1);
    acl_rm_acl acl = acl_of_size(1);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_PARAM_NULL);
    for (const LogLine &line : failed_by_name(3, 1)) {
        daemon.expect_log(line);
    }
    for (uint32_t i = 0; i < 398; ++i) {
        client.make_acl(0);
    }
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_EQ(daemon.dump().acls.size(), 398u);
}

// Only the count's being equal to the limit refuses: one that was passed on another chip is passed.
TEST(AclLimit, IsNotFeltOnceItWasPassedOnAChipWithoutLimits) {
    DaemonOptions options = roomy_switch();
    DaemonProcess daemon(options);
    TestClient client(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW, 5);
    make_acls(client, 400, 0);
    ASSERT_EQ(client.init(3), ZV_ACL_RM_STATUS_SUCCESS);
    for (uint32_t i = 400; i < 511; ++i) {
        ASSERT_EQ(client.make_acl(0).acl_id, i + 1);
    }
    // 511 is the other limit minus 1.
    acl_rm_acl acl = acl_of_size(0);
    const Watch watch(daemon);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_NO_RESOURCES);
    watch.expect_lines(notified(6, "Not enough resources to create region", 1));
    watch.expect_calls({});
}

TEST(AclLimit, BeforeTheFirstInitThereIsNone) {
    DaemonProcess daemon(roomy_switch());
    ASSERT_EQ(open_as(daemon, 9, ZV_ACL_RM_OWNER_PRA), ZV_ACL_RM_STATUS_SUCCESS);
    TestClient client = TestClient::unopened(daemon, 9);
    make_acls(client, 400, 0);
    EXPECT_EQ(daemon.dump().acl_table_cnt, 400u);
}

TEST(AclLimit, AChipWithoutLimitsRunsIntoTheCacheAtTheSixHundredFortyNinth) {
    DaemonProcess daemon(roomy_switch());
    TestClient client(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW, 5);
    make_acls(client, 648, 1);
    check_cache(daemon);

    const acl_rm_acl acl = acl_of_size(2);
    const Watch watch(daemon);
    const Answer answer =
        send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_SET, create_request(client.handle(), acl));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed(1, "Insert not successful", 2));
    // What was done before stays: region and ACL in the switch, and the count.
    EXPECT_EQ(daemon.control().used("acls"), 649u);
    EXPECT_EQ(daemon.control().used("regions"), 649u);
    const CacheDump dump = daemon.dump();
    EXPECT_EQ(dump.acl_table_cnt, 649u);
    EXPECT_EQ(dump.acls.size(), 648u);
}

}  // namespace
}  // namespace zv_test
