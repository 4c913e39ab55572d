// Rules that forward to a logical port or a multicast group: PBS entries made, shared and counted.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Keys = std::vector<std::string>;

struct Forwarding {
    uint32_t log_port, pbs_id, times_consumed;
    bool operator==(const Forwarding &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Forwarding &entry) {
    return out << "port " << entry.log_port << " through " << entry.pbs_id << " times "
               << entry.times_consumed;
}

// By port; what every entry of a port has in common is checked on the way.
std::vector<Forwarding> forwardings(DaemonProcess &daemon) {
    std::vector<Forwarding> list;
    for (const CacheDump::Forwarding &entry : daemon.dump().forwardings) {
        EXPECT_EQ(entry.forwarding_log_port, entry.log_port);
        EXPECT_EQ(entry.entry_type, 0u);
        list.push_back({entry.log_port, entry.pbs_id, entry.times_consumed});
    }
    std::sort(list.begin(), list.end(),
              [](const Forwarding &a, const Forwarding &b) { return a.log_port < b.log_port; });
    return list;
}

class RuleForwarding : public testing::Test {
  protected:
    explicit RuleForwarding(DaemonOptions options = {})
        : daemon_(std::move(options)), client_(daemon_), acl_(client_.make_acl(256)) {}

    uint32_t write(const std::vector<acl_rm_rule> &rules) {
        return client_.write_rules(acl_.acl_id, rules);
    }
    uint64_t pbs_in_switch() { return daemon_.control().used("pbs_entries"); }

