// The daemon's cache: nanoseconds for one operation on a cached rule, as the rule commands do them.
#include <benchmark/benchmark.h>

#include "bench/die.h"
#include "core/acl_rm_cache.h"

namespace {

constexpr uint32_t ACL_RULES = 320;  // offsets used in each ACL
constexpr uint32_t ACLS = 20;

// Created once: the counter database, which comes with it, cannot be created twice in a process.
void open_cache() {
    static const bool is_open = acl_rm_internal_acl_rm_cache_init() == ZV_ACL_RM_STATUS_SUCCESS;
    if (!is_open) {
        bench::die("the cache cannot be created");
    }
}

void insert_rules() {
    const acl_rule_entry entry = {};
    rule_key key;
    for (uint32_t i = 0; i < ACLS * ACL_RULES; i++) {
        build_key_format(key, 1 + i / ACL_RULES, i % ACL_RULES);
        if (ht_safe_insert(acl_rule_id_2_region_id_ht, key, &entry) != ZV_ACL_RM_STATUS_SUCCESS) {
            bench::die("no room in the cache");
        }
    }
}

void remove_rules() {
    rule_key key;
    for (uint32_t i = 0; i < ACLS * ACL_RULES; i++) {
        build_key_format(key, 1 + i / ACL_RULES, i % ACL_RULES);
        if (ht_safe_remove(acl_rule_id_2_region_id_ht, key) != ZV_ACL_RM_STATUS_SUCCESS) {
            bench::die("a rule is missing");
        }
    }
}

void build_rule_key(benchmark::State &state) {
    rule_key key;
    uint32_t offset = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(build_key_format(key, 17, offset));
        benchmark::ClobberMemory();
        offset = offset + 1 < ACL_RULES ? offset + 1 : 0;
    }
}
BENCHMARK(build_rule_key);

void insert_and_remove_rule(benchmark::State &state) {
    open_cache();
    rule_key key;
    acl_rule_entry entry = {};
    uint32_t offset = 0;
    for (auto _ : state) {
        build_key_format(key, 17, offset);
        benchmark::DoNotOptimize(ht_safe_insert(acl_rule_id_2_region_id_ht, key, &entry));
        benchmark::DoNotOptimize(ht_safe_remove(acl_rule_id_2_region_id_ht, key));
        offset = offset + 1 < ACL_RULES ? offset + 1 : 0;
    }
}
BENCHMARK(insert_and_remove_rule);

void look_up_rule_by_acl_and_offset(benchmark::State &state) {
    open_cache();
    insert_rules();
    rule_key key;
    uint32_t i = 0;
    for (auto _ : state) {
        build_key_format(key, 1 + i / ACL_RULES, i % ACL_RULES);
        acl_rule_entry *found = nullptr;
        benchmark::DoNotOptimize(look_up(acl_rule_id_2_region_id_ht, key, &found));
        i = i + 1 < ACLS * ACL_RULES ? i + 1 : 0;
    }
    remove_rules();
}
BENCHMARK(look_up_rule_by_acl_and_offset);

}  // namespace

BENCHMARK_MAIN();
