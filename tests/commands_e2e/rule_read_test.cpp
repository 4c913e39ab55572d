// ACL_RULE_GET: what comes from the switch, what from the cache, and what is left as it was sent.
#include <gtest/gtest.h>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

// Activity requests, and what they are in the switch's words.
constexpr uint32_t kNoActivity = 0;
constexpr uint32_t kActivity = 1;
constexpr uint32_t kClear = 2;
constexpr uint32_t kSdkRead = 31;
constexpr uint32_t kSdkReadClear = 32;

using Request = zv_acl_rm_acl_rule_get_params_t;
using Reads = std::vector<ReadOf>;

// A rule for `offset` with a value of its own in every byte that travels; it neither forwards nor
// counts.
acl_rm_rule full_rule(uint32_t offset) {
    auto rule = patterned<acl_rm_rule>();
    rule.priority = offset;
    rule.key.key_type = offset % 4;
    rule.key.data[0] = static_cast<uint8_t>(offset);
    rule.forwarding = {};
    return rule;
}

// What the switch answers of an empty offset.
acl_rm_rule nothing_at(uint32_t offset) {
    acl_rm_rule rule = {};
    rule.priority = offset;
    return rule;
}

// The words of the action block that the daemon writes.
void set_action_word(acl_rm_rule &rule, size_t at, uint32_t word) {
    std::memcpy(rule.action + at, &word, sizeof(word));
}

// The record as the daemon is to fill it where the rule was written without forwarding: the
// switch's blocks, and the counter.
void fill(acl_rm_rule &record, const acl_rm_rule &written, uint32_t counter_id = 0) {
    record.valid = written.valid;
    record.key = written.key;
    record.mask = written.mask;
    std::memcpy(record.action, written.action, sizeof(record.action));
    if (counter_id != 0) {
        set_action_word(record, 4, counter_id);
    }
    record.readout.counter_id = counter_id;
}
// And where it forwards through a PBS entry.
void fill_forwarding(acl_rm_rule &record, uint32_t type, uint32_t log_port, uint32_t pbs_id) {
    set_action_word(record, 0, 1);
    set_action_word(record, 8, pbs_id);
    record.readout.forwarding_type = type;
    record.readout.log_port = log_port;
}

Lines no_such_acl(uint32_t acl_id) {
    const std::string number = std::to_string(acl_id);
    return failed(5, "acl id [" + number + "] was not found in ACL RM DB", 0) +
           failed(
               5,
               "Failed to retrieve acl info for ACL ID [" + number + "] from ACL RM DB, error: 5",
               0) +
           failed(5, "Failed to retrieve region ID from ACL RM DB", 0) +
           failed(5, "Failed to retrieve rules for acl_id [" + number + "] ", 0);
}

Lines wrong_owner() {
    return failed(1, "Wrong owner[2] trying to control another owner[0] resource", 1);
}

// ACL 1 of open-flow over region 1.
class RuleRead : public testing::Test {
  protected:
    RuleRead() : client_(daemon_), acl_(client_.make_acl(64)) {}

    void write(const std::vector<acl_rm_rule> &rules, Here here = Here::now()) {
        if (client_.write_rules(acl_.acl_id, rules) != kOk) {
            ADD_FAILURE_AT(here.file, here.line) << "the rules were not written";
        }
    }
    Request request(const Reads &reads) const {
        return read_request(client_.handle(), acl_.acl_id, reads);
    }
    Answer read(const Request &request) {
        return send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, request);
    }
    // The request is answered with `expected`, by these calls, and changes nothing.
    void expect_read(const Request &request, const Request &expected, const Calls &calls,
                     Here here = Here::now()) {
        const testing::ScopedTrace trace(here.file, here.line, "read");
        const Digest before = cache_digest(daemon_);
        const Watch watch(daemon_);
        const Answer answer = read(request);
        EXPECT_EQ(answer.status, kOk);
        EXPECT_EQ(answer.body, bytes_of(expected));
        watch.expect_lines({}, here);
        watch.expect_calls(calls, here);
        EXPECT_EQ(cache_digest(daemon_), before);
    }
    void expect_refused(const Request &request, uint32_t status, const Lines &lines,
                        const Calls &calls, Here here = Here::now()) {
        const testing::ScopedTrace trace(here.file, here.line, "read");
        const Watch watch(daemon_);
        const Answer answer = read(request);
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(lines, here);
        watch.expect_calls(calls, here);
    }

    DaemonProcess daemon_;
    TestClient client_;
    acl_rm_acl acl_;
};

