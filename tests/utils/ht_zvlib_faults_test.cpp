// The table under lack of memory and absurd sizes.
#include <gtest/gtest.h>

#include "tests/utils/allocation_faults.h"
#include "tests/utils/deletion_faults.h"
#include "tests/utils/ht_fixture.h"
#include "utils/ht_zvlib.h"

namespace {

class HtZvlibFaults : public HtZvlib {
  protected:
    // Every operation of a table that could not be built says what an empty, full table says.
    void expect_empty_and_full() {
        EXPECT_EQ(insert(1, 10), 1);
        EXPECT_EQ(lookup(1), std::nullopt);
        testing::internal::CaptureStdout();
        EXPECT_EQ(remove(1), 1);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "delete not successful ");
        ht_iterator_zvlib_t *iterator = nullptr;
        ASSERT_EQ(ht_create_iterator_zvlib(table_, &iterator), 0);
        void *key = nullptr;
        void *value = nullptr;
        uint32_t found = 1;
        EXPECT_EQ(ht_iter_get_first_zvlib(iterator, &key, &value, &found), 0);
        EXPECT_EQ(found, 0u);
        EXPECT_EQ(ht_iter_get_next_zvlib(iterator, &key, &value, &found), 0);
        EXPECT_EQ(found, 0u);
        EXPECT_EQ(ht_free_iterator_zvlib(&iterator), 0);
        const auto callback = [](ht_zvlib_t *, void *, void *, void *) { return 0; };
        EXPECT_EQ(ht_for_each_zvlib(table_, callback, nullptr), 1);
        EXPECT_EQ(ht_set_hash_zvlib(table_, table_->hash), 0);
        testing::internal::CaptureStdout();
        EXPECT_EQ(ht_get_statistics_zvlib(table_), 0);
        EXPECT_NE(testing::internal::GetCapturedStdout().find("allInserted 0\n"),
                  std::string::npos);
    }
};

TEST_F(HtZvlibFaults, CreationLeavesThePlaceNullWhenTheTableFindsNoMemory) {
    allocation_faults::Nth fault(1);
    EXPECT_EQ(ht_create_zvlib(&table_, 4, 4, 8, 16, 0), 1);
    EXPECT_EQ(table_, nullptr);
}

// The second allocation is the bucket heads, the third the counts, the fourth the marks, then the
// pool: its object, its allocator's object and records, its block.
TEST_F(HtZvlibFaults, CreationLeavesAPartlyBuiltTableThatCanBeReleased) {
    for (unsigned nth = 2; nth <= 8; nth++) {
        SCOPED_TRACE(nth);
        {
            allocation_faults::Nth fault(nth);
            EXPECT_EQ(ht_create_zvlib(&table_, 4, 4, 8, 16, 0), 1);
            EXPECT_EQ(allocation_faults::asked_for(), nth);
        }
        ASSERT_NE(table_, nullptr);
        EXPECT_EQ(table_->key_size, 4u);
        expect_empty_and_full();
        EXPECT_EQ(ht_create_zvlib(&table_, 4, 4, 8, 16, 0), 1) << "the place holds a table";
        EXPECT_EQ(ht_free_zvlib(&table_), 0);
        EXPECT_EQ(table_, nullptr);
    }
}

TEST_F(HtZvlibFaults, CreationAsksForMemoryEightTimes) {
    allocation_faults::Nth fault(9);
    EXPECT_EQ(ht_create_zvlib(&table_, 4, 4, 8, 16, 0), 0);
    EXPECT_EQ(allocation_faults::asked_for(), 8u);
}

TEST_F(HtZvlibFaults, IteratorCreationLeavesThePlaceNullWhenMemoryIsShort) {
    create(4, 4);
    ht_iterator_zvlib_t *iterator = nullptr;
    {
        allocation_faults::Nth fault(1);
        EXPECT_EQ(ht_create_iterator_zvlib(table_, &iterator), 1);
    }
    EXPECT_EQ(iterator, nullptr);
}

TEST_F(HtZvlibFaults, RefusesANullPlace) {
    EXPECT_EQ(ht_create_zvlib(nullptr, 4, 4, 8, 16, 0), 1);
}

