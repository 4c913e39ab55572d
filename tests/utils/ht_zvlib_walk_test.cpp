// Walks over a table: callback, iterator, statistics.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/utils/allocation_faults.h"
#include "tests/utils/ht_fixture.h"
#include "utils/ht_zvlib.h"

namespace {

using Entries = std::vector<std::pair<uint32_t, uint32_t>>;

class HtZvlibWalk : public HtZvlib {
  protected:
    void TearDown() override {
        if (iterator_ != nullptr) {
            EXPECT_EQ(ht_free_iterator_zvlib(&iterator_), 0);
        }
        HtZvlib::TearDown();
    }

    // Four buckets: 0 holds 8, 4 (in this order), 1 is empty, 2 holds 2, 3 holds 7, 3.
    void create_filled() {
        create(8, 4);
        for (const uint32_t key : {3u, 4u, 2u, 7u, 8u}) {
            ASSERT_EQ(insert(key, key * 10), 0);
        }
    }

    void create_iterator() { ASSERT_EQ(ht_create_iterator_zvlib(table_, &iterator_), 0); }

    // Key of the entry found, 0 for none; checks that the value is the key's.
    uint32_t first() { return step(ht_iter_get_first_zvlib); }
    uint32_t next() { return step(ht_iter_get_next_zvlib); }

    template <typename Function>
    uint32_t step(Function function) {
        void *key = nullptr;
        void *value = nullptr;
        uint32_t found = 4711;
        EXPECT_EQ(function(iterator_, &key, &value, &found), 0);
        if (found == 0) {
            EXPECT_EQ(key, nullptr);
            EXPECT_EQ(value, nullptr);
            return 0;
        }
        EXPECT_EQ(found, 1u);
        EXPECT_EQ(read(value), read(key) * 10);
        return read(key);
    }

    std::string statistics() {
        testing::internal::CaptureStdout();
        EXPECT_EQ(ht_get_statistics_zvlib(table_), 0);
        return testing::internal::GetCapturedStdout();
    }

