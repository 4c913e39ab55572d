// How the table is fast: the two hash kinds are recognised by their address and expanded in place,
// so that a lookup calls nothing but memcmp, once for each entry of the chain that it compares;
// keys are mostly a few characters in a long zero-filled field, and the hash stops at the first
// zero. A text that is not there is mostly found missing without a look at the chain, whose entries
// lie in memory that nobody has touched for long. A number that is looked up again and again is
// found without its hash.
#include "utils/ht_zvlib.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr uint32_t LINK_BYTES = sizeof(ht_entry_zvlib_t);
// Of an iterator beyond one key and one value.
constexpr uint32_t ITERATOR_BYTES = 24;
static_assert(sizeof(ht_iterator_zvlib_t) <= ITERATOR_BYTES);

inline uint32_t integer_hash(const ht_zvlib_t *table, const void *key) {
    const auto *bytes = static_cast<const uint8_t *>(key);
    uint32_t number = 0;
    switch (table->key_size) {
        case 4:
            number = static_cast<uint32_t>(bytes[3]) << 24;
            [[fallthrough]];
        case 3:
            number |= static_cast<uint32_t>(bytes[2]) << 16;
            [[fallthrough]];
        case 2:
            number |= static_cast<uint32_t>(bytes[1]) << 8 | bytes[0];
            return number % table->num_buckets;
        default:
            return 0;
    }
}

inline uint32_t text_sum(const ht_zvlib_t *table, const void *key) {
    const auto *bytes = static_cast<const int8_t *>(key);
    const auto *end = bytes + table->key_size;
    uint32_t h = 0;
    for (; bytes != end && *bytes != 0; bytes++) {
        // Kept: the sign of a byte spreads over all of h; the order of walks depends on it.
        h = (h * 33) ^ static_cast<uint32_t>(static_cast<int32_t>(*bytes));
    }
    return h;
}

uint32_t string_hash(const ht_zvlib_t *table, const void *key) {
    return text_sum(table, key) % table->num_buckets;
}

// Where a key belongs: its bucket, and the bit it leaves in the bucket's marks. Texts of one bucket
// mostly leave different bits of the sixteen, from what the bucket does not tell of their sum;
// other keys leave the same.
struct Place {
    uint32_t bucket;
    uint16_t mark;
};

constexpr uint32_t MARKS = 16;

// False where there is none: a table without buckets or without a hash function, or a function that
// points past the last bucket.
inline bool place_of(const ht_zvlib_t *table, const void *key, Place *place) {
    if (table->num_buckets == 0 || table->hash == nullptr) {
        return false;
    }
    if (table->hash == string_hash) {
        const uint32_t sum = text_sum(table, key);
        place->bucket = sum % table->num_buckets;
        place->mark = static_cast<uint16_t>(1U << (sum / table->num_buckets % MARKS));
        return true;
    }
    place->mark = 1;
    place->bucket =
        table->hash == integer_hash ? integer_hash(table, key) : table->hash(table, key);
    return place->bucket < table->num_buckets;
}

// One comparison of all bytes; where the size is that of a number, without a call.
inline bool equal_keys(const void *a, const void *b, uint32_t key_size) {
    switch (key_size) {
        case 4:
            return std::memcmp(a, b, 4) == 0;
        case 8:
            return std::memcmp(a, b, 8) == 0;
        default:
            return std::memcmp(a, b, key_size) == 0;
    }
}

// Ids are asked for several times in a row; texts, and bind points in their one chain, are not.
constexpr uint32_t NUMBER_BYTES = 4;

inline bool remembers_lookups(const ht_zvlib_t *table) {
    return table->key_size == NUMBER_BYTES;
}

inline uint8_t *key_of(const ht_zvlib_t *table, ht_entry_zvlib_t *entry) {
    return reinterpret_cast<uint8_t *>(entry) + table->key_pos;
}

inline uint8_t *value_of(const ht_zvlib_t *table, ht_entry_zvlib_t *entry) {
    return reinterpret_cast<uint8_t *>(entry) + table->value_pos;
}

// The first entry of the chain whose key is equal, and the entry before it (null at the head);
// null when there is none.
inline ht_entry_zvlib_t *find(const ht_zvlib_t *table, const Place &place, const void *key,
                              ht_entry_zvlib_t **before) {
    *before = nullptr;
    if ((table->bucket_marks[place.bucket] & place.mark) == 0) {
        return nullptr;
    }
    for (auto *entry = table->bucket_heads[place.bucket]; entry != nullptr; entry = entry->next) {
        if (equal_keys(key_of(table, entry), key, table->key_size)) {
            return entry;
        }
        *before = entry;
    }
    return nullptr;
}

