#include "tests/fire/exhaustion/faults.h"

#include <sys/mman.h>

#include <fcntl.h>
#include <unistd.h>
#include <cstring>
#include <stdexcept>

namespace zv_fire {

namespace {

fire_page *make_page(const std::string &path) {
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    void *memory = MAP_FAILED;
    if (fd >= 0 && ftruncate(fd, sizeof(fire_page)) == 0) {
        memory = mmap(nullptr, sizeof(fire_page), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    }
    if (fd >= 0) {
        close(fd);
    }
    if (memory == MAP_FAILED) {
        throw std::runtime_error("no page at " + path);
    }
    return static_cast<fire_page *>(memory);
}

void disarm(fire_fault *fault) {
    __atomic_store_n(&fault->armed, 0, __ATOMIC_RELEASE);
}

void arm(fire_fault *fault, const fire_fault &wanted) {
    disarm(fault);
    *fault = wanted;
    __atomic_store_n(&fault->armed, 1, __ATOMIC_RELEASE);
}

template <class T>
T load(const T &counter) {
    return __atomic_load_n(&counter, __ATOMIC_ACQUIRE);
}

}  // namespace

Faults::Faults() : page_(make_page(place_.file("page"))) {}

Faults::~Faults() {
    munmap(page_, sizeof(*page_));
}

std::map<std::string, std::string> Faults::environment() const {
    return {{"LD_PRELOAD", ZV_FIRE_INJECTOR_PATH}, {"ZV_FIRE_PAGE", place_.file("page")}};
}

void Faults::arm_allocations(uint64_t nth, uint64_t times, fire_threads threads) {
    fire_fault fault = {};
    fault.threads = threads;
    fault.nth = nth;
    fault.times = nth == 0 ? 0 : times;
    zv_fire::arm(&page_->allocation, fault);
}

void Faults::disarm_allocations() {
    disarm(&page_->allocation);
}

uint64_t Faults::allocations_seen() const {
    return load(page_->allocation.seen);
}

uint64_t Faults::allocations_failed() const {
    return load(page_->allocation.failed);
}

void Faults::arm(size_t place, const CallFault &wanted, fire_threads threads) {
    fire_fault fault = {};
    fault.threads = threads;
    fault.call = wanted.call;
    fault.error = wanted.error;
    fault.nth = wanted.nth;
    fault.times = wanted.times;
    fault.short_bytes = wanted.short_bytes;
    strncpy(fault.library, wanted.library, sizeof(fault.library) - 1);
    zv_fire::arm(&page_->calls[place], fault);
}

void Faults::disarm_calls() {
    for (fire_fault &fault : page_->calls) {
        disarm(&fault);
    }
}

uint64_t Faults::failed(size_t place) const {
    return load(page_->calls[place].failed);
}

int64_t Faults::live_of_main() const {
    return load(page_->live_main);
}

int64_t Faults::live_of_others() const {
    return load(page_->live_others);
}

const char *name_of(fire_call call) {
#define FIRE_NAME(name) #name,
    static constexpr const char *kNames[] = {FIRE_CALLS(FIRE_NAME)};
#undef FIRE_NAME
    return kNames[call];
}

}  // namespace zv_fire
