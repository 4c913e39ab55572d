// world.h - daemon and switch in one process, new for every input.
#ifndef ZV_FUZZ_SUPPORT_WORLD_H
#define ZV_FUZZ_SUPPORT_WORLD_H

#include <cstdint>
#include <string>
#include <vector>

namespace zv_fuzz {

// The switch as a new process finds it: empty, with its configured ports, no fault ordered.
void fresh_switch();

// The daemon as start-up leaves it, over such a switch: nobody has opened, the cache is empty. Its
// end releases everything, so that what an input leaks is seen with that input. One at a time.
class World {
  public:
    World();
    ~World();
    World(const World &) = delete;
    World &operator=(const World &) = delete;
};

// The daemon's answer: the bytes after the header of a reply.
struct Answer {
    uint32_t status;
    std::vector<uint8_t> body;  // empty where the status is not 0
};

// One command, its record in a block of memory of exactly its length, so that nothing beside it
// can be read. `path` is what the RPC library would have put the address of into a DUMP.
Answer serve(uint32_t command, const std::vector<uint8_t> &record, const char *path = nullptr);

// The length of a command's record. Commands are 2 to 17.
uint32_t record_length(uint32_t command);

// The cache's dump; ends the process unless it can be read back line by line, or was cut.
std::string dump_text();

// Ends the process where a list of the cache is longer than its room. `counts_agree`: also where
// the number of rules is not the one counted, as it can be after a failure.
void check_cache(bool counts_agree);

}  // namespace zv_fuzz

#endif
