#include "utils/utils_pool.h"

#include <cstdlib>
#include <cstring>

namespace {

// Width of the slot's index before the item.
constexpr size_t INDEX_BYTES = sizeof(uint32_t);

size_t slot_bytes(const utils_pool_t *pool) {
    return static_cast<size_t>(pool->item_size) + INDEX_BYTES;
}

// Stores the size of the whole block, at least a byte so that an empty one is still an allocation.
// False where no object can be that large, which a product must not hide by wrapping around.
bool block_bytes(const utils_pool_t *pool, size_t *bytes) {
    if (__builtin_mul_overflow(static_cast<size_t>(pool->num_items), slot_bytes(pool), bytes) ||
        *bytes > static_cast<size_t>(PTRDIFF_MAX)) {
        return false;
    }
    *bytes = *bytes > 0 ? *bytes : 1;
    return true;
}

// Has the system put memory behind every page of the block. Otherwise it would do so at the first
// use of each page, which costs a request more than the rest of its work on an item.
void touch_pages(uint8_t *block, size_t bytes) {
    constexpr size_t PAGE_BYTES = 4096;  // where pages are larger, some are touched twice
    volatile uint8_t *touched = block;
    for (size_t at = 0; at < bytes; at += PAGE_BYTES) {
        touched[at] = 0;
    }
    // The block need not begin with a page, and then ends in one that no step reached.
    touched[bytes - 1] = 0;
}

// A pool that is filled hands out one slot after the other, in memory that no processor has in its
// cache any more. Asked for a few items before it is written, a slot is there when its turn comes.
void fetch_ahead(const utils_pool_t *pool, uint32_t index) {
    constexpr uint64_t ITEMS_AHEAD = 4;
    if (index + ITEMS_AHEAD >= pool->num_items) {
        return;
    }
    const uint8_t *slot = pool->items + (index + ITEMS_AHEAD) * slot_bytes(pool);
    __builtin_prefetch(slot, 1);
    __builtin_prefetch(slot + slot_bytes(pool) - 1, 1);
}

}  // namespace

int utils_pool_create(utils_pool_t **place, uint32_t num_items, uint32_t item_size) {
    if (place == nullptr || *place != nullptr) {
        return 0;
    }
    auto *pool = static_cast<utils_pool_t *>(std::calloc(1, sizeof(utils_pool_t)));
    if (pool == nullptr) {
        return 0;
    }
    pool->num_items = num_items;
    pool->item_size = item_size;
    size_t bytes = 0;
    if (!block_bytes(pool, &bytes) || utils_allocator_create(&pool->allocator, num_items, 0) == 0) {
        std::free(pool);
        return 0;
    }
    *place = pool;
    pool->items = static_cast<uint8_t *>(std::malloc(bytes));
    if (pool->items == nullptr) {
        return 0;
    }
    touch_pages(pool->items, bytes);
    return 1;
}

void *utils_pool_alloc(utils_pool_t *pool, uint32_t size) {
    if (pool == nullptr || pool->items == nullptr || size > pool->item_size) {
        return nullptr;
    }
    uint32_t index = 0;
    if (utils_allocator_allocIndex(pool->allocator, &index) == 0) {
        return nullptr;
    }
    uint8_t *slot = pool->items + index * slot_bytes(pool);
    std::memcpy(slot, &index, INDEX_BYTES);
    fetch_ahead(pool, index);
    return slot + INDEX_BYTES;
}

int utils_pool_free(utils_pool_t *pool, void *item) {
    if (pool == nullptr || item == nullptr) {
        return 0;
    }
    uint32_t index = 0;
    std::memcpy(&index, static_cast<uint8_t *>(item) - INDEX_BYTES, INDEX_BYTES);
    if (index >= pool->num_items) {
        return 0;
    }
    return utils_allocator_freeIndex(pool->allocator, index);
}

int utils_pool_delete(utils_pool_t **place) {
    if (place == nullptr || *place == nullptr) {
        return 0;
    }
    utils_pool_t *pool = *place;
    std::free(pool->items);
    pool->items = nullptr;
    if (utils_allocator_delete(&pool->allocator) == 0) {
        return 0;
    }
    std::free(pool);
    *place = nullptr;
    return 1;
}
