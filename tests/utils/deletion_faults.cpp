#include "tests/utils/deletion_faults.h"

#include "utils/utils_allocator.h"
#include "utils/utils_pool.h"

namespace deletion_faults {

namespace {

bool pool_fails = false;
bool allocator_fails = false;

}  // namespace

Pool::Pool() {
    pool_fails = true;
}
Pool::~Pool() {
    pool_fails = false;
}
Allocator::Allocator() {
    allocator_fails = true;
}
Allocator::~Allocator() {
    allocator_fails = false;
}

}  // namespace deletion_faults

extern "C" int __real__Z17utils_pool_deletePP12utils_pool_t(utils_pool_t **place);
extern "C" int __wrap__Z17utils_pool_deletePP12utils_pool_t(utils_pool_t **place) {
    if (deletion_faults::pool_fails) {
        return 0;
    }
    return __real__Z17utils_pool_deletePP12utils_pool_t(place);
}

extern "C" int __real__Z22utils_allocator_deletePP17utils_allocator_t(utils_allocator_t **place);
extern "C" int __wrap__Z22utils_allocator_deletePP17utils_allocator_t(utils_allocator_t **place) {
    if (deletion_faults::allocator_fails) {
        return 0;
    }
    return __real__Z22utils_allocator_deletePP17utils_allocator_t(place);
}
