// Editing an ACL inside the process: what it says at info, what carries over, and a cache that
// cannot take the new id.
#include <gtest/gtest.h>

#include <cstring>

#include "core/acl_rm.h"
#include "core/acl_rm_acl.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

acl_rm_acl request(uint32_t acl_id, uint32_t direction) {
    acl_rm_acl acl = {};
    acl.acl_id = acl_id;
    acl.acl_type = 13;
    acl.direction = direction;
    acl.region_id = 888;
    return acl;
}

// ACL 1 over region 1, of 16 offsets, direction 3.
class AclEditTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        ASSERT_EQ(create_acl(16, OPEN_FLOW_HANDLE, 3), 1u);
        cached_acl(1)->acl_type = 31;
    }
    static zv_acl_rm_status_t edit(acl_rm_acl *acl) {
        return acl_rm_acl_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_EDIT, acl);
    }
    static zv_acl_rm_status_t edit(uint32_t acl_id = 1, uint32_t direction = 4) {
        acl_rm_acl acl = request(acl_id, direction);
        return edit(&acl);
    }
    static bool is_same(const acl_rm_acl &left, const acl_rm_acl &right) {
        return std::memcmp(&left, &right, sizeof(left)) == 0;
    }
};

TEST_F(AclEditTest, TellsItsStepsAtInfo) {
    acl_rm_verbosity_level = 4;
    ASSERT_EQ(edit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(
        take_lines(),
        (Lines{line(INFO_MASK, "acl_rm_acl_set: ******** CREATE / DESTROY ACL ********\n"),
               line(INFO_MASK, "set open-flow as owner of acl.\n"),
               line(INFO_MASK,
                    "Destroy ACL in SDK , type: [31] , direction: [3] , region : [1] , acl id: "
                    "[1].\n"),
               line(INFO_MASK,
                    "Created ACL in SDK , type: [31] , direction: [4] , region_id : [1] , acl id: "
                    "[2].\n"),
               line(INFO_MASK, "edit ACL successfully.\n")}));
}

TEST_F(AclEditTest, WritesTheIdIntoTheRecordAndNothingElse) {
    acl_rm_acl acl = request(1, 4);
    ASSERT_EQ(edit(&acl), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(is_same(acl, request(2, 4)));
}

TEST_F(AclEditTest, EverythingButIdAndDirectionCarriesOver) {
    acl_id_info *cached = cached_acl(1);
    cached->valid_offsets[7] = 1;
    cached->bound_to_system = 1;
    cached->acl_bound_ports_num = MAX_BIND_POINTS_NUM;
    for (uint32_t i = 0; i < MAX_BIND_POINTS_NUM; i++)
        cached->acl_bound_ports[i] = {i % 2, i};
    acl_id_info expected = *cached;
    ASSERT_EQ(edit(), ZV_ACL_RM_STATUS_SUCCESS);
    expected.acl_id = 2;
    expected.direction = 4;
    ASSERT_NE(cached_acl(2), nullptr);
    // The flags are the very same memory.
    EXPECT_EQ(std::memcmp(cached_acl(2), &expected, sizeof(expected)), 0);
    EXPECT_EQ(cached_acl(1), nullptr);
    EXPECT_EQ(entries_num(acl_id_2_acl_id_info_table_ht), 1u);
    EXPECT_EQ(recorded_calls("cl_malloc").size(), 1u);
    EXPECT_EQ(recorded_calls("cl_free").size(), 0u);
}

TEST_F(AclEditTest, CountStaysWhateverHappens) {
    EXPECT_EQ(edit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(g_acl_table_cnt, 1);
    fail_call("zv_api_acl_set", 1);
    EXPECT_EQ(edit(2), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(g_acl_table_cnt, 1);
    EXPECT_EQ(entries_num(acl_id_2_acl_id_info_table_ht), 0u);
}

TEST_F(AclEditTest, HandleOfTheSwitchIsPassedOn) {
    zv_sdk_handle++;
    EXPECT_EQ(edit(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(recorded_calls("zv_api_acl_set").back()["status"], 2);
}

TEST_F(AclEditTest, AloneItHandsItsFailureUpOnce) {
    acl_rm_acl unknown = request(2, 4);
    EXPECT_EQ(__edit_acl(OPEN_FLOW_HANDLE, &unknown), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_TRUE(reports(take_lines(), {}, 4, 2));
    acl_rm_acl foreign = request(1, 4);
    EXPECT_EQ(__edit_acl(PRA_HANDLE, &foreign), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Wrong owner[2] trying to control another owner[0] resource")},
                        1, 1));
    EXPECT_NE(cached_acl(1), nullptr);
}

TEST_F(AclEditTest, MissingTableIsNoticedByTheOwnersCheck) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(edit(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 3));
    EXPECT_EQ(recorded_calls("zv_api_acl_set").size(), 1u);
}

TEST_F(AclEditTest, NewIdThatIsCachedAlreadyLosesTheAclAndFreesItsFlags) {
    cache_acl(2, 3, 5);
    acl_rm_acl acl = request(1, 4);
    EXPECT_EQ(edit(&acl), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(
        take_lines(), {failure(1, "acl id:2 already found while trying to insert new acl to DB.")},
        1, 2));
    EXPECT_TRUE(is_same(acl, request(1, 4)));
    EXPECT_EQ(cached_acl(1), nullptr);
    EXPECT_EQ(cached_acl(2)->acl_owner, 3);
    EXPECT_EQ(cached_acl(2)->direction, 5u);
    EXPECT_EQ(recorded_calls("cl_free").size(), 1u);
    // The switch keeps the new ACL.
    EXPECT_EQ(recorded_calls("zv_api_acl_set").size(), 3u);
}

TEST_F(AclEditTest, RefusedCreateLeavesTheRecordAsItWasSent) {
    fail_call("zv_api_acl_set", 5, {.nth = 2, .late = true});
    acl_rm_acl acl = request(1, 4);
    EXPECT_EQ(edit(&acl), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1,
                                 "Failed to create ACL in SDK (error: 5) , type: [31] , "
                                 "direction: [4] , regions : [1]\n")},
                        1, 1));
    EXPECT_TRUE(is_same(acl, request(1, 4)));
}

// The ids disagree: the switch gets the cached one, the cache is asked for the client's.
TEST_F(AclEditTest, SwitchLosesTheCachedIdAndTheCacheTheClients) {
    const uint32_t other = create_acl();
    cached_acl(1)->acl_id = other;
    EXPECT_EQ(edit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(recorded_calls("zv_api_acl_set").at(2)["args"],
              (nlohmann::json{{"cmd", 13},
                              {"acl_type", 31},
                              {"direction", 3},
                              {"group", {{"type", 0}, {"region_id", 1}}},
                              {"acl_id", other}}));
    EXPECT_EQ(cached_acl(1), nullptr);
    EXPECT_NE(cached_acl(other), nullptr);
    EXPECT_NE(cached_acl(3), nullptr);
}

}  // namespace
