#include "core/db/acl_rm_db.h"

#include <gtest/gtest.h>

#include <limits>

#include "complib/cl_types.h"
#include "core/db/acl_rm_db_items.h"
#include "daemon/logging.h"
#include "tests/daemon/captured_log.h"
#include "tests/daemon/switch_double.h"
#include "zv_log.h"

namespace {

using namespace zv_unit;

constexpr uint32_t ITEMS_NUM = 255;
constexpr uint64_t TYPE = 0x100000002;
constexpr uint32_t UNKNOWN_ID = 77;

Line db_failure(uint32_t status, const std::string &text) {
    return failure(status, text, "ACL_RM_DB");
}

class CounterDbNotInitialized : public testing::Test {
  protected:
    void SetUp() override { capture_log(); }
    void TearDown() override { zv_log_close(); }
    void expect_refused(zv_acl_rm_status_t status, const std::string &text) {
        EXPECT_EQ(status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(take_lines(), Lines{db_failure(1, text)});
    }
};

TEST_F(CounterDbNotInitialized, FindNeedsAPlaceForTheItem) {
    EXPECT_EQ(__acl_rm_db_counter_find(1, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{db_failure(3, "counter_item is NULL.\n")});
}

TEST_F(CounterDbNotInitialized, RefusesToAllocate) {
    expect_refused(acl_rm_db_counter_allocate(TYPE, 1),
                   "Can't allocate counter - DB not initialized).\n");
}

TEST_F(CounterDbNotInitialized, RefusesToDestroy) {
    expect_refused(acl_rm_db_counter_destroy(1), "Can't destroy counter - DB not initialized.\n");
}

TEST_F(CounterDbNotInitialized, RefusesTheTypeBeforeItsPlaceIsLookedAt) {
    expect_refused(acl_rm_db_counter_type_get(1, nullptr),
                   "Can't retrieve counter type - DB not initialized).\n");
}

TEST_F(CounterDbNotInitialized, RefusesTheReferencesInTheWordsOfTheType) {
    expect_refused(acl_rm_db_counter_ref_counter_get(1, nullptr),
                   "Can't retrieve counter type - DB not initialized).\n");
}

TEST_F(CounterDbNotInitialized, RefusesAnUpdateBeforeItsCommandIsLookedAt) {
    expect_refused(acl_rm_db_counter_ref_counter_update(1, 99),
                   "Can't update counter's reference counter - DB not initialized).\n");
}

TEST_F(CounterDbNotInitialized, RefusesToTellWhatIsAllocated) {
    expect_refused(acl_rm_db_counter_is_allocated_counter(1, nullptr),
                   "Can't retrieve counter type - DB not initialized).\n");
}

TEST_F(CounterDbNotInitialized, RefusesItsRelease) {
    expect_refused(acl_rm_db_counter_deinit(), "Can't deinit counter DB - DB not initialized).\n");
}

TEST_F(CounterDbNotInitialized, ReportsAPoolThatCannotBeMadeInTheLibrarysWords) {
    fail_call("cl_qpool_init", 2);
    EXPECT_EQ(acl_rm_db_counter_init(ITEMS_NUM), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_EQ(take_lines(), Lines{db_failure(6, std::string("Counter Pool Init Failure (") +
                                                    cl_status_text[2] + ").\n")});
}

TEST_F(CounterDbNotInitialized, NamesTheLastStatusOfTheLibraryAndNoneBeyond) {
    fail_call("cl_qpool_init", 20);
    fail_call("cl_qpool_init", 21, {.nth = 2});
    fail_call("cl_qpool_init", std::numeric_limits<uint32_t>::max(), {.nth = 3});
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(acl_rm_db_counter_init(ITEMS_NUM), ZV_ACL_RM_STATUS_NO_RESOURCES);
    const Line unnamed = db_failure(6, "Counter Pool Init Failure (invalid status code).\n");
    EXPECT_EQ(take_lines(), (Lines{db_failure(6, std::string("Counter Pool Init Failure (") +
                                                     cl_status_text[20] + ").\n"),
                                   unnamed, unnamed}));
}

TEST_F(CounterDbNotInitialized, StaysSoAfterAPoolThatCannotBeMade) {
    fail_call("cl_qpool_init", 2);
    EXPECT_EQ(acl_rm_db_counter_init(ITEMS_NUM), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_EQ(acl_rm_db_counter_allocate(TYPE, 1), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(acl_rm_db_counter_init(ITEMS_NUM), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_db_counter_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
}

class CounterDbTest : public testing::Test {
  protected:
    void SetUp() override {
        capture_log();
        ASSERT_EQ(acl_rm_db_counter_init(ITEMS_NUM), ZV_ACL_RM_STATUS_SUCCESS);
    }
    void TearDown() override {
        acl_rm_db_counter_deinit();
        zv_log_close();
    }
    static void allocate(uint32_t counter_id, uint64_t type = TYPE) {
        ASSERT_EQ(acl_rm_db_counter_allocate(type, counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    }
    static uint32_t references(uint32_t counter_id) {
        uint32_t references = UNKNOWN_ID;
        EXPECT_EQ(acl_rm_db_counter_ref_counter_get(counter_id, &references),
                  ZV_ACL_RM_STATUS_SUCCESS);
        return references;
    }
    static uint64_t type_of(uint32_t counter_id) {
        uint64_t type = 0;
        EXPECT_EQ(acl_rm_db_counter_type_get(counter_id, &type), ZV_ACL_RM_STATUS_SUCCESS);
        return type;
    }
    static uint32_t is_allocated(uint32_t counter_id) {
        uint32_t flag = UNKNOWN_ID;
        EXPECT_EQ(acl_rm_db_counter_is_allocated_counter(counter_id, &flag),
                  ZV_ACL_RM_STATUS_SUCCESS);
        return flag;
    }
};

TEST_F(CounterDbTest, RefusesASecondInitialisation) {
    EXPECT_EQ(acl_rm_db_counter_init(ITEMS_NUM), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{db_failure(1, "Cant init counter DB - already initialize.\n")});
}

TEST_F(CounterDbTest, KeepsTheFlagAfterItsRelease) {
    allocate(1);
    EXPECT_EQ(acl_rm_db_counter_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    take_lines();
    EXPECT_EQ(acl_rm_db_counter_init(ITEMS_NUM), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{db_failure(1, "Cant init counter DB - already initialize.\n")});
}

TEST_F(CounterDbTest, HoldsNothingAfterItsRelease) {
    allocate(1);
    EXPECT_EQ(acl_rm_db_counter_deinit(), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_allocated(1), 0u);
    EXPECT_EQ(acl_rm_db_counter_allocate(TYPE, 1), ZV_ACL_RM_STATUS_NO_RESOURCES);
}

TEST_F(CounterDbTest, NewCounterHasItsTypeAndNoReferences) {
    allocate(5);
    EXPECT_EQ(type_of(5), TYPE);
    EXPECT_EQ(references(5), 0u);
    EXPECT_EQ(is_allocated(5), 1u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(CounterDbTest, TakesTheSmallestAndTheLargestId) {
    allocate(0, 1);
    allocate(std::numeric_limits<uint32_t>::max(), 2);
    EXPECT_EQ(type_of(0), 1u);
    EXPECT_EQ(type_of(std::numeric_limits<uint32_t>::max()), 2u);
}

TEST_F(CounterDbTest, RefusesAnIdTwiceAndKeepsTheFirst) {
    allocate(5);
    ASSERT_EQ(acl_rm_db_counter_ref_counter_update(5, COUNTER_REF_INCREMENT),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_db_counter_allocate(TYPE + 1, 5), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{db_failure(1, "Counter id (5) is already exist in counter DB.\n")});
    EXPECT_EQ(type_of(5), TYPE);
    EXPECT_EQ(references(5), 1u);
}

TEST_F(CounterDbTest, HoldsAsManyAsItsPoolAndNotOneMore) {
    for (uint32_t id = 1; id <= ITEMS_NUM; id++)
        allocate(id);
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_EQ(acl_rm_db_counter_allocate(TYPE, ITEMS_NUM + 1), ZV_ACL_RM_STATUS_NO_RESOURCES);
    EXPECT_EQ(take_lines(), Lines{db_failure(6, "Could not find free counter in counter DB.\n")});
    EXPECT_EQ(is_allocated(ITEMS_NUM + 1), 0u);
}

TEST_F(CounterDbTest, FullOneStillNamesAnIdThatIsThere) {
    for (uint32_t id = 1; id <= ITEMS_NUM; id++)
        allocate(id);
    EXPECT_EQ(acl_rm_db_counter_allocate(TYPE, 1), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              Lines{db_failure(1, "Counter id (1) is already exist in counter DB.\n")});
}

TEST_F(CounterDbTest, DestroyedCounterMakesRoom) {
    for (uint32_t id = 1; id <= ITEMS_NUM; id++)
        allocate(id);
    EXPECT_EQ(acl_rm_db_counter_destroy(100), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_allocated(100), 0u);
    allocate(1000);
    EXPECT_EQ(references(1000), 0u);
}

TEST_F(CounterDbTest, DestroysACounterWhateverItsReferences) {
    allocate(5);
    ASSERT_EQ(acl_rm_db_counter_ref_counter_update(5, COUNTER_REF_INCREMENT),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_db_counter_destroy(5), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_allocated(5), 0u);
    allocate(5);
    EXPECT_EQ(references(5), 0u);
}

TEST_F(CounterDbTest, CountsReferencesUpAndDown) {
    allocate(5);
    EXPECT_EQ(acl_rm_db_counter_ref_counter_update(5, 7), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(acl_rm_db_counter_ref_counter_update(5, 7), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(references(5), 2u);
    EXPECT_EQ(acl_rm_db_counter_ref_counter_update(5, 8), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(references(5), 1u);
}

TEST_F(CounterDbTest, ReferencesWrapBelowZeroAndBack) {
    allocate(5);
    EXPECT_EQ(acl_rm_db_counter_ref_counter_update(5, 8), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(references(5), 4294967295u);
    EXPECT_EQ(acl_rm_db_counter_ref_counter_update(5, 7), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(references(5), 0u);
}

TEST_F(CounterDbTest, RefusesCommandsBesideSevenAndEight) {
    allocate(5);
    for (const uint32_t command : {0u, 6u, 9u, 4294967295u}) {
        EXPECT_EQ(acl_rm_db_counter_ref_counter_update(5, command),
                  ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
        EXPECT_EQ(take_lines(),
                  Lines{db_failure(2, "Cmd not supported (" + std::to_string(command) + ").\n")});
    }
    EXPECT_EQ(references(5), 0u);
}

TEST_F(CounterDbTest, ReportsUnknownCounters) {
    uint64_t type = TYPE;
    uint32_t references_num = UNKNOWN_ID;
    const Lines wanted = {db_failure(5, "Could not find counter (77) in counter DB.\n")};
    EXPECT_EQ(acl_rm_db_counter_destroy(UNKNOWN_ID), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), wanted);
    EXPECT_EQ(acl_rm_db_counter_type_get(UNKNOWN_ID, &type), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), wanted);
    EXPECT_EQ(acl_rm_db_counter_ref_counter_get(UNKNOWN_ID, &references_num),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), wanted);
    EXPECT_EQ(acl_rm_db_counter_ref_counter_update(UNKNOWN_ID, 7),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), wanted);
    EXPECT_EQ(type, TYPE);
    EXPECT_EQ(references_num, UNKNOWN_ID);
}

TEST_F(CounterDbTest, UnknownCounterIsNotAllocatedAndNoFailure) {
    EXPECT_EQ(is_allocated(UNKNOWN_ID), 0u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(CounterDbTest, ReportsMissingPlacesForItsAnswers) {
    allocate(5);
    EXPECT_EQ(acl_rm_db_counter_type_get(5, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(acl_rm_db_counter_ref_counter_get(5, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(acl_rm_db_counter_is_allocated_counter(5, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), (Lines{db_failure(3, "counter_type_p is NULL.\n"),
                                   db_failure(3, "ref_counter_p is NULL.\n"),
                                   db_failure(3, "is_allocated is NULL.\n")}));
}

}  // namespace