    ht_iterator_zvlib_t *iterator_ = nullptr;
};

int collect(ht_zvlib_t *table, void *key, void *value, void *context) {
    EXPECT_NE(table, nullptr);
    uint32_t numbers[2] = {};
    std::memcpy(&numbers[0], key, 4);
    std::memcpy(&numbers[1], value, 4);
    static_cast<Entries *>(context)->emplace_back(numbers[0], numbers[1]);
    return static_cast<int>(numbers[0]);
}

int delete_it(ht_zvlib_t *table, void *key, void *, void *) {
    uint32_t copy = 0;
    std::memcpy(&copy, key, 4);
    return ht_delete_zvlib(table, &copy);
}

TEST_F(HtZvlibWalk, ForEachGoesByBucketAndFromTheHeadOfEachChain) {
    create_filled();
    Entries seen;
    EXPECT_EQ(ht_for_each_zvlib(table_, collect, &seen), 3) << "the last callback's result";
    EXPECT_EQ(seen, (Entries{{8, 80}, {4, 40}, {2, 20}, {7, 70}, {3, 30}}));
}

TEST_F(HtZvlibWalk, ForEachOfAnEmptyTableReturnsOne) {
    create(8, 4);
    Entries seen;
    EXPECT_EQ(ht_for_each_zvlib(table_, collect, &seen), 1);
    EXPECT_TRUE(seen.empty());
}

TEST_F(HtZvlibWalk, ForEachReturnsOneOnNullArguments) {
    create_filled();
    EXPECT_EQ(ht_for_each_zvlib(nullptr, collect, nullptr), 1);
    EXPECT_EQ(ht_for_each_zvlib(table_, nullptr, nullptr), 1);
}

TEST_F(HtZvlibWalk, ForEachLetsTheCallbackDeleteItsEntry) {
    create_filled();
    EXPECT_EQ(ht_for_each_zvlib(table_, delete_it, nullptr), 0);
    check_table(table_);
    EXPECT_EQ(utils_allocator_get_num_allocated(table_->pool->allocator), 0u);
}

TEST_F(HtZvlibWalk, IteratorGoesByBucketAndFromTheHeadOfEachChain) {
    create_filled();
    create_iterator();
    EXPECT_EQ(first(), 8u);
    EXPECT_EQ(next(), 4u);
    EXPECT_EQ(next(), 2u);
    EXPECT_EQ(next(), 7u);
    EXPECT_EQ(next(), 3u);
    EXPECT_EQ(next(), 0u);
    EXPECT_EQ(next(), 0u);
}

TEST_F(HtZvlibWalk, IteratorRecordsTheBucketItIsIn) {
    create_filled();
    create_iterator();
    EXPECT_EQ(iterator_->bucket, 0u);
    EXPECT_EQ(iterator_->table, table_);
    first(), next(), next();
    EXPECT_EQ(iterator_->bucket, 2u);
    next();
    EXPECT_EQ(iterator_->bucket, 3u);
}

TEST_F(HtZvlibWalk, IteratorOfAnEmptyTableFindsNothing) {
    create(8, 4);
    create_iterator();
    EXPECT_EQ(first(), 0u);
    EXPECT_EQ(next(), 0u);
}

TEST_F(HtZvlibWalk, IteratorOfATableOfNoBucketsFindsNothing) {
    create(0, 0);
    create_iterator();
    EXPECT_EQ(first(), 0u);
    EXPECT_EQ(next(), 0u);
}

TEST_F(HtZvlibWalk, IteratorStartsAgainWithFirst) {
    create_filled();
    create_iterator();
    EXPECT_EQ(first(), 8u);
    EXPECT_EQ(next(), 4u);
    EXPECT_EQ(first(), 8u);
    EXPECT_EQ(next(), 4u);
}

TEST_F(HtZvlibWalk, IteratorAllowsDeletingTheEntryJustReturned) {
    create_filled();
    create_iterator();
    Entries seen;
    for (uint32_t key = first(); key != 0; key = next()) {
        seen.emplace_back(key, 0);
        ASSERT_EQ(remove(key), 0);
    }
    EXPECT_EQ(seen, (Entries{{8, 0}, {4, 0}, {2, 0}, {7, 0}, {3, 0}}));
    check_table(table_);
    EXPECT_EQ(first(), 0u);
}

TEST_F(HtZvlibWalk, IteratorForgetsWhatItRememberedWhenTheTableWasEmptied) {
    create_filled();
    create_iterator();
    EXPECT_EQ(first(), 8u);  // remembers 4
    EXPECT_EQ(ht_for_each_zvlib(table_, delete_it, nullptr), 0);
    EXPECT_EQ(first(), 0u);
    EXPECT_EQ(next(), 0u);
}

TEST_F(HtZvlibWalk, IteratorStepsFailOnNullArgumentsWithTheFlagZero) {
    create_filled();
    create_iterator();
    for (const auto function : {ht_iter_get_first_zvlib, ht_iter_get_next_zvlib}) {
        void *key = nullptr;
        void *value = nullptr;
        uint32_t found = 1;
        EXPECT_EQ(function(nullptr, &key, &value, &found), 1);
        EXPECT_EQ(found, 0u);
        found = 1;
        EXPECT_EQ(function(iterator_, nullptr, &value, &found), 1);
        EXPECT_EQ(found, 0u);
        found = 1;
        EXPECT_EQ(function(iterator_, &key, nullptr, &found), 1);
        EXPECT_EQ(found, 0u);
        EXPECT_EQ(function(iterator_, &key, &value, nullptr), 1);
    }
}

TEST_F(HtZvlibWalk, IteratorCreationFailsOnNullArgumentsAndOnAPlaceInUse) {
    create_filled();
    EXPECT_EQ(ht_create_iterator_zvlib(nullptr, &iterator_), 1);
    EXPECT_EQ(iterator_, nullptr);
    EXPECT_EQ(ht_create_iterator_zvlib(table_, nullptr), 1);
    create_iterator();
    ht_iterator_zvlib_t *before = iterator_;
    EXPECT_EQ(ht_create_iterator_zvlib(table_, &iterator_), 1);
    EXPECT_EQ(iterator_, before);
}

TEST_F(HtZvlibWalk, IteratorIsAllocatedWithRoomForKeyAndValue) {
    create_filled();
    create_iterator();
    EXPECT_EQ(allocation_faults::last_size(), 4u + 4 + 24);
}

TEST_F(HtZvlibWalk, IteratorIsFreedAfterItsTable) {
    create_filled();
    create_iterator();
    EXPECT_EQ(first(), 8u);
    ASSERT_EQ(ht_free_zvlib(&table_), 0);
    EXPECT_EQ(ht_free_iterator_zvlib(&iterator_), 0);
    EXPECT_EQ(iterator_, nullptr);
}

TEST_F(HtZvlibWalk, FreeingAnIteratorFailsOnANullOrEmptyPlace) {
    EXPECT_EQ(ht_free_iterator_zvlib(nullptr), 1);
    EXPECT_EQ(ht_free_iterator_zvlib(&iterator_), 1);
}

TEST_F(HtZvlibWalk, StatisticsOfAnEmptyTableAreZero) {
    create(8, 4);
    EXPECT_EQ(statistics(),
              "Average num elements in chain = 0.000000 , max = 0 , allInserted 0\n"
              " num_el_in_chain   num_chains :\n"
              " 1-2     0\n 3-4     0\n 5-6     0\n 7-8     0\n 9-10    0\n >10     0 \n");
}

TEST_F(HtZvlibWalk, StatisticsClassifyEachChainByItsLength) {
    create(100, 16);
    // Bucket b gets b entries, buckets 0 and 13 to 15 none: 78 entries in 12 chains of 1 to 12.
    for (uint32_t bucket = 1; bucket <= 12; bucket++) {
        for (uint32_t i = 0; i < bucket; i++) {
            ASSERT_EQ(insert(bucket + 16 * i, 0), 0);
        }
    }
    EXPECT_EQ(statistics(),
              "Average num elements in chain = 6.500000 , max = 12 , allInserted 78\n"
              " num_el_in_chain   num_chains :\n"
              " 1-2     2\n 3-4     2\n 5-6     2\n 7-8     2\n 9-10    2\n >10     2 \n");
}

TEST_F(HtZvlibWalk, StatisticsAverageIsInSinglePrecision) {
    create(8, 4);
    for (const uint32_t key : {0u, 4u, 8u, 12u, 1u, 5u, 2u}) {
        ASSERT_EQ(insert(key, 0), 0);
    }
    EXPECT_EQ(statistics().substr(0, 41), "Average num elements in chain = 2.333333 ");
}

TEST_F(HtZvlibWalk, StatisticsFailOnANullTableAndPrintNothing) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(ht_get_statistics_zvlib(nullptr), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
