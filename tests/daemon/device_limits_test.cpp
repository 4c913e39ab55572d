#include "daemon/device_limits.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <ostream>

#include "zv_rm_resource.h"

bool operator==(const rm_resources_t &a, const rm_resources_t &b) {
    return a.max_rules_per_action == b.max_rules_per_action &&
           a.acl_table_limit_a == b.acl_table_limit_a && a.acl_table_limit_b == b.acl_table_limit_b;
}

namespace {

constexpr rm_resources_t common = {20, 400, 512};
constexpr rm_resources_t none = {0, 0, 0};
constexpr rm_resources_t earlier = {11, 22, 33};
constexpr rm_resources_t stale_copy = {44, 55, 66};

struct Chip {
    uint32_t type;
    bool is_known;
    rm_resources_t limits;
};

void PrintTo(const Chip &row, std::ostream *out) {
    *out << "chip " << row.type;
}

class DeviceLimitsTest : public testing::TestWithParam<Chip> {
  protected:
    void SetUp() override {
        rm_resource_global = earlier;
        rm_resource_global_default = stale_copy;
        result_ = acl_rm_resources_init(GetParam().type);
    }
    uint32_t result_ = 2;
};

TEST_P(DeviceLimitsTest, KnownChipsAloneSucceed) {
    EXPECT_EQ(result_, GetParam().is_known ? 0u : 1u);
}

TEST_P(DeviceLimitsTest, LoadsTheChipsLimitsOrKeepsTheEarlierOnes) {
    EXPECT_TRUE(rm_resource_global == (GetParam().is_known ? GetParam().limits : earlier));
}

TEST_P(DeviceLimitsTest, CopiesTheRecordInEveryCase) {
    EXPECT_TRUE(rm_resource_global_default == rm_resource_global);
}

INSTANTIATE_TEST_SUITE_P(EveryChip, DeviceLimitsTest,
                         testing::Values(Chip{0, false, none}, Chip{1, true, common},
                                         Chip{2, false, none}, Chip{3, true, common},
                                         Chip{4, false, none}, Chip{5, true, none},
                                         Chip{6, true, common}, Chip{7, true, none},
                                         Chip{8, true, common}, Chip{9, true, common},
                                         Chip{10, true, none}, Chip{11, true, common},
                                         Chip{12, false, none},
                                         Chip{std::numeric_limits<uint32_t>::max(), false, none}));

TEST(DeviceLimitsBeforeInit, AreZero) {
    EXPECT_TRUE(rm_resource_global == none);
    EXPECT_TRUE(rm_resource_global_default == none);
}

TEST(DeviceLimitsBeforeInit, StayZeroAfterAnUnknownChip) {
    EXPECT_EQ(acl_rm_resources_init(0), 1u);
    EXPECT_TRUE(rm_resource_global == none);
    EXPECT_TRUE(rm_resource_global_default == none);
}

TEST(DeviceLimits, AreLoadedAnewEachTime) {
    EXPECT_EQ(acl_rm_resources_init(3), 0u);
    EXPECT_EQ(acl_rm_resources_init(5), 0u);
    EXPECT_TRUE(rm_resource_global == none);
    EXPECT_EQ(acl_rm_resources_init(11), 0u);
    EXPECT_TRUE(rm_resource_global == common);
}

}  // namespace
