// Values that are destroyed while there is no memory. The functions under test are linked into this
// program, so that their allocations, and no others, can be made to fail.
#include "platform/sim/json.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/utils/allocation_faults.h"

namespace {

constexpr size_t kPieceBytes = 4096;
constexpr size_t kPieceNum = 16;
constexpr size_t kEverything = 1;

TEST(JsonWithoutMemory, NestedValuesAreDestroyed) {
    // More often than the reserve has pieces: each is given back.
    for (size_t i = 0; i < 2 * kPieceNum; i++) {
        zv_sim::Json value = zv_sim::Json::parse(R"({"a":[1,{"b":[2,[3]]}],"c":{"d":[]}})");
        zv_sim::OrderedJson ordered = {{"a", {1, 2}}, {"b", {{"c", 3}}}};
        const allocation_faults::Above none(kEverything);
        value = nullptr;
        ordered = nullptr;
        EXPECT_TRUE(value.is_null());
        EXPECT_TRUE(ordered.is_null());
    }
    EXPECT_GT(allocation_faults::asked_for(), 0u);
}

TEST(JsonWithoutMemory, ScratchComesFromTheReserve) {
    const allocation_faults::Above none(kEverything);
    std::vector<void *> pieces;
    for (size_t i = 0; i < kPieceNum; i++) {
        pieces.push_back(zv_sim::scratch_take(kPieceBytes));
        ASSERT_NE(pieces.back(), nullptr);
        memset(pieces.back(), 0x5a, kPieceBytes);
    }
    for (size_t i = 1; i < kPieceNum; i++) {
        EXPECT_NE(pieces[i], pieces[i - 1]);
    }
    for (void *piece : pieces) {
        zv_sim::scratch_give(piece);
    }
}

TEST(JsonWithoutMemory, ScratchLongerThanAPieceWaitsUntilThereIsMemory) {
    const allocation_faults::Nth first(1);
    void *memory = zv_sim::scratch_take(kPieceBytes + 1);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(allocation_faults::asked_for(), 2u);
    memset(memory, 0x5a, kPieceBytes + 1);
    zv_sim::scratch_give(memory);
}

TEST(JsonWithoutMemory, TheSeventeenthPieceWaitsUntilThereIsMemory) {
    std::vector<void *> pieces;
    {
        const allocation_faults::Above none(kEverything);
        for (size_t i = 0; i < kPieceNum; i++) {
            pieces.push_back(zv_sim::scratch_take(kPieceBytes));
        }
    }
    const allocation_faults::Nth first(1);
    pieces.push_back(zv_sim::scratch_take(1));
    ASSERT_NE(pieces.back(), nullptr);
    EXPECT_EQ(allocation_faults::asked_for(), 2u);
    for (void *piece : pieces) {
        zv_sim::scratch_give(piece);
    }
}

TEST(JsonAllocatorTest, RefusesMoreThanThereCanBe) {
    zv_sim::JsonAllocator<uint64_t> allocator;
    EXPECT_THROW((void)allocator.allocate(static_cast<size_t>(-1) / 8 + 1), std::bad_alloc);
}

}  // namespace
