// OPEN and INIT: who may act as whom, when the switch is opened, and what is left by a failure.
#include <gtest/gtest.h>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

constexpr uint64_t kHandle = 0x0102030405060708;

uint32_t create_as(DaemonProcess &daemon, uint64_t handle) {
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_SET,
                       create_request(handle, acl_of_size(4)))
        .status;
}

int32_t owner_of_newest(DaemonProcess &daemon) {
    const CacheDump dump = daemon.dump();
    const CacheDump::Acl *newest = nullptr;
    for (const CacheDump::Acl &acl : dump.acls) {
        newest = newest == nullptr || acl.acl_id > newest->acl_id ? &acl : newest;
    }
    return newest == nullptr ? -1 : newest->owner;
}

Lines unknown_handle(uint64_t handle) {
    return failed(5, "Can't find handle[" + std::to_string(handle) + "] in acl_rm_clients_handles",
                  1);
}

TEST(Open, OpensTheSwitchAndAnswersWithoutARecord) {
    DaemonProcess daemon;
    const Watch watch(daemon);
    const zv_acl_rm_open_params_t request = {kHandle, ZV_ACL_RM_OWNER_PRA, 0xffffffff};
    const Answer answer = send_record(daemon, ZV_ACL_RM_API_INT_CMD_OPEN, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_calls({sdk_open()});
    watch.expect_lines({});
    EXPECT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(owner_of_newest(daemon), ZV_ACL_RM_OWNER_PRA);
    check_cache(daemon);
}

TEST(Open, ASecondOneDoesNotOpenTheSwitchAgain) {
    DaemonProcess daemon;
    ASSERT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_PRA), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon);
    EXPECT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_PRA), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(open_as(daemon, kHandle + 1, ZV_ACL_RM_OWNER_OF13), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_nothing();
}

struct EachOwner : testing::TestWithParam<uint32_t> {};

TEST_P(EachOwner, OwnsWhatItsHandleCreates) {
    DaemonProcess daemon;
    const TestClient client(daemon, GetParam());
    EXPECT_EQ(create_as(daemon, client.handle()), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(owner_of_newest(daemon), static_cast<int32_t>(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Open, EachOwner, testing::Values(0u, 1u, 2u, 3u));

TEST(Open, ReplacesTheFormerClientOfTheOwner) {
    DaemonProcess daemon;
    ASSERT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_TARN_OS), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(open_as(daemon, kHandle + 1, ZV_ACL_RM_OWNER_TARN_OS), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon);
    EXPECT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(unknown_handle(kHandle));
    watch.expect_calls({});
}

TEST(Open, TheAclsOfTheFormerClientStayWithTheOwner) {
    DaemonProcess daemon;
    ASSERT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_TARN_OS), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(open_as(daemon, kHandle + 1, ZV_ACL_RM_OWNER_TARN_OS), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET,
                          bind_request(kHandle + 1, 1, {kPort}))
                  .status,
              ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon);
}

TEST(Open, OfTwoOwnersWithOneHandleTheLowerWins) {
    DaemonProcess daemon;
    ASSERT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_OF13), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(owner_of_newest(daemon), ZV_ACL_RM_OWNER_OF13);
    ASSERT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_TARN_OS), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(owner_of_newest(daemon), ZV_ACL_RM_OWNER_TARN_OS);
    // Also where an ACL is named: the handle now acts for tarn-os alone.
    const Watch watch(daemon);
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET,
                          bind_request(kHandle, 1, {kPort}))
                  .status,
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Wrong owner[1] trying to control another owner[3] resource", 1));
}

TEST(Open, AHandleOf0MatchesTheFirstOwnerThatNeverOpened) {
    DaemonProcess daemon;
    ASSERT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_OPEN_FLOW), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(create_as(daemon, 0), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(owner_of_newest(daemon), ZV_ACL_RM_OWNER_TARN_OS);
}

TEST(Open, WithAllOwnersOpenAHandleOf0MatchesNone) {
    DaemonProcess daemon;
    for (uint32_t owner = 0; owner < ZV_ACL_RM_OWNER_NUM; ++owner) {
        ASSERT_EQ(open_as(daemon, kHandle + owner, owner), ZV_ACL_RM_STATUS_SUCCESS);
    }
    const Watch watch(daemon);
    EXPECT_EQ(create_as(daemon, 0), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(unknown_handle(0));
}

TEST(Open, PrintsAllTwentyDigitsOfAHandle) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const Watch watch(daemon);
    EXPECT_EQ(create_as(daemon, 18446744073709551615u), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(
        failed(5, "Can't find handle[18446744073709551615] in acl_rm_clients_handles", 1));
}

struct OwnerPastTheLast : testing::TestWithParam<uint32_t> {};

TEST_P(OwnerPastTheLast, IsRefusedAfterTheSwitchWasOpened) {
    DaemonProcess daemon;
    const Watch watch(daemon);
    EXPECT_EQ(open_as(daemon, kHandle, GetParam()), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_calls({sdk_open()});
    daemon.allow_error_lines();
    // Nothing was stored: the handle is nobody's, and the daemon goes on.
    EXPECT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_OF13), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon);
}