// The look-up of a key that was not found by memory. A function of its own, so that the others cost
// no more than a comparison.
[[gnu::noinline]] int look_in_chain(ht_zvlib_t *table, const void *key, void **value,
                                    uint32_t *found) {
    Place place = {};
    if (!place_of(table, key, &place)) {
        return 0;
    }
    ht_entry_zvlib_t *before = nullptr;
    ht_entry_zvlib_t *entry = find(table, place, key, &before);
    if (entry == nullptr) {
        // Who asks for a key that is not there is mostly about to insert it, after other work.
        __builtin_prefetch(&table->bucket_heads[place.bucket], 1);
        __builtin_prefetch(&table->bucket_counts[place.bucket], 1);
        return 0;
    }
    table->recent = remembers_lookups(table) ? entry : nullptr;
    *value = value_of(table, entry);
    *found = 1;
    return 0;
}

// Puts a new entry at the head of its chain; 1 when the table is full.
inline int insert_at(ht_zvlib_t *table, const Place &place, const void *key, const void *value) {
    auto *entry = static_cast<ht_entry_zvlib_t *>(utils_pool_alloc(table->pool, table->entry_size));
    if (entry == nullptr) {
        return 1;
    }
    std::memcpy(key_of(table, entry), key, table->key_size);
    std::memcpy(value_of(table, entry), value, table->value_size);
    entry->next = table->bucket_heads[place.bucket];
    table->bucket_heads[place.bucket] = entry;
    table->bucket_counts[place.bucket]++;
    table->bucket_marks[place.bucket] |= place.mark;
    table->recent = nullptr;  // the new entry may hide it
    return 0;
}

ht_hash_zvlib_t hash_of_kind(uint32_t hash_kind) {
    switch (hash_kind) {
        case HT_HASH_INTEGER_ZVLIB:
            return integer_hash;
        case HT_HASH_STRING_ZVLIB:
            return string_hash;
        default:
            return nullptr;
    }
}

// An array of zeros, every page of which the process has: the kernel hands out those of calloc when
// they are first touched, which would be in the middle of a request.
template <class T>
T *make_zeros(size_t length) {
    constexpr size_t SMALLEST_PAGE_BYTES = 4096;
    auto *zeros = static_cast<T *>(std::calloc(length, sizeof(T)));
    const size_t bytes = zeros != nullptr ? length * sizeof(T) : 0;
    for (size_t at = 0; at < bytes; at += SMALLEST_PAGE_BYTES) {
        *reinterpret_cast<volatile uint8_t *>(reinterpret_cast<uint8_t *>(zeros) + at) = 0;
    }
    if (bytes > 0) {
        // The array need not begin with a page, and then ends in one that no step reached.
        *reinterpret_cast<volatile uint8_t *>(reinterpret_cast<uint8_t *>(zeros) + bytes - 1) = 0;
    }
    return zeros;
}

// Allocates the parts of a table whose sizes are set. What was allocated before a failure stays.
int build(ht_zvlib_t *table, uint32_t hash_kind) {
    // At least one element, since an allocation of nothing may or may not return null.
    const size_t length = std::max<size_t>(table->num_buckets, 1);
    table->bucket_heads = make_zeros<ht_entry_zvlib_t *>(length);
    if (table->bucket_heads != nullptr) {
        table->bucket_counts = make_zeros<uint32_t>(length);
    }
    if (table->bucket_counts != nullptr) {
        table->bucket_marks = make_zeros<uint16_t>(length);
    }
    if (table->bucket_marks == nullptr) {
        table->num_buckets = 0;  // so that nobody looks for one
        return 1;
    }
    table->hash = hash_of_kind(hash_kind);
    return utils_pool_create(&table->pool, table->max_entries, table->entry_size) == 1 ? 0 : 1;
}

// The first bucket from `bucket` on that is not empty; the number of buckets when there is none.
uint32_t next_occupied(const ht_zvlib_t *table, uint32_t bucket) {
    const uint32_t end = table->num_buckets;
    while (bucket < end && table->bucket_counts[bucket] == 0) {
        bucket++;
    }
    return std::min(bucket, end);
}

// Hands the entry to the caller of a walk and remembers what follows it.
void deliver(ht_iterator_zvlib_t *iterator, ht_entry_zvlib_t *entry, void **key, void **value,
             uint32_t *found) {
    iterator->next = entry->next;
    *key = key_of(iterator->table, entry);
    *value = value_of(iterator->table, entry);
    *found = 1;
}

