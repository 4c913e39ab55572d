// Insert and remove of the two tables whose messages name the id.
#include <gtest/gtest.h>

#include "daemon/logging.h"
#include "tests/core/core_fixture.h"
#include "utils/utils_allocator.h"

namespace {

using namespace zv_unit;

class NamedInsertTest : public CacheFixture {
  protected:
    acl_id_info acl_ = {};
    mcg_id_info mcg_ = {};
};

TEST_F(NamedInsertTest, AclIsInsertedAndTold) {
    acl_rm_verbosity_level = 5;
    acl_.region_id = 33;
    EXPECT_EQ(ht_acl_id_2_acl_info_insert(7, &acl_), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(has_debug_line(take_lines(), "ht_acl_id_2_acl_info_insert",
                               "Insert acl id:[7] to acl_id_2_acl_info hash table.\n"));
    EXPECT_EQ(cached_acl(7)->region_id, 33u);
}

TEST_F(NamedInsertTest, KnownAclIsRefusedAndKept) {
    cache_acl(7, 2);
    EXPECT_EQ(ht_acl_id_2_acl_info_insert(7, &acl_), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{failure(1, "acl id:7 already found while trying to insert new acl to DB.")});
    EXPECT_EQ(cached_acl(7)->acl_owner, 2);
}

TEST_F(NamedInsertTest, AclNeedsItsTable) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(ht_acl_id_2_acl_info_insert(7, &acl_), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "acl_id_2_acl_info hash table not initialized")});
}

TEST_F(NamedInsertTest, AclNeedsRoom) {
    for (uint32_t acl_id = 1; acl_id <= 648; acl_id++)
        cache_acl(acl_id);
    EXPECT_EQ(ht_acl_id_2_acl_info_insert(649, &acl_), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Insert not successful")});
}

TEST_F(NamedInsertTest, AclIsRemovedAndTold) {
    cache_acl(7);
    acl_rm_verbosity_level = 5;
    EXPECT_EQ(ht_acl_id_2_acl_info_remove(7), ZV_ACL_RM_STATUS_SUCCESS);
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].text.ends_with(": Removed acl id:7 from acl_id_2_acl_info hash table.\n"));
    EXPECT_EQ(lines[0].mask, DEBUG_MASK);
    EXPECT_EQ(cached_acl(7), nullptr);
}

TEST_F(NamedInsertTest, UnknownAclIsNotRemoved) {
    EXPECT_EQ(ht_acl_id_2_acl_info_remove(7), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(),
              Lines{failure(5, "acl id:7 not found while trying to remove acl from DB")});
}

TEST_F(NamedInsertTest, MissingAclTableCountsAsAnUnknownAcl) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(ht_acl_id_2_acl_info_remove(7), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(),
              Lines{failure(5, "acl id:7 not found while trying to remove acl from DB")});
}

TEST_F(NamedInsertTest, AclTableThatRefusesIsReported) {
    cache_acl(7);
    ASSERT_EQ(utils_allocator_freeIndex(acl_id_2_acl_id_info_table_ht->pool->allocator, 0), 1);
    EXPECT_EQ(ht_acl_id_2_acl_info_remove(7), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "delete not successful")});
    EXPECT_NE(cached_acl(7), nullptr);
}

TEST_F(NamedInsertTest, McGroupIsInsertedAndTold) {
    acl_rm_verbosity_level = 5;
    EXPECT_EQ(ht_mcg_id_2_mcg_info_insert(7, &mcg_), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(has_debug_line(take_lines(), "ht_mcg_id_2_mcg_info_insert",
                               "Insert MC group id:[7] to mcg_id_2_mcg_info hash table.\n"));
    EXPECT_EQ(entries_num(mcg_id_2_mcg_id_info_table_ht), 1u);
}

TEST_F(NamedInsertTest, KnownMcGroupIsRefusedInTheWordsOfTheAcl) {
    cache_mc_group(7, {});
    EXPECT_EQ(ht_mcg_id_2_mcg_info_insert(7, &mcg_), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{failure(1, "mcg id:7 already found while trying to insert new acl to DB.")});
}

TEST_F(NamedInsertTest, McGroupNeedsItsTable) {
    const Missing gone(mcg_id_2_mcg_id_info_table_ht);
    EXPECT_EQ(ht_mcg_id_2_mcg_info_insert(7, &mcg_), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(ht_mcg_id_2_mcg_info_remove(7), ZV_ACL_RM_STATUS_ERROR);
    const Line wanted = failure(1, "mcg_id_2_mcg_info hash table not initialized");
    EXPECT_EQ(take_lines(), (Lines{wanted, wanted}));
}

TEST_F(NamedInsertTest, McGroupNeedsRoom) {
    for (uint32_t id = 1; id <= 6400; id++)
        cache_mc_group(id, {});
    EXPECT_EQ(ht_mcg_id_2_mcg_info_insert(6401, &mcg_), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Insert not successful")});
}

TEST_F(NamedInsertTest, McGroupIsRemovedInTheWordsOfTheAcl) {
    cache_mc_group(7, {});
    acl_rm_verbosity_level = 5;
    EXPECT_EQ(ht_mcg_id_2_mcg_info_remove(7), ZV_ACL_RM_STATUS_SUCCESS);
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].text.ends_with(": Removed acl id:7 from acl_id_2_acl_info hash table.\n"));
    EXPECT_EQ(entries_num(mcg_id_2_mcg_id_info_table_ht), 0u);
}

TEST_F(NamedInsertTest, UnknownMcGroupIsNotRemoved) {
    EXPECT_EQ(ht_mcg_id_2_mcg_info_remove(7), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(),
              Lines{failure(5, "mcg id:7 not found while trying to remove acl from DB")});
}

TEST_F(NamedInsertTest, McGroupTableThatRefusesIsReported) {
    cache_mc_group(7, {});
    ASSERT_EQ(utils_allocator_freeIndex(mcg_id_2_mcg_id_info_table_ht->pool->allocator, 0), 1);
    EXPECT_EQ(ht_mcg_id_2_mcg_info_remove(7), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "delete not successful")});
}

}  // namespace
