// Chained hash table of fixed capacity, with its own copies of keys and values.
//
// Entries come from an item pool sized at creation: the table never allocates afterwards, and an
// insert beyond its capacity fails. An entry is the link to the next entry of its chain (8 bytes),
// the key, the value. Entries lie in pool slots, so neither keys nor values are aligned: a value is
// edited in place through a packed record or with memcpy.
//
// Invariants: bucket_counts[b] is the length of the chain bucket_heads[b]; every entry of chain b
// has a key that the hash function maps to b; the pool has as many items in use as there are
// entries.
//
// No locking: a table and its iterators belong to one thread at a time.
// All functions return 0 for success and 1 for failure unless stated: the reverse of the pool's.
//
// A table whose creation failed half-way stays in its place. It is empty, without buckets where
// they found no memory, every insert fails, and it is released with ht_free_zvlib.
#pragma once

#include <cstdint>

#include "utils/utils_pool.h"

struct ht_zvlib_t;

// Returns the bucket of a key, below table->num_buckets. A result that is not below it is taken as
// "no bucket": an insert fails, a lookup finds nothing.
using ht_hash_zvlib_t = uint32_t (*)(const ht_zvlib_t *table, const void *key);

// Called for each entry by ht_for_each_zvlib. The key must not be changed; the value may be.
// The callback may delete the entry it was called with, and no other.
using ht_callback_zvlib_t = int (*)(ht_zvlib_t *table, void *key, void *value, void *context);

// Hash kinds of ht_create_zvlib; any other number means none, and ht_set_hash_zvlib installs one.
// Integer: keys of 2, 3 or 4 bytes as a little-endian number, modulo the buckets. Keys of any other
// size all share bucket 0 (kept: the order of a walk over such a table depends on it).
inline constexpr uint32_t HT_HASH_INTEGER_ZVLIB = 0;
// String: h = h * 33 ^ signed byte, up to the first zero byte or the key size, modulo the buckets.
inline constexpr uint32_t HT_HASH_STRING_ZVLIB = 1;

// The head of an entry; key and value follow. Packed, because pool slots are not aligned.
struct [[gnu::packed]] ht_entry_zvlib_t {
    ht_entry_zvlib_t *next;
};
static_assert(sizeof(ht_entry_zvlib_t) == 8 && alignof(ht_entry_zvlib_t) == 1);

struct ht_zvlib_t {
    uint32_t key_size;    // bytes
    uint32_t value_size;  // bytes
    uint32_t num_buckets;
    uint32_t max_entries;             // the pool's capacity
    uint32_t entry_size;              // key_size + value_size + 8, bytes
    ht_entry_zvlib_t **bucket_heads;  // num_buckets chains, owned
    uint32_t *bucket_counts;          // num_buckets lengths, owned
    utils_pool_t *pool;               // of entries, owned
    ht_hash_zvlib_t hash;             // null: none installed yet
    uint8_t key_pos;                  // 8: where the key starts in an entry
    uint8_t value_pos;                // key_size + 8
    // Not part of the contents: the entry that a lookup of a number found last, null after any
    // insert or deletion. A batch asks for the same few numbers again and again.
    ht_entry_zvlib_t *recent;
    // num_buckets sets of marks, owned: a key whose mark is not in its bucket's set is not in the
    // table. Deletions leave marks behind until the chain is empty.
    uint16_t *bucket_marks;
};

struct ht_iterator_zvlib_t {
    ht_zvlib_t *table;       // not owned
    uint32_t bucket;         // of the entry returned last
    ht_entry_zvlib_t *next;  // to be returned next; null when the chain is exhausted
};

// The largest key: value_pos is a byte wide.
inline constexpr uint32_t HT_MAX_KEY_SIZE_ZVLIB = 255 - 8;

