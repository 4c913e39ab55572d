// Objects come in blocks, each one allocation: a header, then the objects at a stride that keeps
// every one aligned for any type. A block never moves and lives as long as its pool, so pointers
// to objects stay good. Free objects form a stack through their first member; a new block is pushed
// from its last object to its first, so that objects come out in ascending order.

#include "complib/cl_qpool.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>

#include "platform/sim/call.h"
#include "platform/sim/json.h"

struct alignas(std::max_align_t) cl_qpool_block {
    cl_qpool_block *next;
    size_t object_num;  // prepared objects, which are the first ones
};

namespace {

constexpr size_t kAlignment = alignof(std::max_align_t);

cl_pool_item_t *object_at(cl_qpool_block *block, size_t stride, size_t index) {
    auto *first = reinterpret_cast<std::byte *>(block + 1);
    return reinterpret_cast<cl_pool_item_t *>(first + index * stride);
}

cl_qpool_block *block_allocate(size_t object_num, size_t stride) {
    const size_t room = std::numeric_limits<size_t>::max() - sizeof(cl_qpool_block);
    if (object_num > room / stride) {
        return nullptr;
    }
    void *memory = std::calloc(1, sizeof(cl_qpool_block) + object_num * stride);
    return memory == nullptr ? nullptr : new (memory) cl_qpool_block{nullptr, 0};
}

// Adds a block of up to object_num objects; fewer where the constructor refuses one.
cl_status_t grow(cl_qpool_t *pool, size_t object_num) {
    if (object_num == 0) {
        return CL_STATUS_SUCCESS;
    }
    cl_qpool_block *block = block_allocate(object_num, pool->object_stride);
    if (block == nullptr) {
        return CL_STATUS_NO_MEMORY;
    }
    cl_status_t status = CL_STATUS_SUCCESS;
    while (block->object_num < object_num && status == CL_STATUS_SUCCESS) {
        if (pool->ctor != nullptr) {
            status =
                pool->ctor(object_at(block, pool->object_stride, block->object_num), pool->context);
        }
        block->object_num += status == CL_STATUS_SUCCESS ? 1 : 0;
    }
    block->next = pool->blocks;
    pool->blocks = block;
    pool->object_num += block->object_num;
    for (size_t i = block->object_num; i > 0; i--) {
        cl_qpool_put(pool, object_at(block, pool->object_stride, i - 1));
    }
    return status;
}

cl_status_t qpool_init(cl_qpool_t *pool, size_t min, size_t object_size) {
    constexpr size_t kLargest = std::numeric_limits<size_t>::max() - kAlignment;
    if ((pool->max_num != 0 && min > pool->max_num) || object_size < sizeof(cl_pool_item_t) ||
        object_size > kLargest) {
        return CL_STATUS_BAD_ARGUMENT;
    }
    pool->object_stride = (object_size + kAlignment - 1) / kAlignment * kAlignment;
    return grow(pool, min);
}

}  // namespace

cl_status_t cl_qpool_init(cl_qpool_t *pool, size_t min, size_t max, size_t grow_num,
                          size_t object_size, cl_qpool_ctor_t ctor, cl_qpool_dtor_t dtor,
                          const void *context) {
    zv_sim::Call call("cl_qpool_init");
    call.args([&](auto &args) {
        args = zv_sim::object_of(
            {{"min", min}, {"max", max}, {"grow", grow_num}, {"object_size", object_size}});
    });
    if (call.fails_early()) {
        return call.finish(0);
    }
    if (pool == nullptr) {
        return call.finish(CL_STATUS_NULL_ARGUMENT);
    }
    *pool = cl_qpool_t{};
    pool->max_num = max;
    pool->grow_num = grow_num;
    pool->ctor = ctor;
    pool->dtor = dtor;
    pool->context = const_cast<void *>(context);
    const cl_status_t status = call.finish(qpool_init(pool, min, object_size));
    if (status != CL_STATUS_SUCCESS) {
        cl_qpool_destroy(pool);
    }
    return status;
}

cl_pool_item_t *cl_qpool_get(cl_qpool_t *pool) {
    if (pool->free_items == nullptr) {
        const size_t room = pool->max_num == 0 ? pool->grow_num : pool->max_num - pool->object_num;
        // A failure to grow shows as an empty pool below.
        (void)grow(pool, std::min(pool->grow_num, room));
    }
    cl_pool_item_t *object = pool->free_items;
    if (object != nullptr) {
        pool->free_items = object->next;
    }
    return object;
}

void cl_qpool_put(cl_qpool_t *pool, cl_pool_item_t *object) {
    if (object == nullptr) {
        return;
    }
    object->next = pool->free_items;
    pool->free_items = object;
}

void cl_qpool_destroy(cl_qpool_t *pool) {
    while (pool->blocks != nullptr) {
        cl_qpool_block *block = pool->blocks;
        pool->blocks = block->next;
        for (size_t i = 0; pool->dtor != nullptr && i < block->object_num; i++) {
            pool->dtor(object_at(block, pool->object_stride, i), pool->context);
        }
        std::free(block);
    }
    *pool = cl_qpool_t{};
}
