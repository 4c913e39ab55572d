// recorded_trace.h - the platform's calls, kept in memory.
//
// Stands in for the trace that the simulated switch writes to a file: a fuzz program looks at the
// calls of every command, a hundred thousand times a minute.
#ifndef ZV_FUZZ_SUPPORT_RECORDED_TRACE_H
#define ZV_FUZZ_SUPPORT_RECORDED_TRACE_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zv_fuzz {

struct RecordedCall {
    std::string name;
    nlohmann::json args;
    uint32_t status;
    nlohmann::json out;
};

// To be called before the first platform call: until then, and without it, nothing is kept.
void record_calls();

// The calls since the last time, oldest first.
std::vector<RecordedCall> take_calls();

}  // namespace zv_fuzz

#endif
