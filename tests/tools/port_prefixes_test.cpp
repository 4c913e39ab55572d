/* Splitting port ranges: exact, without overlap, and the shortest split there is. */
#include "port_prefixes.h"

#include <gtest/gtest.h>

#include <bitset>
#include <random>

namespace {

using namespace aclrmctl;

/* A block's last port; -1 for a mask that is no prefix. */
int last_port(const PortPrefix &block) {
    const uint32_t free_bits = 0xFFFF & ~block.mask;
    const bool prefix = (free_bits & (free_bits + 1)) == 0;
    return prefix && (block.value & free_bits) == 0 ? static_cast<int>(block.value + free_bits)
                                                    : -1;
}

/* Blocks follow each other from the low to the high end without a gap. */
void expect_exact(const PortRange &range) {
    uint32_t next = range.low;
    for (const PortPrefix &block : split_port_range(range)) {
        ASSERT_EQ(block.value, next) << range.low << ":" << range.high;
        ASSERT_GE(last_port(block), block.value) << range.low << ":" << range.high;
        next = static_cast<uint32_t>(last_port(block)) + 1;
    }
    EXPECT_EQ(next, range.high + 1u) << range.low << ":" << range.high;
}

/* The length of the shortest split, by another way than the one under test: from the top of the
 * binary tree of ports downward, a node inside the range is one block, a node outside is none. */
uint32_t shortest(uint32_t low, uint32_t high, uint32_t node_low, uint32_t node_ports) {
    const uint32_t node_high = node_low + node_ports - 1;
    if (node_high < low || node_low > high) {
        return 0;
    }
    if (low <= node_low && node_high <= high) {
        return 1;
    }
    const uint32_t half = node_ports / 2;
    return shortest(low, high, node_low, half) + shortest(low, high, node_low + half, half);
}

void expect_shortest(const PortRange &range) {
    EXPECT_EQ(split_port_range(range).size(), shortest(range.low, range.high, 0, 0x10000))
        << range.low << ":" << range.high;
}

TEST(PortPrefixes, IsExactAndShortestForEveryRangeOfSmallPorts) {
    for (uint16_t low = 0; low < 256; low++) {
        for (uint16_t high = low; high < 256; high++) {
            const PortRange range{low, high};
            expect_exact(range);
            expect_shortest(range);
        }
    }
}

TEST(PortPrefixes, IsExactAndShortestForEveryRangeAtTheTop) {
    for (uint32_t low = 65536 - 200; low < 65536; low++) {
        for (uint32_t high = low; high < 65536; high++) {
            const PortRange range{static_cast<uint16_t>(low), static_cast<uint16_t>(high)};
            expect_exact(range);
            expect_shortest(range);
        }
    }
}

TEST(PortPrefixes, IsExactAndShortestForRandomRanges) {
    std::mt19937 random(20);
    for (int i = 0; i < 20000; i++) {
        auto low = static_cast<uint16_t>(random());
        auto high = static_cast<uint16_t>(random());
        if (low > high) {
            std::swap(low, high);
        }
        const PortRange range{low, high};
        expect_exact(range);
        expect_shortest(range);
    }
}

TEST(PortPrefixes, MatchesExactlyThePortsOfTheRange) {
    const PortRange range{1000, 34567};
    std::bitset<65536> matched;
    for (const PortPrefix &block : split_port_range(range)) {
        for (uint32_t port = 0; port < 65536; port++) {
            if ((port & block.mask) == block.value) {
                EXPECT_FALSE(matched[port]);
                matched[port] = true;
            }
        }
    }
    for (uint32_t port = 0; port < 65536; port++) {
        EXPECT_EQ(matched[port], port >= 1000 && port <= 34567) << port;
    }
}

TEST(PortPrefixes, NeedsOneBlockForAllPortsAndForOne) {
    const auto all = split_port_range({0, 65535});
    ASSERT_EQ(all.size(), 1u);
    EXPECT_EQ(all[0].mask, 0);
    const auto one = split_port_range({53, 53});
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0].value, 53);
    EXPECT_EQ(one[0].mask, 0xFFFF);
}

TEST(PortPrefixes, NeedsThirtyBlocksAtMost) {
    EXPECT_EQ(split_port_range({1, 65534}).size(), kLargestPortSplit);
    EXPECT_EQ(split_port_range({1024, 65535}).size(), 6u);
}

}  // namespace