    DaemonProcess daemon_;
    TestClient client_;
    acl_rm_acl acl_;
};

TEST_F(RuleForwarding, ANewPortGetsAPbsEntryBeforeTheRulesAreWritten) {
    auto rule = patterned<acl_rm_rule>();  // the client's own words must give way
    rule.priority = 3;
    rule.key.key_type = 0;
    rule.forwarding.counter_id = 0;
    rule = forward_to_port(rule, kPort);
    const Watch watch(daemon_);
    EXPECT_EQ(write({rule}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls(
        {port_pbs_created(kPort, 1), rules_written(1, {forwarded(sdk_rule(rule), 1)})});
    watch.expect_lines({});
    EXPECT_EQ(forwardings(daemon_), (std::vector<Forwarding>{{kPort, 1, 1}}));
    EXPECT_EQ(daemon_.control().state().at("pbs"),
              nlohmann::json::parse(R"([{"pbs_id":1,"switch_id":0,"entry_type":0,
                                         "ports":[65537]}])"));
    check_cache(daemon_);
}

TEST_F(RuleForwarding, AnswersWithTheForwardingAsItWasSent) {
    const auto request =
        write_request(client_.handle(), acl_.acl_id, {forward_to_port(make_rule(3), kPort)});
    const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, request);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(answer.body, bytes_of(request));
}

TEST_F(RuleForwarding, AKnownPortIsReusedWithoutACall) {
    ASSERT_EQ(write({forward_to_port(make_rule(0), kPort)}), ZV_ACL_RM_STATUS_SUCCESS);
    const std::vector<acl_rm_rule> rules = {forward_to_port(make_rule(1, 2), kPort),
                                            forward_to_port(make_rule(2, 2), kPort)};
    const Watch watch(daemon_);
    EXPECT_EQ(write(rules), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls(
        {rules_written(1, {forwarded(sdk_rule(rules[0]), 1), forwarded(sdk_rule(rules[1]), 1)})});
    EXPECT_EQ(forwardings(daemon_), (std::vector<Forwarding>{{kPort, 1, 3}}));
    check_cache(daemon_);
}

TEST_F(RuleForwarding, IsSharedByAllAclsAndOwners) {
    TestClient other(daemon_, ZV_ACL_RM_OWNER_OF13);
    const acl_rm_acl acl = other.make_acl(4);
    ASSERT_EQ(write({forward_to_port(make_rule(0), kPort)}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(other.write_rules(acl.acl_id, {forward_to_port(make_rule(0), kPort)}),
              ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(forwardings(daemon_), (std::vector<Forwarding>{{kPort, 1, 2}}));
    check_cache(daemon_);
}

// Each makes an entry of its own; the first one's is remembered, and counts both.
TEST_F(RuleForwarding, TwoRulesOfOneBatchToOneNewPortMakeTwoPbsEntries) {
    const std::vector<acl_rm_rule> rules = {forward_to_port(make_rule(0), kPort),
                                            forward_to_port(make_rule(1), kPort)};
    const Watch watch(daemon_);
    EXPECT_EQ(write(rules), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls(
        {port_pbs_created(kPort, 1), port_pbs_created(kPort, 2),
         rules_written(1, {forwarded(sdk_rule(rules[0]), 1), forwarded(sdk_rule(rules[1]), 2)})});
    EXPECT_EQ(forwardings(daemon_), (std::vector<Forwarding>{{kPort, 1, 2}}));
    EXPECT_EQ(pbs_in_switch(), 2u);
    check_cache(daemon_, kSkipForwarding | kSkipLeftOvers);
    // From then on it is a known port.
    const Watch third(daemon_);
    EXPECT_EQ(write({forward_to_port(make_rule(2), kPort)}), ZV_ACL_RM_STATUS_SUCCESS);
    third.expect_calls(
        {rules_written(1, {forwarded(sdk_rule(forward_to_port(make_rule(2), kPort)), 1)})});
}

// Entries are made while rules are translated, in their order; rules are written by key type. So it
// is the entry of the rule that is written first that is remembered.
TEST_F(RuleForwarding, TheEntryOfTheKeyTypeWrittenFirstIsRemembered) {
    const std::vector<acl_rm_rule> rules = {forward_to_port(make_rule(0, 3), kPort),
                                            forward_to_port(make_rule(1, 0), kPort)};
    const Watch watch(daemon_);
    EXPECT_EQ(write(rules), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({port_pbs_created(kPort, 1), port_pbs_created(kPort, 2),
                        rules_written(1, {forwarded(sdk_rule(rules[1]), 2)}),
                        rules_written(1, {forwarded(sdk_rule(rules[0]), 1)})});
    EXPECT_EQ(forwardings(daemon_), (std::vector<Forwarding>{{kPort, 2, 2}}));
}

struct NoForwarding : RuleForwarding, testing::WithParamInterface<uint32_t> {};

TEST_P(NoForwarding, LeavesTheActionAlone) {
    auto rule = patterned<acl_rm_rule>();
    rule.priority = 3;
    rule.key.key_type = 0;
    rule.forwarding.counter_id = 0;
    rule.forwarding.type = GetParam();
    rule.forwarding.log_port = kPort;
    const Watch watch(daemon_);
    EXPECT_EQ(write({rule}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({rules_written(1, {sdk_rule(rule)})});
    EXPECT_EQ(forwardings(daemon_), std::vector<Forwarding>());
}

INSTANTIATE_TEST_SUITE_P(RuleForwarding, NoForwarding,
                         testing::Values(0u, 3u, 4u, 6u, 0xffffffffu));

// Port 0 stands for "none" where users are counted: it is forwarded to, but never remembered.
TEST_F(RuleForwarding, Port0GetsAnEntryEachTimeAndIsNotRemembered) {
    const acl_rm_rule rule = forward_to_port(make_rule(0), 0);
    const acl_rm_rule again = forward_to_port(make_rule(1), 0);
    const Watch watch(daemon_);
    EXPECT_EQ(write({rule}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(write({again}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({port_pbs_created(0, 1), rules_written(1, {forwarded(sdk_rule(rule), 1)}),
                        port_pbs_created(0, 2), rules_written(1, {forwarded(sdk_rule(again), 2)})});
    EXPECT_EQ(forwardings(daemon_), std::vector<Forwarding>());
    check_cache(daemon_, kSkipLeftOvers);
}

TEST_F(RuleForwarding, TheLargestPortNumberIsAPort) {
    const acl_rm_rule rule = forward_to_port(make_rule(0), 0xffffffff);
    EXPECT_EQ(write({rule}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(forwardings(daemon_), (std::vector<Forwarding>{{0xffffffff, 1, 1}}));
    check_cache(daemon_);
}

TEST_F(RuleForwarding, AnUnknownMulticastGroupIsRefused) {
    const Watch watch(daemon_);
    const Answer answer = send_record(
        daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
        write_request(client_.handle(), acl_.acl_id, {forward_to_mc_group(make_rule(0), 77)}));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed(5, "Failed to find MCG id 77", 3));
    watch.expect_calls({});
    check_cache(daemon_);
}

TEST_F(RuleForwarding, APbsEntryMadeForAnEarlierRuleOfAFailedBatchStays) {
    const Watch watch(daemon_);
    EXPECT_EQ(write({forward_to_port(make_rule(0), kPort), forward_to_mc_group(make_rule(1), 0)}),
              ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND);
    watch.expect_lines(failed(5, "Failed to find MCG id 0", 3));
    watch.expect_calls({port_pbs_created(kPort, 1)});
    EXPECT_EQ(forwardings(daemon_), std::vector<Forwarding>());
    check_cache(daemon_, kSkipLeftOvers);
    // It is forgotten: the next rule to that port gets another.
    EXPECT_EQ(write({forward_to_port(make_rule(0), kPort)}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(forwardings(daemon_), (std::vector<Forwarding>{{kPort, 2, 1}}));
}

TEST_F(RuleForwarding, APbsEntryOfABatchThatTheSwitchRefusesStays) {
    daemon_.control().fail("zv_api_acl_rules_set", 1);
    const Watch watch(daemon_);
    EXPECT_EQ(write({forward_to_port(make_rule(0), kPort)}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Failed to add rule to a region in SDK , error: 1", 2));
    EXPECT_EQ(forwardings(daemon_), std::vector<Forwarding>());
    EXPECT_EQ(pbs_in_switch(), 1u);
    check_cache(daemon_, kSkipLeftOvers);
}

struct FailingPbs : RuleForwarding, testing::WithParamInterface<std::pair<uint32_t, bool>> {};

TEST_P(FailingPbs, StopsTheBatchBeforeAnyRuleIsWritten) {
    const auto [sdk_status, late] = GetParam();
    daemon_.control().fail("zv_api_acl_policy_based_switching_set", sdk_status, 2, 1, late);
    const Watch watch(daemon_);
    const Answer answer =
        send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
                    write_request(client_.handle(), acl_.acl_id,
                                  {make_rule(9), forward_to_port(make_rule(0), kPort),
                                   forward_to_port(make_rule(1), kPort + 1),
                                   forward_to_port(make_rule(2), kPort + 2)}));
    EXPECT_EQ(answer.body, Bytes());
    if (sdk_status == 5) {
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
        watch.expect_lines(
            notified(7, "Can't initiate forwarding action for the rule, not enough resources", 3));
    } else {
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        watch.expect_lines(failed(1, "Can't initiate forwarding action for the rule", 3));
    }
    watch.expect_calls(
        {port_pbs_created(kPort, 1), port_pbs_created(kPort + 1, late ? 2 : 0, sdk_status)});
    EXPECT_EQ(daemon_.dump().rules_cnt, 0u);
    EXPECT_EQ(forwardings(daemon_), std::vector<Forwarding>());
    EXPECT_EQ(pbs_in_switch(), late ? 2u : 1u);
    check_cache(daemon_, kSkipLeftOvers);
}

INSTANTIATE_TEST_SUITE_P(RuleForwarding, FailingPbs,
                         testing::Values(std::pair{5u, false}, std::pair{1u, false},
                                         std::pair{5u, true}, std::pair{1u, true}));

DaemonOptions one_pbs_entry() {
    DaemonOptions options;
    options.config = {{"pbs_entries", 1}};
    return options;
}

struct SwitchWithOnePbsEntry : RuleForwarding {
    SwitchWithOnePbsEntry() : RuleForwarding(one_pbs_entry()) {}
};

TEST_F(SwitchWithOnePbsEntry, ForwardsToOnePortAsOftenAsOneLikes) {
    ASSERT_EQ(write({forward_to_port(make_rule(0), kPort)}), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(write({forward_to_port(make_rule(1), kPort)}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(write({forward_to_port(make_rule(2), kPort + 1)}), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    watch.expect_lines(
        notified(7, "Can't initiate forwarding action for the rule, not enough resources", 3));
    check_cache(daemon_);
}

TEST_F(RuleForwarding, AHundredPortsFitAndTheNextLeavesItsRuleInTheSwitchOnly) {
    for (uint32_t first = 0; first < 100; first += 20) {
        std::vector<acl_rm_rule> rules;
        for (uint32_t i = first; i < first + 20; ++i) {
            rules.push_back(forward_to_port(make_rule(i), 1000 + i));
        }
        ASSERT_EQ(write(rules), ZV_ACL_RM_STATUS_SUCCESS);
    }
    EXPECT_EQ(forwardings(daemon_).size(), 100u);
    check_cache(daemon_);

    const acl_rm_rule rule = forward_to_port(make_rule(100), 1100);
    const Watch watch(daemon_);
    EXPECT_EQ(write({rule}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Insert not successful", 3));
    watch.expect_calls(
        {port_pbs_created(1100, 101), rules_written(1, {forwarded(sdk_rule(rule), 101)})});
    EXPECT_EQ(forwardings(daemon_).size(), 100u);
    EXPECT_EQ(daemon_.dump().rules_cnt, 100u);
    EXPECT_EQ(daemon_.control().state().at("regions").at(0).at("rules").size(), 101u);
    // The ports that are known still are.
    EXPECT_EQ(write({forward_to_port(make_rule(101), 1099)}), ZV_ACL_RM_STATUS_SUCCESS);
    const std::vector<Forwarding> known = forwardings(daemon_);
    ASSERT_EQ(known.size(), 100u);
    EXPECT_EQ(known.back(), (Forwarding{1099, 100, 2}));
}

}  // namespace
}  // namespace zv_test
