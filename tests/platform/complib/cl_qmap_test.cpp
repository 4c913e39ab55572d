#include "complib/cl_qmap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

namespace {

struct Mapped {
    uint64_t before;
    cl_map_item_t item;
};

// Checks the whole tree and returns its height: keys in order, links both ways, heights true, and
// no item whose subtrees differ by more than one level.
uint32_t check_subtree(const cl_map_item_t *item) {
    if (item == nullptr) {
        return 0;
    }
    for (const cl_map_item_t *child : {item->left, item->right}) {
        if (child != nullptr) {
            EXPECT_EQ(child->parent, item);
        }
    }
    const uint32_t left = check_subtree(item->left);
    const uint32_t right = check_subtree(item->right);
    EXPECT_LE(std::max(left, right) - std::min(left, right), 1u);
    EXPECT_EQ(item->height, 1 + std::max(left, right));
    return item->height;
}

std::vector<uint64_t> keys_of(const cl_qmap_t &map) {
    std::vector<uint64_t> keys;
    for (const cl_map_item_t *item = cl_qmap_head(&map); item != cl_qmap_end(&map);
         item = cl_qmap_next(item)) {
        keys.push_back(cl_qmap_key(item));
    }
    return keys;
}

class Map : public testing::Test {
  protected:
    Map() { cl_qmap_init(&map_); }
    cl_qmap_t map_;
};

TEST_F(Map, AnEmptyMapIsAllEnd) {
    EXPECT_EQ(cl_qmap_head(&map_), cl_qmap_end(&map_));
    EXPECT_EQ(cl_qmap_get(&map_, 0), cl_qmap_end(&map_));
}

TEST_F(Map, GetFindsWhatWasInserted) {
    Mapped object{};
    EXPECT_EQ(cl_qmap_insert(&map_, 7, &object.item), &object.item);
    EXPECT_EQ(cl_qmap_get(&map_, 7), &object.item);
    EXPECT_EQ(cl_qmap_key(&object.item), 7u);
    EXPECT_EQ(cl_qmap_get(&map_, 6), cl_qmap_end(&map_));
    EXPECT_EQ(cl_qmap_get(&map_, 8), cl_qmap_end(&map_));
}

TEST_F(Map, ATakenKeyKeepsItsItem) {
    Mapped first{};
    Mapped second{};
    cl_qmap_insert(&map_, 7, &first.item);
    EXPECT_EQ(cl_qmap_insert(&map_, 7, &second.item), &first.item);
    EXPECT_EQ(cl_qmap_get(&map_, 7), &first.item);
    EXPECT_EQ(keys_of(map_), std::vector<uint64_t>{7});
    EXPECT_EQ(second.item.height, 0u);
}

TEST_F(Map, KeysUseAllSixtyFourBits) {
    Mapped low{};
    Mapped high{};
    Mapped top{};
    cl_qmap_insert(&map_, UINT64_MAX, &top.item);
    cl_qmap_insert(&map_, uint64_t{1} << 32, &high.item);
    cl_qmap_insert(&map_, 0, &low.item);
    EXPECT_EQ(keys_of(map_), (std::vector<uint64_t>{0, uint64_t{1} << 32, UINT64_MAX}));
}

TEST_F(Map, RemovingTheEndDoesNothing) {
    Mapped object{};
    cl_qmap_insert(&map_, 1, &object.item);
    cl_qmap_remove_item(&map_, cl_qmap_get(&map_, 2));
    EXPECT_EQ(keys_of(map_), std::vector<uint64_t>{1});
}

TEST_F(Map, AWalkGoesOnAfterTheNextItemWasTakenFirst) {
    std::vector<Mapped> objects(100);
    for (uint64_t i = 0; i < objects.size(); i++) {
        cl_qmap_insert(&map_, i, &objects[i].item);
    }
    uint64_t seen_num = 0;
    cl_map_item_t *item = cl_qmap_head(&map_);
    while (item != cl_qmap_end(&map_)) {
        cl_map_item_t *next = cl_qmap_next(item);
        EXPECT_EQ(cl_qmap_key(item), seen_num++);
        cl_qmap_remove_item(&map_, item);
        item = next;
    }
    EXPECT_EQ(seen_num, objects.size());
    EXPECT_EQ(cl_qmap_head(&map_), cl_qmap_end(&map_));
}

TEST_F(Map, StaysBalancedWhenKeysComeInOrder) {
    std::vector<Mapped> objects(1023);
    for (uint64_t i = 0; i < objects.size(); i++) {
        cl_qmap_insert(&map_, i, &objects[i].item);
    }
    EXPECT_EQ(check_subtree(map_.end.left), 10u);
}

TEST_F(Map, AgreesWithAnOrderedMapThroughRandomChanges) {
    std::mt19937_64 random(20190801);
    std::vector<Mapped> objects(300);
    std::map<uint64_t, cl_map_item_t *> model;
    for (int step = 0; step < 20000; step++) {
        const uint64_t key = random() % objects.size();
        cl_map_item_t *item = &objects[key].item;
        if (random() % 2 == 0) {
            cl_map_item_t *offered = model.contains(key) ? &objects[0].item : item;
            cl_map_item_t *expected = model.emplace(key, item).first->second;
            EXPECT_EQ(cl_qmap_insert(&map_, key, offered), expected);
        } else if (model.erase(key) != 0) {
            cl_qmap_remove_item(&map_, item);
        }
        if (step % 100 == 0) {
            check_subtree(map_.end.left);
            std::vector<uint64_t> keys;
            for (const auto &entry : model) {
                keys.push_back(entry.first);
            }
            ASSERT_EQ(keys_of(map_), keys);
        }
    }
}

}  // namespace
