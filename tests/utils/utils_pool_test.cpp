#include "utils/utils_pool.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "tests/utils/allocation_faults.h"
#include "tests/utils/deletion_faults.h"

namespace {

class UtilsPool : public testing::Test {
  protected:
    void TearDown() override {
        if (pool_ != nullptr) {
            EXPECT_EQ(utils_pool_delete(&pool_), 1);
        }
    }

    void create(uint32_t num_items, uint32_t item_size) {
        ASSERT_EQ(utils_pool_create(&pool_, num_items, item_size), 1);
    }

    static uint32_t index_before(const void *item) {
        uint32_t index = 0;
        std::memcpy(&index, static_cast<const uint8_t *>(item) - 4, 4);
        return index;
    }

    utils_pool_t *pool_ = nullptr;
};

TEST_F(UtilsPool, KeepsItsSizesAndAnAllocatorOfBaseZero) {
    create(3, 48);
    EXPECT_EQ(pool_->num_items, 3u);
    EXPECT_EQ(pool_->item_size, 48u);
    EXPECT_EQ(pool_->allocator->base, 0u);
    EXPECT_EQ(pool_->allocator->num_indexes, 3u);
    EXPECT_EQ(utils_allocator_get_num_allocated(pool_->allocator), 0u);
}

TEST_F(UtilsPool, AllocatesOneBlockOfSlotsWithTheirIndexes) {
    create(3, 48);
    EXPECT_EQ(allocation_faults::last_size(), 3u * (48 + 4));
}

TEST_F(UtilsPool, HandsOutSlotsOneBehindTheOtherEachAfterItsIndex) {
    create(3, 48);
    for (uint32_t i = 0; i < 3; i++) {
        auto *item = static_cast<uint8_t *>(utils_pool_alloc(pool_, 48));
        ASSERT_EQ(item, pool_->items + i * 52 + 4);
        EXPECT_EQ(index_before(item), i);
        std::memset(item, 0xff, 48);
    }
    EXPECT_EQ(utils_pool_alloc(pool_, 48), nullptr);
}

TEST_F(UtilsPool, RefusesARequestAboveItsItemSizeAndAcceptsALesserOne) {
    create(4, 48);
    EXPECT_EQ(utils_pool_alloc(pool_, 49), nullptr);
    EXPECT_EQ(utils_allocator_get_num_allocated(pool_->allocator), 0u);
    EXPECT_NE(utils_pool_alloc(pool_, 48), nullptr);
    EXPECT_NE(utils_pool_alloc(pool_, 47), nullptr);
    EXPECT_NE(utils_pool_alloc(pool_, 20), nullptr);
    EXPECT_NE(utils_pool_alloc(pool_, 0), nullptr);
}

TEST_F(UtilsPool, ReusesTheSlotFreedFirst) {
    create(3, 5);
    void *a = utils_pool_alloc(pool_, 5);
    void *b = utils_pool_alloc(pool_, 5);
    void *c = utils_pool_alloc(pool_, 5);
    EXPECT_EQ(utils_pool_free(pool_, c), 1);
    EXPECT_EQ(utils_pool_free(pool_, a), 1);
    EXPECT_EQ(utils_pool_alloc(pool_, 5), c);
    EXPECT_EQ(utils_pool_alloc(pool_, 5), a);
    EXPECT_EQ(utils_pool_alloc(pool_, 5), nullptr);
    EXPECT_NE(b, nullptr);
}

TEST_F(UtilsPool, RefusesTheSecondFreeOfAnItem) {
    create(2, 5);
    void *item = utils_pool_alloc(pool_, 5);
    EXPECT_EQ(utils_pool_free(pool_, item), 1);
    EXPECT_EQ(utils_pool_free(pool_, item), 0);
    EXPECT_EQ(utils_allocator_get_num_allocated(pool_->allocator), 0u);
}

TEST_F(UtilsPool, RefusesAnItemWhoseIndexIsNotBelowTheNumberOfItems) {
    create(2, 5);
    auto *item = static_cast<uint8_t *>(utils_pool_alloc(pool_, 5));
    for (const uint32_t index : {2u, 3u, UINT32_MAX}) {
        std::memcpy(item - 4, &index, 4);
        EXPECT_EQ(utils_pool_free(pool_, item), 0) << index;
    }
    EXPECT_EQ(utils_allocator_get_num_allocated(pool_->allocator), 1u);
    const uint32_t right = 0;
    std::memcpy(item - 4, &right, 4);
    EXPECT_EQ(utils_pool_free(pool_, item), 1);
}

TEST_F(UtilsPool, RefusesNullArguments) {
    create(1, 5);
    void *item = utils_pool_alloc(pool_, 5);
    EXPECT_EQ(utils_pool_alloc(nullptr, 5), nullptr);
    EXPECT_EQ(utils_pool_free(nullptr, item), 0);
    EXPECT_EQ(utils_pool_free(pool_, nullptr), 0);
    EXPECT_EQ(utils_pool_create(nullptr, 1, 5), 0);
    EXPECT_EQ(utils_pool_delete(nullptr), 0);
}

TEST_F(UtilsPool, RefusesAPlaceThatIsNotEmpty) {
    create(1, 5);
    utils_pool_t *before = pool_;
    EXPECT_EQ(utils_pool_create(&pool_, 2, 6), 0);
    EXPECT_EQ(pool_, before);
    EXPECT_EQ(pool_->num_items, 1u);
}

TEST_F(UtilsPool, DeleteSetsThePlaceToNullWithItemsInUse) {
    create(2, 5);
    ASSERT_NE(utils_pool_alloc(pool_, 5), nullptr);
    EXPECT_EQ(utils_pool_delete(&pool_), 1);
    EXPECT_EQ(pool_, nullptr);
    EXPECT_EQ(utils_pool_delete(&pool_), 0);
}

TEST_F(UtilsPool, OfNoItemsNeverHasOne) {
    create(0, 48);
    EXPECT_EQ(utils_pool_alloc(pool_, 1), nullptr);
}

TEST_F(UtilsPool, OfEmptyItemsHandsOutDistinctAddresses) {
    create(2, 0);
    void *a = utils_pool_alloc(pool_, 0);
    void *b = utils_pool_alloc(pool_, 0);
    EXPECT_NE(a, nullptr);
    EXPECT_NE(b, nullptr);
    EXPECT_NE(a, b);
    EXPECT_EQ(utils_pool_alloc(pool_, 0), nullptr);
    EXPECT_EQ(utils_pool_free(pool_, a), 1);
}

TEST_F(UtilsPool, KeepsNothingWhenThePoolOrItsAllocatorFindsNoMemory) {
    for (unsigned nth = 1; nth <= 3; nth++) {
        allocation_faults::Nth fault(nth);
        EXPECT_EQ(utils_pool_create(&pool_, 2, 5), 0) << nth;
        EXPECT_EQ(pool_, nullptr) << nth;
        EXPECT_EQ(allocation_faults::asked_for(), nth);
    }
}

TEST_F(UtilsPool, LeavesItsAllocatorAllocatedWhenTheBlockFindsNoMemory) {
    {
        allocation_faults::Nth fault(4);
        EXPECT_EQ(utils_pool_create(&pool_, 2, 5), 0);
    }
    ASSERT_NE(pool_, nullptr);
    EXPECT_EQ(pool_->items, nullptr);
    ASSERT_NE(pool_->allocator, nullptr);
    EXPECT_EQ(pool_->allocator->num_indexes, 2u);
    EXPECT_EQ(utils_pool_alloc(pool_, 5), nullptr);
    EXPECT_EQ(utils_allocator_get_num_allocated(pool_->allocator), 0u);
    EXPECT_EQ(utils_pool_delete(&pool_), 1);
    EXPECT_EQ(pool_, nullptr);
}

TEST_F(UtilsPool, RefusesABlockLargerThanAnObjectCanBe) {
    EXPECT_EQ(utils_pool_create(&pool_, UINT32_MAX, UINT32_MAX), 0);
    EXPECT_EQ(pool_, nullptr);
}

TEST_F(UtilsPool, AsksForTheWholeSizeOfALargeBlock) {
    allocation_faults::Above fault(1u << 20);
    EXPECT_EQ(utils_pool_create(&pool_, 2, UINT32_MAX), 0);
    EXPECT_EQ(allocation_faults::last_size(), 2 * (size_t{UINT32_MAX} + 4));
    ASSERT_NE(pool_, nullptr);
}

TEST_F(UtilsPool, AllocatesNothingAfterCreation) {
    create(2, 5);
    allocation_faults::fail_nth(0);
    for (int i = 0; i < 10; i++) {
        EXPECT_EQ(utils_pool_free(pool_, utils_pool_alloc(pool_, 5)), 1);
    }
    EXPECT_EQ(allocation_faults::asked_for(), 0u);
}

// The block begins behind the C library's own words, so that it ends in a page more than it fills.
TEST_F(UtilsPool, HasMemoryBehindTheLastByteOfItsBlockToo) {
    const auto page_bytes = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    create(1024, static_cast<uint32_t>(page_bytes) - 4);
    const auto last = reinterpret_cast<uintptr_t>(pool_->items) + 1024 * page_bytes - 1;
    unsigned char resident = 0;
    ASSERT_EQ(mincore(reinterpret_cast<void *>(last / page_bytes * page_bytes), 1, &resident), 0);
    EXPECT_EQ(resident & 1, 1);
}

TEST_F(UtilsPool, DeleteThatCannotDeleteTheAllocatorFailsAndCanBeRepeated) {
    create(4, 4);
    {
        const deletion_faults::Allocator fault;
        EXPECT_EQ(utils_pool_delete(&pool_), 0);
    }
    EXPECT_NE(pool_, nullptr);
    EXPECT_EQ(utils_pool_delete(&pool_), 1);
    EXPECT_EQ(pool_, nullptr);
}

}  // namespace
