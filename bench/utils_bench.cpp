// Containers: nanoseconds for one operation of the index allocator, the item pool and the hash
// table, with the sizes that the daemon's cache gives them.
#include <benchmark/benchmark.h>
#include <stdio.h>

#include <array>
#include <vector>

#include "bench/die.h"
#include "utils/ht_zvlib.h"

namespace {

constexpr uint32_t RULES = 6400;
constexpr uint32_t RULE_KEY_BYTES = 50;
constexpr uint32_t RULE_VALUE_BYTES = 48;
using RuleKey = std::array<char, RULE_KEY_BYTES>;
using RuleValue = std::array<char, RULE_VALUE_BYTES>;

RuleKey rule_key(uint32_t acl_id, uint32_t offset) {
    RuleKey key = {};
    snprintf(key.data(), key.size(), "%u_%u", acl_id, offset);
    return key;
}

// Keys of 6,400 rules, in 20 ACLs of 320.
const std::vector<RuleKey> &rule_keys() {
    static const auto &keys = *new std::vector<RuleKey>([] {
        std::vector<RuleKey> made;
        for (uint32_t i = 0; i < RULES; i++) {
            made.push_back(rule_key(1 + i / 320, i % 320));
        }
        return made;
    }());
    return keys;
}

// The daemon's rule table, with all rules in it if `fill`.
ht_zvlib_t *make_rule_table(bool fill) {
    ht_zvlib_t *table = nullptr;
    if (ht_create_zvlib(&table, RULE_KEY_BYTES, RULE_VALUE_BYTES, RULES, 2 * RULES,
                        HT_HASH_STRING_ZVLIB) != 0) {
        bench::die("no table");
    }
    const RuleValue value = {};
    for (const RuleKey &key : rule_keys()) {
        if (fill && ht_insert_zvlib(table, key.data(), value.data()) != 0) {
            bench::die("no room in the table");
        }
    }
    return table;
}

void allocate_and_free_index(benchmark::State &state) {
    utils_allocator_t *allocator = nullptr;
    utils_allocator_create(&allocator, RULES, 0);
    for (auto _ : state) {
        uint32_t index = 0;
        benchmark::DoNotOptimize(utils_allocator_allocIndex(allocator, &index));
        benchmark::DoNotOptimize(utils_allocator_freeIndex(allocator, index));
    }
    utils_allocator_delete(&allocator);
}
BENCHMARK(allocate_and_free_index);

void allocate_and_free_item(benchmark::State &state) {
    utils_pool_t *pool = nullptr;
    utils_pool_create(&pool, RULES, RULE_KEY_BYTES + RULE_VALUE_BYTES + 8);
    for (auto _ : state) {
        void *item = utils_pool_alloc(pool, RULE_VALUE_BYTES);
        benchmark::DoNotOptimize(item);
        benchmark::DoNotOptimize(utils_pool_free(pool, item));
    }
    utils_pool_delete(&pool);
}
BENCHMARK(allocate_and_free_item);

void look_up_rule(benchmark::State &state) {
    ht_zvlib_t *table = make_rule_table(true);
    uint32_t i = 0;
    uint32_t found_num = 0;
    for (auto _ : state) {
        void *value = nullptr;
        uint32_t found = 0;
        ht_lookup_zvlib(table, rule_keys()[i].data(), &value, &found);
        benchmark::DoNotOptimize(value);
        found_num += found;
        i = i + 1 < RULES ? i + 1 : 0;
    }
    if (found_num != static_cast<uint32_t>(state.iterations())) {
        state.SkipWithError("a rule was not found");
    }
    ht_free_zvlib(&table);
}
BENCHMARK(look_up_rule);

void look_up_absent_rule(benchmark::State &state) {
    ht_zvlib_t *table = make_rule_table(true);
    std::vector<RuleKey> absent;
    for (uint32_t offset = 0; offset < 320; offset++) {
        absent.push_back(rule_key(21, offset));
    }
    uint32_t i = 0;
    for (auto _ : state) {
        void *value = nullptr;
        uint32_t found = 0;
        ht_lookup_zvlib(table, absent[i].data(), &value, &found);
        benchmark::DoNotOptimize(found);
        i = i + 1 < absent.size() ? i + 1 : 0;
    }
    ht_free_zvlib(&table);
}
BENCHMARK(look_up_absent_rule);

void insert_and_delete_rule(benchmark::State &state) {
    ht_zvlib_t *table = make_rule_table(false);
    const RuleValue value = {};
    uint32_t i = 0;
    for (auto _ : state) {
        const char *key = rule_keys()[i].data();
        benchmark::DoNotOptimize(ht_insert_zvlib(table, key, value.data()));
        benchmark::DoNotOptimize(ht_delete_zvlib(table, key));
        i = i + 1 < RULES ? i + 1 : 0;
    }
    ht_free_zvlib(&table);
}
BENCHMARK(insert_and_delete_rule);

// The ACL table: 4-byte keys, large values.
void look_up_acl(benchmark::State &state) {
    ht_zvlib_t *table = nullptr;
    ht_create_zvlib(&table, 4, 5248, 648, 1296, HT_HASH_INTEGER_ZVLIB);
    const std::vector<char> value(5248);
    for (uint32_t id = 1; id <= 399; id++) {
        ht_insert_zvlib(table, &id, value.data());
    }
    uint32_t id = 1;
    for (auto _ : state) {
        void *place = nullptr;
        uint32_t found = 0;
        ht_lookup_zvlib(table, &id, &place, &found);
        benchmark::DoNotOptimize(place);
        id = id < 399 ? id + 1 : 1;
    }
    ht_free_zvlib(&table);
}
BENCHMARK(look_up_acl);

// The bind-point table: 8-byte keys, which the integer hash keeps in one chain. The time is that of
// the middle of a chain of `range` entries.
void look_up_bind_point(benchmark::State &state) {
    ht_zvlib_t *table = nullptr;
    ht_create_zvlib(&table, 8, 4, 648, 1296, HT_HASH_INTEGER_ZVLIB);
    const auto entries = static_cast<uint64_t>(state.range(0));
    const uint32_t group = 1;
    for (uint64_t port = 1; port <= entries; port++) {
        ht_insert_zvlib(table, &port, &group);
    }
    const uint64_t middle = (entries + 1) / 2;
    for (auto _ : state) {
        void *place = nullptr;
        uint32_t found = 0;
        ht_lookup_zvlib(table, &middle, &place, &found);
        benchmark::DoNotOptimize(place);
    }
    ht_free_zvlib(&table);
}
BENCHMARK(look_up_bind_point)->Arg(1)->Arg(32)->Arg(648);

// All 6,400 rules; the time is that of one entry.
void walk_rules(benchmark::State &state) {
    ht_zvlib_t *table = make_rule_table(true);
    ht_iterator_zvlib_t *iterator = nullptr;
    ht_create_iterator_zvlib(table, &iterator);
    void *key = nullptr;
    void *value = nullptr;
    uint32_t found = 0;
    for (auto _ : state) {
        if (found == 0) {
            ht_iter_get_first_zvlib(iterator, &key, &value, &found);
        } else {
            ht_iter_get_next_zvlib(iterator, &key, &value, &found);
        }
        benchmark::DoNotOptimize(key);
    }
    ht_free_iterator_zvlib(&iterator);
    ht_free_zvlib(&table);
}
BENCHMARK(walk_rules);

}  // namespace

BENCHMARK_MAIN();