// Goes to the head of the first chain from `bucket` on; *found stays 0 when all are empty.
void deliver_from_bucket(ht_iterator_zvlib_t *iterator, uint32_t bucket, void **key, void **value,
                         uint32_t *found) {
    const uint32_t occupied = next_occupied(iterator->table, bucket);
    if (occupied >= iterator->table->num_buckets) {
        return;
    }
    iterator->bucket = occupied;
    deliver(iterator, iterator->table->bucket_heads[occupied], key, value, found);
}

bool iteration_arguments_ok(const ht_iterator_zvlib_t *iterator, void **key, void **value,
                            uint32_t *found) {
    if (found == nullptr) {
        return false;
    }
    *found = 0;
    return iterator != nullptr && key != nullptr && value != nullptr;
}

}  // namespace

int ht_create_zvlib(ht_zvlib_t **table, uint32_t key_size, uint32_t value_size,
                    uint32_t max_entries, uint32_t buckets, uint32_t hash_kind) {
    if (table == nullptr || *table != nullptr) {
        return 1;
    }
    // The iterator is the largest record that holds a key and a value in a u32 of bytes.
    if (key_size > HT_MAX_KEY_SIZE_ZVLIB || value_size > UINT32_MAX - ITERATOR_BYTES - key_size) {
        return 1;
    }
    auto *created = static_cast<ht_zvlib_t *>(std::calloc(1, sizeof(ht_zvlib_t)));
    if (created == nullptr) {
        return 1;
    }
    created->key_size = key_size;
    created->value_size = value_size;
    created->num_buckets = buckets != 0 ? buckets : max_entries;
    created->max_entries = max_entries;
    created->entry_size = key_size + value_size + LINK_BYTES;
    created->key_pos = LINK_BYTES;
    created->value_pos = static_cast<uint8_t>(key_size + LINK_BYTES);
    *table = created;
    return build(created, hash_kind);
}

int ht_set_hash_zvlib(ht_zvlib_t *table, ht_hash_zvlib_t function) {
    if (table == nullptr) {
        return 1;
    }
    if (next_occupied(table, 0) < table->num_buckets) {
        return 1;
    }
    table->hash = function;
    return 0;
}

int ht_insert_zvlib(ht_zvlib_t *table, const void *key, const void *value) {
    if (table == nullptr || key == nullptr || value == nullptr) {
        return 1;
    }
    Place place = {};
    return place_of(table, key, &place) ? insert_at(table, place, key, value) : 1;
}

int ht_insert_new_zvlib(ht_zvlib_t *table, const void *key, const void *value, uint32_t *found) {
    if (found == nullptr) {
        return 1;
    }
    *found = 0;
    if (table == nullptr || key == nullptr || value == nullptr) {
        return 1;
    }
    Place place = {};
    if (!place_of(table, key, &place)) {
        return 1;
    }
    ht_entry_zvlib_t *before = nullptr;
    if (find(table, place, key, &before) != nullptr) {
        *found = 1;
        return 1;
    }
    return insert_at(table, place, key, value);
}

int ht_lookup_zvlib(ht_zvlib_t *table, const void *key, void **value, uint32_t *found) {
    if (found == nullptr) {
        return 1;
    }
    *found = 0;
    if (table == nullptr || key == nullptr || value == nullptr) {
        return 1;
    }
    ht_entry_zvlib_t *recent = table->recent;
    if (recent == nullptr || std::memcmp(key_of(table, recent), key, NUMBER_BYTES) != 0) {
        return look_in_chain(table, key, value, found);
    }
    *value = value_of(table, recent);
    *found = 1;
    return 0;
}

int ht_delete_zvlib(ht_zvlib_t *table, const void *key) {
    if (table == nullptr || key == nullptr) {
        return 1;
    }
    Place place = {};
    ht_entry_zvlib_t *before = nullptr;
    ht_entry_zvlib_t *entry =
        place_of(table, key, &place) ? find(table, place, key, &before) : nullptr;
    if (entry == nullptr) {
        std::printf("delete not successful ");
        return 1;
    }
    // Given back before it is unlinked: a refusal then leaves chain and count in agreement. The
    // slot's bytes stay as they are until it is handed out again.
    if (utils_pool_free(table->pool, entry) == 0) {
        return 1;
    }
    table->recent = nullptr;
    if (before != nullptr) {
        before->next = entry->next;
    } else {
        table->bucket_heads[place.bucket] = entry->next;
    }
    if (--table->bucket_counts[place.bucket] == 0) {
        table->bucket_marks[place.bucket] = 0;  // before that another entry may have left the same
    }
    return 0;
}

