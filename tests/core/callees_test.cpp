// Callees that fail where they never do: what their callers say then, and what they hand on.
#include <gtest/gtest.h>

#include <functional>
#include <ostream>

#include "core/acl_rm.h"
#include "core/acl_rm_counter.h"
#include "core/acl_rm_rule_db.h"
#include "core/acl_rm_rule_delete.h"
#include "core/db/acl_rm_db.h"
#include "daemon/logging.h"
#include "tests/core/core_fixture.h"
#include "tests/core/failing_callees.h"

namespace {

using namespace zv_unit;

class CalleesTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        acl_id_ = create_acl(16);
        acl_rm_rule rule = rule_at(3);
        counter_id_ = make_counter();
        rule.forwarding.counter_id = counter_id_;
        rule.forwarding.type = 1;
        rule.forwarding.log_port = 65537;
        EXPECT_EQ(write(rule), ZV_ACL_RM_STATUS_SUCCESS);
        take_lines();
    }
    void TearDown() override {
        EXPECT_FALSE(callee_failure_is_pending());
        ConnectedFixture::TearDown();
    }

    zv_acl_rm_status_t write(acl_rm_rule rule) {
        const uint32_t rules_num = 1;
        return acl_rm_acl_rule_set(OPEN_FLOW_HANDLE, 6, acl_id_, &rule, &rules_num);
    }
    zv_acl_rm_status_t remove(uint32_t offset) {
        const uint32_t rules_num = 1;
        acl_rm_rule rule = {};
        rule.offset = offset;
        return acl_rm_acl_rule_set(OPEN_FLOW_HANDLE, 3, acl_id_, &rule, &rules_num);
    }
    zv_acl_rm_status_t set_acl(uint32_t cmd) {
        acl_rm_acl acl = {};
        acl.acl_id = acl_id_;
        return acl_rm_acl_set(OPEN_FLOW_HANDLE, cmd, &acl);
    }
    zv_acl_rm_status_t resize(uint32_t new_size) {
        return acl_rm_acl_resize(OPEN_FLOW_HANDLE, acl_id_, &new_size);
    }
    static uint32_t make_counter() {
        const acl_rm_counter_type type = {1, 0};
        uint32_t counter_id = 0;
        EXPECT_EQ(acl_rm_counter_set(OPEN_FLOW_HANDLE, 4, &type, &counter_id),
                  ZV_ACL_RM_STATUS_SUCCESS);
        return counter_id;
    }
    zv_acl_rm_status_t destroy_counter(uint32_t counter_id) {
        return acl_rm_counter_set(OPEN_FLOW_HANDLE, 5, nullptr, &counter_id);
    }

    uint32_t acl_id_ = 0;
    uint32_t counter_id_ = 0;
};

const std::string KEY_FAILURE = "build_key_format";
const std::string NO_ACL_TABLE = "acl_id_2_acl_info hash table not initialized";

TEST_F(CalleesTest, PriorityThatHasNoOffsetStopsAWrite) {
    fail_callee("__convert_priority_to_offset", 1, 3);
    EXPECT_EQ(write(rule_at(4)), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(3, "Failed to convert rule priority to unique offset\n")}, 3, 2));
    EXPECT_EQ(cached_rule(acl_id_, 4), nullptr);
}

TEST_F(CalleesTest, KeyThatCannotBeBuiltStopsAWriteBeforeTheSwitch) {
    fail_callee(KEY_FAILURE, 1);
    EXPECT_EQ(write(rule_at(4)), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(
        take_lines(), {passed_up(1), failure(1, "override new rule is forbidden for command:[6]")},
        1, 2));
    EXPECT_EQ(recorded_calls("zv_api_acl_rules_set").size(), 1u);
}

TEST_F(CalleesTest, KeyThatCannotBeBuiltLeavesAWrittenRuleInTheSwitchOnly) {
    fail_callee(KEY_FAILURE, 2);
    EXPECT_EQ(write(rule_at(4)), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 3));
    EXPECT_EQ(recorded_calls("zv_api_acl_rules_set").size(), 2u);
    EXPECT_EQ(cached_rule(acl_id_, 4), nullptr);
    EXPECT_EQ(g_rules_cnt, 1u);
}

// Looked up, taken off its counter, removed: each step builds the key anew.
TEST_F(CalleesTest, KeyThatCannotBeBuiltStopsADeletionBeforeTheSwitch) {
    fail_callee(KEY_FAILURE, 1);
    EXPECT_EQ(remove(3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 2));
    EXPECT_NE(cached_rule(acl_id_, 3), nullptr);
}

