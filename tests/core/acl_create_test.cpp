#include <gtest/gtest.h>

#include "core/acl_rm.h"
#include "core/acl_rm_acl.h"
#include "daemon/device_limits.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"
#include "zv_rm_resource.h"

namespace {

using namespace zv_unit;

acl_rm_acl request(uint32_t size) {
    acl_rm_acl acl = {};
    acl.acl_id = 777;
    acl.key_type = 11;
    acl.action_type = 12;
    acl.acl_type = 13;
    acl.direction = 1;
    acl.min_size = size;
    acl.max_size = size;
    acl.region_id = 888;
    return acl;
}

class AclCreateTest : public ConnectedFixture {
  protected:
    zv_acl_rm_status_t create(acl_rm_acl *acl, uint64_t handle = PRA_HANDLE) {
        return acl_rm_acl_set(handle, ZV_ACL_RM_ACCESS_CMD_CREATE, acl);
    }
    static std::vector<std::string> calls_after_open() {
        std::vector<std::string> names = switch_call_names();
        names.erase(names.begin());
        return names;
    }
};

TEST_F(AclCreateTest, StoresBothIdsAndLeavesTheRestOfTheRecord) {
    acl_rm_acl acl = request(10);
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl.acl_id, 1u);
    EXPECT_EQ(acl.region_id, 1u);
    EXPECT_EQ(acl.key_type, 11u);
    EXPECT_EQ(acl.action_type, 12u);
    EXPECT_EQ(acl.acl_type, 13u);
    EXPECT_EQ(acl.direction, 1u);
    EXPECT_EQ(acl.min_size, 10u);
    EXPECT_EQ(acl.max_size, 10u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(AclCreateTest, CreatesTheRegionThenTheAclOverIt) {
    acl_rm_acl acl = request(10);
    ASSERT_EQ(create(&acl), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(calls_after_open(),
              (std::vector<std::string>{"zv_api_acl_region_set", "zv_api_acl_set"}));
    const nlohmann::json region = recorded_calls("zv_api_acl_region_set").at(0)["args"];
    EXPECT_EQ(region["cmd"], 12);
    EXPECT_EQ(region["key_type"], 11);
    EXPECT_EQ(region["action_type"], 12);
    EXPECT_EQ(region["region_size"], 10);
    const nlohmann::json created = recorded_calls("zv_api_acl_set").at(0)["args"];
    EXPECT_EQ(created["cmd"], 12);
    EXPECT_EQ(created["acl_type"], 13);
    EXPECT_EQ(created["direction"], 1);
    EXPECT_EQ(created["group"], (nlohmann::json{{"type", 0}, {"region_id", 1}}));
}

TEST_F(AclCreateTest, CachesTheAclWithFreeOffsets) {
    acl_rm_acl acl = request(10);
    ASSERT_EQ(create(&acl), ZV_ACL_RM_STATUS_SUCCESS);
    const acl_id_info *info = cached_acl(acl.acl_id);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->acl_type, 13u);
    EXPECT_EQ(info->direction, 1u);
    EXPECT_EQ(info->region_id, acl.region_id);
    EXPECT_EQ(info->key_type, 11u);
    EXPECT_EQ(info->action_type, 12u);
    EXPECT_EQ(info->region_size, 10u);
    EXPECT_EQ(info->min_size, 10u);
    EXPECT_EQ(info->max_size, 10u);
    EXPECT_EQ(info->valid_offsets_len, 10u);
    EXPECT_EQ(std::vector<uint32_t>(info->valid_offsets, info->valid_offsets + 10),
              std::vector<uint32_t>(10, 0));
    EXPECT_EQ(info->acl_id, acl.acl_id);
    EXPECT_EQ(info->acl_owner, 2);
    EXPECT_EQ(info->bound_to_system, 0u);
    EXPECT_EQ(info->acl_bound_ports_num, 0u);
    EXPECT_EQ(g_acl_table_cnt, 1);
}

TEST_F(AclCreateTest, TellsItsStepsAtInfo) {
    acl_rm_verbosity_level = 4;
    acl_rm_acl acl = request(10);
    ASSERT_EQ(create(&acl), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(),
              (Lines{line(INFO_MASK, "acl_rm_acl_set: ******** CREATE / DESTROY ACL ********\n"),
                     line(INFO_MASK, "set PRA as owner of acl.\n"),
                     line(INFO_MASK,
                          "Created region in SDK , acl_key_type: 11 , action_type: 12 , "
                          "region_size: 10 , region_id: 1.\n"),
                     line(INFO_MASK,
                          "Created ACL in SDK , owner:=[2] type: [13] , direction: [1] "
                          ", region_id : [1] , acl id: [1].\n"),
                     line(INFO_MASK, "create ACL successfully.\n")}));
}

TEST_F(AclCreateTest, SizeZeroHasNoFlags) {
    acl_rm_acl acl = request(0);
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cached_acl(acl.acl_id)->valid_offsets, nullptr);
    EXPECT_EQ(cached_acl(acl.acl_id)->valid_offsets_len, 0u);
    EXPECT_EQ(recorded_calls("zv_api_acl_region_set").at(0)["args"]["region_size"], 0);
    EXPECT_EQ(recorded_calls("cl_malloc").size(), 0u);
}

TEST_F(AclCreateTest, DifferentSizesAreRefusedWithoutACallOfTheSwitch) {
    acl_rm_acl acl = request(10);
    acl.max_size = 12;
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(4, "Wrong acl size min=[10] != max=[12], it should be equal!")}, 4,
                        1));
    EXPECT_EQ(calls_after_open(), std::vector<std::string>{});
    EXPECT_EQ(g_acl_table_cnt, 0);
}

