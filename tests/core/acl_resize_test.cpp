// Resizing an ACL inside the process: bounds that no client can ask for, the flags themselves, and
// flags and lengths that disagree.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ostream>

#include "complib/cl_memory.h"
#include "core/acl_rm.h"
#include "daemon/logging.h"
#include "daemon/sdk_connection.h"
#include "tests/core/core_fixture.h"

namespace {

using namespace zv_unit;

// ACL 1 over region 1, of 16 offsets, without bounds.
class AclResizeTest : public ConnectedFixture {
  protected:
    void SetUp() override {
        ConnectedFixture::SetUp();
        ASSERT_EQ(create_acl(16), 1u);
        set_bounds(0, 0);
    }
    void set_bounds(uint32_t min_size, uint32_t max_size) {
        cached_acl(1)->min_size = min_size;
        cached_acl(1)->max_size = max_size;
    }
    static zv_acl_rm_status_t resize(uint32_t new_size, uint32_t acl_id = 1,
                                     uint64_t handle = OPEN_FLOW_HANDLE) {
        return acl_rm_acl_resize(handle, acl_id, &new_size);
    }
    // Those of the resizes: the first call made the region.
    static size_t region_calls_num() { return recorded_calls("zv_api_acl_region_set").size() - 1; }
    static std::vector<uint32_t> flagged() {
        const acl_id_info *info = cached_acl(1);
        std::vector<uint32_t> offsets;
        for (uint32_t i = 0; i < usable_offsets(*info); i++)
            if (info->valid_offsets[i] != 0)
                offsets.push_back(i);
        return offsets;
    }
    static Line in_the_way(uint32_t offset) {
        return failure(4, "Can't reduce ACL table size, offset [" + std::to_string(offset) +
                              "] is valid in ACL [1]");
    }
    // Gives the ACL as many flags, all 0, without asking the switch.
    static void pretend_size(uint32_t offsets_num) {
        acl_id_info *info = cached_acl(1);
        cl_free(info->valid_offsets);
        info->valid_offsets = static_cast<uint32_t *>(cl_malloc(offsets_num * sizeof(uint32_t)));
        uint32_t *flags = info->valid_offsets;
        std::fill_n(flags, offsets_num, 0);
        info->valid_offsets_len = offsets_num;
        info->valid_offsets_allocated = offsets_num;
        info->region_size = offsets_num;
    }
};

TEST_F(AclResizeTest, ConnectionIsLookedAtBeforeTheOwner) {
    is_initialized = 0;
    EXPECT_EQ(resize(8, 1, UNKNOWN_HANDLE), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "ACL RM is not initialized")});
}