// --- checks, in their order

TEST(RuleReadChecks, ALengthThatIsOffByOneIsRefusedFirst) {
    DaemonProcess daemon;
    for (const size_t length : {size_t{0}, size_t{7223}, size_t{7225}}) {
        const Watch watch(daemon);
        const Answer answer = send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET, Bytes(length));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(
            {{"ACL_RM_RPC", "ERROR",
              "failed to received zv_acl_rm_api_acl_rule_get len " + std::to_string(length)}});
        watch.expect_calls({});
    }
}

TEST(RuleReadChecks, AClosedSwitchComesBeforeTheCount) {
    DaemonProcess daemon;
    const Watch watch(daemon);
    const Answer answer = send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET,
                                      read_request(kNobody, kNoAcl, Reads(21)));
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "ACL RM is not initialized", 0));
    watch.expect_calls({});
}

// The text ends with a newline here, without one where rules are written; in the log both are one
// line.
TEST_F(RuleRead, TheCountComesBeforeOwnerAndAcl) {
    for (const uint32_t rules_num : {21u, 22u, 0x10001u, 0x80000000u, 0xffffffffu}) {
        Request too_many = read_request(kNobody, kNoAcl, {{0, kClear}});
        too_many.rules_num = rules_num;
        expect_refused(
            too_many, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
            failed(4,
                   "To many rules [" + std::to_string(rules_num) + "] to configure in one action",
                   0),
            {});
    }
    EXPECT_NE(daemon_.err().find("To many rules [21] to configure in one action\n"),
              std::string::npos);
    EXPECT_EQ(daemon_.err().find("action\n\n"), std::string::npos);
}

TEST_F(RuleRead, TheOwnerComesBeforeTheAclWhereItIsAskedFor) {
    expect_refused(read_request(kNobody, kNoAcl, {{0, kClear}}),
                   ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                   failed(4,
                          "Wrong owner of the handle[119] toward ACL_RM, trying to control another "
                          "owner resource",
                          1),
                   {});
    expect_refused(read_request(client_.handle(), kNoAcl, {{0, kClear}}),
                   ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, failed_by_name(4, 1), {});
}

TEST_F(RuleRead, AnUnknownAclIsRefusedBeforeTheSwitchIsAsked) {
    for (const Reads &reads : {Reads{}, Reads{{0, kNoActivity}}, Reads{{0, kActivity}}}) {
        expect_refused(read_request(client_.handle(), kNoAcl, reads),
                       ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, no_such_acl(kNoAcl), {});
    }
}

// --- who may read

// Activity requests of the records, in order, and whether they need the owner.
struct Asked {
    std::vector<uint32_t> activity_requests;
    bool by_owner_only;
};

void PrintTo(const Asked &asked, std::ostream *out) {
    *out << testing::PrintToString(asked.activity_requests);
}

struct ReadByAnother : RuleRead, testing::WithParamInterface<Asked> {};

