// Binding an ACL to bind points: new groups, existing groups, and what stays after each failure.
#include <gtest/gtest.h>

#include <ostream>

#include "core/acl_rm_group.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

using Ids = std::vector<uint32_t>;
using Keys = std::vector<bind_point_key>;

constexpr bind_point_key PORT = {BIND_POINT_LOG_PORT, 65537};
constexpr bind_point_key OTHER_PORT = {BIND_POINT_LOG_PORT, 65538};
constexpr bind_point_key RIF = {BIND_POINT_RIF, 0x12340007};

bool operator==(const bind_point_key &a, const bind_point_key &b) {
    return a.bind_point_type == b.bind_point_type && a.port_id == b.port_id;
}

class GroupBindTest : public ConnectedFixture {
  protected:
    static zv_acl_rm_status_t bind(uint32_t acl_id, const Keys &keys) {
        const auto keys_num = static_cast<uint32_t>(keys.size());
        return acl_rm_bind_acl(acl_id, keys.data(), &keys_num);
    }
    static Keys bound_points(uint32_t acl_id) {
        const acl_id_info *info = cached_acl(acl_id);
        return {info->acl_bound_ports, info->acl_bound_ports + info->acl_bound_ports_num};
    }
    static void expect_bound(uint32_t acl_id, const Keys &keys) {
        const Keys found = bound_points(acl_id);
        ASSERT_EQ(found.size(), keys.size());
        for (size_t i = 0; i < keys.size(); i++)
            EXPECT_TRUE(found[i] == keys[i]) << i;
    }
    static Ids list_in_switch() {
        return recorded_calls("zv_api_acl_group_set").back()["args"]["acl_ids"];
    }
};