int ht_for_each_zvlib(ht_zvlib_t *table, ht_callback_zvlib_t callback, void *context) {
    if (table == nullptr || callback == nullptr) {
        return 1;
    }
    int result = 1;
    const uint32_t end = table->num_buckets;
    for (uint32_t bucket = 0; bucket < end; bucket++) {
        ht_entry_zvlib_t *next = nullptr;
        for (auto *entry = table->bucket_heads[bucket]; entry != nullptr; entry = next) {
            next = entry->next;  // first, as the callback may delete the entry
            result = callback(table, key_of(table, entry), value_of(table, entry), context);
        }
    }
    return result;
}

int ht_create_iterator_zvlib(ht_zvlib_t *table, ht_iterator_zvlib_t **iterator) {
    if (table == nullptr || iterator == nullptr || *iterator != nullptr) {
        return 1;
    }
    const size_t bytes = static_cast<size_t>(table->key_size) + table->value_size + ITERATOR_BYTES;
    auto *created = static_cast<ht_iterator_zvlib_t *>(std::malloc(bytes));
    if (created == nullptr) {
        return 1;
    }
    *created = {.table = table, .bucket = 0, .next = nullptr};
    *iterator = created;
    return 0;
}

int ht_iter_get_first_zvlib(ht_iterator_zvlib_t *iterator, void **key, void **value,
                            uint32_t *found) {
    if (!iteration_arguments_ok(iterator, key, value, found)) {
        return 1;
    }
    iterator->next = nullptr;  // what an earlier walk remembered may be deleted by now
    deliver_from_bucket(iterator, 0, key, value, found);
    return 0;
}

int ht_iter_get_next_zvlib(ht_iterator_zvlib_t *iterator, void **key, void **value,
                           uint32_t *found) {
    if (!iteration_arguments_ok(iterator, key, value, found)) {
        return 1;
    }
    if (iterator->next != nullptr) {
        deliver(iterator, iterator->next, key, value, found);
        return 0;
    }
    // Does not wrap: the last bucket is below a number of buckets that is a u32 itself.
    deliver_from_bucket(iterator, iterator->bucket + 1, key, value, found);
    return 0;
}

int ht_free_iterator_zvlib(ht_iterator_zvlib_t **iterator) {
    if (iterator == nullptr || *iterator == nullptr) {
        return 1;
    }
    std::free(*iterator);
    *iterator = nullptr;
    return 0;
}

int ht_get_statistics_zvlib(const ht_zvlib_t *table) {
    if (table == nullptr) {
        return 1;
    }
    constexpr uint32_t CLASSES = 6;  // 1-2, 3-4, 5-6, 7-8, 9-10, more than 10
    uint32_t chains[CLASSES] = {};
    uint32_t largest = 0;
    uint32_t total = 0;
    uint32_t empty = 0;
    const uint32_t end = table->num_buckets;
    for (uint32_t bucket = 0; bucket < end; bucket++) {
        const uint32_t count = table->bucket_counts[bucket];
        if (count == 0) {
            empty++;
            continue;
        }
        largest = std::max(largest, count);
        total += count;
        chains[std::min((count - 1) / 2, CLASSES - 1)]++;
    }
    const bool none = total == 0 || empty == end;
    const float average = none ? 0.0F : static_cast<float>(total) / static_cast<float>(end - empty);
    std::printf("Average num elements in chain = %f , max = %d , allInserted %d\n",
                static_cast<double>(average), static_cast<int>(largest), static_cast<int>(total));
    std::printf(" num_el_in_chain   num_chains :\n");
    std::printf(" 1-2     %d\n 3-4     %d\n 5-6     %d\n 7-8     %d\n 9-10    %d\n >10     %d \n",
                static_cast<int>(chains[0]), static_cast<int>(chains[1]),
                static_cast<int>(chains[2]), static_cast<int>(chains[3]),
                static_cast<int>(chains[4]), static_cast<int>(chains[5]));
    return 0;
}

int ht_free_zvlib(ht_zvlib_t **table) {
    if (table == nullptr || *table == nullptr) {
        return 1;
    }
    ht_zvlib_t *freed = *table;
    std::free(freed->bucket_heads);
    freed->bucket_heads = nullptr;
    std::free(freed->bucket_counts);
    freed->bucket_counts = nullptr;
    std::free(freed->bucket_marks);
    freed->bucket_marks = nullptr;
    freed->num_buckets = 0;
    freed->recent = nullptr;
    // A table whose creation failed early has no pool to delete.
    if (freed->pool != nullptr && utils_pool_delete(&freed->pool) == 0) {
        return 1;
    }
    std::free(freed);
    *table = nullptr;
    return 0;
}