TEST_F(CalleesTest, KeyThatCannotBeBuiltForTheCounterIsReportedInItsWords) {
    fail_callee(KEY_FAILURE, 2);
    EXPECT_EQ(remove(3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(),
                        {failure(1, "Fail build key format."),
                         failure(1, "Fail to get rule info for acl_id (1) offset (3).")},
                        1, 2));
    EXPECT_NE(cached_rule(acl_id_, 3), nullptr);
}

TEST_F(CalleesTest, KeyThatCannotBeBuiltForTheRemovalLeavesTheRuleCached) {
    fail_callee(KEY_FAILURE, 3);
    EXPECT_EQ(remove(3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 2));
    EXPECT_NE(cached_rule(acl_id_, 3), nullptr);
    EXPECT_EQ(g_rules_cnt, 1u);
}

TEST_F(CalleesTest, KeyThatCannotBeBuiltFailsEachOperationOfTheRuleDatabase) {
    acl_rule_entry entry = {};
    fail_callee(KEY_FAILURE, 1);
    EXPECT_EQ(__acl_db_rule_get(acl_id_, 3, &entry), ZV_ACL_RM_STATUS_ERROR);
    fail_callee(KEY_FAILURE, 1);
    EXPECT_EQ(__acl_db_rule_add(acl_id_, 1, 4, &entry), ZV_ACL_RM_STATUS_ERROR);
    fail_callee(KEY_FAILURE, 1);
    EXPECT_EQ(__acl_db_rule_delete(acl_id_, 1, 3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), (Lines{passed_up(1), passed_up(1), passed_up(1)}));
    EXPECT_NE(cached_rule(acl_id_, 3), nullptr);
}

// The owner check has found the ACL; the look-up after it fails, or finds it gone.
struct SecondLookup {
    const char *name;
    std::function<zv_acl_rm_status_t(uint32_t)> request;
    const char *fails_with;
    const char *absent_with;
    size_t levels;  // that hand it up
};

void PrintTo(const SecondLookup &row, std::ostream *out) {
    *out << row.name;
}

const std::vector<SecondLookup> &second_lookups() {
    static const auto &list = *new std::vector<SecondLookup>{
        {"Destroy",
         [](uint32_t acl_id) {
             acl_rm_acl acl = {};
             acl.acl_id = acl_id;
             return acl_rm_acl_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_DESTROY, &acl);
         },
         "acl_id_2_acl_info hash table not initialized", "acl_id:1 not found in hash table", 1},
        {"Edit",
         [](uint32_t acl_id) {
             acl_rm_acl acl = {};
             acl.acl_id = acl_id;
             return acl_rm_acl_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_EDIT, &acl);
         },
         "acl_id_2_acl_info hash table not initialized", "acl_id:1 not found in hash table", 1},
        {"Resize",
         [](uint32_t acl_id) {
             const uint32_t new_size = 20;
             return acl_rm_acl_resize(OPEN_FLOW_HANDLE, acl_id, &new_size);
         },
         "error 1 returned looking up ACL 1 in hash table",
         "acl_rm_acl_resize: acl 1 not found in hast table", 0},
        {"SystemBind",
         [](uint32_t acl_id) {
             return acl_rm_acl_system_bind_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_BIND, acl_id);
         },
         "error 1 returned looking up ACL 1 in hash table",
         "acl_rm_acl_system_bind_set: acl 1 not found in hast table", 0},
    };
    return list;
}

class SecondLookupTest : public CalleesTest, public testing::WithParamInterface<SecondLookup> {};

TEST_P(SecondLookupTest, ThatFailsIsAnErrorAndChangesNothing) {
    const size_t calls = recorded_calls().size();
    fail_callee("ht_lookup_zvlib", 2);
    EXPECT_EQ(GetParam().request(acl_id_), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {failure(1, GetParam().fails_with)}, 1, GetParam().levels));
    EXPECT_EQ(recorded_calls().size(), calls);
    EXPECT_NE(cached_acl(acl_id_), nullptr);
}

