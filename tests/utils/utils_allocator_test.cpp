#include "utils/utils_allocator.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/utils/allocation_faults.h"

namespace {

class UtilsAllocator : public testing::Test {
  protected:
    void TearDown() override { utils_allocator_delete(&allocator_); }

    void create(uint32_t count, uint32_t base) {
        ASSERT_EQ(utils_allocator_create(&allocator_, count, base), 1);
    }

    uint32_t take() {
        uint32_t index = 0;
        EXPECT_EQ(utils_allocator_allocIndex(allocator_, &index), 1);
        return index;
    }

    void expect_exhausted() {
        uint32_t index = 4711;
        EXPECT_EQ(utils_allocator_allocIndex(allocator_, &index), 0);
        EXPECT_EQ(index, 4711u);
    }

    utils_allocator_t *allocator_ = nullptr;
};

TEST_F(UtilsAllocator, CreatesAllRecordsFreeAndChainedInAscendingOrder) {
    create(3, 10);
    EXPECT_EQ(allocator_->head, &allocator_->records[0]);
    EXPECT_EQ(allocator_->tail, &allocator_->records[2]);
    EXPECT_EQ(allocator_->num_allocated, 0u);
    EXPECT_EQ(allocator_->num_indexes, 3u);
    EXPECT_EQ(allocator_->base, 10u);
    for (uint32_t i = 0; i < 3; i++) {
        EXPECT_EQ(allocator_->records[i].position, i);
        EXPECT_EQ(allocator_->records[i].in_use, 0u);
        EXPECT_EQ(allocator_->records[i].next, i < 2 ? &allocator_->records[i + 1] : nullptr);
    }
}

TEST_F(UtilsAllocator, RequiresAnEmptyPlace) {
    create(3, 10);
    utils_allocator_t *before = allocator_;
    EXPECT_EQ(utils_allocator_create(&allocator_, 5, 0), 0);
    EXPECT_EQ(allocator_, before);
    EXPECT_EQ(allocator_->num_indexes, 3u);
}

TEST_F(UtilsAllocator, RefusesANullPlace) {
    EXPECT_EQ(utils_allocator_create(nullptr, 3, 0), 0);
}

TEST_F(UtilsAllocator, HandsOutAscendingFromItsBaseThenFails) {
    create(3, 10);
    EXPECT_EQ(take(), 10u);
    EXPECT_EQ(take(), 11u);
    EXPECT_EQ(take(), 12u);
    expect_exhausted();
    EXPECT_EQ(allocator_->head, nullptr);
    EXPECT_EQ(allocator_->tail, nullptr);
}

TEST_F(UtilsAllocator, ReusesTheIndexFreedFirst) {
    create(3, 10);
    take(), take(), take();
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 11), 1);
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 10), 1);
    EXPECT_EQ(take(), 11u);
    EXPECT_EQ(take(), 10u);
    expect_exhausted();
}

TEST_F(UtilsAllocator, PutsAFreedIndexBehindThoseNeverUsed) {
    create(3, 0);
    EXPECT_EQ(take(), 0u);
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 0), 1);
    EXPECT_EQ(allocator_->tail, &allocator_->records[0]);
    EXPECT_EQ(take(), 1u);
    EXPECT_EQ(take(), 2u);
    EXPECT_EQ(take(), 0u);
}

TEST_F(UtilsAllocator, MakesAFreedIndexHeadAndTailWhenNoneWasFree) {
    create(2, 0);
    take(), take();
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 1), 1);
    EXPECT_EQ(allocator_->head, &allocator_->records[1]);
    EXPECT_EQ(allocator_->tail, &allocator_->records[1]);
    EXPECT_EQ(allocator_->records[1].in_use, 0u);
    EXPECT_EQ(take(), 1u);
    expect_exhausted();
}

TEST_F(UtilsAllocator, RefusesTheSecondFreeOfAnIndex) {
    create(3, 10);
    take(), take();
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 11), 1);
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 11), 0);
    EXPECT_EQ(utils_allocator_get_num_allocated(allocator_), 1u);
}

TEST_F(UtilsAllocator, RefusesToFreeAnIndexNeverHandedOut) {
    create(3, 10);
    take();
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 11), 0);
    EXPECT_EQ(allocator_->tail, &allocator_->records[2]);
}

TEST_F(UtilsAllocator, RefusesToFreeAnIndexOutsideItsRange) {
    create(3, 10);
    take(), take(), take();
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 9), 0);
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 13), 0);
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 0), 0);
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, UINT32_MAX), 0);
    EXPECT_EQ(utils_allocator_get_num_allocated(allocator_), 3u);
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 10), 1);
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 12), 1);
}

