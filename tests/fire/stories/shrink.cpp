#include "tests/fire/stories/shrink.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace zv_fire {

namespace {

using Clock = std::chrono::steady_clock;

class Shrinker {
  public:
    Shrinker(Story story, const std::function<bool(const Story &)> &fails, double seconds)
        : story_(std::move(story)),
          fails_(fails),
          deadline_(Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                       std::chrono::duration<double>(seconds))) {}

    Story run() {
        for (bool smaller = true; smaller && in_time();) {
            smaller = drop_steps();
            smaller = simplify_steps() || smaller;
        }
        return story_;
    }

  private:
    bool in_time() const { return Clock::now() < deadline_; }

    // Takes the candidate over if it fails as well.
    bool keep(Story candidate) {
        if (!in_time() || !fails_(candidate)) {
            return false;
        }
        story_ = std::move(candidate);
        return true;
    }

    bool drop_steps() {
        bool dropped = false;
        for (size_t piece = std::max<size_t>(story_.steps.size() / 2, 1); piece > 0; piece /= 2) {
            for (size_t end = story_.steps.size(); end > 0 && in_time();) {
                const size_t begin = end > piece ? end - piece : 0;
                Story candidate = story_;
                candidate.steps.erase(candidate.steps.begin() + static_cast<ptrdiff_t>(begin),
                                      candidate.steps.begin() + static_cast<ptrdiff_t>(end));
                dropped = keep(std::move(candidate)) || dropped;
                end = std::min(begin, story_.steps.size());
            }
        }
        return dropped;
    }

    template <class F>
    bool change(size_t index, F &&change_step) {
        Story candidate = story_;
        change_step(candidate.steps[index]);
        if (describe(candidate.steps[index]) == describe(story_.steps[index])) {
            return false;
        }
        return keep(std::move(candidate));
    }

    bool simplify_steps() {
        bool changed = false;
        for (size_t i = 0; i < story_.steps.size() && in_time(); ++i) {
            changed = change(i, [](Step &step) { step.faults = nullptr; }) || changed;
            changed = change(i, [](Step &step) { step.ports = nullptr; }) || changed;
            changed = change(i, [](Step &step) { step.connection = 0; }) || changed;
            changed = change(i, [](Step &step) { step.length.reset(); }) || changed;
            changed = shorten(i) || changed;
            for (size_t word = 0; word < story_.steps[i].words.size(); ++word) {
                changed =
                    lower(i, [&](Step &step) -> uint32_t & { return step.words[word]; }) || changed;
            }
        }
        return changed;
    }

    bool shorten(size_t index) {
        bool changed = false;
        while (!story_.steps[index].items.empty() &&
               change(index, [](Step &step) { step.items.pop_back(); })) {
            changed = true;
        }
        while (!story_.steps[index].rules.empty() &&
               change(index, [](Step &step) { step.rules.pop_back(); })) {
            changed = true;
        }
        for (size_t i = 0; i < story_.steps[index].rules.size(); ++i) {
            for (size_t word = 0; word < 6; ++word) {
                changed =
                    lower(index,
                          [&](Step &step) -> uint32_t & { return step.rules[i].tail[word]; }) ||
                    changed;
            }
        }
        return changed;
    }

    template <class F>
    bool lower(size_t index, F &&number) {
        for (const uint32_t value : {0u, 1u, 2u}) {
            if (number(story_.steps[index]) <= value) {
                return false;
            }
            if (change(index, [&](Step &step) { number(step) = value; })) {
                return true;
            }
        }
        return false;
    }

    Story story_;
    const std::function<bool(const Story &)> &fails_;
    Clock::time_point deadline_;
};

}  // namespace

Story shrink(Story story, const std::function<bool(const Story &)> &fails, double seconds) {
    return Shrinker(std::move(story), fails, seconds).run();
}

}  // namespace zv_fire
