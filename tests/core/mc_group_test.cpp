#include "core/acl_rm_mc_group.h"

#include <gtest/gtest.h>

#include "core/acl_rm.h"
#include "core/acl_rm_owner.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

constexpr uint32_t ADD = ZV_ACL_RM_ACCESS_CMD_ADD;
constexpr uint32_t ADD_PORTS = ZV_ACL_RM_ACCESS_CMD_ADD_PORTS;
constexpr uint32_t DELETE_PORTS = ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS;
constexpr uint32_t DELETE = ZV_ACL_RM_ACCESS_CMD_DELETE;
constexpr uint32_t PORTS_NUM = 2;

constexpr const char *MISSING_INFO_TABLE = "mcg_id_2_mcg_info hash table not initialized";

class McGroupTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        take_lines();
    }
    zv_acl_rm_status_t set(uint32_t cmd, uint32_t *mc_group_id,
                           uint64_t handle = OPEN_FLOW_HANDLE) {
        return acl_rm_acl_mc_group_set(handle, cmd, mc_group_id, ports_, &PORTS_NUM);
    }
    zv_acl_rm_status_t set(uint32_t cmd, uint32_t mc_group_id) { return set(cmd, &mc_group_id); }
    zv_acl_rm_status_t get(uint32_t mc_group_id) {
        return acl_rm_acl_mc_group_get(OPEN_FLOW_HANDLE, mc_group_id, ports_, &ports_num_);
    }
    static mcg_id_info *cached_mc_group(uint32_t mc_group_id) {
        mcg_id_info *info = nullptr;
        return look_up(mcg_id_2_mcg_id_info_table_ht, &mc_group_id, &info) == Lookup::found
                   ? info
                   : nullptr;
    }
    static size_t pbs_calls() {
        return recorded_calls("zv_api_acl_policy_based_switching_set").size() +
               recorded_calls("zv_api_acl_policy_based_switching_get").size();
    }

    uint32_t ports_[100] = {65537, 65538};
    uint32_t ports_num_ = 100;
};

// --- missing arguments

TEST_F(McGroupTest, SetNeedsPortsAndTheirNumberWhateverTheCommand) {
    uint32_t mc_group_id = 5;
    for (const uint32_t cmd : {ADD, ADD_PORTS, DELETE_PORTS, DELETE, 2u}) {
        EXPECT_EQ(acl_rm_acl_mc_group_set(UNKNOWN_HANDLE, cmd, &mc_group_id, ports_, nullptr),
                  ZV_ACL_RM_STATUS_PARAM_NULL);
        EXPECT_EQ(take_lines(), Lines{passed_up(3)});
        EXPECT_EQ(acl_rm_acl_mc_group_set(UNKNOWN_HANDLE, cmd, &mc_group_id, nullptr, &PORTS_NUM),
                  ZV_ACL_RM_STATUS_PARAM_NULL);
        EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    }
    EXPECT_EQ(mc_group_id, 5u);
    EXPECT_EQ(pbs_calls(), 0u);
}

TEST_F(McGroupTest, GetNeedsPortsAndTheirNumberBeforeTheOwner) {
    EXPECT_EQ(acl_rm_acl_mc_group_get(UNKNOWN_HANDLE, 1, ports_, nullptr),
              ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    EXPECT_EQ(acl_rm_acl_mc_group_get(UNKNOWN_HANDLE, 1, nullptr, &ports_num_),
              ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
}

class McGroupWithoutConnection : public CacheFixture {};

TEST_F(McGroupWithoutConnection, IsRefusedBeforeMissingArguments) {
    const Lines refused = {failure(1, "ACL RM is not initialized")};
    EXPECT_EQ(acl_rm_acl_mc_group_set(0, ADD, nullptr, nullptr, nullptr), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), refused);
    EXPECT_EQ(acl_rm_acl_mc_group_get(0, 1, nullptr, nullptr), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), refused);
}

// --- the cached record

