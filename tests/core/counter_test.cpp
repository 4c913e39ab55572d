#include "core/acl_rm_counter.h"

#include <gtest/gtest.h>

#include <limits>

#include "core/acl_rm.h"
#include "core/db/acl_rm_db.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"
#include "zv_log.h"

namespace {

using namespace zv_unit;

constexpr uint64_t FIRST = 1;                   // the pair (1, 0) as the database has it
constexpr uint64_t SECOND = uint64_t{1} << 32;  // (0, 1)
constexpr uint32_t CREATE = ZV_ACL_RM_ACCESS_CMD_CREATE;
constexpr uint32_t DESTROY = ZV_ACL_RM_ACCESS_CMD_DESTROY;
constexpr uint32_t READ = ZV_ACL_RM_ACCESS_CMD_READ;
constexpr uint32_t READ_CLEAR = ZV_ACL_RM_ACCESS_CMD_READ_CLEAR;
constexpr uint32_t CLEAR = ZV_ACL_RM_ACCESS_CMD_CLEAR;

constexpr const char *COUNTER_PROBLEM =
    "Counter problem: One and only one counter type is supported in the current release.";

Line db_failure(uint32_t status, const std::string &text) {
    return failure(status, text, "ACL_RM_DB");
}

Line unknown_in_db(uint32_t counter_id) {
    return db_failure(
        5, "Could not find counter (" + std::to_string(counter_id) + ") in counter DB.\n");
}

class CounterTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        take_lines();
    }
    static uint32_t create(acl_rm_counter_type type = {1, 0}) {
        uint32_t counter_id = 0;
        EXPECT_EQ(acl_rm_counter_set(OPEN_FLOW_HANDLE, CREATE, &type, &counter_id),
                  ZV_ACL_RM_STATUS_SUCCESS);
        return counter_id;
    }
    static zv_acl_rm_status_t destroy(uint32_t counter_id) {
        return acl_rm_counter_set(OPEN_FLOW_HANDLE, DESTROY, nullptr, &counter_id);
    }
    zv_acl_rm_status_t get(uint32_t cmd, uint32_t counter_id) {
        return acl_rm_counter_get(OPEN_FLOW_HANDLE, cmd, counter_id, &type_, values_);
    }
    void expect_untouched(uint32_t first, uint32_t second) const {
        EXPECT_EQ(type_.first, first);
        EXPECT_EQ(type_.second, second);
        EXPECT_EQ(values_[0], 11u);
        EXPECT_EQ(values_[1], 12u);
    }
    static uint32_t references(uint32_t counter_id) {
        uint32_t references = 99;
        EXPECT_EQ(acl_rm_db_counter_ref_counter_get(counter_id, &references),
                  ZV_ACL_RM_STATUS_SUCCESS);
        return references;
    }
    // A cached rule that the database was not told of.
    static void cache_counted_rule(uint32_t counter_id) {
        cache_rule(7, 3);
        cached_rule(7, 3)->counter_id = counter_id;
    }
    static size_t counter_calls() { return recorded_calls("zv_api_flow_counter_set").size(); }

    acl_rm_counter_type type_ = {8, 9};
    uint64_t values_[2] = {11, 12};
};

// --- missing arguments, and where they come in the order

