// The JSON types of this platform, by name only; json.h says why they are its own.
#ifndef PLATFORM_SIM_JSON_FWD_H
#define PLATFORM_SIM_JSON_FWD_H

#include <cstdint>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace zv_sim {

template <class T>
struct JsonAllocator;

using Json = nlohmann::basic_json<std::map, std::vector, std::string, bool, int64_t, uint64_t,
                                  double, JsonAllocator>;
using OrderedJson = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool,
                                         int64_t, uint64_t, double, JsonAllocator>;

}  // namespace zv_sim

#endif
