// Index allocator: hands out the integers of one fixed range, first freed first reused.
//
// An allocator owns count index records; record i stands for the index base + i. The records
// that are free form a list: an index is taken from its head and given back at its tail, so the
// index that has been free for longest is the next to be handed out. That keeps a number out of
// use for as long as possible after it was freed, which makes stale references easy to notice.
// The in-use flag of a record refuses a second free.
//
// Invariants: the free list holds exactly the records whose in_use is 0; num_allocated is the
// number of the others; head and tail are null together, when every index is in use.
//
// Nothing is allocated after creation. No locking: an allocator belongs to one thread at a time.
// All functions return 1 for success and 0 for failure.
#pragma once

#include <cstdint>

struct utils_index_record_t {
    uint32_t position;           // i; constant after creation
    utils_index_record_t *next;  // the next free record; null at the tail and while in use
    uint32_t in_use;             // 1 handed out, 0 free
};

struct utils_allocator_t {
    utils_index_record_t *head;  // null when every index is in use
    utils_index_record_t *tail;
    uint32_t num_allocated;         // indexes in use
    utils_index_record_t *records;  // num_indexes of them, owned
    uint32_t num_indexes;
    uint32_t base;  // the first index handed out
};

// Creates an allocator of `count` indexes from `base` on, all free, to be handed out in ascending
// order. A count of 0 gives an allocator that never has an index. A range that reaches past the
// largest u32 goes on at 0: indexes are told apart by their distance from base alone.
// The caller owns *place and gives it to utils_allocator_delete.
// Fails on a null place, on a place that is not empty (*place is then left alone), and when memory
// is short (*place stays null, nothing is kept).
int utils_allocator_create(utils_allocator_t **place, uint32_t count, uint32_t base);

// Takes the index that has been free for longest and stores it. Fails, with *index left alone, on
// null arguments and when every index is in use.
int utils_allocator_allocIndex(utils_allocator_t *allocator, uint32_t *index);

// Gives an index back; it becomes the last to be reused. Fails and changes nothing on a null
// allocator, on an index outside the allocator's range and on one that is not in use.
int utils_allocator_freeIndex(utils_allocator_t *allocator, uint32_t index);

// The number of indexes in use; 0 for a null allocator.
uint32_t utils_allocator_get_num_allocated(const utils_allocator_t *allocator);

// Releases the allocator, whether or not indexes are in use, and sets *place to null. Always
// succeeds; a null or empty place holds nothing to release.
int utils_allocator_delete(utils_allocator_t **place);