TEST_F(UtilsAllocator, CountsTheIndexesInUse) {
    create(2, 0);
    EXPECT_EQ(utils_allocator_get_num_allocated(allocator_), 0u);
    take();
    EXPECT_EQ(utils_allocator_get_num_allocated(allocator_), 1u);
    take();
    expect_exhausted();
    EXPECT_EQ(utils_allocator_get_num_allocated(allocator_), 2u);
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 0), 1);
    EXPECT_EQ(utils_allocator_get_num_allocated(allocator_), 1u);
}

TEST_F(UtilsAllocator, DeleteSetsThePlaceToNullWithIndexesInUse) {
    create(2, 0);
    take();
    EXPECT_EQ(utils_allocator_delete(&allocator_), 1);
    EXPECT_EQ(allocator_, nullptr);
}

TEST_F(UtilsAllocator, DeleteAlwaysSucceeds) {
    EXPECT_EQ(utils_allocator_delete(&allocator_), 1);
    EXPECT_EQ(utils_allocator_delete(nullptr), 1);
}

TEST_F(UtilsAllocator, OfNoIndexesIsAlwaysExhausted) {
    create(0, 10);
    expect_exhausted();
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 10), 0);
    EXPECT_EQ(allocator_->head, nullptr);
    EXPECT_EQ(allocator_->tail, nullptr);
}

TEST_F(UtilsAllocator, TellsIndexesApartAcrossTheEndOfTheirType) {
    create(3, UINT32_MAX);
    EXPECT_EQ(take(), UINT32_MAX);
    EXPECT_EQ(take(), 0u);
    EXPECT_EQ(take(), 1u);
    EXPECT_EQ(utils_allocator_freeIndex(allocator_, 0), 1);
    EXPECT_EQ(take(), 0u);
}

TEST_F(UtilsAllocator, RefusesNullArguments) {
    create(1, 0);
    uint32_t index = 0;
    EXPECT_EQ(utils_allocator_allocIndex(nullptr, &index), 0);
    EXPECT_EQ(utils_allocator_allocIndex(allocator_, nullptr), 0);
    EXPECT_EQ(utils_allocator_freeIndex(nullptr, 0), 0);
    EXPECT_EQ(utils_allocator_get_num_allocated(nullptr), 0u);
    EXPECT_EQ(utils_allocator_get_num_allocated(allocator_), 0u);
}

TEST_F(UtilsAllocator, KeepsNothingWhenMemoryIsShort) {
    for (unsigned nth = 1; nth <= 2; nth++) {
        allocation_faults::Nth fault(nth);
        EXPECT_EQ(utils_allocator_create(&allocator_, 3, 0), 0) << nth;
        EXPECT_EQ(allocator_, nullptr) << nth;
        EXPECT_EQ(allocation_faults::asked_for(), nth);
    }
}

TEST_F(UtilsAllocator, AsksForTheWholeSizeOfTheLargestRange) {
    allocation_faults::Above fault(1u << 20);
    EXPECT_EQ(utils_allocator_create(&allocator_, UINT32_MAX, 0), 0);
    EXPECT_EQ(allocator_, nullptr);
    EXPECT_EQ(allocation_faults::last_size(), sizeof(utils_index_record_t) * size_t{UINT32_MAX});
}

TEST_F(UtilsAllocator, AllocatesNothingAfterCreation) {
    create(3, 0);
    allocation_faults::fail_nth(0);
    for (int i = 0; i < 10; i++) {
        EXPECT_EQ(utils_allocator_freeIndex(allocator_, take()), 1);
    }
    EXPECT_EQ(allocation_faults::asked_for(), 0u);
}

// Against a plain queue, over many turns of taking and giving back.
TEST_F(UtilsAllocator, BehavesLikeAQueueOfFreeIndexes) {
    create(7, 100);
    std::vector<uint32_t> free_indexes = {100, 101, 102, 103, 104, 105, 106};
    std::vector<uint32_t> in_use;
    uint32_t random = 1;
    for (int step = 0; step < 2000; step++) {
        random = random * 1664525 + 1013904223;
        const bool taking = (random >> 16) % 2 == 0;
        if (taking && free_indexes.empty()) {
            expect_exhausted();
        } else if (taking) {
            ASSERT_EQ(take(), free_indexes.front());
            in_use.push_back(free_indexes.front());
            free_indexes.erase(free_indexes.begin());
        } else if (!in_use.empty()) {
            const auto chosen = in_use.begin() + (random >> 20) % in_use.size();
            ASSERT_EQ(utils_allocator_freeIndex(allocator_, *chosen), 1);
            free_indexes.push_back(*chosen);
            in_use.erase(chosen);
        }
        ASSERT_EQ(utils_allocator_get_num_allocated(allocator_), in_use.size());
    }
}

}  // namespace
