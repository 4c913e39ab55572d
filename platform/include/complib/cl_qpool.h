/* complib: pools of equal objects.
 *
 * A pool makes its objects in blocks and hands them out and takes them back without allocating.
 * An object begins with a cl_pool_item_t, which belongs to the pool while the object lies in it
 * and is nobody's while the object is out. Objects are aligned for any type. A pool takes no lock:
 * one thread at a time.
 */
#ifndef CL_QPOOL_H
#define CL_QPOOL_H

#include "complib/cl_types.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* First member of every pooled object. */
typedef struct cl_pool_item {
    struct cl_pool_item *next;
} cl_pool_item_t;

/* Prepare a new object, whose memory is zero, once in its life; a status other than success ends
 * the making of objects. */
typedef cl_status_t (*cl_qpool_ctor_t)(cl_pool_item_t *object, void *context);
/* The counterpart, called once for each object that was prepared, when the pool is destroyed. */
typedef void (*cl_qpool_dtor_t)(cl_pool_item_t *object, void *context);

/* A pool. The members are the library's; the record must stay where it is while in use. */
typedef struct {
    cl_pool_item_t *free_items;
    struct cl_qpool_block *blocks;
    size_t object_stride; /* bytes from one object to the next */
    size_t object_num;    /* objects made so far, in the pool or out */
    size_t max_num;       /* most objects there may be; 0: no limit */
    size_t grow_num;      /* objects made when none is free; 0: the pool never grows */
    cl_qpool_ctor_t ctor;
    cl_qpool_dtor_t dtor;
    void *context;
} cl_qpool_t;

/* Make a pool of min objects.
 *
 * max: most objects there may ever be, 0 for no limit. grow: how many are made at a time when
 * the pool has run out (fewer where max is near), 0 for none. object_size: bytes, the
 * cl_pool_item_t included. ctor and dtor may be null; context is handed to both.
 * Returns CL_STATUS_SUCCESS; CL_STATUS_NULL_ARGUMENT without a pool; CL_STATUS_BAD_ARGUMENT when
 * min exceeds a max that is not 0 or an object has no room for its cl_pool_item_t;
 * CL_STATUS_NO_MEMORY; or what ctor returned. After a failure there is no pool and nothing to
 * destroy; objects that were prepared have been handed to dtor.
 */
cl_status_t cl_qpool_init(cl_qpool_t *pool, size_t min, size_t max, size_t grow, size_t object_size,
                          cl_qpool_ctor_t ctor, cl_qpool_dtor_t dtor, const void *context);

/* Take an object out: the one put back last, else the lowest of the newest block. Null when none
 * is free and the pool may not or cannot grow. What the caller wrote into an object before it was
 * put back is still there. */
cl_pool_item_t *cl_qpool_get(cl_qpool_t *pool);

/* Put an object of this pool back. Null does nothing. */
void cl_qpool_put(cl_qpool_t *pool, cl_pool_item_t *object);

/* Release all objects, those that are out included; the pool is then empty and hands out
 * nothing until it is made anew. */
void cl_qpool_destroy(cl_qpool_t *pool);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