INSTANTIATE_TEST_SUITE_P(Open, OwnerPastTheLast,
                         testing::Values(4u, 5u, 0x7fffffffu, 0x80000000u, 0xffffffffu));

Lines switch_not_opened(uint32_t sdk_status) {
    const std::string number = std::to_string(sdk_status);
    return {error_line(1, "Can't open an handle to the SDK, error: [" + number + "]"),
            error_line(1, "ACL RM connect to sdk failure")};
}

struct OpenWithAClosedSwitch : testing::TestWithParam<uint32_t> {};

TEST_P(OpenWithAClosedSwitch, FailsButKnowsTheHandleOnceTheSwitchOpens) {
    DaemonProcess daemon;
    daemon.control().fail("zv_api_open", GetParam());
    const Watch first(daemon);
    EXPECT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_PRA), ZV_ACL_RM_STATUS_ERROR);
    first.expect_lines(switch_not_opened(GetParam()));
    first.expect_calls({sdk_open(GetParam())});

    const Watch refused(daemon);
    EXPECT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_ERROR);
    refused.expect_lines(failed(1, "ACL RM is not initialized", 0));
    refused.expect_calls({});

    const Watch again(daemon);
    EXPECT_EQ(open_as(daemon, kHandle + 1, ZV_ACL_RM_OWNER_OF13), ZV_ACL_RM_STATUS_SUCCESS);
    again.expect_calls({sdk_open()});
    EXPECT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(owner_of_newest(daemon), ZV_ACL_RM_OWNER_PRA);
}

INSTANTIATE_TEST_SUITE_P(Open, OpenWithAClosedSwitch, testing::Values(1u, 5u));

TEST(Init, OpensTheSwitchAndAnswersWithoutARecord) {
    DaemonProcess daemon;
    const Watch watch(daemon);
    const zv_acl_rm_init_params_t request = {kHandle, 3, 0xffffffff};
    const Answer answer = send_record(daemon, ZV_ACL_RM_API_INT_CMD_INIT, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_calls({sdk_open()});
    watch.expect_lines({});
}

TEST(Init, DoesNotRegisterTheHandle) {
    DaemonProcess daemon;
    const zv_acl_rm_init_params_t request = {kHandle, 3, 0};
    ASSERT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_INIT, request).status,
              ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon);
    EXPECT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(unknown_handle(kHandle));
}

TEST(Init, OfAnUnknownChipStillOpensTheSwitch) {
    DaemonProcess daemon;
    const Watch watch(daemon);
    const zv_acl_rm_init_params_t request = {kHandle, 0, 0};
    const Answer answer = send_record(daemon, ZV_ACL_RM_API_INT_CMD_INIT, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_calls({sdk_open()});
    watch.expect_lines({});
    ASSERT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_PRA), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST(Init, DoesNotTouchTheCache) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(8);
    ASSERT_EQ(client.write_rules(acl.acl_id, make_rules(0, 3)), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon);
    EXPECT_EQ(client.init(11), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_nothing();
    EXPECT_EQ(rule_keys(daemon.dump()), (std::vector<std::string>{"1_0", "1_1", "1_2"}));
    check_cache(daemon);
}

TEST(Init, WithAClosedSwitchLoadsNoLimits) {
    DaemonProcess daemon;
    daemon.control().fail("zv_api_open", 2);
    const Watch watch(daemon);
    const zv_acl_rm_init_params_t request = {kHandle, 3, 0};
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_INIT, request).status,
              ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(switch_not_opened(2));
    ASSERT_EQ(open_as(daemon, kHandle, ZV_ACL_RM_OWNER_PRA), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(create_as(daemon, kHandle), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch write(daemon);
    EXPECT_EQ(send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
                          write_request(kHandle, 1, make_rules(0, 1)))
                  .status,
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    write.expect_lines(failed(4, "To many rules [1] to configure in one action", 0));
}

TEST(Init, OfTheWrongLengthSpeaksInOpensWords) {
    DaemonProcess daemon;
    for (const size_t length : {size_t{0}, size_t{15}, size_t{17}}) {
        const Watch watch(daemon);
        const Answer answer = send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_INIT, Bytes(length));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(
            {{"ACL_RM_RPC", "ERROR",
              "failed to received zv_acl_rm_api_open len " + std::to_string(length) + "."}});
        watch.expect_calls({});
    }
}

}  // namespace
}  // namespace zv_test