TEST_F(HtZvlibFaults, AcceptsAKeyUpToTheReachOfTheValuePosition) {
    for (const uint32_t key_size : {246u, 247u}) {
        ASSERT_EQ(ht_create_zvlib(&table_, key_size, 4, 2, 2, HT_HASH_STRING_ZVLIB), 0);
        EXPECT_EQ(table_->value_pos, key_size + 8);
        const std::string key(key_size, 'k');
        const uint32_t value = 10;
        ASSERT_EQ(ht_insert_zvlib(table_, key.data(), &value), 0);
        void *place = nullptr;
        uint32_t found = 0;
        ASSERT_EQ(ht_lookup_zvlib(table_, key.data(), &place, &found), 0);
        ASSERT_EQ(found, 1u);
        EXPECT_EQ(read(place), 10u);
        ASSERT_EQ(ht_free_zvlib(&table_), 0);
    }
    for (const uint32_t key_size : {248u, 256u, UINT32_MAX}) {
        EXPECT_EQ(ht_create_zvlib(&table_, key_size, 4, 2, 2, HT_HASH_STRING_ZVLIB), 1);
        EXPECT_EQ(table_, nullptr);
    }
}

TEST_F(HtZvlibFaults, RefusesSizesThatWrapTheEntryOrIteratorSize) {
    allocation_faults::Above fault(1u << 20);
    const uint32_t limit = UINT32_MAX - 24 - 4;
    for (const uint32_t value_size : {limit + 1, UINT32_MAX - 8, UINT32_MAX}) {
        EXPECT_EQ(ht_create_zvlib(&table_, 4, value_size, 1, 1, 0), 1);
        EXPECT_EQ(table_, nullptr) << value_size;
    }
    for (const uint32_t value_size : {limit - 1, limit}) {
        EXPECT_EQ(ht_create_zvlib(&table_, 4, value_size, 1, 1, 0), 1);
        ASSERT_NE(table_, nullptr) << "built up to the block, which finds no memory";
        EXPECT_EQ(allocation_faults::last_size(), size_t{value_size} + 4 + 8 + 4);
        EXPECT_EQ(ht_free_zvlib(&table_), 0);
    }
}

TEST_F(HtZvlibFaults, AsksForTheWholeSizeOfTheLargestBucketArray) {
    allocation_faults::Above fault(1u << 20);
    EXPECT_EQ(ht_create_zvlib(&table_, 4, 4, 1, UINT32_MAX, 0), 1);
    EXPECT_EQ(allocation_faults::last_size(), size_t{UINT32_MAX} * 8);
    ASSERT_NE(table_, nullptr);
    expect_empty_and_full();
}

TEST_F(HtZvlibFaults, RefusesMoreEntriesThanAnyMemoryHolds) {
    EXPECT_EQ(ht_create_zvlib(&table_, 4, UINT32_MAX - 28, UINT32_MAX, 1, 0), 1);
    ASSERT_NE(table_, nullptr);
    EXPECT_EQ(table_->pool, nullptr);
    expect_empty_and_full();
}

TEST_F(HtZvlibFaults, KeysAndValuesOfNoBytesAreAllEqual) {
    ASSERT_EQ(ht_create_zvlib(&table_, 0, 0, 2, 2, HT_HASH_STRING_ZVLIB), 0);
    const uint8_t nothing = 0;
    EXPECT_EQ(ht_insert_zvlib(table_, &nothing, &nothing), 0);
    void *value = nullptr;
    uint32_t found = 0;
    EXPECT_EQ(ht_lookup_zvlib(table_, &nothing, &value, &found), 0);
    EXPECT_EQ(found, 1u);
    EXPECT_EQ(ht_delete_zvlib(table_, &nothing), 0);
}

TEST_F(HtZvlibFaults, FreeThatCannotDeleteThePoolFailsAndCanBeRepeated) {
    create(4, 4);
    {
        const deletion_faults::Pool fault;
        EXPECT_EQ(ht_free_zvlib(&table_), 1);
    }
    EXPECT_NE(table_, nullptr);
    EXPECT_EQ(ht_free_zvlib(&table_), 0);
    EXPECT_EQ(table_, nullptr);
}

// The pool's block is gone then, and with it the entry that was looked up last.
TEST_F(HtZvlibFaults, FreeThatCannotDeleteThePoolLeavesAnEmptyTable) {
    create(4, 4);
    ASSERT_EQ(insert(2, 20), 0);
    ASSERT_EQ(insert(1, 10), 0);  // behind what the C library writes into a block given back
    ASSERT_EQ(lookup(1), 10u);
    {
        const deletion_faults::Allocator fault;
        EXPECT_EQ(ht_free_zvlib(&table_), 1);
    }
    ASSERT_NE(table_, nullptr);
    expect_empty_and_full();
}

}  // namespace
