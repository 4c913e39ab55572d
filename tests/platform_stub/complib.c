/* Component library of the stub platform. The daemon's start-up truly needs two things of it: the
 * thread that is to end the process, and a pool and a map that can be made and taken down. The pool
 * hands out nothing and the map stays empty. */
#include <stdlib.h>
#include <string.h>

#include "complib/cl_memory.h"
#include "complib/cl_qmap.h"
#include "complib/cl_qpool.h"
#include "complib/cl_thread.h"
#include "complib/cl_types.h"

const char *const cl_status_text[21] = {"stub", "stub", "stub", "stub", "stub", "stub", "stub",
                                        "stub", "stub", "stub", "stub", "stub", "stub", "stub",
                                        "stub", "stub", "stub", "stub", "stub", "stub", "stub"};

/* What pthread_create starts has another type than what the daemon asks to run. */
struct start {
    void (*function)(void *);
    const void *context;
};

static void *run(void *argument) {
    struct start start = *(struct start *)argument;
    free(argument);
    start.function((void *)start.context);
    return NULL;
}

cl_status_t cl_thread_init(cl_thread_t *thread, void (*function)(void *), const void *context,
                           const char *name) {
    struct start *start = malloc(sizeof(*start));
    if (start == NULL) {
        return CL_STATUS_NO_MEMORY;
    }
    start->function = function;
    start->context = context;
    strncpy(thread->name, name, sizeof(thread->name) - 1);
    if (pthread_create(&thread->id, NULL, run, start) != 0) {
        free(start);
        return CL_STATUS_THREAD_FAILED;
    }
    pthread_detach(thread->id);
    return CL_STATUS_SUCCESS;
}

void *cl_malloc(size_t size) {
    return malloc(size == 0 ? 1 : size);
}

void cl_free(void *memory) {
    free(memory);
}

cl_status_t cl_qpool_init(cl_qpool_t *pool, size_t min, size_t max, size_t grow, size_t object_size,
                          cl_qpool_ctor_t ctor, cl_qpool_dtor_t dtor, const void *context) {
    (void)min;
    (void)max;
    (void)grow;
    (void)object_size;
    (void)ctor;
    (void)dtor;
    (void)context;
    memset(pool, 0, sizeof(*pool));
    return CL_STATUS_SUCCESS;
}

cl_pool_item_t *cl_qpool_get(cl_qpool_t *pool) {
    (void)pool;
    return NULL;
}

void cl_qpool_put(cl_qpool_t *pool, cl_pool_item_t *object) {
    (void)pool;
    (void)object;
}

void cl_qpool_destroy(cl_qpool_t *pool) {
    (void)pool;
}

void cl_qmap_init(cl_qmap_t *map) {
    memset(map, 0, sizeof(*map));
}

cl_map_item_t *cl_qmap_insert(cl_qmap_t *map, uint64_t key, cl_map_item_t *item) {
    (void)map;
    (void)key;
    return item;
}

cl_map_item_t *cl_qmap_get(const cl_qmap_t *map, uint64_t key) {
    (void)key;
    return (cl_map_item_t *)&map->end;
}

void cl_qmap_remove_item(cl_qmap_t *map, cl_map_item_t *item) {
    (void)map;
    (void)item;
}

cl_map_item_t *cl_qmap_head(const cl_qmap_t *map) {
    return (cl_map_item_t *)&map->end;
}

cl_map_item_t *cl_qmap_next(const cl_map_item_t *item) {
    return (cl_map_item_t *)item;
}

const cl_map_item_t *cl_qmap_end(const cl_qmap_t *map) {
    return &map->end;
}

uint64_t cl_qmap_key(const cl_map_item_t *item) {
    return item->key;
}