TEST_F(AclResizeTest, MissingTableIsNoticedByTheOwnersCheck) {
    const Missing gone(acl_id_2_acl_id_info_table_ht);
    EXPECT_EQ(resize(8), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_TRUE(reports(take_lines(), {}, 1, 2));
    EXPECT_EQ(region_calls_num(), 0u);
}

TEST_F(AclResizeTest, HandleOfTheSwitchIsPassedOn) {
    zv_sdk_handle++;
    EXPECT_EQ(resize(8), ZV_ACL_RM_STATUS_ERROR);
    EXPECT_EQ(take_lines(), Lines{failure(1, "Failed to resize region in SDK , error: 2")});
}

TEST_F(AclResizeTest, PresentSizeIsTold) {
    acl_rm_verbosity_level = 4;
    EXPECT_EQ(resize(16), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(
        take_lines(),
        Lines{line(INFO_MASK, "requested acl size is equal to region size[16] - do nothing")});
    EXPECT_EQ(region_calls_num(), 0u);
}

// --- bounds

struct Bounds {
    uint32_t min_size, max_size, new_size;
    bool is_inside;
};

void PrintTo(const Bounds &row, std::ostream *out) {
    *out << row.min_size << " to " << row.max_size << ", asked for " << row.new_size;
}

class AclResizeBounds : public AclResizeTest, public testing::WithParamInterface<Bounds> {};

TEST_P(AclResizeBounds, AreInclusiveAndAMaximumOf0IsNone) {
    const auto [min_size, max_size, new_size, is_inside] = GetParam();
    set_bounds(min_size, max_size);
    if (is_inside) {
        EXPECT_EQ(resize(new_size), ZV_ACL_RM_STATUS_SUCCESS);
        EXPECT_EQ(take_lines(), Lines{});
        EXPECT_EQ(cached_acl(1)->region_size, new_size);
        return;
    }
    EXPECT_EQ(resize(new_size), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(),
              Lines{failure(4, "acl size[" + std::to_string(new_size) + "] exceeds min[" +
                                   std::to_string(min_size) + "] / max[" +
                                   std::to_string(max_size) + "] limit")});
    EXPECT_EQ(region_calls_num(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Each, AclResizeBounds,
                         testing::Values(Bounds{4, 20, 3, false}, Bounds{4, 20, 4, true},
                                         Bounds{4, 20, 5, true}, Bounds{4, 20, 19, true},
                                         Bounds{4, 20, 20, true}, Bounds{4, 20, 21, false},
                                         Bounds{4, 0, 3, false}, Bounds{4, 0, 4, true},
                                         Bounds{4, 0, 60000, true}, Bounds{0, 20, 0, true},
                                         Bounds{0, 20, 21, false},
                                         Bounds{0, 1, 0xffffffff, false}));

// The bounds come before the present size.
TEST_F(AclResizeTest, PresentSizeOutsideTheBoundsIsRefused) {
    set_bounds(17, 20);
    EXPECT_EQ(resize(16), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{failure(4, "acl size[16] exceeds min[17] / max[20] limit")});
}

// --- the flags

TEST_F(AclResizeTest, ChangesSizeAndFlagsAndNothingElse) {
    acl_id_info expected = *cached_acl(1);
    ASSERT_EQ(resize(32), ZV_ACL_RM_STATUS_SUCCESS);
    const acl_id_info *info = cached_acl(1);
    EXPECT_EQ(info->valid_offsets_len, 32u);
    EXPECT_EQ(info->region_size, 32u);
    EXPECT_EQ(info->valid_offsets_allocated, 32u);
    expected.valid_offsets = info->valid_offsets;
    expected.valid_offsets_len = 32;
    expected.region_size = 32;
    expected.valid_offsets_allocated = 32;
    EXPECT_EQ(std::memcmp(info, &expected, sizeof(expected)), 0);
}

TEST_F(AclResizeTest, FlagsAreCopiedAsTheyAreAndNewOnesAre0) {
    for (const uint32_t offset : {0u, 7u, 15u})
        cached_acl(1)->valid_offsets[offset] = offset + 1;
    ASSERT_EQ(resize(32), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(flagged(), (std::vector<uint32_t>{0, 7, 15}));
    EXPECT_EQ(cached_acl(1)->valid_offsets[7], 8u);
    cached_acl(1)->valid_offsets[15] = 0;
    ASSERT_EQ(resize(8), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(flagged(), (std::vector<uint32_t>{0, 7}));
}

// Unlike a destroy, which takes only 1 for a rule.
TEST_F(AclResizeTest, EveryFlagThatIsNot0IsInTheWay) {
    for (const uint32_t flag : {1u, 2u, 0x80000000u}) {
        cached_acl(1)->valid_offsets[9] = flag;
        EXPECT_EQ(resize(9), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
        EXPECT_EQ(take_lines(), Lines{in_the_way(9)});
    }
    EXPECT_EQ(region_calls_num(), 0u);
    EXPECT_EQ(resize(10), ZV_ACL_RM_STATUS_SUCCESS);
}

TEST_F(AclResizeTest, TextNamesTheCachedId) {
    cached_acl(1)->acl_id = 40;
    cached_acl(1)->valid_offsets[9] = 1;
    EXPECT_EQ(resize(9), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(),
              Lines{failure(4, "Can't reduce ACL table size, offset [9] is valid in ACL [40]")});
}

TEST_F(AclResizeTest, WithoutMemoryTheSizeIsNewAndTheFlagsAreOld) {
    cached_acl(1)->valid_offsets[7] = 1;
    const uint32_t *flags = cached_acl(1)->valid_offsets;
    fail_call("cl_malloc", 1);
    EXPECT_EQ(resize(8), ZV_ACL_RM_STATUS_PARAM_NULL);
    EXPECT_EQ(take_lines(), Lines{passed_up(3)});
    EXPECT_EQ(cached_acl(1)->region_size, 8u);
    EXPECT_EQ(cached_acl(1)->valid_offsets_len, 16u);
    EXPECT_EQ(cached_acl(1)->valid_offsets, flags);
    EXPECT_EQ(flagged(), std::vector<uint32_t>{7});
    EXPECT_EQ(recorded_calls("cl_free").size(), 0u);
}

// --- what 16 bits cannot tell

struct Wrapped {
    uint32_t new_size, flags_num;
};

void PrintTo(const Wrapped &row, std::ostream *out) {
    *out << "to " << row.new_size;
}

class AclResizeWrap : public AclResizeTest, public testing::WithParamInterface<Wrapped> {};

TEST_P(AclResizeWrap, KeepsNoMoreFlagsThanItAllocates) {
    const auto [new_size, flags_num] = GetParam();
    for (uint32_t i = 0; i < 16; i++)
        cached_acl(1)->valid_offsets[i] = 1;
    ASSERT_EQ(resize(new_size), ZV_ACL_RM_STATUS_SUCCESS);
    const acl_id_info *info = cached_acl(1);
    EXPECT_EQ(info->valid_offsets_len, new_size);
    EXPECT_EQ(info->valid_offsets_allocated, flags_num);
    EXPECT_EQ(usable_offsets(*info), flags_num);
    EXPECT_EQ(flagged().size(), std::min(flags_num, 16u));
    EXPECT_EQ(recorded_calls("cl_malloc").back()["args"]["size"], flags_num * 4);
}

INSTANTIATE_TEST_SUITE_P(Each, AclResizeWrap,
                         testing::Values(Wrapped{16383, 16383}, Wrapped{16384, 0},
                                         Wrapped{16385, 1}, Wrapped{16400, 16},
                                         Wrapped{32767, 16383}, Wrapped{32768, 0},
                                         Wrapped{65535, 16383}, Wrapped{65536, 0}));

// A length that says more than the memory holds: what lies beyond is not looked at.
TEST_F(AclResizeTest, FlagsPastTheMemoryAreNeitherReadNorCopied) {
    acl_id_info *info = cached_acl(1);
    info->valid_offsets[3] = 1;
    info->valid_offsets[9] = 1;
    info->valid_offsets_allocated = 9;
    ASSERT_EQ(resize(4), ZV_ACL_RM_STATUS_SUCCESS);
    ASSERT_EQ(resize(16), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(flagged(), std::vector<uint32_t>{3});
}

// 66000 is 464 for the counter. The switch has no room for either size, and says so once asked.
TEST_F(AclResizeTest, FlagsThatTheCountersBitsDoNotReachAreNotSeen) {
    pretend_size(70000);
    cached_acl(1)->valid_offsets[65536] = 1;
    cached_acl(1)->valid_offsets[66500] = 1;
    EXPECT_EQ(resize(66000), ZV_ACL_RM_STATUS_NO_HW_RESOURCES);
    EXPECT_EQ(take_lines(), Lines{notification(7, "Can't resize ACL table not enough resources")});
    EXPECT_EQ(region_calls_num(), 1u);
    EXPECT_EQ(cached_acl(1)->region_size, 70000u);
}

struct Scan {
    uint32_t size;
    std::vector<uint32_t> flags;
    uint32_t new_size, found;
};

void PrintTo(const Scan &row, std::ostream *out) {
    *out << row.size << " to " << row.new_size << " with rules at "
         << testing::PrintToString(row.flags);
}

class AclResizeScan : public AclResizeTest, public testing::WithParamInterface<Scan> {};

TEST_P(AclResizeScan, FindsTheFirstFromTheNewSizesLow16BitsAndThenFrom0) {
    const Scan &scan = GetParam();
    pretend_size(scan.size);
    for (const uint32_t offset : scan.flags)
        cached_acl(1)->valid_offsets[offset] = 1;
    EXPECT_EQ(resize(scan.new_size), ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE);
    EXPECT_EQ(take_lines(), Lines{in_the_way(scan.found)});
    EXPECT_EQ(region_calls_num(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Each, AclResizeScan,
                         testing::Values(Scan{65535, {65534}, 8, 65534},
                                         Scan{70000, {463, 464}, 66000, 464},
                                         Scan{70000, {463, 65535}, 66000, 65535},
                                         Scan{70000, {463}, 66000, 463}, Scan{70000, {0}, 65535, 0},
                                         Scan{65536, {7}, 8, 7}, Scan{65537, {7}, 65536, 7}));

// One offset fewer than the counter tells apart: it never comes round.
TEST_F(AclResizeTest, ScanOf65535OffsetsDoesNotComeRound) {
    pretend_size(65535);
    cached_acl(1)->valid_offsets[7] = 1;
    EXPECT_EQ(resize(8), ZV_ACL_RM_STATUS_SUCCESS);
    EXPECT_EQ(flagged(), std::vector<uint32_t>{7});
}

}  // namespace
