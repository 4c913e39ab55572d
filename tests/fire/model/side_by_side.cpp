#include "tests/fire/model/side_by_side.h"

#include <chrono>
#include <filesystem>
#include <sstream>

#include "tests/support/temp_dir.h"

namespace zv_model {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

namespace {

constexpr uint32_t kDumpCommand = 17;

zv_test::DaemonOptions options(json config) {
    zv_test::DaemonOptions options;
    options.config = std::move(config);
    return options;
}

// The first line in which two texts differ.
std::string first_difference(const std::string &text, const std::string &expected) {
    std::istringstream lines(text), wanted_lines(expected);
    for (std::string line, wanted;;) {
        const bool has_line = bool(std::getline(lines, line));
        const bool has_wanted = bool(std::getline(wanted_lines, wanted));
        if (!has_line && !has_wanted) {
            return "the last line break";
        }
        if (has_line != has_wanted || line != wanted) {
            return (has_line ? "\"" + line + "\"" : "it ends") + ", expected " +
                   (has_wanted ? "\"" + wanted + "\"" : "its end");
        }
    }
}

}  // namespace

SideBySide::SideBySide(json config)
    : daemon_(options(config)), connection_(daemon_.connect()), switch_(config) {
    daemon_.allow_error_lines();
    new_calls();
}

SideBySide::~SideBySide() = default;

void SideBySide::fail_next(const Fault &fault) {
    fault_ = fault;
    daemon_.control().fail(fault.call, fault.status, static_cast<int>(fault.nth), 1, fault.late);
}

std::vector<Call> SideBySide::new_calls() {
    std::vector<Call> calls;
    std::ifstream trace(daemon_.root().file("trace"));
    trace.seekg(static_cast<std::streamoff>(trace_at_));
    for (std::string line; std::getline(trace, line);) {
        trace_at_ += line.size() + 1;
        json entry = json::parse(line);
        calls.push_back({entry.at("call"), std::move(entry["args"]), entry.at("status"),
                         std::move(entry["out"])});
    }
    return calls;
}

bool SideBySide::send(const std::string &what, uint32_t command, const Bytes &body,
                      const std::optional<std::string> &attachment) {
    about_ = "request " + std::to_string(++requests_) + " (" + what + ", command " +
             std::to_string(command) + ")";
    const auto answer = connection_.call(command, body, attachment);
    if (!answer) {
        differ("no answer");
        return false;
    }
    reply_ = {answer->transport, answer->status, answer->body};
    const std::vector<Call> calls = new_calls();
    calls_num_ += calls.size();
    successes_ += reply_.transport == 0 && reply_.status == 0;
    const auto start = Clock::now();
    const Outcome outcome = model_.serve({command, body, attachment}, calls);
    model_seconds_ += std::chrono::duration<double>(Clock::now() - start).count();
    for (const std::string &text : outcome.differences) {
        differ(text);
    }
    if (outcome.differences.empty()) {
        compare_reply(outcome.reply);
    }
    for (const Call &call : calls) {
        const bool is_hit = fault_ && call.status == fault_->status &&
                            (fault_->call == "*" || fault_->call == call.name);
        switch_.add(call, is_hit && fault_->late);
    }
    if (fault_) {
        daemon_.control().clear_faults();
        fault_.reset();
    }
    cache_ = nullptr;
    if (differences_.empty() && requests_ % every_ == 0) {
        compare_dump();
        compare_switch();
    }
    return differences_.empty();
}

void SideBySide::compare_reply(const Reply &expected) {
    if (reply_.transport != expected.transport || reply_.status != expected.status) {
        differ("transport and status are " + std::to_string(reply_.transport) + " and " +
               std::to_string(reply_.status) + ", expected " + std::to_string(expected.transport) +
               " and " + std::to_string(expected.status));
        return;
    }
    if (reply_.body.size() != expected.body.size()) {
        differ("the reply has " + std::to_string(reply_.body.size()) + " bytes, expected " +
               std::to_string(expected.body.size()));
        return;
    }
    for (size_t i = 0; i < expected.body.size(); ++i) {
        if (reply_.body[i] != expected.body[i]) {
            differ("the reply's byte " + std::to_string(i) + " is " +
                   std::to_string(reply_.body[i]) + ", expected " +
                   std::to_string(expected.body[i]));
            return;
        }
    }
}

void SideBySide::compare_dump() {
    const std::string file = path("compared");
    const auto answer = connection_.call(kDumpCommand, Bytes(16), file);
    if (!answer || answer->transport != 0 || answer->status != 0) {
        differ("the cache is not dumped");
        return;
    }
    const std::string text = without_time(zv_test::read_file(file));
    const auto start = Clock::now();
    const std::string expected = model_.dump();
    model_seconds_ += std::chrono::duration<double>(Clock::now() - start).count();
    if (text != expected) {
        differ("the dump has " + first_difference(text, expected));
    }
    for (const Call &call : new_calls()) {
        differ("a dump calls " + call.name);
    }
}

void SideBySide::compare_switch() {
    const json held = SwitchModel::comparable(daemon_.control().state());
    const json expected = switch_.state();
    if (held != expected) {
        differ("from what the switch holds to what it should hold: " +
               json::diff(held, expected).dump());
    }
}

const json &SideBySide::cache() {
    if (cache_.is_null()) {
        cache_ = model_.cache();
    }
    return cache_;
}

}  // namespace zv_model
