// ACL_RESIZE: its checks in their order, growing and shrinking, and sizes past what the 16 bits of
// its byte count and of its scan can tell.
#include <gtest/gtest.h>

#include <ostream>

#include "tests/commands_e2e/digest.h"
#include "tests/commands_e2e/requests.h"
#include "tests/commands_e2e/sdk_calls.h"
#include "tests/commands_e2e/watch.h"
#include "tests/support/cache_check.h"

namespace zv_test {
namespace {

using Keys = std::vector<std::string>;

Answer resize(DaemonProcess &daemon, uint64_t handle, uint32_t acl_id, uint32_t new_size) {
    const zv_acl_rm_acl_resize_params_t request = {handle, acl_id, new_size};
    return send_record(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, request);
}

DaemonOptions switch_of(uint32_t tcam_entries) {
    DaemonOptions options;
    options.config = {{"tcam_entries", tcam_entries}};
    return options;
}

class AclResize : public testing::Test {
  protected:
    explicit AclResize(uint32_t tcam_entries = 65536)
        : daemon_(switch_of(tcam_entries)), client_(daemon_) {}

    Answer resize(uint32_t acl_id, uint32_t new_size) {
        return zv_test::resize(daemon_, client_.handle(), acl_id, new_size);
    }
    // ACL 1 of a size that it was not created with, so that it has no bounds.
    void make_resized(uint32_t size, Here here = Here::now()) {
        client_.make_acl(0);
        EXPECT_EQ(client_.resize_acl(1, size, here), ZV_ACL_RM_STATUS_SUCCESS);
    }
    void write(const std::vector<uint32_t> &offsets, Here here = Here::now()) {
        std::vector<acl_rm_rule> rules;
        for (const uint32_t offset : offsets) {
            rules.push_back(make_rule(offset));
        }
        EXPECT_EQ(client_.write_rules(1, rules, here), ZV_ACL_RM_STATUS_SUCCESS);
    }
    // A request for ACL 1 that is refused before anything is called.
    void expect_refused(uint32_t new_size, uint32_t status, const Lines &lines,
                        Here here = Here::now()) {
        const Watch watch(daemon_);
        const Answer answer = resize(1, new_size);
        EXPECT_EQ(answer.status, status);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(lines, here);
        watch.expect_calls({}, here);
    }
    void expect_in_the_way(uint32_t new_size, uint32_t offset, Here here = Here::now()) {
        expect_refused(new_size, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                       failed(4,
                              "Can't reduce ACL table size, offset [" + std::to_string(offset) +
                                  "] is valid in ACL [1]",
                              0),
                       here);
    }
    // That succeeds with these calls, and no line.
    void expect_resized(uint32_t new_size, const Calls &calls, Here here = Here::now()) {
        const Watch watch(daemon_);
        EXPECT_EQ(resize(1, new_size).status, ZV_ACL_RM_STATUS_SUCCESS);
        watch.expect_lines({}, here);
        watch.expect_calls(calls, here);
    }
    // A rule at an offset without a flag reaches the switch and the cache, and is refused.
    void expect_past_the_flags(uint32_t offset, uint32_t flags_num, Here here = Here::now()) {
        const Watch watch(daemon_);
        EXPECT_EQ(client_.write_rules(1, {make_rule(offset)}, here),
                  ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        watch.expect_lines(failed(4,
                                  "rule in offset[" + std::to_string(offset) + "] is past the [" +
                                      std::to_string(flags_num) + "] offsets of acl_id:1",
                                  3),
                           here);
    }

    DaemonProcess daemon_;
    TestClient client_;
};

// --- the checks, in their order

TEST(AclResizeChecks, ALengthThatIsOffByOneIsRefusedFirst) {
    DaemonProcess daemon;
    for (const size_t length : {size_t{0}, size_t{15}, size_t{17}}) {
        const Watch watch(daemon);
        const Answer answer = send_bytes(daemon, ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, Bytes(length));
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_ERROR);
        EXPECT_EQ(answer.body, Bytes());
        watch.expect_lines(
            {{"ACL_RM_RPC", "ERROR",
              "failed to receive acl_rm_resize_params len " + std::to_string(length) + "."}});
        watch.expect_calls({});
    }
}

struct RefusedResize {
    const char *name;
    bool is_open;  // whether anybody has opened
    uint64_t handle;
    uint32_t acl_id, status;
    Lines lines;
};

void PrintTo(const RefusedResize &row, std::ostream *out) {
    *out << row.name;
}

class AclResizeRefused : public testing::TestWithParam<RefusedResize> {};

// Each row has what the later ones refuse as well.
TEST_P(AclResizeRefused, CallsNothing) {
    const RefusedResize &row = GetParam();
    DaemonProcess daemon;
    constexpr uint64_t kOwner = 5, kOther = 6;
    if (row.is_open) {
        ASSERT_EQ(open_as(daemon, kOwner, ZV_ACL_RM_OWNER_PRA), ZV_ACL_RM_STATUS_SUCCESS);
        ASSERT_EQ(open_as(daemon, kOther, ZV_ACL_RM_OWNER_OPEN_FLOW), ZV_ACL_RM_STATUS_SUCCESS);
        TestClient::unopened(daemon, kOwner).make_acl(8);
    }
    const Watch watch(daemon);
    const Answer answer = resize(daemon, row.handle, row.acl_id, 9);
    EXPECT_EQ(answer.status, row.status);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(row.lines);
    watch.expect_calls({});
}

INSTANTIATE_TEST_SUITE_P(
    InTheOrderOfTheChecks, AclResizeRefused,
    testing::Values(
        RefusedResize{"ClosedSwitch", false, kNobody, 7, ZV_ACL_RM_STATUS_ERROR,
                      failed(1, "ACL RM is not initialized", 0)},
        RefusedResize{"UnknownHandle", true, kNobody, 7, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                      failed(4,
                             "Wrong owner of the handle[119] toward ACL_RM, trying to control "
                             "another owner resource",
                             1)},
        RefusedResize{"UnknownAcl", true, 6, 7, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                      failed_by_name(4, 1)},
        RefusedResize{"AnotherOwnersAcl", true, 6, 1, ZV_ACL_RM_STATUS_ERROR,
                      failed(1, "Wrong owner[0] trying to control another owner[2] resource", 1)},
        RefusedResize{"OutOfBounds", true, 5, 1, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
                      failed(4, "acl size[9] exceeds min[8] / max[8] limit", 0)}),
    [](const auto &row) { return row.param.name; });

TEST_F(AclResize, AnAclCreatedWithASizeTakesNoOther) {
    client_.make_acl(8);
    for (const uint32_t new_size : {0u, 7u, 9u, 0xffffffffu}) {
        expect_refused(
            new_size, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
            failed(4, "acl size[" + std::to_string(new_size) + "] exceeds min[8] / max[8] limit",
                   0));
    }
    expect_resized(8, {});
    check_cache(daemon_);
}

// --- growing and shrinking

TEST_F(AclResize, AnswersWithItsSixteenBytes) {
    client_.make_acl(4);
    client_.make_acl(0);
    for (const uint32_t new_size : {0u, 24u}) {  // the present size, and another
        const zv_acl_rm_acl_resize_params_t request = {client_.handle(), 2, new_size};
        const Answer answer = send_record(daemon_, ZV_ACL_RM_API_INT_CMD_ACL_RESIZE, request);
        EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(answer.body, bytes_of(request));
        EXPECT_EQ(answer.body.size(), 16u);
    }
    check_cache(daemon_);
}

TEST_F(AclResize, ResizesTheRegionInPlaceThenTakesNewFlagsAndFreesTheOld) {
    client_.make_acl(3);
    acl_rm_acl acl = {0, 11, 12, 13, 14, 0, 0, 0};
    ASSERT_EQ(client_.create_acl(acl), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch growing(daemon_);
    EXPECT_EQ(resize(2, 16).status, ZV_ACL_RM_STATUS_SUCCESS);
    growing.expect_calls({region_resized(11, 12, 16, 2), memory_taken(64)});
    growing.expect_lines({});
    const Watch shrinking(daemon_);
    EXPECT_EQ(resize(2, 5).status, ZV_ACL_RM_STATUS_SUCCESS);
    shrinking.expect_calls({region_resized(11, 12, 5, 2), memory_taken(20), memory_freed()});
    shrinking.expect_lines({});
    EXPECT_EQ(switch_digest(daemon_),
              (Digest{"region 1: size 3", "region 2: size 5", "acl 1: region 1, direction 0",
                      "acl 2: region 2, direction 14"}));
    check_cache(daemon_);
}

TEST_F(AclResize, ToThePresentSizeCallsNothing) {
    make_resized(16);
    write({15});
    expect_resized(16, {});
    check_cache(daemon_);
}

TEST_F(AclResize, AnAclOfSize0GrowsToAllTheSwitchHas) {
    for (const uint32_t new_size : {1u, 16383u}) {
        make_resized(new_size);
        EXPECT_EQ(daemon_.control().used("tcam_entries"), new_size);
        ASSERT_EQ(client_.resize_acl(1, 0), ZV_ACL_RM_STATUS_SUCCESS);
    }
    make_resized(65536);
    EXPECT_EQ(daemon_.control().used("tcam_entries"), 65536u);
    check_cache(daemon_);
}

TEST_F(AclResize, GrowingKeepsTheRulesAndOpensTheOffsetsBeyond) {
    make_resized(16);
    write({0, 7, 15});
    ASSERT_EQ(client_.resize_acl(1, 32), ZV_ACL_RM_STATUS_SUCCESS);
    write({16, 31});
    const Watch past(daemon_);
    EXPECT_EQ(client_.write_rules(1, {make_rule(32)}), ZV_ACL_RM_STATUS_ERROR);
    past.expect_lines(failed(1, "Failed to add rule to a region in SDK , error: 4", 2));
    EXPECT_EQ(client_.delete_rules(1, {0, 7, 15, 16, 31}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon_.dump().rules_cnt, 0u);
    check_cache(daemon_);
}

TEST_F(AclResize, ARuleAtTheLastOffsetKeptIsNotInTheWay) {
    make_resized(16);
    write({7});
    expect_resized(9, {region_resized(0, 0, 9, 1), memory_taken(36), memory_freed()});
    expect_resized(8, {region_resized(0, 0, 8, 1), memory_taken(32), memory_freed()});
    expect_in_the_way(7, 7);
    expect_in_the_way(0, 7);
    EXPECT_EQ(cache_digest(daemon_),
              (Digest{"acls 1, rules 1", "acl 1: owner 0, region 1", "rule 1_7: region 1"}));
    EXPECT_EQ(switch_digest(daemon_),
              (Digest{"region 1: size 8, rules 7", "acl 1: region 1, direction 0"}));
    check_cache(daemon_);
}

TEST_F(AclResize, TheLowestRuleInTheWayIsNamed) {
    make_resized(16);
    write({3, 9, 15});
    expect_in_the_way(9, 9);
    expect_in_the_way(10, 15);
    expect_in_the_way(15, 15);
    ASSERT_EQ(client_.delete_rules(1, {9, 15}), ZV_ACL_RM_STATUS_SUCCESS);
    expect_in_the_way(3, 3);
    EXPECT_EQ(client_.resize_acl(1, 4), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
}

TEST_F(AclResize, ShrinkingKeepsTheRulesBelow) {
    make_resized(16);
    write({0, 3});
    ASSERT_EQ(client_.resize_acl(1, 4), ZV_ACL_RM_STATUS_SUCCESS);
    expect_in_the_way(3, 3);
    EXPECT_EQ(client_.delete_rules(1, {0, 3}), ZV_ACL_RM_STATUS_SUCCESS);
    expect_resized(0, {region_resized(0, 0, 0, 1), memory_taken(0), memory_freed()});
    check_cache(daemon_);
}

TEST_F(AclResize, FlagsOfNoOffsetAreGivenBackAsWell) {
    make_resized(4);
    ASSERT_EQ(client_.resize_acl(1, 0), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl_rm_acl{1, 0, 0, 0, 0, 0, 0, 0}), ZV_ACL_RM_STATUS_SUCCESS);
    watch.expect_calls({memory_freed(), acl_destroyed(0, 0, 1, 1), region_destroyed(0, 0, 0, 1)});
}

// What has to do with the ACL and not with its size stays as it is.
TEST_F(AclResize, ABoundAclStaysBound) {
    make_resized(4);
    ASSERT_EQ(client_.bind_ports(ZV_ACL_RM_ACCESS_CMD_BIND, 1, {kPort}), ZV_ACL_RM_STATUS_SUCCESS);
    const Digest before = cache_digest(daemon_);
    EXPECT_EQ(client_.resize_acl(1, 8), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(daemon_), before);
    check_cache(daemon_);
}

// --- what the switch refuses

struct ResizeInASmallSwitch : AclResize {
    ResizeInASmallSwitch() : AclResize(100) {}
};

TEST_F(ResizeInASmallSwitch, BeyondItsEntriesIsANotificationAndChangesNothing) {
    make_resized(30);
    write({29});
    client_.make_acl(60);
    const Digest before = switch_digest(daemon_);
    const Watch watch(daemon_);
    const Answer answer = resize(1, 41);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(notified(7, "Can't resize ACL table not enough resources", 0));
    watch.expect_calls({region_resized(0, 0, 41, 1, 5)});
    EXPECT_EQ(switch_digest(daemon_), before);
    // Its size is still the old one, and so are the flags.
    expect_resized(30, {});
    expect_in_the_way(29, 29);
    EXPECT_EQ(resize(1, 40).status, ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(daemon_.control().used("tcam_entries"), 100u);
    check_cache(daemon_);
}

TEST_F(AclResize, ToAnySizeTheSwitchRefusesIsANotification) {
    client_.make_acl(0);
    for (const uint32_t new_size : {65537u, 0x40000000u, 0xffffffffu}) {
        const Watch watch(daemon_);
        EXPECT_EQ(resize(1, new_size).status, ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
        watch.expect_lines(notified(7, "Can't resize ACL table not enough resources", 0));
        watch.expect_calls({region_resized(0, 0, new_size, 1, 5)});
    }
    check_cache(daemon_);
}

// The switch did it and says it did not: the daemon believes what it is told.
TEST_F(AclResize, ThatTheSwitchDidButDeniedCanBeRepeated) {
    make_resized(16);
    daemon_.control().fail("zv_api_acl_region_set", 1, 1, 1, true);
    const Watch watch(daemon_);
    EXPECT_EQ(resize(1, 8).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Failed to resize region in SDK , error: 1", 0));
    EXPECT_EQ(switch_digest(daemon_)[0], "region 1: size 8");
    expect_resized(16, {});
    expect_resized(8, {region_resized(0, 0, 8, 1), memory_taken(32), memory_freed()});
    check_cache(daemon_);
}

// --- without memory for the flags

TEST_F(AclResize, WithoutMemoryARegionGrowsAndItsFlagsDoNot) {
    make_resized(16);
    write({7});
    daemon_.control().fail("cl_malloc", 1);
    const Watch watch(daemon_);
    const Answer answer = resize(1, 32);
    EXPECT_EQ(answer.status, ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(answer.body, Bytes());
    watch.expect_lines(failed_by_name(3, 0));
    watch.expect_calls({region_resized(0, 0, 32, 1), memory_taken(128, 1)});
    // The size is the new one already: nothing to do.
    expect_resized(32, {});
    write({15});
    expect_past_the_flags(16, 16);
    // By way of another size the flags come.
    expect_in_the_way(15, 15);
    expect_resized(33, {region_resized(0, 0, 33, 1), memory_taken(132), memory_freed()});
    write({32});
    expect_in_the_way(7, 7);
    EXPECT_EQ(rule_keys(daemon_.dump()), (Keys{"1_15", "1_16", "1_32", "1_7"}));
}

TEST_F(AclResize, WithoutMemoryARegionShrinksAndItsFlagsDoNot) {
    make_resized(16);
    write({7});
    daemon_.control().fail("cl_malloc", 1);
    const Watch watch(daemon_);
    EXPECT_EQ(resize(1, 8).status, ZV_ACL_RM_STATUS_PARAM_NULL);
    watch.expect_lines(failed_by_name(3, 0));
    watch.expect_calls({region_resized(0, 0, 8, 1), memory_taken(32, 1)});
    expect_resized(8, {});
    expect_in_the_way(7, 7);
    const Watch past(daemon_);
    EXPECT_EQ(client_.write_rules(1, {make_rule(8)}), ZV_ACL_RM_STATUS_ERROR);
    past.expect_lines(failed(1, "Failed to add rule to a region in SDK , error: 4", 2));
    check_cache(daemon_);
}

TEST_F(AclResize, GivesAnAclFlagsAgainWhoseDestroyFailed) {
    make_resized(4);
    daemon_.control().fail("zv_api_acl_set", 1);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.destroy_acl(acl_rm_acl{1, 0, 0, 0, 0, 0, 0, 0}), ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Failed to remove ACL in SDK (error: 1) , acl id: [1]", 1));
    expect_resized(3, {region_resized(0, 0, 3, 1), memory_taken(12)});
    write({2});
    check_cache(daemon_);
}

// --- the byte count of the flags has 16 bits

struct ResizeInALargeSwitch : AclResize {
    ResizeInALargeSwitch() : AclResize(200000) {}
};

struct WrappedSize {
    uint32_t new_size, bytes;
};

void PrintTo(const WrappedSize &row, std::ostream *out) {
    *out << "to " << row.new_size;
}

class WrappedFlags : public ResizeInALargeSwitch,
                     public testing::WithParamInterface<WrappedSize> {};

TEST_P(WrappedFlags, CoverTheFirstOffsetsOnly) {
    const auto [new_size, bytes] = GetParam();
    const uint32_t flags_num = bytes / 4;
    client_.make_acl(0);
    expect_resized(new_size, {region_resized(0, 0, new_size, 1), memory_taken(bytes)});
    EXPECT_EQ(daemon_.control().used("tcam_entries"), new_size);
    if (flags_num != 0) {
        write({flags_num - 1});
    }
    if (flags_num != new_size) {
        expect_past_the_flags(flags_num, flags_num);
        expect_past_the_flags(new_size - 1, flags_num);
    }
    const Watch past(daemon_);
    EXPECT_EQ(client_.write_rules(1, {make_rule(new_size)}), ZV_ACL_RM_STATUS_ERROR);
    past.expect_lines(failed(1, "Failed to add rule to a region in SDK , error: 4", 2));
    check_cache(daemon_);
}

INSTANTIATE_TEST_SUITE_P(
    Resize, WrappedFlags,
    testing::Values(WrappedSize{16382, 65528}, WrappedSize{16383, 65532}, WrappedSize{16384, 0},
                    WrappedSize{16385, 4}, WrappedSize{16386, 8}, WrappedSize{32767, 65532},
                    WrappedSize{32768, 0}, WrappedSize{32769, 4}, WrappedSize{65535, 65532},
                    WrappedSize{65536, 0}, WrappedSize{65537, 4}, WrappedSize{70000, 17856},
                    WrappedSize{200000, 13568}),
    [](const auto &size) { return "Of" + std::to_string(size.param.new_size); });

TEST_F(ResizeInALargeSwitch, GrowingLosesTheFlagsThatNoLongerFit) {
    make_resized(16);
    write({0, 3});
    expect_resized(16385, {region_resized(0, 0, 16385, 1), memory_taken(4), memory_freed()});
    // The rule at 0 has kept its flag, the one at 3 has not.
    EXPECT_EQ(client_.delete_rules(1, {0}), ZV_ACL_RM_STATUS_SUCCESS);
    const Watch watch(daemon_);
    EXPECT_EQ(client_.delete_rules(1, {3}), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    watch.expect_lines(failed(4, "rule in offset[3] is past the [1] offsets of acl_id:1", 2));
}

TEST_F(ResizeInALargeSwitch, ShrinkingAgainDoesNotBringLostFlagsBack) {
    make_resized(16);
    write({3});
    ASSERT_EQ(client_.resize_acl(1, 16384), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(client_.resize_acl(1, 16), ZV_ACL_RM_STATUS_SUCCESS);
    check_cache(daemon_);
    // Nothing tells the daemon of the rule, so that the switch is asked, and refuses.
    const Watch watch(daemon_);
    EXPECT_EQ(resize(1, 3).status, ZV_ACL_RM_STATUS_ERROR);
    watch.expect_lines(failed(1, "Failed to resize region in SDK , error: 8", 0));
    watch.expect_calls({region_resized(0, 0, 3, 1, 8)});
    EXPECT_EQ(resize(1, 4).status, ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(ResizeInALargeSwitch, ADestroyLeavesTheRulesWithoutFlagsInTheCache) {
    make_resized(16);
    write({0, 3});
    ASSERT_EQ(client_.resize_acl(1, 16385), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(client_.destroy_acl(acl_rm_acl{1, 0, 0, 0, 0, 0, 0, 0}), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(cache_digest(daemon_), (Digest{"acls 0, rules 1", "rule 1_3: region 1"}));
    EXPECT_EQ(switch_digest(daemon_), Digest{});
}

TEST_F(ResizeInALargeSwitch, WithoutMemoryForNoBytesNothingFails) {
    client_.make_acl(0);
    daemon_.control().fail("cl_malloc", 1);
    expect_resized(16384, {region_resized(0, 0, 16384, 1), memory_taken(0, 1)});
    expect_past_the_flags(0, 0);
    expect_resized(16, {region_resized(0, 0, 16, 1), memory_taken(64)});
    write({1});
}

// --- and so has the counter of the scan

// Rules that would have stayed are in the way: 66000 - 65536 is 464.
TEST_F(ResizeInALargeSwitch, TheScanBeginsAtTheLow16BitsOfTheNewSize) {
    make_resized(70000);
    write({463, 464});
    expect_in_the_way(66000, 464);
    expect_in_the_way(66001, 463);
    expect_in_the_way(65536, 463);
    check_cache(daemon_);
}

struct ScannedSize {
    uint32_t old_size;
    bool wraps;
};

void PrintTo(const ScannedSize &row, std::ostream *out) {
    *out << "from " << row.old_size;
}

class WrappedScan : public ResizeInALargeSwitch, public testing::WithParamInterface<ScannedSize> {};

// With a rule at offset 0 and a new size of 1: only a counter that comes round finds it.
TEST_P(WrappedScan, GoesOnFrom0WhereTheAclHasMoreOffsetsThanItCounts) {
    const auto [old_size, wraps] = GetParam();
    make_resized(old_size);
    write({0});
    if (wraps) {
        expect_in_the_way(1, 0);
    } else {
        expect_resized(1, {region_resized(0, 0, 1, 1), memory_taken(4), memory_freed()});
    }
    check_cache(daemon_);
}

INSTANTIATE_TEST_SUITE_P(Resize, WrappedScan,
                         testing::Values(ScannedSize{49153, false}, ScannedSize{65535, false},
                                         ScannedSize{65537, true}, ScannedSize{131073, true}),
                         [](const auto &size) {
                             return "Of" + std::to_string(size.param.old_size);
                         });

TEST_F(ResizeInALargeSwitch, AScanThatFindsNothingEnds) {
    make_resized(65536);
    expect_resized(8, {region_resized(0, 0, 8, 1), memory_taken(32), memory_freed()});
    check_cache(daemon_);
}

}  // namespace
}  // namespace zv_test