// Only the first record is looked at, and only request 2 is taken for one that changes something,
// although every request above 1 clears.
TEST_P(ReadByAnother, IsAllowedUnlessTheFirstRecordAsksToClear) {
    TestClient pra(daemon_, ZV_ACL_RM_OWNER_PRA);
    write(make_rules(0, 3));
    Reads reads;
    for (const uint32_t activity_request : GetParam().activity_requests) {
        reads.push_back({static_cast<uint32_t>(reads.size()), activity_request});
    }
    for (const uint64_t handle : {pra.handle(), kNobody}) {
        const Watch watch(daemon_);
        const Answer answer = read(read_request(handle, acl_.acl_id, reads));
        if (GetParam().by_owner_only) {
            const bool is_known = handle != kNobody;
            EXPECT_EQ(answer.status,
                      is_known ? ZV_ACL_RM_STATUS_ERROR : ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
            EXPECT_EQ(answer.body, Bytes());
            watch.expect_lines(is_known ? wrong_owner()
                                        : failed(4,
                                                 "Wrong owner of the handle[119] toward ACL_RM, "
                                                 "trying to control another owner resource",
                                                 1));
            watch.expect_calls({});
        } else {
            EXPECT_EQ(answer.status, kOk);
            EXPECT_EQ(answer.body.size(), sizeof(Request));
            watch.expect_lines({});
        }
    }
    EXPECT_EQ(read(request(reads)).status, kOk);
}

INSTANTIATE_TEST_SUITE_P(RuleRead, ReadByAnother,
                         testing::Values(Asked{{0}, false}, Asked{{1}, false}, Asked{{2}, true},
                                         Asked{{3}, false}, Asked{{0xffffffff}, false},
                                         Asked{{2, 0}, true}, Asked{{0, 2}, false},
                                         Asked{{3, 2, 2}, false}, Asked{{2, 2, 2}, true}));

// A count of 0 has no first record, whatever stands in its place.
TEST_F(RuleRead, OfNoRulesIsOpenToAnybodyAndAnsweredAsItWasSent) {
    Request none = read_request(kNobody, acl_.acl_id, {{0, kClear}});
    none.rules_num = 0;
    expect_read(none, none, {});
    none.acl_id = kNoAcl;
    expect_refused(none, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, no_such_acl(kNoAcl), {});
}

// --- what is answered

// Priority, padding, activity and the forwarding words stay as sent; records behind the count too.
TEST_F(RuleRead, FillsARecordFromTheSwitchAndLeavesTheRestAsSent) {
    const acl_rm_rule rule = full_rule(5);
    write({rule});
    Request asked = request({{5, kNoActivity}});
    asked.client_handle = kNobody;
    Request expected = asked;
    fill(expected.rules[0], rule);
    ASSERT_NE(expected.rules[0].readout.activity, 0);  // something to be left alone
    expect_read(asked, expected, {rule_read(1, 5, sdk_rule(rule))});
    check_cache(daemon_);
}

TEST_F(RuleRead, AnswersAnInvalidRuleAsTheSwitchHasIt) {
    acl_rm_rule rule = full_rule(5);
    rule.valid = 0;
    write({rule});
    const Request asked = request({{5, kNoActivity}});
    Request expected = asked;
    fill(expected.rules[0], rule);
    expect_read(asked, expected, {rule_read(1, 5, sdk_rule(rule))});
}

TEST_F(RuleRead, TakesTwentyRecordsOneByOneInTheirOrder) {
    std::vector<acl_rm_rule> rules;
    for (uint32_t i = 0; i < 20; ++i) {
        rules.push_back(full_rule(63 - i * 3));
    }
    write(rules);
    Reads reads;
    Calls calls;
    for (const acl_rm_rule &rule : rules) {
        reads.push_back({rule.priority, kNoActivity});
        calls.push_back(rule_read(1, rule.priority, sdk_rule(rule)));
    }
    const Request asked = request(reads);
    Request expected = asked;
    for (size_t i = 0; i < rules.size(); ++i) {
        fill(expected.rules[i], rules[i]);
    }
    expect_read(asked, expected, calls);
    check_cache(daemon_);
}

TEST_F(RuleRead, TheSameOffsetMayBeAskedForTwice) {
    const acl_rm_rule rule = full_rule(5);
    write({rule});
    const Request asked = request({{5, kNoActivity}, {5, kNoActivity}});
    Request expected = asked;
    fill(expected.rules[0], rule);
    fill(expected.rules[1], rule);
    const nlohmann::json call = rule_read(1, 5, sdk_rule(rule));
    expect_read(asked, expected, {call, call});
}

TEST_F(RuleRead, TellsWhichPortARuleForwardsTo) {
    const acl_rm_rule rule = full_rule(5);
    write({forward_to_port(make_rule(0), kPort), forward_to_port(rule, kPort + 1)});
    const Request asked = request({{5, kNoActivity}});
    Request expected = asked;  // the word of the MC group stays as sent
    fill(expected.rules[0], rule);
    fill_forwarding(expected.rules[0], 1, kPort + 1, 2);
    expect_read(asked, expected, {rule_read(1, 5, forwarded(sdk_rule(rule), 2))});
    check_cache(daemon_);
}

TEST_F(RuleRead, TellsThePbsEntryOfTheMulticastGroupThatARuleForwardsTo) {
    write({forward_to_port(make_rule(0), kPort)});
    uint32_t group = 0;
    ASSERT_EQ(client_.mc_group_set(ZV_ACL_RM_ACCESS_CMD_ADD, group, {kPort, kPort + 1}), kOk);
    const acl_rm_rule rule = full_rule(5);
    write({forward_to_mc_group(rule, group)});
    const Request asked = request({{5, kNoActivity}});
    Request expected = asked;
    fill(expected.rules[0], rule);
    fill_forwarding(expected.rules[0], 2, 0, 2);
    expected.rules[0].readout.mc_pbs_id = 2;
    expect_read(asked, expected, {rule_read(1, 5, forwarded(sdk_rule(rule), 2))});
    check_cache(daemon_);
}

// A forwarding port of 0 is what stands for an MC group in the cache.
TEST_F(RuleRead, TellsARuleToPort0AsOneToAMulticastGroup) {
    const acl_rm_rule rule = full_rule(5);
    write({forward_to_port(rule, 0)});
    const Request asked = request({{5, kNoActivity}});
    Request expected = asked;
    fill(expected.rules[0], rule);
    fill_forwarding(expected.rules[0], 2, 0, 1);
    expected.rules[0].readout.mc_pbs_id = 1;
    expect_read(asked, expected, {rule_read(1, 5, forwarded(sdk_rule(rule), 1))});
}

TEST_F(RuleRead, TellsTheCounterOfARule) {
    uint32_t counter = 0;
    ASSERT_EQ(client_.create_counter({1, 0}, counter), kOk);
    ASSERT_EQ(client_.create_counter({1, 0}, counter), kOk);
    const acl_rm_rule rule = full_rule(5);
    const acl_rm_rule both = full_rule(6);
    write({count_with(rule, counter), forward_to_port(count_with(both, counter), kPort)});
    const Request asked = request({{5, kNoActivity}, {6, kNoActivity}});
    Request expected = asked;
    fill(expected.rules[0], rule, 2);
    fill(expected.rules[1], both, 2);
    fill_forwarding(expected.rules[1], 1, kPort, 1);
    expect_read(asked, expected,
                {rule_read(1, 5, counted(sdk_rule(rule), 2)),
                 rule_read(1, 6, counted(forwarded(sdk_rule(both), 1), 2))});
    check_cache(daemon_);
}

// What the action block itself says of forwarding and counter is the client's own business.
TEST_F(RuleRead, DoesNotTakeForwardingOrCounterFromTheActionBlock) {
    acl_rm_rule rule = full_rule(5);
    set_action_word(rule, 0, 1);
    set_action_word(rule, 4, 9);
    set_action_word(rule, 8, 3);
    write({rule});
    const Request asked = request({{5, kNoActivity}});
    Request expected = asked;
    fill(expected.rules[0], rule);
    EXPECT_EQ(expected.rules[0].readout.counter_id, 0u);
    expect_read(asked, expected, {rule_read(1, 5, sdk_rule(rule))});
}

// --- activity

// A port whose packets hit the rule at offset 5 alone.
class RuleActivity : public RuleRead {
  protected:
    RuleActivity() {
        EXPECT_EQ(client_.bind_ports(ZV_ACL_RM_ACCESS_CMD_BIND, acl_.acl_id, {kPort}), kOk);
        write({make_rule(5), make_rule(6)});
    }
    void hit() {
        const auto result = daemon_.control().packet("log_port", kPort, 0, 0, "00");
        EXPECT_EQ(result.at("offset"), 5);
    }
    // Reads offset 5; the reply's activity byte, which was sent as 0xee, and the call's.
    void expect_activity(uint32_t activity_request, uint32_t cmd, uint8_t activity,
                         Here here = Here::now()) {
        Request asked = request({{5, activity_request}});
        asked.rules[0].readout.activity = 0xee;
        Request expected = asked;
        fill(expected.rules[0], make_rule(5));
        expected.rules[0].readout.activity = activity;
        expect_read(asked, expected,
                    {rule_read(1, 5, sdk_rule(make_rule(5))), activity_read(cmd, 1, 5, activity)},
                    here);
    }
};

TEST_F(RuleActivity, IsReadWithoutBeingClearedByRequest1) {
    expect_activity(kActivity, kSdkRead, 0);
    hit();
    expect_activity(kActivity, kSdkRead, 1);
    expect_activity(kActivity, kSdkRead, 1);
    check_cache(daemon_);
}

TEST_F(RuleActivity, IsReadAndClearedByEveryRequestAbove1) {
    for (const uint32_t activity_request : {kClear, 3u, 4u, 31u, 0x80000000u, 0xffffffffu}) {
        hit();
        expect_activity(activity_request, kSdkReadClear, 1);
        expect_activity(kActivity, kSdkRead, 0);
    }
    check_cache(daemon_);
}

TEST_F(RuleActivity, IsReadForTheRecordsThatAskForIt) {
    hit();
    Request asked = request({{6, kActivity}, {5, kNoActivity}, {5, kClear}});
    for (size_t i = 0; i < 3; ++i) {
        asked.rules[i].readout.activity = 0xee;
    }
    Request expected = asked;
    fill(expected.rules[0], make_rule(6));
    fill(expected.rules[1], make_rule(5));
    fill(expected.rules[2], make_rule(5));
    expected.rules[0].readout.activity = 0;
    expected.rules[2].readout.activity = 1;
    expect_read(asked, expected,
                {rule_read(1, 6, sdk_rule(make_rule(6))), activity_read(kSdkRead, 1, 6, 0),
                 rule_read(1, 5, sdk_rule(make_rule(5))), rule_read(1, 5, sdk_rule(make_rule(5))),
                 activity_read(kSdkReadClear, 1, 5, 1)});
}

// --- refused half-way

Lines not_cached(uint32_t offset) {
    return failed(5,
                  "Failed to retrieve rule at offset [" + std::to_string(offset) +
                      "] from ACL RM DB for ACL ID [1], error: 5",
                  0) +
           failed(5, "Failed to retrieve rules for acl_id [1] ", 0);
}

TEST_F(RuleRead, AnOffsetWithoutARuleIsRefusedAfterTheSwitchWasRead) {
    write({make_rule(5)});
    for (const uint32_t offset : {0u, 4u, 6u, 63u}) {
        expect_refused(request({{5, kNoActivity}, {offset, kClear}, {5, kNoActivity}}),
                       ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, not_cached(offset),
                       {rule_read(1, 5, sdk_rule(make_rule(5))),
                        rule_read(1, offset, sdk_rule(nothing_at(offset))),
                        activity_read(kSdkReadClear, 1, offset, 0)});
    }
    check_cache(daemon_);
}

TEST_F(RuleRead, AnOffsetPastTheRegionIsRefusedByTheSwitch) {
    write({make_rule(63)});
    EXPECT_EQ(read(request({{63, kNoActivity}})).status, kOk);
    for (const uint32_t offset : {64u, 65u, 0xffffffffu}) {
        expect_refused(request({{offset, kActivity}}), ZV_ACL_RM_STATUS_ERROR,
                       failed(1, "Failed to retrieve rules from region [1] in SDK , error: 4", 0) +
                           failed(1, "Failed to retrieve rules for acl_id [1] ", 0),
                       {rule_read(1, offset, nullptr, 4)});
    }
}

TEST_F(RuleRead, ARuleThatTheSwitchHasLostIsAnsweredEmptyWithWhatTheCacheKnows) {
    write({forward_to_port(full_rule(5), kPort)});
    daemon_.control().corrupt(1, 5);
    const acl_rm_rule lost = nothing_at(5);
    const Request asked = request({{5, kNoActivity}});
    Request expected = asked;
    fill(expected.rules[0], lost);
    expected.rules[0].readout.forwarding_type = 1;
    expected.rules[0].readout.log_port = kPort;
    expect_read(asked, expected, {rule_read(1, 5, sdk_rule(lost))});
}

TEST_F(RuleRead, ReadsTheRegionOfItsOwnAcl) {
    const acl_rm_acl second = client_.make_acl(8);
    write({full_rule(3)});
    const acl_rm_rule rule = full_rule(7);
    ASSERT_EQ(client_.write_rules(second.acl_id, {rule}), kOk);
    const Request asked = read_request(client_.handle(), second.acl_id, {{7, kNoActivity}});
    Request expected = asked;
    fill(expected.rules[0], rule);
    expect_read(asked, expected, {rule_read(2, 7, sdk_rule(rule))});
    check_cache(daemon_);
}

}  // namespace
}  // namespace zv_test
