// Building and releasing the cache, and every way in which that can fail.
#include <gtest/gtest.h>

#include <cstring>

#include "complib/cl_memory.h"
#include "core/db/acl_rm_db.h"
#include "daemon/logging.h"
#include "tests/core/core_fixture.h"
#include "zv_log.h"

namespace {

using namespace zv_unit;

struct TableRow {
    const char *name;
    ht_zvlib_t **table;
    ht_iterator_zvlib_t **iterator;
    uint32_t key_bytes;
    uint32_t value_bytes;
    uint32_t max_entries;
    uint32_t buckets;
    uint32_t hash_kind;
};

// In the order of creation.
const TableRow rows[] = {
    {"rules", &acl_rule_id_2_region_id_ht, &acl_rule_id_2_region_id_it, 50, 48, 6400, 12800,
     HT_HASH_STRING_ZVLIB},
    {"groups", &sdk_acl_grp_2_sdk_acl_grp_info_table_ht, &sdk_acl_grp_2_sdk_acl_grp_info_table_it,
     4, 72, 128, 256, HT_HASH_INTEGER_ZVLIB},
    {"acls", &acl_id_2_acl_id_info_table_ht, &acl_id_2_acl_id_info_table_it, 4, 5248, 648, 1296,
     HT_HASH_INTEGER_ZVLIB},
    {"bind_points", &port_id_2_sdk_acl_group_ht, &port_id_2_sdk_acl_group_it, 8, 4, 648, 1296,
     HT_HASH_INTEGER_ZVLIB},
    {"forwarding", &logical_forward_port_2_forward_pbs_info_ht,
     &logical_forward_port_2_forward_pbs_info_it, 4, 16, 100, 200, HT_HASH_INTEGER_ZVLIB},
    {"mc_groups", &mcg_id_2_mcg_id_info_table_ht, &mcg_id_2_mcg_id_info_table_it, 4, 8, 6400, 12800,
     HT_HASH_INTEGER_ZVLIB},
};
constexpr size_t rows_num = std::size(rows);

Line table_failure(int number, const char *text) {
    return line(ERROR_MASK,
                "ZV_ACL_RM_ERROR, error: " + std::to_string(number) + ", " + text + "\n");
}

// Nothing is built yet.
class CacheBuildTest : public testing::TestWithParam<size_t> {
  protected:
    void SetUp() override { capture_log(); }
    void TearDown() override {
        for (const TableRow &row : rows) {
            if (*row.iterator != nullptr)
                ht_free_iterator_zvlib(row.iterator);
            if (*row.table != nullptr)
                ht_free_zvlib(row.table);
        }
        zv_log_close();
    }
    const TableRow &row() const { return rows[GetParam()]; }
    // What stands before the row has been built, what stands after it not.
    void expect_built_up_to_row() {
        for (size_t i = 0; i < rows_num; i++) {
            if (i != GetParam()) {
                EXPECT_EQ(*rows[i].iterator != nullptr, i < GetParam()) << rows[i].name;
            }
        }
    }
};

TEST_P(CacheBuildTest, TableHasItsSizes) {
    ASSERT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_SUCCESS);
    const ht_zvlib_t &table = **row().table;
    EXPECT_EQ(table.key_size, row().key_bytes);
    EXPECT_EQ(table.value_size, row().value_bytes);
    EXPECT_EQ(table.max_entries, row().max_entries);
    EXPECT_EQ(table.num_buckets, row().buckets);
    ht_zvlib_t *of_that_kind = nullptr;
    ASSERT_EQ(ht_create_zvlib(&of_that_kind, 4, 4, 1, 1, row().hash_kind), 0);
    EXPECT_EQ(table.hash, of_that_kind->hash);
    EXPECT_EQ(ht_free_zvlib(&of_that_kind), 0);
    EXPECT_EQ(entries_num(*row().table), 0u);
    EXPECT_EQ((*row().iterator)->table, *row().table);
    acl_rm_db_counter_deinit();
}

TEST_P(CacheBuildTest, TableThatCannotBeCreatedEndsIt) {
    // A place that holds a table already is refused.
    ASSERT_EQ(ht_create_zvlib(row().table, 4, 4, 1, 1, 0), 0);
    EXPECT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{table_failure(1, "failed to create hash table.")});
    expect_built_up_to_row();
}

TEST_P(CacheBuildTest, IteratorThatCannotBeCreatedEndsItWithItsTableLeft) {
    ht_zvlib_t *other = nullptr;
    ASSERT_EQ(ht_create_zvlib(&other, 4, 4, 1, 1, 0), 0);
    ASSERT_EQ(ht_create_iterator_zvlib(other, row().iterator), 0);
    EXPECT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{table_failure(2, "failed to create iterator for hash table.")});
    EXPECT_NE(*row().table, nullptr);
    expect_built_up_to_row();
    ht_free_zvlib(&other);
}

