// process_figures.h - what the kernel says of a process: its memory and its open descriptors.
#ifndef ZV_TESTS_FIRE_SUPPORT_PROCESS_FIGURES_H
#define ZV_TESTS_FIRE_SUPPORT_PROCESS_FIGURES_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace zv_fire {

// In KiB; 0 when the process is gone.
struct Memory {
    uint64_t resident = 0;            // pages in memory, the libraries' included
    uint64_t resident_anonymous = 0;  // of these the heap, the stacks, the tables
    uint64_t data = 0;                // address space for data, touched or not
};
Memory memory_of(pid_t pid);

// What each open descriptor leads to ("socket:[1234]", a path), sorted.
std::vector<std::string> descriptors_of(pid_t pid);
// The fewest of a fifth of a second: the process may not have seen yet that a connection to it was
// closed, but what it lost stays.
std::vector<std::string> lasting_descriptors_of(pid_t pid);

// Those who open hundreds of connections at once need as many descriptors themselves.
void raise_descriptor_limit();

}  // namespace zv_fire

#endif
