// fire_stories: random commands through daemon and model side by side; what fails is shrunk.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <mutex>

#include "tests/fire/stories/generator.h"
#include "tests/fire/stories/shrink.h"
#include "tests/fire/story/program.h"
#include "tests/fire/story/story_run.h"
#include "tests/fire/support/command_line.h"

namespace zv_fire {
namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

constexpr size_t kStepsPerStory = 400;
constexpr size_t kMostFailures = 5;  // enough to look at
constexpr uint32_t kCommandsEnd = 18;

struct Options {
    size_t commands = 100000;
    double minutes = 0;
    uint64_t seed = 1;
    std::optional<size_t> story;
    unsigned jobs = 2;
    double shrink_seconds = 60;
    std::string replay;
    std::string reproducers = ZV_FIRE_REPRODUCERS;
    std::string out = ".";
    std::string json_path;
    std::string daemon;
    bool verbose = false;
};

struct Count {
    std::atomic<size_t> sent{0}, succeeded{0};
};

class Stories {
  public:
    explicit Stories(const Options &options) : options_(options) {}
    int run();

  private:
    StoryOptions story_options() const;
    bool play(Place &place, size_t index);
    void count(const Step &step, const zv_model::Reply &reply);
    void tell(Place &place, const Story &story, const std::string &name, const StoryRun &run);
    bool replay(const std::string &path);
    void replay_all();
    void random_stories();
    int finish(double seconds);

    const Options &options_;
    std::array<Count, kCommandsEnd> counts_;  // by command; [0]: those that are none
    std::atomic<size_t> commands_num_{0}, stories_num_{0}, failures_num_{0}, hits_num_{0};
    size_t replayed_num_ = 0;
    std::mutex mutex_;
};

StoryOptions Stories::story_options() const {
    StoryOptions options;
    options.program = options_.daemon;
    options.tells_all = options_.verbose;
    return options;
}

void Stories::count(const Step &step, const zv_model::Reply &reply) {
    Count &count = counts_[step.command < kCommandsEnd && step.command > 1 ? step.command : 0];
    ++count.sent;
    if (reply.transport == 0 && reply.status == 0) {
        ++count.succeeded;
    }
}

// What failed, then the least that fails; the latter also in a file.
void Stories::tell(Place &place, const Story &story, const std::string &name, const StoryRun &run) {
    const std::lock_guard lock(mutex_);
    ++failures_num_;
    std::cout << "\nFAILED " << name << ", request " << run.steps_num() << '\n';
    for (const std::string &difference : run.differences()) {
        std::cout << "  - " << difference << '\n';
    }
    StoryOptions quiet = story_options();
    quiet.tells_all = false;
    const Story least = shrink(
        story,
        [&](const Story &candidate) {
            return !run_story(place, candidate, quiet)->differences().empty();
        },
        options_.shrink_seconds);
    const auto last = run_story(place, least, quiet);
    const std::string path = options_.out + "/" + name + ".json";
    std::ofstream(path) << to_json(least).dump(1) << '\n';
    std::cout << "  the least that fails, " << least.steps.size() << " requests:\n";
    for (const Step &step : least.steps) {
        std::cout << "    " << describe(step) << '\n';
    }
    for (const std::string &difference : last->differences()) {
        std::cout << "  - " << difference << '\n';
    }
    std::cout << "  again: fire_stories --replay " << path << std::endl;
}

bool Stories::play(Place &place, size_t index) {
    Generator generator(options_.seed * 1000003 + index);
    Story story;
    story.config = generator.config();
    StoryRun run(place, story.config, story_options());
    for (size_t i = 0; i < kStepsPerStory; ++i) {
        story.steps.push_back(generator.next());
        if (!run.step(story.steps.back())) {
            break;
        }
        count(story.steps.back(), run.reply());
        generator.learn(story.steps.back(), run.reply());
    }
    run.finish();
    commands_num_ += run.steps_num();
    hits_num_ += run.hits_num();
    ++stories_num_;
    if (run.differences().empty()) {
        return true;
    }
    tell(place, story, "story-" + std::to_string(options_.seed) + "-" + std::to_string(index), run);
    return failures_num_ < kMostFailures;
}

bool Stories::replay(const std::string &path) {
    std::ifstream file(path);
    const Story story = story_from_json(json::parse(file));
    Place place;
    const auto run = run_story(place, story, story_options());
    ++replayed_num_;
    if (run->differences().empty()) {
        return true;
    }
    ++failures_num_;
    std::cout << "\nFAILED " << path << ", request " << run->steps_num() << '\n';
    for (const std::string &difference : run->differences()) {
        std::cout << "  - " << difference << '\n';
    }
    return false;
}

void Stories::replay_all() {
    std::vector<std::string> paths;
    std::error_code missing;
    for (const auto &entry : std::filesystem::directory_iterator(options_.reproducers, missing)) {
        if (entry.path().extension() == ".json") {
            paths.push_back(entry.path().string());
        }
    }
    std::sort(paths.begin(), paths.end());
    for (const std::string &path : paths) {
        replay(path);
    }
}

void Stories::random_stories() {
    const bool timed = options_.minutes > 0;
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(options_.minutes * 60));
    const size_t num = timed ? SIZE_MAX : (options_.commands + kStepsPerStory - 1) / kStepsPerStory;
    Progress progress("commands", timed ? 0 : num * kStepsPerStory);
    run_parallel(options_.jobs, num, [&]() -> Work {
        auto place = std::make_shared<Place>();
        return [&, place](size_t index) {
            const bool goes_on = play(*place, index);
            progress.add(kStepsPerStory);
            return goes_on && (!timed || Clock::now() < end);
        };
    });
}

