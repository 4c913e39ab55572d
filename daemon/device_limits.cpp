#include "daemon/device_limits.h"

#include <algorithm>
#include <iterator>

#include "zv_rm_resource.h"

namespace {

struct ChipLimits {
    uint32_t chip_type;
    rm_resources_t limits;  // max_rules_per_action, acl_table_limit_a, acl_table_limit_b
};

constexpr rm_resources_t common_limits = {20, 400, 512};
// Kept at zero: these chips take no rules through the daemon.
constexpr rm_resources_t no_limits_set = {0, 0, 0};

constexpr ChipLimits known_chips[] = {
    {1, common_limits}, {3, common_limits},  {5, no_limits_set},
    {6, common_limits}, {7, no_limits_set},  {8, common_limits},
    {9, common_limits}, {10, no_limits_set}, {11, common_limits},
};

}  // namespace

uint32_t acl_rm_resources_init(uint32_t chip_type) {
    const auto *chip =
        std::find_if(std::begin(known_chips), std::end(known_chips),
                     [=](const ChipLimits &row) { return row.chip_type == chip_type; });
    const bool is_known = chip != std::end(known_chips);
    if (is_known)
        rm_resource_global = chip->limits;
    rm_resource_global_default = rm_resource_global;
    return is_known ? 0 : 1;
}
