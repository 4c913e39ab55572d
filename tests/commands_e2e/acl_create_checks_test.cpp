// ACL_SET create: each refusal, in the order of the checks, and each failure on the way.
#include <gtest/gtest.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

Answer create(DaemonProcess &daemon, const zv_acl_rm_acl_set_params_t &request) {
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_SET, request);
}

acl_rm_acl unequal_sizes() {
    acl_rm_acl acl = acl_of_size(10);
    acl.max_size = 12;
    return acl;
}

TEST(AclCreateChecks, ALengthThatIsOffByOneIsRefusedFirst) {
    DaemonProcess daemon;
    for (const size_t length : {size_t{0}, size_t{47}, size_t{49}}) {
        const Watch watch(daemon);
        const Answer answer = send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_ACL_SET, Bytes(length));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(
            {{"ACL_RM_RPC", "ERROR",
              "failed to receive zv_acl_rm_api_acl_set len " + std::to_string(length) + "."}});
        watch.expect_calls({});
    }
}

TEST(AclCreateChecks, AClosedSwitchComesBeforeTheCommand) {
    DaemonProcess daemon;
    zv_acl_rm_acl_set_params_t request = create_request(kNobody, acl_of_size(4));
    request.cmd = 3;
    const Watch watch(daemon);
    EXPECT_EQ(create(daemon, request).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "ACL RM is not initialized", 0));
    watch.expect_calls({});
}

TEST(AclCreateChecks, TheCommandComesBeforeTheOwner) {
    DaemonProcess daemon;
    TestClient client(daemon);
    for (const uint32_t cmd : {0u, 1u, 3u, 6u, 7u, 0xffffffffu}) {
        zv_acl_rm_acl_set_params_t request = create_request(kNobody, acl_of_size(4));
        request.cmd = cmd;
        const Watch watch(daemon);
        const Answer answer = create(daemon, request);
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(failed(2, "Command unsupported, cmd type is:" + std::to_string(cmd), 0));
        watch.expect_calls({});
    }
}

TEST(AclCreateChecks, TheOwnerComesBeforeTheSizes) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const Watch watch(daemon);
    const Answer answer = create(daemon, create_request(kNobody, unequal_sizes()));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed(5, "Can't find handle[119] in acl_rm_clients_handles", 1));
    watch.expect_calls({});
}

TEST(AclCreateChecks, UnequalSizesCallNothingInTheSwitch) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const Watch watch(daemon);
    const Answer answer = create(daemon, create_request(client.handle(), unequal_sizes()));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed(4, "Wrong acl size min=[10] != max=[12], it should be equal!", 1));
    watch.expect_calls({});
    EXPECT_EQ(daemon.dump().acl_table_cnt, 0u);
    check_cache(daemon);
}

struct FailingCall : testing::TestWithParam<std::pair<uint32_t, bool>> {
    uint32_t sdk_status() const { return GetParam().first; }
    bool late() const { return GetParam().second; }
    std::string number() const { return std::to_string(sdk_status()); }
};

TEST_P(FailingCall, RegionCreateLeavesNothingInTheCache) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = {0, 3, 5, 7, 9, 40, 40, 0};
    daemon.control().fail("zv_api_acl_region_set", sdk_status(), 1, 1, late());
    const Watch watch(daemon);
    const Answer answer = create(daemon, create_request(client.handle(), acl));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    const uint32_t region_id = late() ? 1 : 0;
    watch.expect_lines(failed(1,
                              "failed to create region in SDK error: " + number() +
                                  " acl_key_type: 3 , action_type: 5 , region_size: 40 , "
                                  "region_id: " +
                                  std::to_string(region_id),
                              1));
    watch.expect_calls({region_created(acl, region_id, sdk_status())});
    EXPECT_EQ(daemon.dump().acl_table_cnt, 0u);
    EXPECT_EQ(daemon.control().used("regions"), region_id);
    check_cache(daemon, late() ? kSkipLeftOvers : kSkipNothing);
}

TEST_P(FailingCall, AclCreateLeavesTheRegionBehindUncounted) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = {0, 3, 5, 7, 9, 40, 40, 0};
    daemon.control().fail("zv_api_acl_set", sdk_status(), 1, 1, late());
    const Watch watch(daemon);
    const Answer answer = create(daemon, create_request(client.handle(), acl));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed(1,
                              "Failed to create ACL in SDK (error: " + number() +
                                  ") , type: [7] , direction: [9] , regions : [1]",
                              1));
    watch.expect_calls({region_created(acl, 1), acl_created(acl, 1, late() ? 1 : 0, sdk_status())});
    EXPECT_EQ(daemon.dump().acl_table_cnt, 0u);
    EXPECT_EQ(daemon.control().used("regions"), 1u);
    EXPECT_EQ(daemon.control().used("acls"), late() ? 1u : 0u);
    check_cache(daemon, kSkipLeftOvers);
    // The next one gets a region of its own.
    EXPECT_EQ(client.make_acl(4).region_id, 2u);
}

INSTANTIATE_TEST_SUITE_P(AclCreate, FailingCall,
                         testing::Values(std::pair{5u, false}, std::pair{1u, false},
                                         std::pair{5u, true}, std::pair{1u, true}));

TEST(AclCreateFailures, WithoutMemoryForFlagsTheAclCountsButIsNotCached) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = acl_of_size(16);
    daemon.control().fail("cl_malloc", 1);
    const Watch watch(daemon);
    const Answer answer = create(daemon, create_request(client.handle(), acl));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed_by_name(3, 1));
    watch.expect_calls({region_created(acl, 1), acl_created(acl, 1, 1), memory_taken(64, 1)});
    const CacheDump dump = daemon.dump();
    EXPECT_EQ(dump.acl_table_cnt, 1u);
    EXPECT_TRUE(dump.acls.empty());
    EXPECT_EQ(daemon.control().used("acls"), 1u);
    check_cache(daemon, kSkipCounts | kSkipLeftOvers);
}

TEST(AclCreateFailures, TheSwitchMayHaveNoRoomForTheRegion) {
    DaemonOptions options;
    options.config = {{"tcam_entries", 100}};
    DaemonProcess daemon(options);
    TestClient client(daemon);
    client.make_acl(60);
    acl_rm_acl acl = acl_of_size(41);
    const Watch watch(daemon);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1,
                              "failed to create region in SDK error: 5 acl_key_type: 0 , "
                              "action_type: 0 , region_size: 41 , region_id: 0",
                              1));
    acl = acl_of_size(40);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon);
}

TEST(AclCreateFailures, TheSwitchMayHaveNoRoomForTheAcl) {
    DaemonOptions options;
    options.config = {{"acls", 1}};
    DaemonProcess daemon(options);
    TestClient client(daemon);
    client.make_acl(1);
    acl_rm_acl acl = acl_of_size(1, 1);
    const Watch watch(daemon);
    EXPECT_EQ(client.create_acl(acl), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1,
                              "Failed to create ACL in SDK (error: 5) , type: [0] , direction: "
                              "[1] , regions : [2]",
                              1));
    check_cache(daemon, kSkipLeftOvers);
}

}  // namespace
}  // namespace zv_test