TEST_P(SecondLookupTest, ThatFindsNothingIsReportedAndChangesNothing) {
    const size_t calls = recorded_calls().size();
    lose_entry_at_lookup(2);
    EXPECT_EQ(GetParam().request(acl_id_), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(take_lines(), {failure(5, GetParam().absent_with)}, 5, GetParam().levels));
    EXPECT_EQ(recorded_calls().size(), calls);
    EXPECT_NE(cached_acl(acl_id_), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Each, SecondLookupTest, testing::ValuesIn(second_lookups()),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_F(CalleesTest, RemovalThatFailsEndsADestroyAfterTheSwitch) {
    fail_callee("ht_acl_id_2_acl_info_remove", 1, 5);
    EXPECT_EQ(set_acl(ZV_ACL_RM_ACCESS_CMD_DESTROY), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    const Lines lines = take_lines();
    ASSERT_GE(lines.size(), 2u);
    EXPECT_TRUE(reports({lines.end() - 2, lines.end()}, {}, 5, 2));
    EXPECT_EQ(g_acl_table_cnt, 0u);
    EXPECT_NE(cached_acl(acl_id_), nullptr);
}

TEST_F(CalleesTest, RemovalThatFailsEndsAnEditBeforeTheSwitch) {
    const size_t calls = recorded_calls("zv_api_acl_set").size();
    fail_callee("ht_acl_id_2_acl_info_remove", 1, 5);
    EXPECT_EQ(set_acl(ZV_ACL_RM_ACCESS_CMD_EDIT), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_TRUE(reports(take_lines(), {}, 5, 2));
    EXPECT_EQ(recorded_calls("zv_api_acl_set").size(), calls);
    EXPECT_NE(cached_acl(acl_id_)->valid_offsets, nullptr);
}

TEST_F(CalleesTest, CounterDatabaseThatCannotSearchSaysSo) {
    const Line line = failure(3, "Failed in __acl_rm_db_counter_find.\n", "ACL_RM_DB");
    uint32_t number = 0;
    uint64_t type = 0;
    const std::vector<std::function<zv_acl_rm_status_t()>> operations = {
        [] { return acl_rm_db_counter_allocate(1, 99); },
        [&] { return acl_rm_db_counter_destroy(counter_id_); },
        [&] { return acl_rm_db_counter_type_get(counter_id_, &type); },
        [&] { return acl_rm_db_counter_ref_counter_get(counter_id_, &number); },
        [&] { return acl_rm_db_counter_ref_counter_update(counter_id_, COUNTER_REF_INCREMENT); },
        [&] { return acl_rm_db_counter_is_allocated_counter(counter_id_, &number); },
    };
    for (const auto &operation : operations) {
        fail_callee("__acl_rm_db_counter_find", 1, 3);
        EXPECT_EQ(operation(), ZV_ACL_RM_STATUS_PARAM_NULL);
        EXPECT_EQ(take_lines(), Lines{line});
    }
}

TEST_F(CalleesTest, DestroyOfACounterReportsWhichStepFailed) {
    const uint32_t counter_id = make_counter();
    const std::string id = "(" + std::to_string(counter_id) + ")";
    const Line last = failure(1, "Fail to clear counter for counter ID " + id + ".");
    const struct {
        const char *function;
        Lines lines;
    } steps[] = {
        {"acl_rm_db_counter_is_allocated_counter",
         {failure(1, "Could not find counter id " + id + " in Counters DB.")}},
        {"acl_rm_db_counter_ref_counter_get",
         {failure(1, "Fail to get reference counter for counter ID " + id + "."), last}},
        {"acl_rm_db_counter_type_get",
         {failure(1, "Fail to get counter type for counter ID " + id + "."), last}},
        {"acl_rm_db_counter_destroy",
         {failure(1, "Fail to destroy counter ID " + id + " in counter DB."), last}},
    };
    for (const auto &step : steps) {
        fail_callee(step.function, 1);
        EXPECT_EQ(destroy_counter(counter_id), ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(take_lines(), step.lines) << step.function;
    }
}

TEST_F(CalleesTest, ForwardingEntryThatTheTableKeepsIsAnErrorAfterTheSwitch) {
    fail_callee("ht_delete_zvlib", 2);  // the first takes the rule out
    EXPECT_EQ(remove(3), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(has_line(take_lines(), passed_up(1)));
    EXPECT_EQ(cached_forwarding(65537)->times_consumed, 0u);
    EXPECT_EQ(cached_rule(acl_id_, 3), nullptr);
}

TEST_F(CalleesTest, WalkThatFailsHalfWayEndsTheRelease) {
    create_acl(16);
    take_lines();
    fail_callee("ht_iter_get_next_zvlib", 1);
    EXPECT_EQ(acl_rm_internal_acl_rm_cache_deinit(), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(has_line(take_lines(), passed_up(1)));
}

TEST_F(CalleesTest, SystemAclWithoutKeyOrRecordEndsPortSet) {
    find_nothing_at_first_step();
    const uint32_t log_port = 9;
    EXPECT_EQ(acl_rm_port_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_ADD_PORTS, &log_port, 1),
              ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
}

TEST_F(CalleesTest, DumpFileThatCannotBecomeAStreamGoesToTheLog) {
    const std::string path = file("dump");
    fail_callee("fdopen", 1);
    EXPECT_EQ(acl_rm_dump(path.c_str()), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_TRUE(has_line(take_lines(), line(WARNING_MASK, "Can't open the acl-rm dump file " +
                                                              path + ", will print to log")));
}

TEST_F(CalleesTest, DestinationThatCannotBeReadStopsAMoveBeforeAnythingIsDeleted) {
    EXPECT_EQ(write(rule_at(5)), ZV_ACL_RM_STATUS_SUCCESS);
    take_lines();
    fail_callee("ht_lookup_zvlib", 2);
    EXPECT_EQ(__acl_db_modify_entry_offset(acl_id_, 1, 3, 5), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(),
              (Lines{passed_up(1), failure(1,
                                           "Failed to retrieve rule at offset [5] from ACL RM DB "
                                           "for ACL ID [1], error: 1\n")}));
    EXPECT_NE(cached_rule(acl_id_, 3), nullptr);
    EXPECT_NE(cached_rule(acl_id_, 5), nullptr);
}

// The switch has the rule by then, and the cache never gets it.
TEST_F(CalleesTest, CounterThatCannotBeCountedIsNotifiedWhereItIsFull) {
    for (const uint32_t status : {6u, 7u, 1u}) {
        acl_rm_rule rule = rule_at(8);
        rule.forwarding.counter_id = counter_id_;
        const size_t writes = recorded_calls("zv_api_acl_rules_set").size();
        fail_callee("acl_rm_db_counter_ref_counter_update", 1, status);
        EXPECT_EQ(write(rule), status);
        const std::string text = "Fail to update reference counter for counter ID (" +
                                 std::to_string(counter_id_) + ") in counter DB.";
        EXPECT_TRUE(reports(take_lines(),
                            {status == 1 ? failure(status, text) : notification(status, text)},
                            status, 2));
        EXPECT_EQ(recorded_calls("zv_api_acl_rules_set").size(), writes + 1);
        EXPECT_EQ(cached_rule(acl_id_, 8), nullptr);
        EXPECT_EQ(g_rules_cnt, 1u);
    }
}

TEST_F(CalleesTest, PortsTheNetworkLibraryClaimsBeyondItsBufferAreNotRead) {
    zv_unit::claim_more("zv_net_ports_get_all", 2, 1000000);
    EXPECT_EQ(acl_rm_acl_system_bind_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_BIND, acl_id_),
              ZV_ACL_RM_STATUS_SUCCESS);
    // The room's ten spare records are zero: a front-panel port 0, bound once.
    EXPECT_EQ(cached_acl(acl_id_)->acl_bound_ports_num, 33u);
}

TEST_F(CalleesTest, PortsOfAGroupThatTheSwitchClaimsBeyondTheRoomAreNotCounted) {
    uint32_t group_id = 0;
    uint32_t log_ports[ZV_ACL_RM_PORTS_PER_RECORD] = {65537, 65538};
    uint32_t ports_num = 2;
    ASSERT_EQ(acl_rm_acl_mc_group_set(OPEN_FLOW_HANDLE, ZV_ACL_RM_ACCESS_CMD_ADD, &group_id,
                                      log_ports, &ports_num),
              ZV_ACL_RM_STATUS_SUCCESS);
    zv_unit::claim_more("zv_api_acl_policy_based_switching_get", 1, 101);
    EXPECT_EQ(acl_rm_acl_mc_group_get(OPEN_FLOW_HANDLE, group_id, log_ports, &ports_num),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(ports_num, 2u);
}

TEST_F(CalleesTest, WalkThatFailsHalfWayEndsADump) {
    create_acl(16);
    take_lines();
    fail_callee("ht_iter_get_next_zvlib", 1);
    EXPECT_EQ(acl_rm_dump(file("dump").c_str()), ZV_ACL_RM_STATUS_ERROR);
    fail_callee("ht_iter_get_next_zvlib", 1);
    EXPECT_EQ(acl_rm_dump("/no/such/directory/dump"), ZV_ACL_RM_STATUS_ERROR);
}

class CacheCalleesTest : public testing::Test {};

TEST_F(CacheCalleesTest, CounterDatabaseWithoutHardwareIsNotifiedByName) {
    capture_log();
    fail_callee("acl_rm_db_counter_init", 1, 7);
    EXPECT_EQ(acl_rm_internal_acl_rm_cache_init(), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    EXPECT_EQ(take_lines(), Lines{passed_up(7)});
}

}  // namespace
