// What INIT allows on which chip, seen through the commands that the limits refuse.
#include <gtest/gtest.h>

#include "tests/support/daemon_process.h"
#include "tests/support/test_client.h"

namespace zv_test {
namespace {

LogLine too_many(uint32_t rules_num) {
    return error_line(
        4, "To many rules [" + std::to_string(rules_num) + "] to configure in one action");
}

LogLine unknown_chip() {
    return {"ACL_RM_RPC", "INFO", "ACL RM init resources failed. acl_ret_status:=1."};
}

TEST(Limits, InitKnowsNineChipTypes) {
    DaemonOptions options;
    options.rpc_verbosity = 4;
    DaemonProcess daemon(options);
    TestClient client = TestClient::unopened(daemon, 7);
    for (const uint32_t chip_type : {1u, 3u, 5u, 6u, 7u, 8u, 9u, 10u, 11u}) {
        EXPECT_EQ(client.init(chip_type), ZV_ACL_RM_STATUS_SUCCESS) << chip_type;
        daemon.expect_no_log(unknown_chip());
    }
    for (const uint32_t chip_type : {0u, 2u, 4u, 12u, 13u, 0x80000000u, 0xffffffffu}) {
        EXPECT_EQ(client.init(chip_type), ZV_ACL_RM_STATUS_ERROR) << chip_type;
        daemon.expect_log(unknown_chip());
    }
}

struct ChipWithLimits : testing::TestWithParam<uint32_t> {};

TEST_P(ChipWithLimits, TakesTwentyRulesInACommandAndNotOneMore) {
    DaemonProcess daemon;
    TestClient client(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW, GetParam());
    const acl_rm_acl acl = client.make_acl(64);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 19)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(19, 20)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(39, 20), 21),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    daemon.expect_log(too_many(21));
    EXPECT_EQ(daemon.dump().rules_cnt, 39u);
}

INSTANTIATE_TEST_SUITE_P(EachChip, ChipWithLimits, testing::Values(1, 3, 6, 8, 9, 11));

struct ChipWithoutLimits : testing::TestWithParam<uint32_t> {};

TEST_P(ChipWithoutLimits, RefusesEveryCommandThatCarriesARule) {
    DaemonProcess daemon;
    TestClient client(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW, GetParam());
    const acl_rm_acl acl = client.make_acl(64);
    EXPECT_EQ(client.write_rules(acl.acl_id, {}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 1)),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    daemon.expect_log(too_many(1));
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 20)),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    daemon.expect_log(too_many(20));
}

INSTANTIATE_TEST_SUITE_P(EachChip, ChipWithoutLimits, testing::Values(5, 7, 10));

TEST(Limits, AreZeroBeforeTheFirstInit) {
    DaemonProcess daemon;
    TestClient client = TestClient::unopened(daemon, 7);
    EXPECT_EQ(client.open(0), ZV_ACL_RM_STATUS_SUCCESS);
    const acl_rm_acl acl = client.make_acl(4);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 1)),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    daemon.expect_log(too_many(1));
}

TEST(Limits, StayAsTheyWereAfterAnUnknownChip) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(32);
    EXPECT_EQ(client.init(0), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 20)), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.init(5), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.init(12), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(20, 1)),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    daemon.expect_log(too_many(1));
}

TEST(Limits, AreLoadedAnewByEachInit) {
    DaemonProcess daemon;
    TestClient client(daemon);
    const acl_rm_acl acl = client.make_acl(32);
    EXPECT_EQ(client.init(10), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 1)),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    daemon.expect_log(too_many(1));
    EXPECT_EQ(client.init(11), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client.write_rules(acl.acl_id, make_rules(0, 20)), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST(Limits, AChipWithLimitsHolds399Acls) {
    DaemonProcess daemon;
    TestClient client(daemon);
    for (int i = 0; i < 399; ++i) {
        client.make_acl(0);
    }
    const size_t mark = daemon.trace_mark();
    acl_rm_acl one_more = acl_of_size(0);
    EXPECT_EQ(client.create_acl(one_more), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_TRUE(daemon.call_names_since(mark).empty()) << "the switch was asked";
    daemon.expect_log(notification_line(6, "Not enough resources to create region"));
    EXPECT_EQ(daemon.dump().acl_table_cnt, 399u);
}

TEST(Limits, AChipWithoutLimitsHoldsMoreAcls) {
    DaemonProcess daemon;
    TestClient client(daemon, ZV_ACL_RM_OWNER_OPEN_FLOW, 5);
    for (int i = 0; i < 401; ++i) {
        client.make_acl(0);
    }
    EXPECT_EQ(daemon.dump().acl_table_cnt, 401u);
}

}  // namespace
}  // namespace zv_test
