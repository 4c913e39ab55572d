// A table of u32 keys and u32 values, and short ways to fill and read it.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "utils/ht_zvlib.h"

class HtZvlib : public testing::Test {
  protected:
    void TearDown() override {
        if (table_ != nullptr) {
            EXPECT_EQ(ht_free_zvlib(&table_), 0);
        }
    }

    void create(uint32_t max_entries, uint32_t buckets, uint32_t kind = HT_HASH_INTEGER_ZVLIB) {
        ASSERT_EQ(ht_create_zvlib(&table_, 4, 4, max_entries, buckets, kind), 0);
    }

    int insert(uint32_t key, uint32_t value) { return ht_insert_zvlib(table_, &key, &value); }

    int remove(uint32_t key) { return ht_delete_zvlib(table_, &key); }

    std::optional<uint32_t> lookup(uint32_t key) {
        void *value = nullptr;
        uint32_t found = 4711;
        EXPECT_EQ(ht_lookup_zvlib(table_, &key, &value, &found), 0);
        if (found == 0) {
            EXPECT_EQ(value, nullptr);
            return std::nullopt;
        }
        EXPECT_EQ(found, 1u);
        return read(value);
    }

    static uint32_t read(const void *address) {
        uint32_t number = 0;
        std::memcpy(&number, address, sizeof number);
        return number;
    }

    // The pool has as many items in use as the chains have entries, each chain its count of them
    // and marks where there are some, and each entry the bucket of its key.
    static void check_table(const ht_zvlib_t *table) {
        uint32_t total = 0;
        for (uint32_t bucket = 0; bucket < table->num_buckets; bucket++) {
            uint32_t length = 0;
            for (auto *entry = table->bucket_heads[bucket]; entry != nullptr; entry = entry->next) {
                const auto *bytes = reinterpret_cast<const uint8_t *>(entry);
                EXPECT_EQ(table->hash(table, bytes + table->key_pos), bucket);
                length++;
            }
            EXPECT_EQ(table->bucket_counts[bucket], length) << "bucket " << bucket;
            EXPECT_EQ(table->bucket_marks[bucket] == 0, length == 0) << "bucket " << bucket;
            total += length;
        }
        EXPECT_EQ(utils_allocator_get_num_allocated(table->pool->allocator), total);
    }

    ht_zvlib_t *table_ = nullptr;
};
