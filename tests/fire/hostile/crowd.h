// crowd.h - 64 hostile clients at once, on one thread that gives each its turn.
//
// One thread and not 64: on a machine of two cores the daemon and the good client need theirs. The
// turns are spread evenly over time, so that no burst of ours is mistaken for the daemon's delay.
#ifndef ZV_TESTS_FIRE_HOSTILE_CROWD_H
#define ZV_TESTS_FIRE_HOSTILE_CROWD_H

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/fire/hostile/kinds.h"

namespace zv_fire {

class Crowd {
  public:
    // Of the kind named `only`, or of all kinds where that is empty.
    Crowd(Battlefield &field, uint64_t seed, const std::string &only);
    ~Crowd();

    void attack();   // from now on
    void retreat();  // returns when every connection is closed
    uint64_t acts() const { return acts_; }
    size_t size() const { return members_.size(); }

  private:
    using Clock = std::chrono::steady_clock;
    struct Member {
        std::unique_ptr<Hostile> client;
        std::chrono::milliseconds every;
        Clock::time_point next;
    };
    void run();
    void act_until_told();

    std::vector<Member> members_;
    std::atomic<uint64_t> acts_{0};
    enum State : int { kResting, kAttacking, kRetreating, kEnding };
    std::atomic<int> state_{kResting};
    std::thread thread_;
};

}  // namespace zv_fire

#endif
