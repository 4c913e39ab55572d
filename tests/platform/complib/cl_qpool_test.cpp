#include "complib/cl_qpool.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <vector>

#include "complib/cl_qmap.h"
#include "platform/sim/faults.h"

namespace {

// As pooled objects look: pool link first, then a map item.
struct Pooled {
    cl_pool_item_t pool_item;
    cl_map_item_t map_item;
    uint64_t payload;
};

std::vector<cl_pool_item_t *> take_all(cl_qpool_t *pool) {
    std::vector<cl_pool_item_t *> objects;
    for (cl_pool_item_t *object = cl_qpool_get(pool); object != nullptr;
         object = cl_qpool_get(pool)) {
        objects.push_back(object);
    }
    return objects;
}

TEST(Pool, AFixedPoolHandsOutItsObjectsAndNoMore) {
    cl_qpool_t pool;
    ASSERT_EQ(cl_qpool_init(&pool, 255, 255, 255, sizeof(Pooled), nullptr, nullptr, nullptr), 0u);
    const auto objects = take_all(&pool);
    EXPECT_EQ(objects.size(), 255u);
    EXPECT_EQ(std::set<cl_pool_item_t *>(objects.begin(), objects.end()).size(), 255u);
    EXPECT_EQ(cl_qpool_get(&pool), nullptr);
    cl_qpool_destroy(&pool);
}

TEST(Pool, GrowthZeroMeansNoGrowth) {
    cl_qpool_t pool;
    ASSERT_EQ(cl_qpool_init(&pool, 2, 2, 0, sizeof(Pooled), nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(take_all(&pool).size(), 2u);
    cl_qpool_destroy(&pool);
    ASSERT_EQ(cl_qpool_init(&pool, 2, 9, 0, sizeof(Pooled), nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(take_all(&pool).size(), 2u);
    cl_qpool_destroy(&pool);
}

TEST(Pool, AGrowingPoolEndsAtItsMaximum) {
    cl_qpool_t pool;
    ASSERT_EQ(cl_qpool_init(&pool, 1, 10, 4, sizeof(Pooled), nullptr, nullptr, nullptr), 0u);
    EXPECT_EQ(take_all(&pool).size(), 10u);
    cl_qpool_destroy(&pool);
}

TEST(Pool, WithoutAMaximumAPoolGrowsOn) {
    cl_qpool_t pool;
    ASSERT_EQ(cl_qpool_init(&pool, 0, 0, 3, sizeof(Pooled), nullptr, nullptr, nullptr), 0u);
    for (int i = 0; i < 1000; i++) {
        ASSERT_NE(cl_qpool_get(&pool), nullptr);
    }
    cl_qpool_destroy(&pool);
}

TEST(Pool, ObjectsComeInAscendingOrderAndTheLastOnePutBackComesFirst) {
    cl_qpool_t pool;
    ASSERT_EQ(cl_qpool_init(&pool, 3, 3, 0, sizeof(Pooled), nullptr, nullptr, nullptr), 0u);
    cl_pool_item_t *first = cl_qpool_get(&pool);
    cl_pool_item_t *second = cl_qpool_get(&pool);
    EXPECT_LT(first, second);
    cl_qpool_put(&pool, second);
    cl_qpool_put(&pool, first);
    EXPECT_EQ(cl_qpool_get(&pool), first);
    EXPECT_EQ(cl_qpool_get(&pool), second);
    EXPECT_GT(cl_qpool_get(&pool), second);
    cl_qpool_destroy(&pool);
}

TEST(Pool, ObjectsAreZeroAndAlignedForAnything) {
    cl_qpool_t pool;
    ASSERT_EQ(cl_qpool_init(&pool, 3, 3, 0, sizeof(cl_pool_item_t) + 1, nullptr, nullptr, nullptr),
              0u);
    for (cl_pool_item_t *object : take_all(&pool)) {
        EXPECT_EQ(reinterpret_cast<uintptr_t>(object) % alignof(std::max_align_t), 0u);
        EXPECT_EQ(reinterpret_cast<const char *>(object)[sizeof(cl_pool_item_t)], 0);
    }
    cl_qpool_destroy(&pool);
}

TEST(Pool, AnObjectThatIsOutBelongsToItsUser) {
    cl_qpool_t pool;
    ASSERT_EQ(cl_qpool_init(&pool, 2, 2, 0, sizeof(Pooled), nullptr, nullptr, nullptr), 0u);
    auto *object = reinterpret_cast<Pooled *>(cl_qpool_get(&pool));
    cl_qmap_t map;
    cl_qmap_init(&map);
    object->payload = 99;
    cl_qmap_insert(&map, 5, &object->map_item);
    cl_qmap_remove_item(&map, cl_qmap_get(&map, 5));
    cl_qpool_put(&pool, &object->pool_item);
    EXPECT_EQ(reinterpret_cast<Pooled *>(cl_qpool_get(&pool))->payload, 99u);
    cl_qpool_destroy(&pool);
}

TEST(Pool, PuttingNullDoesNothing) {
    cl_qpool_t pool;
    ASSERT_EQ(cl_qpool_init(&pool, 1, 1, 0, sizeof(Pooled), nullptr, nullptr, nullptr), 0u);
    cl_qpool_put(&pool, nullptr);
    EXPECT_EQ(take_all(&pool).size(), 1u);
    cl_qpool_destroy(&pool);
}

TEST(Pool, RefusesBadSizes) {
    cl_qpool_t pool;
    EXPECT_EQ(cl_qpool_init(&pool, 3, 2, 0, sizeof(Pooled), nullptr, nullptr, nullptr),
              uint32_t{CL_STATUS_BAD_ARGUMENT});
    EXPECT_EQ(cl_qpool_init(&pool, 1, 1, 0, sizeof(cl_pool_item_t) - 1, nullptr, nullptr, nullptr),
              uint32_t{CL_STATUS_BAD_ARGUMENT});
    EXPECT_EQ(cl_qpool_init(&pool, 1, 1, 0, SIZE_MAX, nullptr, nullptr, nullptr),
              uint32_t{CL_STATUS_BAD_ARGUMENT});
    EXPECT_EQ(cl_qpool_init(nullptr, 1, 1, 0, sizeof(Pooled), nullptr, nullptr, nullptr),
              uint32_t{CL_STATUS_NULL_ARGUMENT});
}

TEST(Pool, MoreThanThereIsMemoryForIsReported) {
    cl_qpool_t pool;
    EXPECT_EQ(cl_qpool_init(&pool, SIZE_MAX / 2, 0, 0, 64, nullptr, nullptr, nullptr),
              uint32_t{CL_STATUS_NO_MEMORY});
}

struct Tally {
    int made_num = 0;
    int destroyed_num = 0;
    int limit = 1000;
};

cl_status_t make(cl_pool_item_t * /*object*/, void *context) {
    auto *tally = static_cast<Tally *>(context);
    if (tally->made_num == tally->limit) {
        return CL_STATUS_DENIED;
    }
    tally->made_num++;
    return CL_STATUS_SUCCESS;
}

void destroy(cl_pool_item_t * /*object*/, void *context) {
    static_cast<Tally *>(context)->destroyed_num++;
}

TEST(Pool, EveryObjectIsPreparedAndDestroyedOnce) {
    Tally tally;
    cl_qpool_t pool;
    ASSERT_EQ(cl_qpool_init(&pool, 2, 5, 2, sizeof(Pooled), make, destroy, &tally), 0u);
    EXPECT_EQ(tally.made_num, 2);
    EXPECT_EQ(take_all(&pool).size(), 5u);
    EXPECT_EQ(tally.made_num, 5);
    cl_qpool_destroy(&pool);
    EXPECT_EQ(tally.destroyed_num, 5);
    EXPECT_EQ(cl_qpool_get(&pool), nullptr);
}

TEST(Pool, AConstructorThatRefusesEndsTheMaking) {
    Tally tally;
    tally.limit = 3;
    cl_qpool_t pool;
    EXPECT_EQ(cl_qpool_init(&pool, 4, 4, 0, sizeof(Pooled), make, destroy, &tally),
              uint32_t{CL_STATUS_DENIED});
    EXPECT_EQ(tally.made_num, 3);
    EXPECT_EQ(tally.destroyed_num, 3);
}

TEST(Pool, ALateFaultTakesThePoolBack) {
    Tally tally;
    zv_sim::faults_arm({{"cl_qpool_init", 1, 1, 13, true}});
    cl_qpool_t pool;
    EXPECT_EQ(cl_qpool_init(&pool, 4, 4, 0, sizeof(Pooled), make, destroy, &tally), 13u);
    EXPECT_EQ(tally.made_num, 4);
    EXPECT_EQ(tally.destroyed_num, 4);
}

TEST(Pool, AnEarlyFaultMakesNothing) {
    Tally tally;
    zv_sim::faults_arm({{"cl_qpool_init", 1, 1, 13, false}});
    cl_qpool_t pool;
    EXPECT_EQ(cl_qpool_init(&pool, 4, 4, 0, sizeof(Pooled), make, destroy, &tally), 13u);
    EXPECT_EQ(tally.made_num, 0);
}

}  // namespace
