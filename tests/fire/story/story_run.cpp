#include "tests/fire/story/story_run.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <iostream>
#include <sstream>

#include "tests/support/cache_check.h"

namespace zv_fire {

using nlohmann::json;
using zv_model::Call;

namespace {

constexpr int kPatienceMs = 30000;
constexpr size_t kMostCandidates = 64;

zv_model::Call call_from(json &line) {
    Call call;
    call.name = line.at("call").get<std::string>();
    call.args = std::move(line.at("args"));
    call.status = line.at("status").get<uint32_t>();
    call.out = std::move(line.at("out"));
    return call;
}

// The state without what no call tells of: what packets counted, and the configured ports.
void strip(json &state) {
    state.erase("ok");
    state.erase("ports");
    for (json &region : state["regions"]) {
        for (json &rule : region["rules"]) {
            rule.erase("activity");
        }
    }
    for (json &counter : state["counters"]) {
        counter.erase("values");
    }
}

// A dump without the time in its headline.
std::string without_time(const std::string &text) {
    const size_t begin = text.find("started at: ");
    const size_t end = text.find("=====ACL_RM Cache dump start");
    if (begin == std::string::npos || end == std::string::npos) {
        return text;
    }
    return text.substr(0, begin) + text.substr(end);
}

// The first place where two texts part, with what stands around it.
std::string first_difference(const std::string &expected, const std::string &found) {
    const size_t common = std::min(expected.size(), found.size());
    size_t at = 0;
    while (at < common && expected[at] == found[at]) {
        ++at;
    }
    const size_t from = at < 60 ? 0 : at - 60;
    return "at " + std::to_string(at) + "\n      expected ..." + expected.substr(from, 160) +
           "\n      found    ..." + found.substr(from, 160);
}

std::string bytes_difference(const Bytes &expected, const Bytes &found) {
    std::ostringstream text;
    if (expected.size() != found.size()) {
        text << "expected " << expected.size() << " bytes, found " << found.size();
        return text.str();
    }
    int shown = 0;
    for (size_t i = 0; i < expected.size() && shown < 16; ++i) {
        if (expected[i] != found[i]) {
            text << (shown++ == 0 ? "" : ", ") << "byte " << i << ": expected "
                 << unsigned{expected[i]} << ", found " << unsigned{found[i]};
        }
    }
    return text.str();
}

std::string joined(const std::vector<std::string> &names) {
    std::string text;
    for (const std::string &name : names) {
        text += (text.empty() ? "" : " ") + name;
    }
    return text;
}

}  // namespace

StoryRun::StoryRun(Place &place, const json &config, const StoryOptions &options)
    : options_(options),
      daemon_(place, options.program.empty() ? ZV_FIRE_DAEMON_PATH : options.program, config,
              options.faults),
      switches_(1) {
    faults_.arm(options.faults);
    begin();
}

StoryRun::~StoryRun() {
    finish();
}

void StoryRun::differ(const std::string &text) {
    differences_.push_back(text);
}

void StoryRun::begin() {
    beginning_ = expected_beginning(faults_);
    serves_ = daemon_.wait_until_serving();
    if (serves_ != beginning_.serves) {
        differ(serves_ ? "the daemon serves though its start failed" : "the daemon does not serve");
    }
    if (!serves_) {
        return;
    }
    std::vector<std::string> names;
    for (const json &line : daemon_.new_calls()) {
        names.push_back(line.at("call").get<std::string>());
    }
    if (names != beginning_.calls) {
        differ("calls of the start: expected " + joined(beginning_.calls) + ", found " +
               joined(names));
    }
    note_failable("zv_log_init");
    for (const std::string &name : names) {
        note_failable(name);
    }
    note_failable("zv_rpc_core_td_start_loop");
    check_text(daemon_.new_errors());
}

void StoryRun::note_failable(const std::string &call, bool quiet) {
    if (is_failable(call)) {
        failable_calls_.push_back({call, quiet});
    }
}

std::vector<Call> StoryRun::take_calls(bool quiet) {
    std::vector<Call> calls;
    for (json &line : daemon_.new_calls()) {
        calls.push_back(call_from(line));
        const Call &call = calls.back();
        note_failable(call.name, quiet);
        fold(call, faults_.count(call.name));
        if (call.name == "zv_api_open" && call.status == 0) {
            switch_is_open_ = true;
        }
    }
    return calls;
}

// A call that failed late may have done its work or may have failed by itself before: both are
// followed up, and what the switch says next decides.
void StoryRun::fold(const Call &call, Hit hit) {
    if (hit == Hit::kEarly) {
        return;
    }
    if (hit == Hit::kNone) {
        follow(call);
        return;
    }
    Call worked = call;
    worked.status = 0;
    const size_t before = switches_.size();
    for (size_t i = 0; i < before && switches_.size() < kMostCandidates; ++i) {
        zv_model::SwitchModel candidate = switches_[i];
        try {
            candidate.add(worked);
            switches_.push_back(std::move(candidate));
        } catch (const std::exception &) {
            // It cannot have worked: what it names is not there.
        }
    }
}

// What cannot have answered so is no candidate any more.
void StoryRun::follow(const Call &call) {
    for (size_t i = 0; i < switches_.size();) {
        try {
            switches_[i].add(call);
            ++i;
        } catch (const std::exception &) {
            if (switches_.size() == 1) {
                throw;
            }
            switches_.erase(switches_.begin() + static_cast<ptrdiff_t>(i));
        }
    }
}

bool StoryRun::step(const Step &step) {
    if (!serves_ || !differences_.empty()) {
        return false;
    }
    try {
        if (prepare(step)) {
            exchange(step);
        }
    } catch (const std::exception &error) {
        // What the model cannot follow is a difference like any other.
        differ(std::string("given up: ") + error.what());
    }
    return differences_.empty();
}

// Ports and faults that come with the step.
bool StoryRun::prepare(const Step &step) {
    if (!step.ports.is_null()) {
        daemon_.control({{"cmd", "ports"}, {"set", step.ports}});
    }
    if (!step.faults.is_null()) {
        const json answer = daemon_.control({{"cmd", "faults"}, {"set", step.faults}});
        if (!answer.value("ok", false)) {
            differ("the faults were not armed: " + answer.dump());
            return false;
        }
        faults_.arm(step.faults);
    }
    return true;
}

void StoryRun::exchange(const Step &step) {
    ++steps_num_;
    if (options_.tells_all) {
        std::cerr << "  " << steps_num_ << ": " << describe(step) << '\n';
    }
    const auto found = daemon_.call(step);
    if (!found) {
        differ("no reply, or none that belongs to the request");
        return;
    }
    reply_ = {found->transport, found->status, found->body};
    const std::vector<Call> calls = take_calls(step.quiet);
    const zv_model::Outcome outcome = model_.serve({step.command, body_of(step), step.path}, calls);
    for (const std::string &difference : outcome.differences) {
        differ("calls: " + difference);
    }
    compare_reply(outcome.reply);
    if (options_.tells_all) {
        std::cerr << "     transport " << reply_.transport << ", status " << reply_.status << '\n';
        for (const Call &call : calls) {
            std::cerr << "     " << call.name << " " << call.args.dump().substr(0, 300) << " -> "
                      << call.status << " " << call.out.dump().substr(0, 100) << '\n';
        }
    }
    compare_log(step.command);
    if (!step.quiet) {
        compare_dump();
        compare_switch();
    }
}

void StoryRun::compare_reply(const zv_model::Reply &expected) {
    const auto number = [&](const char *name, uint32_t wanted, uint32_t found) {
        if (wanted != found) {
            differ(std::string(name) + ": expected " + std::to_string(wanted) + ", found " +
                   std::to_string(found));
        }
    };
    number("transport", expected.transport, reply_.transport);
    number("status", expected.status, reply_.status);
    if (expected.body != reply_.body) {
        differ("reply: " + bytes_difference(expected.body, reply_.body));
    }
}

void StoryRun::compare_dump() {
    const std::optional<std::string> found = daemon_.dump();
    if (!found) {
        differ("no dump of the cache");
        return;
    }
    const std::string expected = without_time(model_.dump());
    const std::string text = without_time(*found);
    if (expected != text) {
        differ("dump: " + first_difference(expected, text));
    }
}

void StoryRun::compare_switch() {
    json found = daemon_.control({{"cmd", "state"}});
    if (!found.value("ok", false)) {
        differ("no answer from the switch's control socket");
        return;
    }
    strip(found);
    json nearest;
    std::erase_if(switches_, [&](const zv_model::SwitchModel &candidate) {
        json expected = candidate.state();
        if (expected == found) {
            return false;
        }
        nearest = std::move(expected);
        return true;
    });
    if (switches_.empty()) {
        differ("switch: " + json::diff(nearest, found).dump().substr(0, 2000));
        switches_.emplace_back();
    }
    // Those that are left hold the same.
    switches_.resize(1);
}

// A success says nothing at level ERROR; a failure does not go by in silence, but for that of INIT,
// which is told at a level that is not written.
void StoryRun::compare_log(uint32_t command) {
    constexpr uint32_t kInit = 3;
    const bool delivered = reply_.transport == 0;
    const bool succeeded = reply_.status == 0;
    const std::string text = daemon_.new_errors();
    check_text(text);
    if (delivered && succeeded && text.find("][ERROR  ] : ") != std::string::npos) {
        differ("an error line of a request that succeeded: " + text);
    }
    if (delivered && !succeeded && command != kInit && text.empty()) {
        differ("a failure without a line in the log");
    }
}

// Lines are the log's, or follow a line of the log whose text has several.
void StoryRun::check_text(const std::string &text) {
    if (!text.empty()) {
        last_text_ = text;
    }
    for (const char *mark : {"Sanitizer", "runtime error:", "terminate called", "Assertion",
                             "corrupted", "double free", "stack smashing", "ZV_SIM_"}) {
        if (text.find(mark) != std::string::npos) {
            differ("standard error: " + text);
            return;
        }
    }
    if (!text.empty() && text[0] != '[' && text[0] != '\n' &&
        text.rfind("ACL RM ERROR: Log init failed\n", 0) != 0) {
        differ("standard error: " + text);
    }
}

// Without a fault the two agree, but for what a scenario breaks on purpose.
void StoryRun::check_against_switch(const zv_test::CacheDump &dump) {
    const json state = daemon_.control({{"cmd", "state"}});
    const auto unless = [&](unsigned skip, auto check) {
        if ((options_.skip & skip) == 0) {
            check();
        }
    };
    zv_test::check_acls(dump, state);
    unless(zv_test::kSkipCounts, [&] { zv_test::check_counts(dump); });
    unless(zv_test::kSkipRules, [&] { zv_test::check_rules(dump, state); });
    unless(zv_test::kSkipGroups, [&] {
        zv_test::check_groups(dump, state);
        zv_test::check_bind_points(dump, state);
    });
    unless(zv_test::kSkipForwarding, [&] { zv_test::check_forwarding(dump, state); });
    unless(zv_test::kSkipLeftOvers, [&] { zv_test::check_left_overs(dump, state); });
}

void StoryRun::check_invariants() {
    const zv_test::CacheDump dump = zv_test::parse_dump(daemon_.dump().value_or(""));
    if (!dump.complete) {
        return;  // it was cut, and was compared with the model's all the same
    }
    testing::TestPartResultArray results;
    {
        testing::ScopedFakeTestPartResultReporter reporter(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
        zv_test::check_cache_alone(dump);
        if (!faults_.armed()) {
            check_against_switch(dump);
        }
    }
    for (int i = 0; i < results.size(); ++i) {
        differ(std::string("invariant: ") + results.GetTestPartResult(i).message());
    }
}

// How it ended, in words; `code` is its exit status or -1.
std::string StoryRun::wait_for_end(int *code) {
    std::optional<zv_test::ExitStatus> status = daemon_.wait(kPatienceMs);
    *code = -1;
    if (!status) {
        daemon_.signal(SIGKILL);
        daemon_.wait(-1);
        return "the daemon does not end";
    }
    std::ostringstream text;
    text << *status;
    *code = status->exited ? status->code : -1;
    return text.str();
}

void StoryRun::finish() {
    if (finished_) {
        return;
    }
    finished_ = true;
    if (!beginning_.serves) {
        check_end({beginning_.exit_code, beginning_.calls});
        return;
    }
    if (!serves_ || !differences_.empty()) {
        daemon_.signal(SIGTERM);
        int code = 0;
        const std::string end = wait_for_end(&code);
        if (code != 0) {
            differ("at the end: " + end + "; last lines: " + last_text_ + daemon_.new_errors());
        }
        return;
    }
    if (options_.checks_cache) {
        check_invariants();
    }
    if (!beginning_.stops_on_signal) {
        // It has served all its requests; a signal would not reach anybody.
        daemon_.signal(SIGKILL);
        daemon_.wait(-1);
        return;
    }
    daemon_.signal(SIGTERM);
    check_end(expected_ending(faults_, switch_is_open_));
}

void StoryRun::check_end(const Ending &ending) {
    int code = 0;
    const std::string end = wait_for_end(&code);
    const std::string text = daemon_.new_errors();
    check_text(text);
    if (code != ending.exit_code) {
        differ("at the end: " + end + ", expected exit status " + std::to_string(ending.exit_code) +
               "; last lines: " + text);
    }
    std::vector<std::string> names;
    for (const json &line : daemon_.new_calls()) {
        names.push_back(line.at("call").get<std::string>());
    }
    for (const std::string &name : names) {
        note_failable(name);
    }
    // Memory of the cache that is given back is no step of the release.
    std::erase(names, "cl_free");
    if (names != ending.calls) {
        differ("calls of the end: expected " + joined(ending.calls) + ", found " + joined(names));
    }
    if (!daemon_.output().empty()) {
        differ("standard output: " + daemon_.output());
    }
    if (ending.exit_code == 0) {
        note_failable("zv_log_close");
    }
}

std::unique_ptr<StoryRun> run_story(Place &place, const Story &story, const StoryOptions &options) {
    auto run = std::make_unique<StoryRun>(place, story.config, options);
    for (const Step &step : story.steps) {
        if (!run->step(step)) {
            break;
        }
    }
    run->finish();
    return run;
}

}  // namespace zv_fire