TEST_P(CacheBuildTest, TableThatCannotBeFreedEndsTheReleaseWithTheLaterOnesLeft) {
    ASSERT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_SUCCESS);
    acl_rm_db_counter_deinit();
    const Missing gone(*row().table);
    EXPECT_EQ(acl_rm_internal_acl_rm_cache_deinit(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{table_failure(3, "failed to free hash table.")});
    for (size_t i = 0; i < rows_num; i++) {
        if (i != GetParam()) {
            EXPECT_EQ(*rows[i].table != nullptr, i > GetParam()) << rows[i].name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EachTable, CacheBuildTest, testing::Range<size_t>(0, rows_num),
                         [](const auto &param) { return rows[param.param].name; });

class CacheReleaseTest : public CacheBuildTest {};

TEST_P(CacheReleaseTest, IteratorThatCannotBeFreedEndsTheReleaseWithItsTableFreed) {
    ASSERT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_SUCCESS);
    acl_rm_db_counter_deinit();
    const Missing gone(*row().iterator);
    EXPECT_EQ(acl_rm_internal_acl_rm_cache_deinit(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{table_failure(4, "failed to free iterator for hash table.")});
    EXPECT_EQ(*row().table, nullptr);
}

// All but the ACLs, whose iterator is missed earlier, where the flags are released.
INSTANTIATE_TEST_SUITE_P(EachTable, CacheReleaseTest, testing::Values<size_t>(0, 1, 3, 4, 5),
                         [](const auto &param) { return rows[param.param].name; });

class CacheLifeTest : public testing::Test {
  protected:
    void SetUp() override { capture_log(); }
    void TearDown() override { zv_log_close(); }
};

TEST_F(CacheLifeTest, BuildingClearsTheErrorText) {
    core_log.fail(ZV_ACL_RM_STATUS_ERROR, "an earlier failure");
    ASSERT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(std::string(error_msg, ERROR_MSG_BYTES), std::string(ERROR_MSG_BYTES, '\0'));
    acl_rm_db_counter_deinit();
    acl_rm_internal_acl_rm_cache_deinit();
}

TEST_F(CacheLifeTest, CounterDatabaseHas255Counters) {
    ASSERT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_SUCCESS);
    for (uint32_t id = 1; id <= 255; id++)
        ASSERT_EQ(acl_rm_db_counter_allocate(0, id), ZV_ACL_RM_STATUS_SUCCESS) << id;
    EXPECT_EQ(acl_rm_db_counter_allocate(0, 256), ZV_ACL_RM_STATUS_NO_RESOURCES);
    acl_rm_db_counter_deinit();
    acl_rm_internal_acl_rm_cache_deinit();
}

TEST_F(CacheLifeTest, CounterDatabaseThatCannotBeMadeEndsTheBuildWithItsStatus) {
    fail_call("cl_qpool_init", 2);
    EXPECT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_NO_RESOURCES);
    const Lines lines = take_lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].module, "ACL_RM_DB");
    EXPECT_EQ(lines[1], failure(6, "ACL RM init counter DB failure."));
    EXPECT_NE(mcg_id_2_mcg_id_info_table_it, nullptr);
    acl_rm_internal_acl_rm_cache_deinit();
}

TEST_F(CacheLifeTest, SecondBuildInAProcessFailsAtTheCounterDatabase) {
    ASSERT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_db_counter_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_internal_acl_rm_cache_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{failure(1, "Cant init counter DB - already initialize.\n", "ACL_RM_DB"),
                     failure(1, "ACL RM init counter DB failure.")}));
    acl_rm_internal_acl_rm_cache_deinit();
}

class CacheContentReleaseTest : public CacheFixture {};

TEST_F(CacheContentReleaseTest, ReleasesTheFlagsOfEveryAclAndKeepsTheCounts) {
    for (uint32_t acl_id = 1; acl_id <= 3; acl_id++) {
        cache_acl(acl_id);
        // The second has none.
        if (acl_id != 2)
            cached_acl(acl_id)->valid_offsets = static_cast<uint32_t *>(cl_malloc(4));
    }
    g_acl_table_cnt = 3;
    g_rules_cnt = 5;
    const size_t freed_before = recorded_calls("cl_free").size();
    EXPECT_EQ(acl_rm_internal_acl_rm_cache_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(recorded_calls("cl_free").size(), freed_before + 2);
    EXPECT_EQ(g_acl_table_cnt, 3);
    EXPECT_EQ(g_rules_cnt, 5);
    for (const TableRow &row : rows) {
        EXPECT_EQ(*row.table, nullptr) << row.name;
        EXPECT_EQ(*row.iterator, nullptr) << row.name;
    }
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(CacheContentReleaseTest, MissingIteratorOfTheAclsEndsItWithTheAclsLeft) {
    {
        const Missing gone(acl_id_2_acl_id_info_table_it);
        EXPECT_EQ(acl_rm_internal_acl_rm_cache_deinit(), ZV_ACL_RM_STATUS_ERROR);
    }
    EXPECT_EQ(take_lines(),
              Lines{failure(1, "Failed to get first key of HT: acl_id_2_acl_id_info_table_ht")});
    EXPECT_EQ(sdk_acl_grp_2_sdk_acl_grp_info_table_it, nullptr);
    EXPECT_NE(acl_id_2_acl_id_info_table_ht, nullptr);
    // What is left goes too, now that the tables before it have gone.
    ht_free_zvlib(&acl_id_2_acl_id_info_table_ht);
    ht_free_iterator_zvlib(&acl_id_2_acl_id_info_table_it);
    for (size_t i = 3; i < rows_num; i++) {
        ht_free_zvlib(rows[i].table);
        ht_free_iterator_zvlib(rows[i].iterator);
    }
}

}  // namespace