TEST_F(GroupBindTest, NoKeysSucceed) {
    EXPECT_EQ(bind(77, {}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(GroupBindTest, UnknownAclIsReported) {
    EXPECT_EQ(bind(77, {PORT}), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(take_lines(), {}, 5, 2));
    EXPECT_EQ(recorded_calls("zv_api_acl_group_set").size(), 0u);
}

TEST_F(GroupBindTest, PortWithoutAGroupGetsOne) {
    const uint32_t acl_id = create_acl(4, OPEN_FLOW_HANDLE, 1);
    EXPECT_EQ(bind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(group_at(PORT), 1u);
    EXPECT_EQ(acl_ids_of(1), Ids{acl_id});
    EXPECT_EQ(cached_group(1)->direction, 1u);
    EXPECT_EQ(g_acl_group_cnt, 1);
    expect_bound(acl_id, {PORT});
    const nlohmann::json args = recorded_calls("zv_api_acl_port_bind_set").at(0)["args"];
    EXPECT_EQ(args, (nlohmann::json{{"cmd", 25}, {"log_port", 65537}, {"group_id", 1}}));
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(GroupBindTest, RouterInterfaceIsBoundByItsLow16Bits) {
    const uint32_t acl_id = create_acl();
    EXPECT_EQ(bind(acl_id, {RIF}), ZV_ACL_RM_STATUS_SUCCESS);
    const nlohmann::json args = recorded_calls("zv_api_acl_rif_bind_set").at(0)["args"];
    EXPECT_EQ(args, (nlohmann::json{{"cmd", 25}, {"rif_id", 7}, {"group_id", 1}}));
    EXPECT_EQ(group_at(RIF), 1u);
    EXPECT_EQ(recorded_calls("zv_api_acl_port_bind_set").size(), 0u);
}

TEST_F(GroupBindTest, PointOfAnotherTypeCountsAsBoundWithoutACall) {
    const uint32_t acl_id = create_acl();
    EXPECT_EQ(bind(acl_id, {{2, 9}}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(group_at({2, 9}), 1u);
    expect_bound(acl_id, {{2, 9}});
    EXPECT_EQ(recorded_calls("zv_api_acl_port_bind_set").size(), 0u);
    EXPECT_EQ(recorded_calls("zv_api_acl_rif_bind_set").size(), 0u);
}

TEST_F(GroupBindTest, TellsItsStepsAtInfo) {
    const uint32_t acl_id = create_acl();
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(bind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(),
              (Lines{line(INFO_MASK, "No ACL is bound to port_id [10001].\n"),
                     line(INFO_MASK, "calling bindNewAcl.\n"),
                     line(INFO_MASK, "Create new group with ID=[1].\n"),
                     line(INFO_MASK,
                          "insert to hash-table:sdk_acl_grp_2_sdk_acl_grp_info_table_ht "
                          "new group[1] with acl[1].\n"),
                     line(INFO_MASK,
                          "insert to hash-table:port_id_2_sdk_acl_group_ht new "
                          "port_id[65537] with acl-group[1].\n")}));
}

TEST_F(GroupBindTest, SecondBindOfTheSamePortChangesNothing) {
    const uint32_t acl_id = create_acl();
    EXPECT_EQ(bind(acl_id, {PORT, PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_ids_of(1), Ids{acl_id});
    expect_bound(acl_id, {PORT});
    EXPECT_EQ(recorded_calls("zv_api_acl_group_set").size(), 2u);
}

TEST_F(GroupBindTest, SecondAclEntersTheGroupAtItsOwnersPlace) {
    const uint32_t open_flow = create_acl(4, OPEN_FLOW_HANDLE);
    const uint32_t pra = create_acl(4, PRA_HANDLE);
    const uint32_t of13 = create_acl(4, OF13_HANDLE);
    const uint32_t tarn_os = create_acl(4, TARN_OS_HANDLE);
    for (const uint32_t acl_id : {open_flow, pra, of13, tarn_os})
        ASSERT_EQ(bind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_ids_of(1), (Ids{pra, open_flow, tarn_os, of13}));
    EXPECT_EQ(list_in_switch(), acl_ids_of(1));
    EXPECT_EQ(g_acl_group_cnt, 1);
}

TEST_F(GroupBindTest, GroupIsOfOneDirection) {
    ASSERT_EQ(bind(create_acl(4, OPEN_FLOW_HANDLE, 1), {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    const uint32_t ingress = create_acl(4, OPEN_FLOW_HANDLE, 0);
    EXPECT_EQ(bind(ingress, {PORT}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1,
                                 "Can't Bind acl id[2] to port_id[65537]. the port has "
                                 "different direction. port direction:[1], acl direction[0]")},
                        1, 1));
    EXPECT_EQ(acl_ids_of(1), Ids{1});
    expect_bound(ingress, {});
}

TEST_F(GroupBindTest, SeventeenthAclFindsTheGroupFull) {
    for (uint32_t i = 0; i < 16; i++)
        ASSERT_EQ(bind(create_acl(1), {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    const Ids before = acl_ids_of(1);
    ASSERT_EQ(before.size(), 16u);
    EXPECT_EQ(bind(create_acl(1), {PORT}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(6, "Can't Bind acl id[17] to port_id[65537]. The Group is full")},
                        6, 1));
    EXPECT_EQ(acl_ids_of(1), before);
}

TEST_F(GroupBindTest, There128GroupsAndNotOneMore) {
    const uint32_t acl_id = create_acl();
    g_acl_group_cnt = 127;
    EXPECT_EQ(bind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_acl_group_cnt, 128);
    EXPECT_EQ(bind(acl_id, {OTHER_PORT}), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_TRUE(reports(
        take_lines(),
        {failure(6, "ACL [1] can't be bound to port_id [65538]. Not enough acl groups")}, 6, 1));
    EXPECT_EQ(group_at(OTHER_PORT), 0u);
    EXPECT_EQ(g_acl_group_cnt, 128);
}

TEST_F(GroupBindTest, PortsBeforeAFailureStayBound) {
    const uint32_t acl_id = create_acl();
    fail_call("zv_api_acl_group_set", 1, {.nth = 3});
    EXPECT_EQ(bind(acl_id, {PORT, OTHER_PORT, RIF}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Failed to create new group ACL [1], (error: 1)\n")}, 1, 2));
    expect_bound(acl_id, {PORT});
    EXPECT_EQ(group_at(OTHER_PORT), 0u);
    EXPECT_EQ(group_at(RIF), 0u);
}

TEST_F(GroupBindTest, RefusedBindLeavesGroupAndTablesAndNamesTheGroup) {
    ASSERT_EQ(bind(create_acl(), {OTHER_PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    const uint32_t acl_id = create_acl(1);
    const uint32_t other = create_acl(1);
    fail_call("zv_api_acl_port_bind_set", 7);
    EXPECT_EQ(bind(other, {PORT}), ZV_ACL_RM_STATUS_ERROR);
    // The number after "ACL" is the group's.
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Failed to bind ACL [2] to port_id [65537] , (error: 7)")}, 1,
                        1));
    EXPECT_EQ(group_at(PORT), 2u);
    EXPECT_EQ(acl_ids_of(2).size(), 1u);
    EXPECT_EQ(g_acl_group_cnt, 2);
    expect_bound(other, {});
    expect_bound(acl_id, {});
}

TEST_F(GroupBindTest, BindWithoutRoomInTheSwitchTakesTheGroupAway) {
    for (const bind_point_key &key : {PORT, RIF}) {
        const uint32_t acl_id = create_acl(1);
        fail_call(key == PORT ? "zv_api_acl_port_bind_set" : "zv_api_acl_rif_bind_set", 5);
        EXPECT_EQ(bind(acl_id, {key}), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
        EXPECT_TRUE(reports(take_lines(),
                            {notification(7,
                                          "Not enough resource to bind ACL, the maximum ACL "
                                          "resources are in use")},
                            7, 1));
        EXPECT_EQ(recorded_calls("zv_api_acl_group_set").back()["args"]["cmd"], 13);
        EXPECT_EQ(group_at(key), 0u);
        EXPECT_EQ(entries_num(sdk_acl_grp_2_sdk_acl_grp_info_table_ht), 0u);
        EXPECT_EQ(g_acl_group_cnt, 0);
        expect_bound(acl_id, {});
    }
}

TEST_F(GroupBindTest, GroupThatCannotBeTakenAwayGivesItsOwnStatus) {
    const uint32_t acl_id = create_acl();
    fail_call("zv_api_acl_port_bind_set", 5);
    fail_call("zv_api_acl_group_set", 8, {.nth = 3});
    EXPECT_EQ(bind(acl_id, {PORT}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(
        reports(take_lines(), {failure(1, "Failed deleting ACL group:[1], (error: 8)\n")}, 1, 2));
    EXPECT_EQ(group_at(PORT), 1u);
    EXPECT_EQ(g_acl_group_cnt, 1);
}

TEST_F(GroupBindTest, GroupThatTheCacheHoldsAlreadyIsReportedBeforeItsBind) {
    cache_group(1, {});
    EXPECT_EQ(bind(create_acl(), {PORT}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "key already found while trying to insert new key.")}, 1, 2));
    EXPECT_EQ(group_at(PORT), 0u);
    EXPECT_EQ(g_acl_group_cnt, 1);
    EXPECT_EQ(recorded_calls("zv_api_acl_port_bind_set").size(), 0u);
}

TEST_F(GroupBindTest, FullTableOfBindPointsLeavesTheGroupCached) {
    for (uint32_t port = 0; port < 648; port++)
        cache_bind_point({0, port}, 9);
    EXPECT_EQ(bind(create_acl(), {PORT}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, "Insert not successful")}, 1, 2));
    EXPECT_EQ(acl_ids_of(1).size(), 1u);
    EXPECT_EQ(recorded_calls("zv_api_acl_port_bind_set").size(), 0u);
}

TEST_F(GroupBindTest, MissingArgumentsAreReported) {
    const uint32_t acl_id = create_acl();
    EXPECT_EQ(bindNewAcl(acl_id, 0, 0, nullptr, nullptr, &PORT), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(bindNewAcl(acl_id, 1, 1, cached_acl(acl_id), nullptr, &PORT),
              ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), (Lines{passed_up(3), passed_up(3)}));
    EXPECT_EQ(recorded_calls("zv_api_acl_group_set").size(), 0u);
}

TEST_F(GroupBindTest, BindPointWhoseGroupIsNotCachedIsRefused) {
    cache_bind_point(PORT, 55);
    EXPECT_EQ(bind(create_acl(), {PORT}), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_TRUE(reports(take_lines(), {}, 3, 2));
}

TEST_F(GroupBindTest, The648thBindPointOfAnAclIsItsLast) {
    const uint32_t acl_id = create_acl();
    acl_id_info *info = cached_acl(acl_id);
    info->acl_bound_ports_num = 647;
    EXPECT_EQ(bind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(info->acl_bound_ports_num, 648u);
    EXPECT_TRUE(info->acl_bound_ports[647] == PORT);
    EXPECT_EQ(bind(acl_id, {OTHER_PORT}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reports(
        take_lines(),
        {failure(4, "acl id[1] is bound to [648] ports, port_id[65538] is not recorded")}, 4, 1));
    EXPECT_EQ(info->acl_bound_ports_num, 648u);
    EXPECT_EQ(info->acl_id, acl_id);
    EXPECT_EQ(group_at(OTHER_PORT), 2u);
}

// A list of three, and a refusal after the fourth went to each place.
struct Refusal {
    uint64_t newcomer;
    uint32_t index;
    uint32_t sdk_status;
    uint32_t status;
};

void PrintTo(const Refusal &row, std::ostream *out) {
    *out << "place " << row.index << ", status " << row.sdk_status;
}

class RestoredListTest : public GroupBindTest, public testing::WithParamInterface<Refusal> {};

TEST_P(RestoredListTest, IsAsItWasAfterTheSwitchRefuses) {
    const Ids before = {create_acl(1, PRA_HANDLE), create_acl(1, OPEN_FLOW_HANDLE),
                        create_acl(1, TARN_OS_HANDLE)};
    for (const uint32_t acl_id : before)
        ASSERT_EQ(bind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    const uint32_t newcomer = create_acl(1, GetParam().newcomer);
    fail_call("zv_api_acl_group_set", GetParam().sdk_status);
    EXPECT_EQ(bind(newcomer, {PORT}), GetParam().status);
    // It had been put where it belongs.
    EXPECT_EQ(list_in_switch().at(GetParam().index), newcomer);
    EXPECT_EQ(acl_ids_of(1), before);
    expect_bound(newcomer, {});
    const Line told = GetParam().sdk_status == 5
                          ? notification(7, "Can't Add ACL table to group - not enough resources")
                          : failure(1, "Failed to add new ACL [4] to ACL GROUP:[1], (error: 1)");
    EXPECT_TRUE(reports(take_lines(), {told}, GetParam().status, 2));
    EXPECT_EQ(bind(newcomer, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_ids_of(1).at(GetParam().index), newcomer);
}

INSTANTIATE_TEST_SUITE_P(EachPlace, RestoredListTest,
                         testing::Values(Refusal{PRA_HANDLE, 1, 1, 1},
                                         Refusal{OPEN_FLOW_HANDLE, 2, 1, 1},
                                         Refusal{TARN_OS_HANDLE, 3, 1, 1},
                                         Refusal{OF13_HANDLE, 3, 5, 7},
                                         Refusal{PRA_HANDLE, 1, 5, 7}));

TEST_F(GroupBindTest, RestoresAfterAnInsertionAtTheFront) {
    const Ids before = {create_acl(1, OPEN_FLOW_HANDLE), create_acl(1, TARN_OS_HANDLE)};
    for (const uint32_t acl_id : before)
        ASSERT_EQ(bind(acl_id, {PORT}), ZV_ACL_RM_STATUS_SUCCESS);
    const uint32_t pra = create_acl(1, PRA_HANDLE);
    fail_call("zv_api_acl_group_set", 1);
    EXPECT_EQ(bind(pra, {PORT}), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(list_in_switch().at(0), pra);
    EXPECT_EQ(acl_ids_of(1), before);
}

// The sixteenth place: behind all others, and at the front of a list that becomes full.
TEST_F(GroupBindTest, RestoresAListThatWasAboutToBeFull) {
    for (const uint64_t newcomer : {TARN_OS_HANDLE, PRA_HANDLE}) {
        const bind_point_key key = {0, static_cast<uint32_t>(newcomer)};
        for (uint32_t i = 0; i < 15; i++)
            ASSERT_EQ(bind(create_acl(1, OPEN_FLOW_HANDLE), {key}), ZV_ACL_RM_STATUS_SUCCESS);
        const uint32_t group_id = group_at(key);
        const Ids before = acl_ids_of(group_id);
        ASSERT_EQ(before.size(), 15u);
        fail_call("zv_api_acl_group_set", 1);
        EXPECT_EQ(bind(create_acl(1, newcomer), {key}), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(acl_ids_of(group_id), before);
    }
}

}  // namespace
