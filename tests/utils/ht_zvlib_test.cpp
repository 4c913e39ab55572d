#include "utils/ht_zvlib.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <map>
#include <string>

#include "tests/utils/allocation_faults.h"
#include "tests/utils/ht_fixture.h"

namespace {

using Key50 = std::array<char, 50>;

Key50 key50(const std::string &text) {
    Key50 key{};
    text.copy(key.data(), key.size());
    return key;
}

uint32_t to_bucket_5(const ht_zvlib_t *, const void *) {
    return 5;
}

uint32_t past_the_last_bucket(const ht_zvlib_t *table, const void *) {
    return table->num_buckets;
}

TEST_F(HtZvlib, CreationKeepsTheSizesAndEmptiesAllBuckets) {
    ASSERT_EQ(ht_create_zvlib(&table_, 50, 48, 64, 128, HT_HASH_STRING_ZVLIB), 0);
    EXPECT_EQ(table_->key_size, 50u);
    EXPECT_EQ(table_->value_size, 48u);
    EXPECT_EQ(table_->num_buckets, 128u);
    EXPECT_EQ(table_->max_entries, 64u);
    EXPECT_EQ(table_->entry_size, 106u);
    EXPECT_EQ(table_->key_pos, 8u);
    EXPECT_EQ(table_->value_pos, 58u);
    EXPECT_EQ(table_->pool->num_items, 64u);
    EXPECT_EQ(table_->pool->item_size, 106u);
    for (uint32_t bucket = 0; bucket < 128; bucket++) {
        EXPECT_EQ(table_->bucket_heads[bucket], nullptr);
        EXPECT_EQ(table_->bucket_counts[bucket], 0u);
        EXPECT_EQ(table_->bucket_marks[bucket], 0u);
    }
}

TEST_F(HtZvlib, NoBucketsMeansAsManyAsEntries) {
    create(37, 0);
    EXPECT_EQ(table_->num_buckets, 37u);
}

TEST_F(HtZvlib, CreationFailsOnAPlaceThatHoldsATable) {
    create(4, 4);
    ht_zvlib_t *before = table_;
    EXPECT_EQ(ht_create_zvlib(&table_, 8, 8, 8, 8, 0), 1);
    EXPECT_EQ(table_, before);
    EXPECT_EQ(table_->key_size, 4u);
}

// The heads begin behind the C library's own words, so that they end in a page more than they fill.
TEST_F(HtZvlib, HasMemoryBehindTheLastByteOfItsBucketsToo) {
    const auto page_bytes = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    create(1, static_cast<uint32_t>(1024 * page_bytes / sizeof(ht_entry_zvlib_t *)));
    const auto last = reinterpret_cast<uintptr_t>(table_->bucket_heads) + 1024 * page_bytes - 1;
    unsigned char resident = 0;
    ASSERT_EQ(mincore(reinterpret_cast<void *>(last / page_bytes * page_bytes), 1, &resident), 0);
    EXPECT_EQ(resident & 1, 1);
}

TEST_F(HtZvlib, FreeSetsThePlaceToNullWithEntriesInTheTable) {
    create(4, 4);
    ASSERT_EQ(insert(1, 10), 0);
    EXPECT_EQ(ht_free_zvlib(&table_), 0);
    EXPECT_EQ(table_, nullptr);
}

TEST_F(HtZvlib, FreeFailsOnANullOrEmptyPlace) {
    EXPECT_EQ(ht_free_zvlib(nullptr), 1);
    EXPECT_EQ(ht_free_zvlib(&table_), 1);
}

TEST_F(HtZvlib, FindsACopyOfWhatWasInserted) {
    create(4, 4);
    uint32_t key = 7;
    uint32_t value = 70;
    ASSERT_EQ(ht_insert_zvlib(table_, &key, &value), 0);
    key = 8;
    value = 80;
    EXPECT_EQ(lookup(7), 70u);
    EXPECT_EQ(lookup(8), std::nullopt);
}

TEST_F(HtZvlib, KeepsAnEntryAsLinkThenKeyThenValue) {
    create(4, 4);
    ASSERT_EQ(insert(0x11223344, 0x55667788), 0);
    const auto *bytes = reinterpret_cast<const uint8_t *>(table_->bucket_heads[0]);
    EXPECT_EQ(bytes, table_->pool->items + 4);
    EXPECT_EQ(read(bytes + 8), 0x11223344u);
    EXPECT_EQ(read(bytes + 12), 0x55667788u);
}

TEST_F(HtZvlib, LookupAllowsEditingTheTablesOwnCopy) {
    create(4, 4);
    ASSERT_EQ(insert(7, 70), 0);
    const uint32_t key = 7;
    void *value = nullptr;
    uint32_t found = 0;
    ASSERT_EQ(ht_lookup_zvlib(table_, &key, &value, &found), 0);
    const uint32_t edited = 71;
    std::memcpy(value, &edited, sizeof edited);
    EXPECT_EQ(lookup(7), 71u);
}

TEST_F(HtZvlib, LookupOfAnAbsentKeyInAnOccupiedBucketFindsNothing) {
    create(4, 4);
    ASSERT_EQ(insert(4, 40), 0);
    EXPECT_EQ(lookup(8), std::nullopt);
    EXPECT_EQ(lookup(4), 40u);
}

TEST_F(HtZvlib, LookupSetsTheFlagToZeroBeforeItFails) {
    create(4, 4);
    ASSERT_EQ(insert(7, 70), 0);
    const uint32_t key = 7;
    void *value = nullptr;
    uint32_t found = 1;
    EXPECT_EQ(ht_lookup_zvlib(nullptr, &key, &value, &found), 1);
    EXPECT_EQ(found, 0u);
    found = 1;
    EXPECT_EQ(ht_lookup_zvlib(table_, nullptr, &value, &found), 1);
    EXPECT_EQ(found, 0u);
    found = 1;
    EXPECT_EQ(ht_lookup_zvlib(table_, &key, nullptr, &found), 1);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(ht_lookup_zvlib(table_, &key, &value, nullptr), 1);
}

TEST_F(HtZvlib, LookupComparesEveryByteOfTheKey) {
    ASSERT_EQ(ht_create_zvlib(&table_, 50, 4, 4, 4, HT_HASH_STRING_ZVLIB), 0);
    Key50 stored = key50("7_12");
    stored[49] = 'x';  // behind the text: the same bucket, another key
    const uint32_t value = 1;
    ASSERT_EQ(ht_insert_zvlib(table_, stored.data(), &value), 0);
    void *place = nullptr;
    uint32_t found = 1;
    EXPECT_EQ(ht_lookup_zvlib(table_, key50("7_12").data(), &place, &found), 0);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(ht_lookup_zvlib(table_, stored.data(), &place, &found), 0);
    EXPECT_EQ(found, 1u);
}

TEST_F(HtZvlib, InsertFailsOnNullArguments) {
    create(4, 4);
    const uint32_t number = 7;
    EXPECT_EQ(ht_insert_zvlib(nullptr, &number, &number), 1);
    EXPECT_EQ(ht_insert_zvlib(table_, nullptr, &number), 1);
    EXPECT_EQ(ht_insert_zvlib(table_, &number, nullptr), 1);
    check_table(table_);
}

TEST_F(HtZvlib, InsertFailsWhenThePoolIsExhausted) {
    create(3, 2);
    EXPECT_EQ(insert(1, 10), 0);
    EXPECT_EQ(insert(2, 20), 0);
    EXPECT_EQ(insert(3, 30), 0);
    EXPECT_EQ(insert(4, 40), 1);
    EXPECT_EQ(lookup(4), std::nullopt);
    check_table(table_);
    ASSERT_EQ(remove(2), 0);
    EXPECT_EQ(insert(4, 40), 0);
    check_table(table_);
}

TEST_F(HtZvlib, InsertingAKeyTwiceStoresTwoEntriesAndLookupFindsTheLater) {
    create(4, 4);
    ASSERT_EQ(insert(7, 70), 0);
    ASSERT_EQ(insert(7, 71), 0);
    EXPECT_EQ(table_->bucket_counts[3], 2u);
    EXPECT_EQ(lookup(7), 71u);
    ASSERT_EQ(remove(7), 0);
    EXPECT_EQ(lookup(7), 70u);
    check_table(table_);
}

TEST_F(HtZvlib, InsertOfANewKeyStoresItOnce) {
    create(8, 4);
    const uint32_t key = 5, first = 50, second = 51;
    uint32_t found = 4711;
    EXPECT_EQ(ht_insert_new_zvlib(table_, &key, &first, &found), 0);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(ht_insert_new_zvlib(table_, &key, &second, &found), 1);
    EXPECT_EQ(found, 1u);
    EXPECT_EQ(lookup(key), first);
    check_table(table_);
}

TEST_F(HtZvlib, InsertOfANewKeyFailsInAFullTableAndFindsNothing) {
    create(1, 4);
    ASSERT_EQ(insert(5, 50), 0);
    const uint32_t key = 6, value = 60;
    uint32_t found = 4711;
    EXPECT_EQ(ht_insert_new_zvlib(table_, &key, &value, &found), 1);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(lookup(key), std::nullopt);
}

TEST_F(HtZvlib, InsertOfANewKeyFailsWithoutAHash) {
    create(8, 4, 7);
    const uint32_t key = 5, value = 50;
    uint32_t found = 4711;
    EXPECT_EQ(ht_insert_new_zvlib(table_, &key, &value, &found), 1);
    EXPECT_EQ(found, 0u);
}

TEST_F(HtZvlib, InsertOfANewKeyFailsOnNullArguments) {
    create(8, 4);
    const uint32_t key = 5, value = 50;
    uint32_t found = 4711;
    EXPECT_EQ(ht_insert_new_zvlib(table_, &key, &value, nullptr), 1);
    EXPECT_EQ(ht_insert_new_zvlib(nullptr, &key, &value, &found), 1);
    EXPECT_EQ(ht_insert_new_zvlib(table_, nullptr, &value, &found), 1);
    EXPECT_EQ(ht_insert_new_zvlib(table_, &key, nullptr, &found), 1);
    EXPECT_EQ(found, 0u);
    EXPECT_EQ(lookup(key), std::nullopt);
}

TEST_F(HtZvlib, LookupAfterAnInsertFindsTheLaterEntryThoughItJustFoundTheEarlier) {
    create(4, 4);
    ASSERT_EQ(insert(7, 70), 0);
    ASSERT_EQ(lookup(7), 70u);
    ASSERT_EQ(insert(7, 71), 0);
    EXPECT_EQ(lookup(7), 71u);
}

TEST_F(HtZvlib, LookupAfterADeletionFindsNothingThoughItJustFoundTheEntry) {
    create(4, 4);
    ASSERT_EQ(insert(7, 70), 0);
    ASSERT_EQ(lookup(7), 70u);
    ASSERT_EQ(remove(7), 0);
    EXPECT_FALSE(lookup(7).has_value());
    ASSERT_EQ(insert(8, 80), 0);  // takes the slot over
    EXPECT_FALSE(lookup(7).has_value());
    EXPECT_EQ(lookup(8), 80u);
}

TEST_F(HtZvlib, DeleteUnlinksAtHeadMiddleAndTailOfAChain) {
    for (const uint32_t key : {1u, 2u, 3u}) {
        create(3, 1);
        for (const uint32_t inserted : {1u, 2u, 3u}) {
            ASSERT_EQ(insert(inserted, inserted * 10), 0);
        }
        ASSERT_EQ(remove(key), 0);
        for (const uint32_t left : {1u, 2u, 3u}) {
            EXPECT_EQ(lookup(left).has_value(), left != key);
        }
        EXPECT_EQ(table_->bucket_counts[0], 2u);
        check_table(table_);
        ASSERT_EQ(ht_free_zvlib(&table_), 0);
    }
}

TEST_F(HtZvlib, DeleteOfAnAbsentKeyPrintsAndFails) {
    create(4, 4);
    ASSERT_EQ(insert(4, 40), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(remove(8), 1);
    EXPECT_EQ(remove(1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "delete not successful delete not successful ");
    check_table(table_);
}

TEST_F(HtZvlib, DeleteOfAPresentKeyPrintsNothing) {
    create(4, 4);
    ASSERT_EQ(insert(4, 40), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(remove(4), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(HtZvlib, DeleteFailsOnNullArguments) {
    create(4, 4);
    const uint32_t key = 4;
    EXPECT_EQ(ht_delete_zvlib(nullptr, &key), 1);
    EXPECT_EQ(ht_delete_zvlib(table_, nullptr), 1);
}

TEST_F(HtZvlib, DeleteFailsAndChangesNothingWhenThePoolRefuses) {
    create(4, 4);
    ASSERT_EQ(insert(4, 40), 0);
    auto *index = reinterpret_cast<uint8_t *>(table_->bucket_heads[0]) - 4;
    const uint32_t wrong = 4;
    std::memcpy(index, &wrong, sizeof wrong);
    EXPECT_EQ(remove(4), 1);
    EXPECT_EQ(lookup(4), 40u);
    check_table(table_);
}

TEST_F(HtZvlib, PutsAnIntegerKeyIntoTheBucketOfItsRemainder) {
    create(8, 1296);
    ASSERT_EQ(insert(1300, 1), 0);
    ASSERT_EQ(insert(1295, 2), 0);
    ASSERT_EQ(insert(1296, 3), 0);
    ASSERT_EQ(insert(UINT32_MAX, 4), 0);
    EXPECT_EQ(table_->bucket_counts[4], 1u);
    EXPECT_EQ(table_->bucket_counts[1295], 1u);
    EXPECT_EQ(table_->bucket_counts[0], 1u);
    EXPECT_EQ(table_->bucket_counts[UINT32_MAX % 1296], 1u);
    check_table(table_);
}

TEST_F(HtZvlib, ReadsIntegerKeysOfTwoToFourBytesAsLittleEndian) {
    const uint8_t key[5] = {0x01, 0x02, 0x03, 0x84, 0xff};
    const uint32_t expected[6] = {0, 0, 0x0201, 0x030201, 0x84030201, 0};
    for (uint32_t key_size = 1; key_size <= 5; key_size++) {
        ASSERT_EQ(ht_create_zvlib(&table_, key_size, 4, 2, 1000003, HT_HASH_INTEGER_ZVLIB), 0);
        EXPECT_EQ(table_->hash(table_, key), expected[key_size] % 1000003) << key_size;
        ASSERT_EQ(ht_free_zvlib(&table_), 0);
    }
}

TEST_F(HtZvlib, KeepsAllEntriesOfAnEightByteIntegerKeyInBucketZero) {
    ASSERT_EQ(ht_create_zvlib(&table_, 8, 4, 10, 20, HT_HASH_INTEGER_ZVLIB), 0);
    for (uint64_t key = 1; key <= 10; key++) {
        const uint64_t spread = key << 33 | key;
        const auto value = static_cast<uint32_t>(key);
        ASSERT_EQ(ht_insert_zvlib(table_, &spread, &value), 0);
    }
    EXPECT_EQ(table_->bucket_counts[0], 10u);
    for (uint32_t bucket = 1; bucket < 20; bucket++) {
        EXPECT_EQ(table_->bucket_counts[bucket], 0u);
    }
    const uint64_t wanted = 3ULL << 33 | 3;
    void *value = nullptr;
    uint32_t found = 0;
    ASSERT_EQ(ht_lookup_zvlib(table_, &wanted, &value, &found), 0);
    ASSERT_EQ(found, 1u);
    EXPECT_EQ(read(value), 3u);
}

TEST_F(HtZvlib, HashesTheTextOfAStringKeyUpToItsFirstZero) {
    ASSERT_EQ(ht_create_zvlib(&table_, 50, 4, 4, 12800, HT_HASH_STRING_ZVLIB), 0);
    uint32_t h = 0;
    for (const uint32_t byte : {'7', '_', '1', '2'}) {
        h = (h * 33) ^ byte;
    }
    Key50 key = key50("7_12");
    EXPECT_EQ(table_->hash(table_, key.data()), h % 12800);
    key[5] = 'x';  // behind the zero
    EXPECT_EQ(table_->hash(table_, key.data()), h % 12800);
    key[4] = 'x';  // in its place
    EXPECT_NE(table_->hash(table_, key.data()), h % 12800);
}

// By hand: 0x80 is -128, 0xffffff80; times 33 and modulo 2^32 that is 0xffffef80, xor 1.
TEST_F(HtZvlib, TakesTheBytesOfAStringKeyAsSigned) {
    ASSERT_EQ(ht_create_zvlib(&table_, 4, 4, 4, 1u << 20, HT_HASH_STRING_ZVLIB), 0);
    EXPECT_EQ(table_->hash(table_, "\x80\0\0"), 0xffffff80u % (1u << 20));
    EXPECT_EQ(table_->hash(table_, "\x80\x01\0"), 0xffffef81u % (1u << 20));
}

TEST_F(HtZvlib, HashesAStringKeyWithoutAZeroByItsKeySize) {
    ASSERT_EQ(ht_create_zvlib(&table_, 2, 4, 4, 100000, HT_HASH_STRING_ZVLIB), 0);
    EXPECT_EQ(table_->hash(table_, "abc"), ('a' * 33u) ^ 'b');
    EXPECT_EQ(table_->hash(table_, "abd"), ('a' * 33u) ^ 'b');
}

TEST_F(HtZvlib, TellsStringKeysOfTheSameDigitsApart) {
    ASSERT_EQ(ht_create_zvlib(&table_, 50, 4, 4, 1, HT_HASH_STRING_ZVLIB), 0);
    const uint32_t one = 1;
    const uint32_t two = 2;
    ASSERT_EQ(ht_insert_zvlib(table_, key50("1_23").data(), &one), 0);
    ASSERT_EQ(ht_insert_zvlib(table_, key50("12_3").data(), &two), 0);
    void *value = nullptr;
    uint32_t found = 0;
    ASSERT_EQ(ht_lookup_zvlib(table_, key50("1_23").data(), &value, &found), 0);
    ASSERT_EQ(found, 1u);
    EXPECT_EQ(read(value), 1u);
}

TEST_F(HtZvlib, WithoutAHashHoldsNothingUntilOneIsInstalled) {
    create(4, 8, 2);
    EXPECT_EQ(table_->hash, nullptr);
    EXPECT_EQ(insert(1, 10), 1);
    EXPECT_EQ(lookup(1), std::nullopt);
    testing::internal::CaptureStdout();
    EXPECT_EQ(remove(1), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "delete not successful ");
    ASSERT_EQ(ht_set_hash_zvlib(table_, to_bucket_5), 0);
    EXPECT_EQ(insert(1, 10), 0);
    EXPECT_EQ(lookup(1), 10u);
    EXPECT_EQ(table_->bucket_counts[5], 1u);
    check_table(table_);
}

TEST_F(HtZvlib, SetHashFailsWhileTheTableHoldsAnEntryAndKeepsTheOldHash) {
    create(4, 8);
    const ht_hash_zvlib_t old_hash = table_->hash;
    ASSERT_EQ(insert(7, 70), 0);  // in the last bucket
    EXPECT_EQ(ht_set_hash_zvlib(table_, to_bucket_5), 1);
    EXPECT_EQ(table_->hash, old_hash);
    EXPECT_EQ(lookup(7), 70u);
    ASSERT_EQ(remove(7), 0);
    EXPECT_EQ(ht_set_hash_zvlib(table_, to_bucket_5), 0);
    EXPECT_EQ(table_->hash, to_bucket_5);
}

TEST_F(HtZvlib, SetHashFailsOnANullTable) {
    EXPECT_EQ(ht_set_hash_zvlib(nullptr, to_bucket_5), 1);
}

TEST_F(HtZvlib, TakesABucketPastTheLastForNone) {
    create(4, 8, 2);
    ASSERT_EQ(ht_set_hash_zvlib(table_, past_the_last_bucket), 0);
    EXPECT_EQ(insert(1, 10), 1);
    EXPECT_EQ(lookup(1), std::nullopt);
    EXPECT_EQ(utils_allocator_get_num_allocated(table_->pool->allocator), 0u);
}

TEST_F(HtZvlib, OfNoEntriesStaysEmpty) {
    create(0, 0);
    EXPECT_EQ(table_->num_buckets, 0u);
    EXPECT_EQ(insert(1, 10), 1);
    EXPECT_EQ(lookup(1), std::nullopt);
}

TEST_F(HtZvlib, AllocatesNothingAfterCreation) {
    create(16, 4);
    allocation_faults::fail_nth(0);
    for (uint32_t key = 0; key < 16; key++) {
        ASSERT_EQ(insert(key, key), 0);
    }
    for (uint32_t key = 0; key < 16; key++) {
        ASSERT_EQ(lookup(key), key);
        ASSERT_EQ(remove(key), 0);
    }
    EXPECT_EQ(allocation_faults::asked_for(), 0u);
}

// Against a map, over many turns of inserting and deleting in a table of long chains.
TEST_F(HtZvlib, BehavesLikeAMap) {
    create(40, 7);
    std::map<uint32_t, uint32_t> model;
    uint32_t random = 1;
    for (uint32_t step = 0; step < 5000; step++) {
        random = random * 1664525 + 1013904223;
        const uint32_t key = (random >> 8) % 64;
        if (model.contains(key)) {
            ASSERT_EQ(lookup(key), model[key]);
            ASSERT_EQ(remove(key), 0);
            model.erase(key);
        } else if (model.size() == 40) {
            ASSERT_EQ(insert(key, step), 1);
        } else {
            ASSERT_EQ(lookup(key), std::nullopt);
            ASSERT_EQ(insert(key, step), 0);
            model[key] = step;
        }
    }
    check_table(table_);
    EXPECT_EQ(utils_allocator_get_num_allocated(table_->pool->allocator), model.size());
}

// Texts leave different marks in their buckets, which entries that have gone may leave behind.
TEST_F(HtZvlib, BehavesLikeAMapOfTexts) {
    ASSERT_EQ(ht_create_zvlib(&table_, 50, 4, 40, 7, HT_HASH_STRING_ZVLIB), 0);
    std::map<std::string, uint32_t> model;
    uint32_t random = 1;
    for (uint32_t step = 0; step < 5000; step++) {
        random = random * 1664525 + 1013904223;
        const std::string text =
            std::to_string((random >> 8) % 3) + "_" + std::to_string((random >> 16) % 24 * 271);
        const Key50 key = key50(text);
        void *value = nullptr;
        uint32_t found = 0;
        ASSERT_EQ(ht_lookup_zvlib(table_, key.data(), &value, &found), 0);
        ASSERT_EQ(found != 0, model.contains(text)) << text;
        if (found != 0) {
            ASSERT_EQ(read(value), model[text]);
            ASSERT_EQ(ht_insert_new_zvlib(table_, key.data(), &step, &found), 1);
            ASSERT_EQ(found, 1u);
            ASSERT_EQ(ht_delete_zvlib(table_, key.data()), 0);
            model.erase(text);
        } else if (model.size() == 40) {
            ASSERT_EQ(ht_insert_new_zvlib(table_, key.data(), &step, &found), 1);
            ASSERT_EQ(found, 0u);
        } else {
            ASSERT_EQ(ht_insert_new_zvlib(table_, key.data(), &step, &found), 0);
            model[text] = step;
        }
        check_table(table_);
    }
    EXPECT_EQ(utils_allocator_get_num_allocated(table_->pool->allocator), model.size());
}

TEST_F(HtZvlib, TellsTextsOfOneMarkApart) {
    ASSERT_EQ(ht_create_zvlib(&table_, 2, 4, 4, 1, HT_HASH_STRING_ZVLIB), 0);
    // One bucket, so the mark is the sum modulo 16: of "a" 97 % 16 = 1, of "q" 113 % 16 = 1.
    const uint32_t one = 1;
    void *value = nullptr;
    uint32_t found = 0;
    ASSERT_EQ(ht_insert_zvlib(table_, "a", &one), 0);
    EXPECT_EQ(table_->bucket_marks[0], 1u << 1);
    ASSERT_EQ(ht_lookup_zvlib(table_, "q", &value, &found), 0);
    EXPECT_EQ(found, 0u);
    ASSERT_EQ(ht_lookup_zvlib(table_, "a", &value, &found), 0);
    EXPECT_EQ(found, 1u);
}

TEST_F(HtZvlib, ForgetsMarksWithTheLastEntryOfAChain) {
    ASSERT_EQ(ht_create_zvlib(&table_, 2, 4, 4, 1, HT_HASH_STRING_ZVLIB), 0);
    const uint32_t one = 1;
    ASSERT_EQ(ht_insert_zvlib(table_, "a", &one), 0);
    ASSERT_EQ(ht_insert_zvlib(table_, "b", &one), 0);
    EXPECT_EQ(table_->bucket_marks[0], 1u << 1 | 1u << 2);
    ASSERT_EQ(ht_delete_zvlib(table_, "a"), 0);
    EXPECT_EQ(table_->bucket_marks[0], 1u << 1 | 1u << 2);
    ASSERT_EQ(ht_delete_zvlib(table_, "b"), 0);
    EXPECT_EQ(table_->bucket_marks[0], 0u);
}

}  // namespace
