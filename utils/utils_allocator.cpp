#include "utils/utils_allocator.h"

#include <cstdlib>

int utils_allocator_create(utils_allocator_t **place, uint32_t count, uint32_t base) {
    if (place == nullptr || *place != nullptr) {
        return 0;
    }
    auto *allocator = static_cast<utils_allocator_t *>(std::calloc(1, sizeof(utils_allocator_t)));
    if (allocator == nullptr) {
        return 0;
    }
    // At least one record, since an allocation of nothing may or may not return null.
    auto *records = static_cast<utils_index_record_t *>(
        std::calloc(count > 0 ? count : 1, sizeof(utils_index_record_t)));
    if (records == nullptr) {
        std::free(allocator);
        return 0;
    }
    for (uint32_t i = 0; i < count; i++) {
        records[i].position = i;
        records[i].next = i + 1 < count ? &records[i + 1] : nullptr;
    }
    allocator->head = count > 0 ? &records[0] : nullptr;
    allocator->tail = count > 0 ? &records[count - 1] : nullptr;
    allocator->records = records;
    allocator->num_indexes = count;
    allocator->base = base;
    *place = allocator;
    return 1;
}

int utils_allocator_allocIndex(utils_allocator_t *allocator, uint32_t *index) {
    if (allocator == nullptr || index == nullptr || allocator->head == nullptr) {
        return 0;
    }
    utils_index_record_t *record = allocator->head;
    allocator->head = record->next;
    if (allocator->head == nullptr) {
        allocator->tail = nullptr;
    }
    allocator->num_allocated++;
    record->next = nullptr;
    record->in_use = 1;
    *index = allocator->base + record->position;
    return 1;
}

int utils_allocator_freeIndex(utils_allocator_t *allocator, uint32_t index) {
    if (allocator == nullptr) {
        return 0;
    }
    // Unsigned, so that an index below base is refused by the same comparison.
    const uint32_t position = index - allocator->base;
    if (position >= allocator->num_indexes) {
        return 0;
    }
    utils_index_record_t *record = &allocator->records[position];
    if (record->in_use == 0) {
        return 0;
    }
    if (allocator->head == nullptr) {
        allocator->head = record;
    } else {
        allocator->tail->next = record;
    }
    allocator->tail = record;
    record->next = nullptr;
    record->in_use = 0;
    allocator->num_allocated--;
    return 1;
}

uint32_t utils_allocator_get_num_allocated(const utils_allocator_t *allocator) {
    return allocator != nullptr ? allocator->num_allocated : 0;
}

int utils_allocator_delete(utils_allocator_t **place) {
    if (place == nullptr || *place == nullptr) {
        return 1;
    }
    std::free((*place)->records);
    std::free(*place);
    *place = nullptr;
    return 1;
}