TEST_F(CounterTest, SetNeedsAPlaceForTheIdWhateverTheCommand) {
    const acl_rm_counter_type type = {1, 1};
    for (const uint32_t cmd : {CREATE, DESTROY, 99u}) {
        EXPECT_EQ(acl_rm_counter_set(1, cmd, &type, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
        EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    }
}

TEST_F(CounterTest, CreateNeedsATypeAndTheOtherCommandsNone) {
    uint32_t counter_id = 5;
    EXPECT_EQ(acl_rm_counter_set(1, CREATE, nullptr, &counter_id), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    EXPECT_EQ(counter_calls(), 0u);
    EXPECT_EQ(counter_id, 5u);
    EXPECT_EQ(acl_rm_counter_set(1, 99, nullptr, &counter_id), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    EXPECT_EQ(destroy(create()), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(CounterTest, GetNeedsPlacesForValuesAndTypeBeforeTheIdIsLookedUp) {
    EXPECT_EQ(acl_rm_counter_get(1, READ, 77, &type_, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    EXPECT_EQ(acl_rm_counter_get(1, READ, 77, nullptr, values_), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    expect_untouched(8, 9);
}

TEST_F(CounterTest, AllocateNeedsAPlaceForTheId) {
    EXPECT_EQ(__acl_rm_counter_allocate(FIRST, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    EXPECT_EQ(counter_calls(), 0u);
}

TEST_F(CounterTest, ReadNeedsAPlaceForTheValuesBeforeTheTypeIsLookedAt) {
    EXPECT_EQ(__acl_rm_counter_read(1, 0, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
}

TEST_F(CounterTest, RuleInfoNeedsAPlaceForTheEntry) {
    cache_rule(7, 3);
    EXPECT_EQ(__acl_rm_rule_info_get(7, 3, nullptr), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
}

class CounterWithoutConnection : public CacheFixture {};

TEST_F(CounterWithoutConnection, IsRefusedBeforeMissingArguments) {
    const Lines refused = {failure(1, "ACL RM is not initialized")};
    EXPECT_EQ(acl_rm_counter_set(1, CREATE, nullptr, nullptr), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), refused);
    EXPECT_EQ(acl_rm_counter_get(1, READ, 1, nullptr, nullptr), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), refused);
}

// --- what the database holds

TEST_F(CounterTest, TheDatabaseKeepsThePairWithTheFirstFlagLow) {
    uint64_t counter_type = 0;
    const uint32_t first = create({1, 0});
    const uint32_t second = create({0, 1});
    EXPECT_EQ(acl_rm_db_counter_type_get(first, &counter_type), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(counter_type, FIRST);
    EXPECT_EQ(acl_rm_db_counter_type_get(second, &counter_type), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(counter_type, SECOND);
    EXPECT_EQ(references(first), 0u);
}

TEST_F(CounterTest, ACounterOfARefusedTypeLeavesTheIdAlone) {
    const acl_rm_counter_type type = {0, 0};
    uint32_t counter_id = 5;
    EXPECT_EQ(acl_rm_counter_set(1, CREATE, &type, &counter_id), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, COUNTER_PROBLEM)});
    EXPECT_EQ(counter_id, 5u);
}

// --- refused requests whose record was written all the same: no client sees it

TEST_F(CounterTest, ReadAndClearIsRefusedAfterTheTypeWasWritten) {
    const uint32_t counter_id = create({0, 1});
    EXPECT_EQ(get(READ_CLEAR, counter_id), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    EXPECT_EQ(take_lines(),
              Lines{failure(2, "Read & Clear is not supported in the current release.")});
    expect_untouched(0, 1);
}

TEST_F(CounterTest, UnsupportedCommandsOfAGetAreRefusedAfterTheTypeWasWritten) {
    const uint32_t counter_id = create({1, 0});
    EXPECT_EQ(get(99, counter_id), ZV_ACL_RM_STATUS_CMD_UNSUPPORTED);
    EXPECT_EQ(take_lines(), Lines{failure(2, "Command (99) is unsupported.")});
    expect_untouched(1, 0);
}

TEST_F(CounterTest, AGetThatTheSwitchRefusesHasWrittenTheType) {
    const uint32_t counter_id = create({0, 1});
    fail_call("zv_api_flow_counter_get", 6);
    fail_call("zv_api_flow_counter_clear_set", 6);
    EXPECT_EQ(get(READ, counter_id), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{failure(1, "Fail to get counter: [Entry not found]."),
                                   failure(1, "Fail to read counter.")}));
    expect_untouched(0, 1);
    EXPECT_EQ(get(CLEAR, counter_id), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Fail to clear counter: [Entry not found].")});
    expect_untouched(0, 1);
}

TEST_F(CounterTest, AGetOfAnUnknownCounterWritesNothing) {
    EXPECT_EQ(get(READ_CLEAR, 77), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(), (Lines{unknown_in_db(77),
                                   failure(5, "Could not find counter id (77) in Counters DB.")}));
    expect_untouched(8, 9);
}

// --- switch and database that disagree

TEST_F(CounterTest, AnIdThatTheDatabaseKnowsIsDestroyedAgainAndTheFirstCounterKept) {
    ASSERT_EQ(acl_rm_db_counter_allocate(SECOND, 1), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(acl_rm_db_counter_ref_counter_update(1, COUNTER_REF_INCREMENT),
              ZV_ACL_RM_STATUS_SUCCESS);
    uint32_t counter_id = 0;
    EXPECT_EQ(__acl_rm_counter_allocate(FIRST, &counter_id), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{db_failure(1, "Counter id (1) is already exist in counter DB.\n"),
                     failure(1, "Fail to allocate new counter ID (1) in counter DB.\n")}));
    EXPECT_EQ(references(1), 1u);
    const std::vector<nlohmann::json> calls = recorded_calls("zv_api_flow_counter_set");
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[1].at("args"), nlohmann::json::parse(R"({"cmd":13,"counter_type":0,
                                                             "counter_id":1})"));
}

TEST_F(CounterTest, ACounterThatTheSwitchLostStaysInTheDatabase) {
    ASSERT_EQ(acl_rm_db_counter_allocate(FIRST, 50), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(__acl_rm_counter_free_resource(50), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Fail to destroy counter ID (50).")});
    EXPECT_EQ(references(50), 0u);
}

TEST_F(CounterTest, ReadingLooksAtTheTypeAgainBeforeTheSwitchIsAsked) {
    const uint64_t none = 0;
    const uint64_t both = FIRST | SECOND;
    for (const uint64_t counter_type : {none, both, uint64_t{2}, SECOND << 1}) {
        EXPECT_EQ(__acl_rm_counter_read(1, counter_type, values_), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(take_lines(), Lines{failure(1, COUNTER_PROBLEM)});
    }
    EXPECT_EQ(recorded_calls("zv_api_flow_counter_get").size(), 0u);
}

TEST_F(CounterTest, AGetOfACounterWhoseStoredTypeIsWrongHandsItOver) {
    ASSERT_EQ(acl_rm_db_counter_allocate(FIRST | SECOND, 50), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(get(READ, 50), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{failure(1, COUNTER_PROBLEM), failure(1, "Fail to read counter.")}));
    expect_untouched(1, 1);
}

TEST_F(CounterTest, FreeingAnUnknownCounterIsReported) {
    EXPECT_EQ(__acl_rm_counter_free_resource(77), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(),
              (Lines{unknown_in_db(77),
                     failure(5, "Fail to get reference counter for counter ID (77).")}));
    EXPECT_EQ(counter_calls(), 0u);
}

TEST_F(CounterTest, FreeingACounterInUseDoesNothing) {
    const uint32_t counter_id = create();
    for (const uint32_t update : {COUNTER_REF_INCREMENT, COUNTER_REF_INCREMENT}) {
        ASSERT_EQ(acl_rm_db_counter_ref_counter_update(counter_id, update),
                  ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(__acl_rm_counter_free_resource(counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_EQ(references(counter_id), 2u);
    EXPECT_EQ(counter_calls(), 1u);
    EXPECT_EQ(take_lines(), Lines{});
}

// --- the counter of a rule that is deleted

TEST_F(CounterTest, ARulesEntryIsCopiedOut) {
    cache_counted_rule(9);
    acl_rule_entry entry = {};
    EXPECT_EQ(__acl_rm_rule_info_get(7, 3, &entry), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(entry.offset, 3u);
    EXPECT_EQ(entry.counter_id, 9u);
}

TEST_F(CounterTest, DeletingAnAbsentRuleIsReported) {
    EXPECT_EQ(__acl_rm_counter_rule_delete(7, 3), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(take_lines(),
              (Lines{failure(5, "Offset (3) not found in hash table."),
                     failure(5, "Fail to get rule info for acl_id (7) offset (3).")}));
}

TEST_F(CounterTest, DeletingARuleNeedsTheRuleTable) {
    const Missing gone(acl_rule_id_2_region_id_ht);
    EXPECT_EQ(__acl_rm_counter_rule_delete(7, 3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(
        take_lines(),
        (Lines{passed_up(1), failure(1, "Fail to get rule info for acl_id (7) offset (3).")}));
}

TEST_F(CounterTest, DeletingARuleWithoutACounterAsksNobody) {
    cache_counted_rule(0);
    EXPECT_EQ(__acl_rm_counter_rule_delete(7, 3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(take_lines(), Lines{});
    EXPECT_EQ(counter_calls(), 0u);
}

TEST_F(CounterTest, DeletingARuleOfAnUnknownCounterIsReported) {
    cache_counted_rule(77);
    EXPECT_EQ(__acl_rm_counter_rule_delete(7, 3), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(
        take_lines(),
        (Lines{unknown_in_db(77),
               failure(5, "Fail to update reference counter for counter ID (77) in counter DB.")}));
}

TEST_F(CounterTest, DeletingTheLastRuleDestroysTheCounter) {
    const uint32_t counter_id = create({0, 1});
    ASSERT_EQ(acl_rm_db_counter_ref_counter_update(counter_id, COUNTER_REF_INCREMENT),
              ZV_ACL_RM_STATUS_SUCCESS);
    cache_counted_rule(counter_id);
    EXPECT_EQ(__acl_rm_counter_rule_delete(7, 3), ZV_ACL_RM_STATUS_SUCCESS);
    uint32_t is_allocated = 9;
    EXPECT_EQ(acl_rm_db_counter_is_allocated_counter(counter_id, &is_allocated),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(is_allocated, 0u);
    EXPECT_EQ(take_lines(), Lines{});
}

TEST_F(CounterTest, DeletingTheLastRuleOfACounterThatTheSwitchKeepsIsReported) {
    const uint32_t counter_id = create();
    ASSERT_EQ(acl_rm_db_counter_ref_counter_update(counter_id, COUNTER_REF_INCREMENT),
              ZV_ACL_RM_STATUS_SUCCESS);
    cache_counted_rule(counter_id);
    fail_call("zv_api_flow_counter_set", 8);
    EXPECT_EQ(__acl_rm_counter_rule_delete(7, 3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{failure(1, "Fail to destroy counter ID (1)."),
                                   failure(1, "Fail to clear counter ID (1) in counter DB.")}));
    EXPECT_EQ(references(counter_id), 0u);
}

// A rule that was never counted takes the count below zero, and the counter for one in use.
TEST_F(CounterTest, DeletingAnUncountedRuleWrapsTheReferences) {
    const uint32_t counter_id = create();
    cache_counted_rule(counter_id);
    EXPECT_EQ(__acl_rm_counter_rule_delete(7, 3), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(references(counter_id), std::numeric_limits<uint32_t>::max());
    EXPECT_EQ(counter_calls(), 1u);
    EXPECT_EQ(acl_rm_db_counter_ref_counter_update(counter_id, COUNTER_REF_INCREMENT),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(references(counter_id), 0u);
}

// --- without a database

class CounterWithoutDatabase : public testing::Test {
  protected:
    void SetUp() override {
        record_calls(dir_.file("trace"));
        capture_log();
        ASSERT_EQ(acl_rm_init(1, 0), ZV_ACL_RM_STATUS_SUCCESS);
        take_lines();
    }
    void TearDown() override { zv_log_close(); }

  private:
    zv_test::TempDir dir_;
};

TEST_F(CounterWithoutDatabase, ANewOneIsDestroyedAgain) {
    const acl_rm_counter_type type = {1, 0};
    uint32_t counter_id = 0;
    EXPECT_EQ(acl_rm_counter_set(1, CREATE, &type, &counter_id), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{db_failure(1, "Can't allocate counter - DB not initialized).\n"),
                     failure(1, "Fail to allocate new counter ID (1) in counter DB.\n"),
                     failure(1, "Fail to allocate new counter.")}));
    EXPECT_EQ(recorded_calls("zv_api_flow_counter_set").size(), 2u);
}

TEST_F(CounterWithoutDatabase, NoneCanBeFoundFreedOrRead) {
    const Line missing = db_failure(1, "Can't retrieve counter type - DB not initialized).\n");
    const Line not_found = failure(1, "Could not find counter id (1) in Counters DB.");
    uint32_t counter_id = 1;
    EXPECT_EQ(acl_rm_counter_set(1, DESTROY, nullptr, &counter_id), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{missing, not_found}));
    acl_rm_counter_type type = {};
    uint64_t values[2] = {};
    EXPECT_EQ(acl_rm_counter_get(1, READ, 1, &type, values), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{missing, not_found}));
    EXPECT_EQ(__acl_rm_counter_free_resource(1), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{missing, failure(1, "Fail to get reference counter for counter ID (1).")}));
}

}  // namespace
