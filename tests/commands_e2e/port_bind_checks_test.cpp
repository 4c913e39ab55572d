// ACL_BIND_PORT_SET: each refusal before any port is looked at, in the order of the checks.
#include <gtest/gtest.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

Answer bind(DaemonProcess &daemon, const zv_acl_rm_acl_port_bind_params_t &request) {
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, request);
}

TEST(PortBindChecks, ALengthThatIsOffByOneIsRefusedFirst) {
    DaemonProcess daemon;
    for (const size_t length : {size_t{0}, size_t{423}, size_t{425}}) {
        const Watch watch(daemon);
        const Answer answer =
            send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET, Bytes(length));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines({{"ACL_RM_RPC", "ERROR",
                             "failed to received zv_acl_rm_api_acl_port_bind len " +
                                 std::to_string(length) + "."}});
        watch.expect_calls({});
    }
}

TEST(PortBindChecks, AClosedSwitchComesBeforeTheCommand) {
    DaemonProcess daemon;
    auto request = bind_request(kNobody, kNoAcl, {});
    request.cmd = 9;
    const Watch watch(daemon);
    EXPECT_EQ(bind(daemon, request).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "ACL RM is not initialized", 0));
    watch.expect_calls({});
}

TEST(PortBindChecks, TheCommandComesBeforeTheCount) {
    DaemonProcess daemon;
    TestClient client(daemon);
    for (const uint32_t cmd : {0u, 6u, 9u, 10u, 25u, 0xffffffffu}) {
        auto request = bind_request(kNobody, kNoAcl, {});
        request.cmd = cmd;
        const Watch watch(daemon);
        const Answer answer = bind(daemon, request);
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(failed(2, "Command unsupported, cmd type is:" + std::to_string(cmd), 0));
        watch.expect_calls({});
    }
}

TEST(PortBindChecks, ACountOf0ComesBeforeTheOwner) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const Watch watch(daemon);
    const Answer answer = bind(daemon, bind_request(kNobody, kNoAcl, {}));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed(4, "Wrong ports number [0] need to configure more than 0", 0));
    watch.expect_calls({});
}

TEST(PortBindChecks, AnUnknownHandleComesBeforeAnUnknownAcl) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const Watch watch(daemon);
    EXPECT_EQ(bind(daemon, bind_request(kNobody, kNoAcl, {kPort})).status,
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4,
                              "Wrong owner of the handle[119] toward ACL_RM, trying to control "
                              "another owner resource",
                              1));
    watch.expect_calls({});
}

TEST(PortBindChecks, AnUnknownAclIsRefused) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const Watch watch(daemon);
    EXPECT_EQ(bind(daemon, bind_request(client.handle(), kNoAcl, {kPort})).status,
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed_by_name(4, 1));
    watch.expect_calls({});
}

struct ForeignOwner : testing::TestWithParam<std::pair<uint32_t, uint32_t>> {};

TEST_P(ForeignOwner, CannotBindAnAcl) {
    const auto [asking, owning] = GetParam();
    DaemonProcess daemon;
    TestClient asker(daemon, asking);
    TestClient owner(daemon, owning);
    const acl_rm_acl acl = owner.make_acl(1);
    const Watch watch(daemon);
    EXPECT_EQ(bind(daemon, bind_request(asker.handle(), acl.acl_id, {kPort})).status,
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1,
                              "Wrong owner[" + std::to_string(asking) +
                                  "] trying to control another owner[" + std::to_string(owning) +
                                  "] resource",
                              1));
    watch.expect_calls({});
    EXPECT_EQ(bind(daemon, bind_request(owner.handle(), acl.acl_id, {kPort})).status,
              ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon);
}

INSTANTIATE_TEST_SUITE_P(PortBindChecks, ForeignOwner,
                         testing::Values(std::pair{0u, 2u}, std::pair{2u, 0u}, std::pair{3u, 1u},
                                         std::pair{1u, 3u}));

// The record has room for 100; a larger count would be read from behind it.
TEST(PortBindChecks, MorePortsThanTheRecordHoldsAreRefused) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(1);
    daemon.allow_error_lines();
    for (const uint32_t ports_num : {101u, 102u, 0x80000000u, 0xffffffffu}) {
        auto request = bind_request(client.handle(), acl.acl_id, ports_from(kPort, 100));
        request.ports_num = ports_num;
        const Watch watch(daemon);
        const Answer answer = bind(daemon, request);
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_calls({});
    }
    check_cache(daemon);
}

TEST(PortBindChecks, TheOwnerComesBeforeTooManyPorts) {
    DaemonProcess daemon;
    TestClient client(daemon);
    auto request = bind_request(kNobody, kNoAcl, ports_from(kPort, 100));
    request.ports_num = 101;
    const Watch watch(daemon);
    EXPECT_EQ(bind(daemon, request).status, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4,
                              "Wrong owner of the handle[119] toward ACL_RM, trying to control "
                              "another owner resource",
                              1));
}

}  // namespace
}  // namespace zv_test
