#include <gtest/gtest.h>

#include <limits>

#include "core/acl_rm_owner.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

using Priorities = std::vector<uint32_t>;

Priorities priorities() {
    return {std::begin(acl_rm_clients_priority), std::end(acl_rm_clients_priority)};
}

std::vector<uint64_t> handles() {
    return {std::begin(acl_rm_clients_handles), std::end(acl_rm_clients_handles)};
}

class OpenTest : public CacheFixture {};

TEST_F(OpenTest, NobodyHasOpenedAtFirst) {
    EXPECT_EQ(handles(), (std::vector<uint64_t>{0, 0, 0, 0}));
    EXPECT_EQ(priorities(), (Priorities{4, 4, 4, 4}));
}

TEST_F(OpenTest, EachOwnerGetsItsHandleAndPriority) {
    const Priorities wanted[] = {{1, 4, 4, 4}, {1, 2, 4, 4}, {1, 2, 0, 4}, {1, 2, 0, 3}};
    for (uint32_t owner = 0; owner < 4; owner++) {
        EXPECT_EQ(acl_rm_open_new_client(50 + owner, owner), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(acl_rm_clients_handles[owner], 50 + owner);
        EXPECT_EQ(priorities(), wanted[owner]);
    }
    EXPECT_EQ(handles(), (std::vector<uint64_t>{50, 51, 52, 53}));
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(OpenTest, SecondOpenOfAnOwnerReplacesTheHandle) {
    EXPECT_EQ(acl_rm_open_new_client(50, 2), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_open_new_client(60, 2), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(handles(), (std::vector<uint64_t>{0, 0, 60, 0}));
    uint32_t owner = 9;
    EXPECT_EQ(__set_owner_acl(50, &owner), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(recorded_calls("zv_api_open").size(), 1u);
}

TEST_F(OpenTest, OwnerPastTheTableIsRefusedAndStoresNoHandle) {
    for (const uint32_t owner : {4u, 5u, std::numeric_limits<uint32_t>::max()}) {
        EXPECT_EQ(acl_rm_open_new_client(77, owner), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_EQ(take_lines(), Lines{failure(4, "owner [" + std::to_string(owner) +
                                                     "] is unknown, handle[77] is not stored")});
    }
    EXPECT_EQ(handles(), (std::vector<uint64_t>{0, 0, 0, 0}));
}

TEST_F(OpenTest, OwnerPastTheTableSetsTheSecondPriorityAndConnects) {
    EXPECT_EQ(acl_rm_open_new_client(77, 4), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(priorities(), (Priorities{4, 2, 4, 4}));
    EXPECT_EQ(is_initialized, 1u);
}

TEST_F(OpenTest, FailedConnectionIsReturnedWithTheClientStored) {
    fail_call("zv_api_open", 1, {.times = 2});
    EXPECT_EQ(acl_rm_open_new_client(50, 0), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{failure(1, "Can't open an handle to the SDK, error: [1]"),
                                   failure(1, "ACL RM connect to sdk failure")}));
    EXPECT_EQ(acl_rm_clients_handles[0], 50u);
    EXPECT_EQ(acl_rm_clients_priority[0], 1u);
    EXPECT_EQ(acl_rm_open_new_client(50, 7), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(acl_rm_open_new_client(50, 0), ZV_ACL_RM_STATUS_SUCCESS);
}

class OwnerTest : public CacheFixture {
  protected:
    void SetUp() override {
        CacheFixture::SetUp();
        for (uint32_t owner = 0; owner < 4; owner++)
            acl_rm_clients_handles[owner] = OPEN_FLOW_HANDLE + owner;
    }
    const std::string wrong_handle =
        "Wrong owner of the handle[9999] toward ACL_RM, trying to control another owner resource";
};

TEST_F(OwnerTest, HandleNamesItsOwner) {
    acl_rm_verbosity_level = 4;
    const char *const names[] = {"open-flow", "tarn-os", "PRA", "OF13"};
    for (uint32_t owner = 0; owner < 4; owner++) {
        uint32_t found = 9;
        EXPECT_EQ(__set_owner_acl(OPEN_FLOW_HANDLE + owner, &found), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(found, owner);
        EXPECT_EQ(take_lines(), Lines{line(INFO_MASK, std::string("set ") + names[owner] +
                                                          " as owner of acl.\n")});
    }
}

TEST_F(OwnerTest, UnknownHandleHasNoOwner) {
    uint32_t owner = 9;
    EXPECT_EQ(__set_owner_acl(UNKNOWN_HANDLE, &owner), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), Lines{failure(5, "Can't find handle[9999] in acl_rm_clients_handles")});
    EXPECT_EQ(owner, 9u);
}

TEST_F(OwnerTest, LargestHandleIsPrintedWhole) {
    uint32_t owner = 9;
    EXPECT_EQ(__set_owner_acl(std::numeric_limits<uint64_t>::max(), &owner),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(
        take_lines(),
        Lines{failure(5, "Can't find handle[18446744073709551615] in acl_rm_clients_handles")});
}

TEST_F(OwnerTest, LowestOfTheOwnersOfOneHandleWins) {
    acl_rm_clients_handles[1] = 5;
    acl_rm_clients_handles[3] = 5;
    uint32_t owner = 9;
    EXPECT_EQ(__set_owner_acl(5, &owner), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(owner, 1u);
    cache_acl(7, 1);
    cache_acl(8, 3);
    EXPECT_EQ(__validate_owner_acl(5, 7), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(__validate_owner_acl(5, 8), ZV_ACL_RM_STATUS_ERROR);
}

TEST_F(OwnerTest, HandleZeroMatchesTheFirstSlotThatHoldsZero) {
    acl_rm_clients_handles[1] = 0;
    acl_rm_clients_handles[2] = 0;
    uint32_t owner = 9;
    EXPECT_EQ(__set_owner_acl(0, &owner), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(owner, 1u);
}

TEST_F(OwnerTest, EveryOwnerMayActOnItsAclAndNoOthers) {
    for (uint32_t acl_owner = 0; acl_owner < 4; acl_owner++) {
        cache_acl(20 + acl_owner, acl_owner);
        for (uint32_t asker = 0; asker < 4; asker++)
            EXPECT_EQ(__validate_owner_acl(OPEN_FLOW_HANDLE + asker, 20 + acl_owner),
                      asker == acl_owner ? ZV_ACL_RM_STATUS_SUCCESS : ZV_ACL_RM_STATUS_ERROR);
    }
}

TEST_F(OwnerTest, AnothersAclIsRefusedWithBothOwners) {
    cache_acl(7, 2);
    EXPECT_EQ(__validate_owner_acl(OPEN_FLOW_HANDLE, 7), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{failure(1, "Wrong owner[0] trying to control another owner[2] resource")});
}

TEST_F(OwnerTest, UnknownHandleMayNotActOnAnAcl) {
    cache_acl(7, 0);
    EXPECT_EQ(__validate_owner_acl(UNKNOWN_HANDLE, 7), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{failure(4, wrong_handle)});
}

TEST_F(OwnerTest, UnknownHandleIsReportedBeforeAnUnknownAcl) {
    EXPECT_EQ(__validate_owner_acl(UNKNOWN_HANDLE, 7), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{failure(4, wrong_handle)});
}

TEST_F(OwnerTest, UnknownAclIsOutOfRange) {
    EXPECT_EQ(__validate_owner_acl(PRA_HANDLE, 7), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{passed_up(4)});
}

TEST_F(OwnerTest, MissingAclTableIsAnError) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(__validate_owner_acl(PRA_HANDLE, 7), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{passed_up(1)});
}

}  // namespace
