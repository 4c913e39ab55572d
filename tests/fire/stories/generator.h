// generator.h - random commands of four owners over a small world.
//
// The world is kept small (few ACLs, offsets, ports, counters, groups), so that commands meet each
// other's objects. Most commands are made to succeed, from what replies told so far; the others
// have one thing wrong, or several. A story depends on nothing but its seed and the replies.
#ifndef ZV_TESTS_FIRE_STORIES_GENERATOR_H
#define ZV_TESTS_FIRE_STORIES_GENERATOR_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <vector>

#include "tests/fire/model/model.h"
#include "tests/fire/story/script.h"

namespace zv_fire {

class Generator {
  public:
    explicit Generator(uint64_t seed);

    // Of the story's switch: sometimes a very small one, sometimes one that lets ACLs in use go.
    nlohmann::json config();
    Step next();
    // What became of the step that next() gave last.
    void learn(const Step &step, const zv_model::Reply &reply);

  private:
    struct Acl {
        uint32_t id;
        Owner owner;
        uint32_t size;
        std::set<uint32_t> offsets, log_ports, rifs;
        bool system = false;
    };
    struct McGroup {
        uint32_t id;
        Owner owner;
    };

    uint32_t below(uint32_t bound) { return static_cast<uint32_t>(random_() % bound); }
    bool chance(uint32_t percent) { return below(100) < percent; }
    Owner some_owner() { return static_cast<Owner>(below(4)); }
    Acl *some_acl();
    uint32_t some_counter();
    uint32_t some_group();
    Numbers some_numbers(uint32_t most, uint32_t bound);
    Numbers some_of(const std::set<uint32_t> &numbers);
    uint32_t odd_number();

    Step valid_step();
    Step session_step();
    Step make_acl();
    Step step_of_acl(uint32_t kind, Acl &acl);
    Step write_rules(Acl &acl);
    Step move_rules(Acl &acl);
    Step bind(Acl &acl, bool rif);
    Step counter_step();
    Step group_step();
    void spoil(Step &step);
    void disturb(Step &step);

    void learn_acl_set(const Step &step, const Bytes &body);
    void learn_rules(const Step &step, Acl &acl);
    void learn_bind(const Step &step, Acl &acl);
    Acl *acl_with(uint32_t id);

    std::mt19937_64 random_;
    std::vector<Acl> acls_;
    std::vector<uint32_t> counters_;
    std::vector<McGroup> groups_;
    uint32_t begun_num_ = 0;  // of the steps that open the four owners
    uint32_t armed_steps_ = 0;
    bool has_faults_ = false;
};

}  // namespace zv_fire

#endif