TEST_F(AclCreateTest, HandleThatNeverOpenedIsRefused) {
    acl_rm_acl acl = request(10);
    EXPECT_EQ(create(&acl, UNKNOWN_HANDLE), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(5, "Can't find handle[9999] in acl_rm_clients_handles")}, 5, 1));
}

TEST_F(AclCreateTest, OtherCommandsAreRefusedBeforeTheOwnerIsLookedAt) {
    for (const uint32_t cmd : {0u, 1u, 3u, 6u, 4294967295u}) {
        acl_rm_acl acl = request(10);
        EXPECT_EQ(acl_rm_acl_set(UNKNOWN_HANDLE, cmd, &acl), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        EXPECT_EQ(take_lines(),
                  Lines{failure(2, "Command unsupported, cmd type is:" + std::to_string(cmd))});
    }
}

TEST_F(AclCreateTest, ConnectionIsLookedAtBeforeTheCommand) {
    is_initialized = 0;
    acl_rm_acl acl = request(10);
    EXPECT_EQ(acl_rm_acl_set(PRA_HANDLE, 3, &acl), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "ACL RM is not initialized")});
}

TEST_F(AclCreateTest, The400thAclIsRefusedWithANotice) {
    g_acl_table_cnt = 398;
    acl_rm_acl acl = request(1);
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_acl_table_cnt, 399);
    acl_rm_acl refused = request(1);
    EXPECT_EQ(create(&refused), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_TRUE(
        reports(take_lines(), {notification(6, "Not enough resources to create region")}, 6, 1));
    EXPECT_EQ(recorded_calls("zv_api_acl_region_set").size(), 1u);
}

TEST_F(AclCreateTest, LimitsAreTestedForEqualityAlone) {
    g_acl_table_cnt = 400;
    acl_rm_acl acl = request(1);
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_SUCCESS);
    g_acl_table_cnt = 511;
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_NO_RESOURCES);
}

TEST_F(AclCreateTest, ChipWithoutLimitsNeverRefuses) {
    ASSERT_EQ(acl_rm_resources_init(5), 0u);
    for (const uint16_t count : {uint16_t{0}, uint16_t{399}, uint16_t{65534}, uint16_t{65535}}) {
        g_acl_table_cnt = count;
        acl_rm_acl acl = request(1);
        EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_SUCCESS) << count;
    }
}

TEST_F(AclCreateTest, RefusedRegionLeavesNothing) {
    fail_call("zv_api_acl_region_set", 5);
    acl_rm_acl acl = request(10);
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1,
                                 "failed to create region in SDK error: 5 acl_key_type: 11 , "
                                 "action_type: 12 , region_size: 10 , region_id: 888\n")},
                        1, 1));
    EXPECT_EQ(g_acl_table_cnt, 0);
    EXPECT_EQ(entries_num(acl_id_2_acl_id_info_table_ht), 0u);
    EXPECT_EQ(recorded_calls("zv_api_acl_set").size(), 0u);
}

TEST_F(AclCreateTest, RefusedAclLeavesItsRegionInTheSwitch) {
    fail_call("zv_api_acl_set", 4);
    acl_rm_acl acl = request(10);
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1,
                                 "Failed to create ACL in SDK (error: 4) , type: [13] , "
                                 "direction: [1] , regions : [1]\n")},
                        1, 1));
    EXPECT_EQ(acl.region_id, 1u);
    EXPECT_EQ(recorded_calls("zv_api_acl_region_set").size(), 1u);
    EXPECT_EQ(g_acl_table_cnt, 0);
    EXPECT_EQ(entries_num(acl_id_2_acl_id_info_table_ht), 0u);
}

TEST_F(AclCreateTest, WithoutMemoryForTheFlagsTheAclIsCountedAndNotCached) {
    fail_call("cl_malloc", 1);
    acl_rm_acl acl = request(10);
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_TRUE(reports(take_lines(), {}, 3, 2));
    EXPECT_EQ(g_acl_table_cnt, 1);
    EXPECT_EQ(entries_num(acl_id_2_acl_id_info_table_ht), 0u);
    EXPECT_EQ(acl.acl_id, 1u);
}

TEST_F(AclCreateTest, AclThatTheCacheRefusesIsCountedAndItsFlagsAreFreed) {
    cache_acl(1, 3);
    acl_rm_acl acl = request(10);
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(
        take_lines(), {failure(1, "acl id:1 already found while trying to insert new acl to DB.")},
        1, 2));
    EXPECT_EQ(g_acl_table_cnt, 1);
    EXPECT_EQ(cached_acl(1)->acl_owner, 3);
    EXPECT_EQ(recorded_calls("cl_free").size(), 1u);
}

TEST_F(AclCreateTest, MissingTableLeavesTheSwitchAsItIs) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    acl_rm_acl acl = request(10);
    EXPECT_EQ(__create_acl(&acl, 0), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(
        reports(take_lines(), {failure(1, "acl_id_2_acl_info hash table not initialized")}, 1, 1));
    EXPECT_EQ(recorded_calls("zv_api_acl_set").size(), 1u);
    EXPECT_EQ(g_acl_table_cnt, 1);
}

TEST_F(AclCreateTest, HandleOfTheSwitchIsPassedOn) {
    zv_sdk_handle++;
    acl_rm_acl acl = request(10);
    EXPECT_EQ(create(&acl), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(recorded_calls("zv_api_acl_region_set").at(0)["status"], 2);
}

}  // namespace
