// Flow counters of rules: kept as long as a rule uses them, and gone with the last one.
#include "tests/commands_e2e/counter_fixture.h"

namespace zv_test {
namespace {

class CountersOfRules : public CounterFixture {
  protected:
    uint32_t make_acl(TestClient &client) { return client.make_acl(32).acl_id; }
    void write(TestClient &client, uint32_t acl_id, const std::vector<acl_rm_rule> &rules,
               Here here = Here::now()) {
        testing::ScopedTrace trace(here.file, here.line, "write");
        EXPECT_EQ(client.write_rules(acl_id, rules), ZV_ACL_RM_STATUS_SUCCESS);
    }
    // Deletes and demands these platform calls.
    void expect_deletion(TestClient &client, uint32_t acl_id, const std::vector<uint32_t> &offsets,
                         const Names &calls, Here here = Here::now()) {
        testing::ScopedTrace trace(here.file, here.line, "deletion");
        const size_t mark = daemon_.trace_mark();
        EXPECT_EQ(client.delete_rules(acl_id, offsets), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(daemon_.call_names_since(mark), calls);
    }
};

TEST_F(CountersOfRules, DestroyingAReferencedCounterSucceedsAndKeepsIt) {
    const uint32_t counter_id = create();
    const uint32_t acl_id = make_acl(client_);
    write(client_, acl_id, {count_with(make_rule(3), counter_id)});
    const auto request = set_request(kDestroy, kFirst, counter_id);
    const Watch watch(daemon_);
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_COUNTER_SET, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, bytes_of(request));
    watch.expect_nothing();
    EXPECT_EQ(get(kRead, counter_id).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(in_switch(), Names{"counter 1: type 0"});
    check_cache(daemon_);
}

TEST_F(CountersOfRules, ADestroyedCounterGoesWithItsLastRule) {
    const uint32_t counter_id = create(kSecond);
    const uint32_t acl_id = make_acl(client_);
    write(client_, acl_id, {count_with(make_rule(3), counter_id)});
    ASSERT_EQ(client_.destroy_counter(counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.delete_rules(acl_id, {3}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_lines({{"ZV_ACL_RM", "NOTICE", "delete rule[3] from region[1]."},
                        {"ZV_ACL_RM", "NOTICE", "delete [1] #rules from region[1]."}});
    EXPECT_EQ(daemon_.calls(kCounterSet).size(), 2u);
    nlohmann::json call = daemon_.calls(kCounterSet).back();
    call.erase("seq");
    EXPECT_EQ(call, counter_destroyed(1, counter_id));
    EXPECT_EQ(in_switch(), Names());
    check_cache(daemon_);
}

TEST_F(CountersOfRules, ACounterGoesWithItsLastRuleThoughNobodyAsked) {
    const uint32_t counter_id = create();
    const uint32_t acl_id = make_acl(client_);
    write(client_, acl_id, {count_with(make_rule(3), counter_id)});
    expect_deletion(client_, acl_id, {3}, {kRulesSet, kCounterSet});
    EXPECT_EQ(in_switch(), Names());
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_counter(counter_id), ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(not_found(counter_id));
    check_cache(daemon_);
}

TEST_F(CountersOfRules, ACounterIsSharedByRulesOfSeveralAclsAndOwners) {
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    const uint32_t counter_id = create();
    const uint32_t first = make_acl(client_);
    const uint32_t second = make_acl(client_);
    const uint32_t third = make_acl(pra);
    write(client_, first, {count_with(make_rule(0), counter_id)});
    write(client_, second, {count_with(make_rule(0), counter_id)});
    write(pra, third,
          {count_with(make_rule(0), counter_id), count_with(make_rule(1, 2), counter_id)});
    expect_deletion(client_, first, {0}, {kRulesSet});
    expect_deletion(pra, third, {1}, {kRulesSet});
    expect_deletion(client_, second, {0}, {kRulesSet});
    EXPECT_EQ(in_switch(), Names{"counter 1: type 0"});
    expect_deletion(pra, third, {0}, {kRulesSet, kCounterSet});
    EXPECT_EQ(in_switch(), Names());
    check_cache(daemon_);
}

TEST_F(CountersOfRules, ABatchThatDeletesAllItsRulesDestroysItOnceAndOthersAsTheirRulesCome) {
    const uint32_t shared = create();
    const uint32_t own = create();
    const uint32_t kept = create();
    const uint32_t acl_id = make_acl(client_);
    write(client_, acl_id,
          {count_with(make_rule(0), shared), count_with(make_rule(1), own), make_rule(2),
           count_with(make_rule(3), shared), count_with(make_rule(4), kept),
           count_with(make_rule(5), kept)});
    const size_t mark = daemon_.trace_mark();
    EXPECT_EQ(client_.delete_rules(acl_id, {0, 1, 2, 3, 4}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon_.call_names_since(mark), (Names{kRulesSet, kCounterSet, kCounterSet}));
    std::vector<uint32_t> destroyed;
    for (const nlohmann::json &call : daemon_.calls(kCounterSet, mark)) {
        destroyed.push_back(call.at("args").at("counter_id").get<uint32_t>());
    }
    EXPECT_EQ(destroyed, (std::vector<uint32_t>{own, shared}));
    EXPECT_EQ(in_switch(), Names{"counter 3: type 0"});
    check_cache(daemon_);
}

TEST_F(CountersOfRules, ACounterGoesWithTheAclOfItsLastRule) {
    const uint32_t counter_id = create();
    const acl_rm_acl first = client_.make_acl(4);
    const acl_rm_acl second = client_.make_acl(4);
    write(client_, first.acl_id, {count_with(make_rule(0), counter_id)});
    write(client_, second.acl_id, {count_with(make_rule(0), counter_id)});
    EXPECT_EQ(client_.destroy_acl(first), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(in_switch(), Names{"counter 1: type 0"});
    EXPECT_EQ(client_.destroy_acl(second), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(in_switch(), Names());
    check_cache(daemon_);
}

TEST_F(CountersOfRules, AMovedRuleKeepsItsReference) {
    const uint32_t counter_id = create();
    const uint32_t acl_id = make_acl(client_);
    write(client_, acl_id, {count_with(make_rule(0), counter_id)});
    ASSERT_EQ(client_.move_block(acl_id, 0, 1, 9), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client_.destroy_counter(counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(in_switch(), Names{"counter 1: type 0"});
    expect_deletion(client_, acl_id, {9}, {kRulesSet, kCounterSet});
    EXPECT_EQ(in_switch(), Names());
    check_cache(daemon_);
}

// The references of a batch are counted before its rules are cached, and stay when the batch fails:
// what is left can be destroyed by nobody.
TEST_F(CountersOfRules, AFailedWriteKeepsTheReferencesItCountedBefore) {
    const uint32_t counter_id = create();
    const uint32_t acl_id = make_acl(client_);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.write_rules(
                  acl_id, {count_with(make_rule(0), counter_id), count_with(make_rule(1), 9)}),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(
        Lines{error_line(5, "Could not find counter (9) in counter DB.", "ACL_RM_DB")} +
        failed(5, "Fail to update reference counter for counter ID (9) in counter DB.", 2));
    EXPECT_EQ(client_.destroy_counter(counter_id), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(in_switch(), Names{"counter 1: type 0"});
}

TEST_F(CountersOfRules, CounterId0MeansNone) {
    const uint32_t acl_id = make_acl(client_);
    write(client_, acl_id, {count_with(make_rule(0), 0)});
    expect_deletion(client_, acl_id, {0}, {kRulesSet});
    check_cache(daemon_);
}

}  // namespace
}  // namespace zv_test
