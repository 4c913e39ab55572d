// Item pool: fixed-size memory slots carved from one block that is allocated at creation.
//
// A slot is the u32 index of the slot followed by item_size bytes, and slots lie one behind the
// other, so the addresses handed out have no alignment beyond that of a byte: what is kept there is
// read and written with memcpy or through packed records. The index before the item is how
// utils_pool_free finds the slot without a search; a caller must not write there.
//
// Indexes come from an index allocator of base 0: slots are first used in ascending order, and the
// slot that has been free for longest is reused first. The bytes of an item are not cleared,
// neither when it is handed out nor when it is given back.
//
// Nothing is allocated after creation, and the block is backed by memory from then on. No locking:
// a pool belongs to one thread at a time. Functions return 1 for success and 0 for failure, or an
// address, null on failure.
#pragma once

#include <cstdint>

#include "utils/utils_allocator.h"

struct utils_pool_t {
    utils_allocator_t *allocator;  // base 0, one index a slot; owned
    uint32_t num_items;
    uint32_t item_size;  // bytes a caller may use of each slot
    uint8_t *items;      // the block: num_items * (item_size + 4) bytes, owned
};

// Creates a pool of `num_items` items of `item_size` bytes each. No items, or items of no bytes,
// are accepted: the one never has an item to give, the other gives addresses of nothing.
// The caller owns *place and gives it to utils_pool_delete.
// Fails, with *place left as it was, on a null place, on a place that is not empty, when the block
// would be larger than an object can be, and when the pool itself or its allocator finds no memory.
// Fails when the block finds no memory: *place then holds a pool with its allocator and without a
// block. Such a pool gives no item and is released with utils_pool_delete like any other; keeping
// it in its place is what keeps the allocator from being lost.
int utils_pool_create(utils_pool_t **place, uint32_t num_items, uint32_t item_size);

// Hands out an item for `size` bytes, which may be less than the item size. The pool keeps owning
// the memory. Null for a null pool, for a size above the item size, and when no item is free.
void *utils_pool_alloc(utils_pool_t *pool, uint32_t size);

// Takes an item back. The address must come from utils_pool_alloc of this pool. Fails and changes
// nothing for a null pool or item, when the index before the item is not below the number of items,
// and when that item is not in use.
int utils_pool_free(utils_pool_t *pool, void *item);

// Releases the block, the allocator and the pool, items in use included, and sets *place to null.
// A null or empty place fails. Fails as well should the allocator refuse to be deleted; the pool
// then stays in its place without a block.
int utils_pool_delete(utils_pool_t **place);
