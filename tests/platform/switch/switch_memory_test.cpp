// What the switch's work takes in memory, and what it leaves when there is none: the program's
// operator new counts, and fails where a test says.
#include <stdlib.h>

#include <cstdlib>
#include <new>
#include <numeric>

#include "tests/platform/sim/child_process.h"
#include "tests/platform/switch/switch_fixture.h"

namespace {

uint64_t g_taken = 0;
uint64_t g_until_failure = 0;  // 0: none fails

}  // namespace

void *operator new(size_t size) {
    g_taken++;
    void *memory = g_until_failure != 0 && --g_until_failure == 0 ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void operator delete(void *memory) noexcept {
    std::free(memory);
}
void operator delete(void *memory, size_t /*size*/) noexcept {
    std::free(memory);
}

namespace {

// The configuration is read when the switch is first used, which is after this.
struct LargeSwitch {
    LargeSwitch() {
        zv_test::write_file(dir.file("config.json"), R"({"tcam_entries": 100000})");
        setenv("ZV_SIM_CONFIG", dir.file("config.json").c_str(), 1);
    }
    zv_test::TempDir dir;
};
const LargeSwitch g_large_switch;

using Ports = std::vector<uint32_t>;

class PbsMemory : public zv_test::SwitchTest {
  protected:
    uint32_t new_pbs_of(uint32_t port_num) {
        Ports ports(port_num);
        std::iota(ports.begin(), ports.end(), 1);
        return new_pbs(ports);
    }
    // The switch's work alone: the list is the caller's.
    zv_status_t change(uint32_t cmd, uint32_t id, Ports &ports) {
        const zv_acl_pbs_entry_t entry{2, static_cast<uint32_t>(ports.size()), ports.data()};
        return zv_api_acl_policy_based_switching_set(handle_, cmd, 0, &entry, &id);
    }
    uint64_t taken_by(uint32_t cmd, uint32_t id, Ports ports) {
        const uint64_t before = g_taken;
        EXPECT_EQ(change(cmd, id, ports), 0u);
        return g_taken - before;
    }
    Ports ports_of(uint32_t id) {
        Ports ports(16);
        zv_acl_pbs_entry_t entry{0, 16, ports.data()};
        EXPECT_EQ(zv_api_acl_policy_based_switching_get(handle_, ZV_ACCESS_CMD_GET, 0, id, &entry),
                  0u);
        ports.resize(entry.port_count);
        return ports;
    }
};

TEST_F(PbsMemory, OfAChangeDoesNotGrowWithTheEntry) {
    const uint32_t small = new_pbs_of(1);
    const uint32_t large = new_pbs_of(5000);
    EXPECT_EQ(taken_by(ZV_ACCESS_CMD_ADD_PORTS, small, {9000, 9001}), 2u);
    EXPECT_EQ(taken_by(ZV_ACCESS_CMD_ADD_PORTS, large, {9000, 9001}), 2u);
    EXPECT_EQ(taken_by(ZV_ACCESS_CMD_DELETE_PORTS, large, {9000, 9001}), 0u);
}

TEST_F(PbsMemory, ThatRunsOutLeavesAllPortsAsTheyWere) {
    const uint32_t id = new_pbs_of(2);
    Ports ports = {7, 8, 9};
    zv_status_t status = 1;
    for (uint64_t nth = 1; status != 0; nth++) {
        EXPECT_EQ(ports_of(id), (Ports{1, 2})) << nth;
        g_until_failure = nth;
        status = change(ZV_ACCESS_CMD_ADD_PORTS, id, ports);
        EXPECT_EQ(status, g_until_failure == 0 ? 1u : 0u) << nth;
        g_until_failure = 0;
    }
    EXPECT_EQ(ports_of(id), (Ports{1, 2, 7, 8, 9}));
}

class RegionMemory : public zv_test::SwitchTest {
  protected:
    uint64_t taken_by_a_rule_at(uint32_t offset) {
        const zv_acl_rule_t rule = zv_test::rule_at(offset);
        const uint64_t before = g_taken;
        EXPECT_EQ(zv_api_acl_rules_set(handle_, ZV_ACCESS_CMD_SET, region_id_, &rule, 1), 0u);
        return g_taken - before;
    }
    uint32_t region_id_ = new_region(100000);
};

TEST_F(RegionMemory, IsThereForTheFirst65536OffsetsAndComesLaterWithTheFirstRule) {
    EXPECT_EQ(taken_by_a_rule_at(0), 0u);
    EXPECT_EQ(taken_by_a_rule_at(65535), 0u);
    EXPECT_GT(taken_by_a_rule_at(65536), 0u);
    EXPECT_EQ(taken_by_a_rule_at(65537), 0u);
}

}  // namespace
