// core_fixture.h - a daemon without its socket: cache, switch, four clients.
#ifndef ZV_TESTS_CORE_CORE_FIXTURE_H
#define ZV_TESTS_CORE_CORE_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/acl_rm_cache.h"
#include "core/acl_rm_types.h"
#include "tests/daemon/captured_log.h"
#include "tests/daemon/switch_double.h"
#include "tests/support/temp_dir.h"

namespace zv_unit {

// Handles of the clients that ConnectedTest opens, by owner.
inline constexpr uint64_t OPEN_FLOW_HANDLE = 1000;
inline constexpr uint64_t TARN_OS_HANDLE = 1001;
inline constexpr uint64_t PRA_HANDLE = 1002;
inline constexpr uint64_t OF13_HANDLE = 1003;
inline constexpr uint64_t UNKNOWN_HANDLE = 9999;
inline constexpr uint32_t BIND = ZV_ACL_RM_ACCESS_CMD_BIND;
inline constexpr uint32_t UNBIND = ZV_ACL_RM_ACCESS_CMD_UNBIND;
inline constexpr uint32_t NO_ACL = 77;           // an ACL that there is not
inline constexpr uint32_t FORWARD_PORT = 65537;  // where rules forward to

// The cache is built, nothing else.
class CacheFixture : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    std::string file(const std::string &name) const { return dir_.file(name); }

  private:
    zv_test::TempDir dir_;
};

// And the switch is connected, chip 3's limits are loaded, every owner has opened.
class ConnectedFixture : public CacheFixture {
  protected:
    void SetUp() override;

    // Creates an ACL through the daemon and returns its id.
    uint32_t create_acl(uint32_t size = 16, uint64_t handle = OPEN_FLOW_HANDLE,
                        uint32_t direction = 0);
};

// And an ACL of open-flow with 16 offsets is there, the first in cache and switch. Ids count
// from 1.
class RulesFixture : public ConnectedFixture {
  protected:
    void SetUp() override;

    // Writes the rules through the daemon and forgets the lines and calls so far.
    void write(std::vector<acl_rm_rule> rules);
    uint32_t flag_at(uint32_t offset) const { return cached_flags()[offset]; }
    uint32_t *cached_flags() const;
    // The calls into the switch since write().
    std::vector<std::string> new_calls() const;

    static constexpr uint32_t ACL = 1;
    static constexpr uint32_t REGION = 1;

  private:
    size_t calls_before_ = 0;
};

// Puts an ACL into the cache that the switch does not know: without flags, owned by `owner`.
void cache_acl(uint32_t acl_id, uint32_t owner = 0, uint32_t direction = 0);
void cache_group(uint32_t group_id, const std::vector<uint32_t> &acl_ids, uint32_t direction = 0);
void cache_bind_point(const bind_point_key &key, uint32_t group_id);
void cache_forwarding(uint32_t log_port, const forward_pbs_info &info);
void cache_mc_group(uint32_t mc_group_id, const mcg_id_info &info);
void cache_rule(uint32_t acl_id, uint32_t offset, uint32_t region_id = 0);

// The cached record, null when there is none.
acl_id_info *cached_acl(uint32_t acl_id);
sdk_grp_info *cached_group(uint32_t group_id);
forward_pbs_info *cached_forwarding(uint32_t log_port);
acl_rule_entry *cached_rule(uint32_t acl_id, uint32_t offset);
// The group bound to a bind point, 0 when there is none.
uint32_t group_at(const bind_point_key &key);
std::vector<uint32_t> acl_ids_of(uint32_t group_id);
uint32_t entries_num(ht_zvlib_t *table);

// A rule of that priority; key type 0, everything else zero.
acl_rm_rule rule_at(uint32_t priority, uint32_t key_type = 0);
// The same that forwards to a logical port, or counts.
acl_rm_rule rule_to_port(uint32_t priority, uint32_t log_port);
acl_rm_rule counting_rule(uint32_t priority, uint32_t counter_id);

}  // namespace zv_unit

#endif
