// story_run.h - daemon, switch and model side by side, compared after every request.
//
//   Place place;
//   StoryRun run(place, story.config, options);
//   for (const Step &step : story.steps) {
//       if (!run.step(step)) break;
//   }
//   run.finish();
//   run.differences()   // empty, or all that was other than it should be
//
// After the first difference the model knows nothing of the daemon's state any more: step() is
// false from then on, and finish() only sees to it that the daemon ends.
#ifndef ZV_TESTS_FIRE_STORY_STORY_RUN_H
#define ZV_TESTS_FIRE_STORY_STORY_RUN_H

#include <memory>
#include <string>
#include <vector>

#include "tests/fire/model/model.h"
#include "tests/fire/story/daemon_run.h"
#include "tests/fire/story/fault_count.h"
#include "tests/fire/story/life.h"
#include "tests/fire/story/step.h"
#include "tests/support/cache_dump.h"

namespace zv_fire {

struct StoryOptions {
    std::string program;        // the daemon; empty: the one built with this
    nlohmann::json faults;      // armed from the daemon's first call on
    bool checks_cache = false;  // check the invariants of cache_check.h at the end
    unsigned skip = 0;          // those of its CacheSkip, without a fault
    bool tells_all = false;     // every request on standard error
};

class StoryRun {
  public:
    StoryRun(Place &place, const nlohmann::json &config, const StoryOptions &options);
    ~StoryRun();
    StoryRun(const StoryRun &) = delete;
    StoryRun &operator=(const StoryRun &) = delete;

    // Whether the story can go on. The reply is that of the last step.
    bool step(const Step &step);
    const zv_model::Reply &reply() const { return reply_; }
    // Stops the daemon and looks at its end.
    void finish();

    const std::vector<std::string> &differences() const { return differences_; }
    size_t steps_num() const { return steps_num_; }  // requests sent
    uint64_t hits_num() const { return faults_.hits_num(); }
    // The calls that a fault can hit, from start to end, in order; all of them after finish().
    struct Failable {
        std::string call;
        bool quiet;  // of a quiet step
    };
    const std::vector<Failable> &failable_calls() const { return failable_calls_; }

  private:
    void begin();
    bool prepare(const Step &step);
    void exchange(const Step &step);
    void differ(const std::string &text);
    std::vector<zv_model::Call> take_calls(bool quiet);
    void note_failable(const std::string &call, bool quiet = false);
    void fold(const zv_model::Call &call, Hit hit);
    void follow(const zv_model::Call &call);
    void compare_reply(const zv_model::Reply &expected);
    void compare_dump();
    void compare_switch();
    void compare_log(uint32_t command);
    void check_invariants();
    void check_against_switch(const zv_test::CacheDump &dump);
    void check_text(const std::string &text);
    void check_end(const Ending &ending);
    std::string wait_for_end(int *code);

    StoryOptions options_;
    DaemonRun daemon_;
    FaultCount faults_;
    Beginning beginning_;
    zv_model::Model model_;
    // What the switch may hold: more than one only after late faults, of whose work no trace tells.
    std::vector<zv_model::SwitchModel> switches_;
    zv_model::Reply reply_;
    std::vector<std::string> differences_;
    std::vector<Failable> failable_calls_;
    std::string last_text_;
    size_t steps_num_ = 0;
    bool serves_ = false;
    bool switch_is_open_ = false;
    bool finished_ = false;
};

// A whole story; its result is the run's.
std::unique_ptr<StoryRun> run_story(Place &place, const Story &story, const StoryOptions &options);

}  // namespace zv_fire

#endif
