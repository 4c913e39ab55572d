// fault_count.h - which calls an armed list of faults hits, counted as the platform counts them.
//
// The trace tells the status that a call returned, but not whether a fault was its reason nor
// whether the call did its work before. Both are known to whoever armed the faults and counts
// along.
#ifndef ZV_TESTS_FIRE_STORY_FAULT_COUNT_H
#define ZV_TESTS_FIRE_STORY_FAULT_COUNT_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace zv_fire {

enum class Hit { kNone, kEarly, kLate };

// Whether the platform lets a call of this name fail.
bool is_failable(std::string_view call);

class FaultCount {
  public:
    // As the control socket and the environment take it; null and [] disarm.
    void arm(const nlohmann::json &list);
    // The next call in order.
    Hit count(const std::string &call);
    bool armed() const { return !faults_.empty(); }
    uint64_t hits_num() const { return hits_num_; }

  private:
    struct Fault {
        std::string call;
        uint64_t nth;
        int64_t times;
        bool late;
        uint64_t seen_num = 0;
    };
    std::vector<Fault> faults_;
    uint64_t hits_num_ = 0;
};

}  // namespace zv_fire

#endif