TEST_F(McGroupTest, IsCachedUnderTheSwitchsIdWithItsOwner) {
    uint32_t mc_group_id = 77;
    EXPECT_EQ(set(ADD, &mc_group_id, PRA_HANDLE), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(mc_group_id, 1u);
    const mcg_id_info *info = cached_mc_group(1);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->group_id, 1u);
    EXPECT_EQ(info->owner, 2u);
    EXPECT_EQ(entries_num(mcg_id_2_mcg_id_info_table_ht), 1u);
}

TEST_F(McGroupTest, ChangingPortsNeitherReadsNorWritesTheCache) {
    uint32_t mc_group_id = 0;
    ASSERT_EQ(set(ADD, &mc_group_id), ZV_ACL_RM_STATUS_SUCCESS);
    const Missing gone(mcg_id_2_mcg_id_info_table_ht);
    EXPECT_EQ(acl_rm_add_ports_to_mc_group(mc_group_id, ports_, 2), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_del_ports_from_mc_group(mc_group_id, ports_, 2), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
}

// --- an id that is cached already, and groups that only one side knows

TEST_F(McGroupTest, AnIdThatIsCachedAlreadyLeavesItsEntryAndTheSwitchsGroup) {
    cache_mc_group(1, {90, 2});
    uint32_t mc_group_id = 0;
    EXPECT_EQ(set(ADD, &mc_group_id), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(
        take_lines(), {failure(1, "mcg id:1 already found while trying to insert new acl to DB.")},
        1, 2));
    EXPECT_EQ(cached_mc_group(1)->group_id, 90u);
    EXPECT_EQ(cached_mc_group(1)->owner, 2u);
    EXPECT_EQ(pbs_calls(), 1u);
    EXPECT_EQ(acl_rm_add_ports_to_mc_group(1, ports_, 2), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(McGroupTest, AGroupThatTheSwitchDoesNotKnowStaysCached) {
    cache_mc_group(50, {50, 0});
    const auto expect_refused = [](zv_acl_rm_status_t status, const std::string &text) {
        EXPECT_EQ(status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reports(take_lines(), {failure(1, text + " in SDK error: 6 \n")}, 1, 1));
    };
    expect_refused(set(ADD_PORTS, 50), "failed to add ports to MC PBS");
    expect_refused(set(DELETE_PORTS, 50), "failed to delete ports to MC PBS");
    expect_refused(set(DELETE, 50), "failed to delete MC PBS");
    expect_refused(get(50), "failed to get MC PBS");
    EXPECT_NE(cached_mc_group(50), nullptr);
    EXPECT_EQ(ports_[0], 65537u);
    EXPECT_EQ(ports_num_, 100u);
}

// It is the id that names the group in the switch; the PBS id of the record is for rules.
TEST_F(McGroupTest, TheIdAndNotTheCachedPbsIdGoesToTheSwitch) {
    cache_mc_group(50, {60, 0});
    EXPECT_EQ(set(ADD_PORTS, 50), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(get(50), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(recorded_calls("zv_api_acl_policy_based_switching_set").at(0)["args"]["pbs_id"], 50);
    EXPECT_EQ(recorded_calls("zv_api_acl_policy_based_switching_get").at(0)["args"]["pbs_id"], 50);
}

TEST_F(McGroupTest, DeletingAGroupThatOnlyTheSwitchKnowsDeletesItThereFirst) {
    uint32_t mc_group_id = 0;
    ASSERT_EQ(set(ADD, &mc_group_id), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(ht_mcg_id_2_mcg_info_remove(mc_group_id), ZV_ACL_RM_STATUS_SUCCESS);
    take_lines();
    EXPECT_EQ(acl_rm_del_mc_group(mc_group_id), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(
        take_lines(), {failure(5, "mcg id:1 not found while trying to remove acl from DB")}, 5, 1));
    EXPECT_EQ(acl_rm_add_ports_to_mc_group(mc_group_id, ports_, 2), ZV_ACL_RM_STATUS_ERROR);
}

// What the ownership check of a get hides.
TEST_F(McGroupTest, ReadingAnAbsentGroupIsNotFoundWithoutACall) {
    EXPECT_EQ(acl_rm_get_mc_group(9, ports_, &ports_num_), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), Lines{failure(5, "MC group 9 not found")});
    EXPECT_EQ(pbs_calls(), 0u);
}

// --- without the table

TEST_F(McGroupTest, WithoutItsTableANewOneStaysInTheSwitch) {
    const Missing gone(mcg_id_2_mcg_id_info_table_ht);
    uint32_t mc_group_id = 0;
    EXPECT_EQ(set(ADD, &mc_group_id), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, MISSING_INFO_TABLE)}, 1, 2));
    EXPECT_EQ(mc_group_id, 1u);
    EXPECT_EQ(pbs_calls(), 1u);
}

TEST_F(McGroupTest, WithoutItsTableOwnershipIsAnError) {
    const Missing gone(mcg_id_2_mcg_id_info_table_ht);
    for (const uint32_t cmd : {ADD_PORTS, DELETE_PORTS, DELETE}) {
        EXPECT_EQ(set(cmd, 1), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_TRUE(reports(take_lines(), {}, 1, 2));
    }
    EXPECT_EQ(get(1), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 2));
    EXPECT_EQ(pbs_calls(), 0u);
}

TEST_F(McGroupTest, WithoutItsTableADeletedOneIsGoneFromTheSwitch) {
    uint32_t mc_group_id = 0;
    ASSERT_EQ(set(ADD, &mc_group_id), ZV_ACL_RM_STATUS_SUCCESS);
    take_lines();
    {
        const Missing gone(mcg_id_2_mcg_id_info_table_ht);
        EXPECT_EQ(acl_rm_del_mc_group(mc_group_id), ZV_ACL_RM_STATUS_ERROR);
    }
    EXPECT_TRUE(reports(take_lines(), {failure(1, MISSING_INFO_TABLE)}, 1, 1));
    EXPECT_EQ(acl_rm_add_ports_to_mc_group(mc_group_id, ports_, 2), ZV_ACL_RM_STATUS_ERROR);
}

TEST_F(McGroupTest, WithoutItsTableReadingNamesTheTable) {
    const Missing gone(mcg_id_2_mcg_id_info_table_ht);
    EXPECT_EQ(acl_rm_get_mc_group(1, ports_, &ports_num_), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{failure(1, "mcg_id_2_mcg_id_info_table_ht hash table not initialized")});
}

// --- ownership

TEST_F(McGroupTest, MayBeTouchedByItsOwnerAloneAndNeverByOf13) {
    for (uint32_t owner = 0; owner < 4; owner++)
        cache_mc_group(20 + owner, {20 + owner, owner});
    for (uint32_t owner = 0; owner < 4; owner++) {
        for (uint32_t asker = 0; asker < 3; asker++)
            EXPECT_EQ(__validate_owner_mcg(OPEN_FLOW_HANDLE + asker, 20 + owner),
                      asker == owner ? ZV_ACL_RM_STATUS_SUCCESS : ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(__validate_owner_mcg(OF13_HANDLE, 20 + owner),
                  ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    }
}

// Though nothing else of the record is looked at, its number of ports must fit.
TEST_F(McGroupTest, MorePortsThanARecordHoldsAreRefusedAtEverySite) {
    const Lines refused = {failure(4, "Wrong ports number [101], the record holds [100]")};
    cache_mc_group(1, {1, 0});
    uint32_t mc_group_id = 1;
    ports_num_ = 101;
    EXPECT_EQ(acl_rm_add_mc_group(OPEN_FLOW_HANDLE, &mc_group_id, ports_, 101),
              ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), refused);
    EXPECT_EQ(acl_rm_add_ports_to_mc_group(1, ports_, 101), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), refused);
    EXPECT_EQ(acl_rm_del_ports_from_mc_group(1, ports_, 101), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), refused);
    EXPECT_EQ(acl_rm_get_mc_group(1, ports_, &ports_num_), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), refused);
    EXPECT_EQ(ports_num_, 101u);
    EXPECT_EQ(pbs_calls(), 0u);
}

}  // namespace