int Stories::finish(double seconds) {
    json commands = json::object();
    size_t sent = 0, succeeded = 0;
    for (uint32_t command = 2; command < kCommandsEnd; ++command) {
        const Count &count = counts_[command];
        sent += count.sent;
        succeeded += count.succeeded;
        commands[command_name(command)] = {{"sent", count.sent.load()},
                                           {"succeeded", count.succeeded.load()}};
        printf("  %-20s %8zu sent, %3.0f %% succeeded\n", command_name(command).c_str(),
               count.sent.load(),
               count.sent == 0 ? 0.0
                               : 100.0 * static_cast<double>(count.succeeded) /
                                     static_cast<double>(count.sent));
    }
    const double share =
        sent == 0 ? 0 : 100.0 * static_cast<double>(succeeded) / static_cast<double>(sent);
    printf(
        "%zu stories, %zu commands, %.1f %% succeeded, %zu calls failed by faults, %zu "
        "reproducers, %zu failures, %.1f s\n",
        stories_num_.load(), commands_num_.load(), share, hits_num_.load(), replayed_num_,
        failures_num_.load(), seconds);
    write_result(options_.json_path, "fire_stories", seconds, failures_num_,
                 {{"stories", stories_num_.load()},
                  {"commands", commands_num_.load()},
                  {"succeeded_percent", share},
                  {"calls_failed", hits_num_.load()},
                  {"reproducers", replayed_num_},
                  {"by_command", commands}});
    return failures_num_ == 0 ? 0 : 1;
}

int Stories::run() {
    const auto begun = Clock::now();
    if (!options_.replay.empty()) {
        return replay(options_.replay) ? 0 : 1;
    }
    if (options_.story) {
        Place place;
        play(place, *options_.story);
    } else {
        replay_all();
        random_stories();
    }
    return finish(std::chrono::duration<double>(Clock::now() - begun).count());
}

}  // namespace
}  // namespace zv_fire

int main(int argc, char *argv[]) {
    zv_fire::Options options;
    zv_fire::CommandLine line(
        "Sends random commands of four owners to the daemon and compares it with the "
        "model after each one; what fails is shrunk to the least that fails.");
    line.option("--commands", options.commands, "how many, in stories of 400");
    line.option("--minutes", options.minutes, "goes on for so long instead");
    line.option("--seed", options.seed, "which stories");
    line.option("--story", options.story, "only the one of this number");
    line.count("--jobs", options.jobs, "how many stories run at the same time");
    line.option("--shrink-seconds", options.shrink_seconds, "how long a failure is shrunk");
    line.option("--replay", options.replay, "only the story of this file");
    line.option("--reproducers", options.reproducers, "all stories of this directory run first");
    line.option("--out", options.out, "where the least failing stories are written");
    line.option("--json", options.json_path, "writes the figures to this file");
    line.option("--daemon", options.daemon, "another build of the daemon");
    line.flag("--verbose", options.verbose, "tells every request and call");
    if (const auto status = line.parse(argc, argv)) {
        return *status;
    }
    return zv_fire::Stories(options).run();
}