// Creates an empty table. Sizes are in bytes; buckets 0 means as many as max_entries. A table of
// no entries (and then perhaps of no buckets) is accepted: it stays empty.
// The caller owns *table and gives it to ht_free_zvlib.
// Fails with *table left as it was: on a null place, on a place that holds a table, on a key above
// HT_MAX_KEY_SIZE_ZVLIB, on key and value that together do not fit the u32 entry and iterator
// sizes, and when the table object finds no memory. Fails with the partly built table in *table
// when the arrays or the pool find no memory.
int ht_create_zvlib(ht_zvlib_t **table, uint32_t key_size, uint32_t value_size,
                    uint32_t max_entries, uint32_t buckets, uint32_t hash_kind);

// Installs a hash function; null uninstalls the one there is. Fails, with the old function kept, on
// a null table and while the table holds an entry, which the new function might look for elsewhere.
int ht_set_hash_zvlib(ht_zvlib_t *table, ht_hash_zvlib_t function);

// Copies key_size bytes of key and value_size bytes of value into a new entry at the head of its
// chain. An equal key is not looked for: the new entry then hides the older one until it is
// deleted. Fails, with the table as it was, on null arguments, without a hash function, and when
// max_entries entries are there already.
int ht_insert_zvlib(ht_zvlib_t *table, const void *key, const void *value);

// The same for a key that must not be there: with an equal key in the table nothing is changed, and
// it fails with *found 1. In all other cases *found is 0.
int ht_insert_new_zvlib(ht_zvlib_t *table, const void *key, const void *value, uint32_t *found);

// Looks a key up by all its key_size bytes. On a match *value is the address of the table's own
// copy, valid until the entry is deleted and free to be edited, and *found is 1. An absent key is
// success with *found 0 and *value left alone. *found is set to 0 before anything else is looked
// at; fails on null arguments.
int ht_lookup_zvlib(ht_zvlib_t *table, const void *key, void **value, uint32_t *found);

// Deletes the newest entry with that key. Fails on null arguments; on an absent key, after printing
// "delete not successful " to standard output (kept with its trailing blank: readers of the output
// expect it); and when the pool refuses the entry, which then stays in the table.
int ht_delete_zvlib(ht_zvlib_t *table, const void *key);

// Calls callback(table, key, value, context) for every entry, buckets in index order, each chain
// from its head (the newest entry first). No result stops the walk. Returns the last callback's
// result; 1 when there was no entry and on a null table or callback.
int ht_for_each_zvlib(ht_zvlib_t *table, ht_callback_zvlib_t callback, void *context);

// Creates an iterator that stands before the table's first entry; ht_iter_get_first_zvlib starts a
// walk. The caller owns *iterator and gives it to ht_free_iterator_zvlib.
// Fails on a null table or place, on a place that holds an iterator, and when memory is short.
int ht_create_iterator_zvlib(ht_zvlib_t *table, ht_iterator_zvlib_t **iterator);

// Starts a walk in the order of ht_for_each_zvlib: stores the addresses of the first entry's key
// and value with *found 1, or *found 0 when the table is empty (key and value left alone). Fails on
// null arguments only, with *found 0 where there is a place for it.
int ht_iter_get_first_zvlib(ht_iterator_zvlib_t *iterator, void **key, void **value,
                            uint32_t *found);

// Goes on with a walk; as ht_iter_get_first_zvlib, with *found 0 when no entry is left. Between two
// calls the entry returned last may be deleted, but not the one that follows it in its chain.
int ht_iter_get_next_zvlib(ht_iterator_zvlib_t *iterator, void **key, void **value,
                           uint32_t *found);

// Frees an iterator and sets *iterator to null. Does not touch the table, which may be gone by
// then. Fails on a null or empty place.
int ht_free_iterator_zvlib(ht_iterator_zvlib_t **iterator);

// Prints to standard output how long the chains are: average over the buckets that are not empty,
// largest, total, and how many chains fall into each class of lengths. Fails on a null table only.
int ht_get_statistics_zvlib(const ht_zvlib_t *table);

// Releases the table with all entries, whether it was built wholly or partly, and sets *table to
// null. Iterators of it stay and are freed on their own. Fails on a null or empty place, and when
// the pool cannot be deleted: the table then stays in its place, empty.
int ht_free_zvlib(ht_zvlib_t **table);
