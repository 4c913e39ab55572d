/* complib: ordered maps from 64-bit keys to the caller's objects.
 *
 * A map is intrusive: an object carries a cl_map_item_t with its links and key, so inserting
 * allocates nothing and cannot fail. The objects stay the caller's and must stay where they are
 * while they are in a map. Look-up, insertion and removal take a number of steps logarithmic in
 * the number of items. A map takes no lock: one thread at a time.
 */
#ifndef CL_QMAP_H
#define CL_QMAP_H

#include "complib/cl_types.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A member of every object that is to lie in a map; an object may have several, one for each map.
 * The members are the library's and need no preparation. */
typedef struct cl_map_item {
    struct cl_map_item *left;
    struct cl_map_item *right;
    struct cl_map_item *parent;
    uint64_t key;
    uint32_t height; /* levels of the subtree below and with this item */
} cl_map_item_t;

/* A map. Its end lies inside it, so the record must not be copied or moved while in use. */
typedef struct {
    cl_map_item_t end; /* the root hangs at its left; empty: null */
} cl_qmap_t;

/* Make the map empty. Items that were in it are forgotten, not touched. */
void cl_qmap_init(cl_qmap_t *map);

/* Put an item in under key. Returns the item that is in the map under that key afterwards: the
 * one given, or, where the key was taken, the one that was there, which stays (the item given is
 * then untouched). */
cl_map_item_t *cl_qmap_insert(cl_qmap_t *map, uint64_t key, cl_map_item_t *item);

/* The item under key, or cl_qmap_end(map) when there is none. */
cl_map_item_t *cl_qmap_get(const cl_qmap_t *map, uint64_t key);

/* Take an item of this map out; the end is ignored. Walks that stand on other items go on. */
void cl_qmap_remove_item(cl_qmap_t *map, cl_map_item_t *item);

/* Walking in ascending order of keys: the first item; the one after an item; what follows the
 * last, and is all there is in an empty map. The end carries no object. */
cl_map_item_t *cl_qmap_head(const cl_qmap_t *map);
cl_map_item_t *cl_qmap_next(const cl_map_item_t *item);
const cl_map_item_t *cl_qmap_end(const cl_qmap_t *map);

/* The key an item was last inserted under. */
uint64_t cl_qmap_key(const cl_map_item_t *item);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
