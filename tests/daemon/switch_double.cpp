#include "tests/daemon/switch_double.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <new>

#include "platform/sim/faults.h"

namespace zv_unit {
namespace {

// Trivially destructible, since allocations go on until the very end of the process.
std::atomic<uint32_t> allocations_until_failure{0};  // 0: none is to fail
std::atomic<uint32_t> failures_num{0};
std::atomic<uint32_t> allocations_until_act{0};  // 0: there is nothing to do
std::atomic<void (*)()> act_then{nullptr};

std::string &trace_path() {
    static std::string &path = *new std::string;
    return path;
}

std::vector<zv_sim::Fault> &ordered_faults() {
    static auto &faults = *new std::vector<zv_sim::Fault>;
    return faults;
}

bool is_to_fail() {
    if (allocations_until_failure == 0)
        return false;
    if (allocations_until_failure > 1) {
        allocations_until_failure--;
        return false;
    }
    if (--failures_num == 0)
        allocations_until_failure = 0;
    return true;
}

void act_if_it_is_time() {
    if (allocations_until_act != 0 && --allocations_until_act == 0)
        act_then.load()();
}

}  // namespace

void record_calls(const std::string &trace_file) {
    trace_path() = trace_file;
    setenv("ZV_SIM_TRACE", trace_file.c_str(), 1);
}

std::vector<nlohmann::json> recorded_calls(const std::string &name) {
    std::vector<nlohmann::json> calls;
    std::ifstream trace(trace_path());
    for (std::string text; std::getline(trace, text);) {
        nlohmann::json call = nlohmann::json::parse(text);
        if (name.empty() || call["call"] == name)
            calls.push_back(std::move(call));
    }
    return calls;
}

std::vector<std::string> switch_call_names() {
    std::vector<std::string> names;
    for (const nlohmann::json &call : recorded_calls()) {
        const std::string name = call["call"];
        if (name.starts_with("zv_api_"))
            names.push_back(name);
    }
    return names;
}

void fail_call(const std::string &name, uint32_t status, Failing failing) {
    zv_sim::Fault fault{};
    fault.call = name;
    fault.nth = failing.nth;
    fault.times = failing.times;
    fault.status = status;
    fault.late = failing.late;
    ordered_faults().push_back(fault);
    zv_sim::faults_arm(ordered_faults());
}

void clear_faults() {
    ordered_faults().clear();
    zv_sim::faults_arm({});
}

void fail_allocation(uint32_t nth, uint32_t times) {
    failures_num = times;
    allocations_until_failure = nth;
}

void act_at_allocation(uint32_t nth, void (*act)()) {
    act_then = act;
    allocations_until_act = nth;
}

bool allocation_failure_is_pending() {
    return allocations_until_failure != 0;
}

}  // namespace zv_unit

// The throwing forms stay the library's, so memory still comes from where delete expects it.
void *operator new(size_t bytes, const std::nothrow_t &) noexcept {
    zv_unit::act_if_it_is_time();
    if (zv_unit::is_to_fail())
        return nullptr;
    try {
        return ::operator new(bytes);
    } catch (...) {
        return nullptr;
    }
}

void *operator new[](size_t bytes, const std::nothrow_t &) noexcept {
    zv_unit::act_if_it_is_time();
    if (zv_unit::is_to_fail())
        return nullptr;
    try {
        return ::operator new[](bytes);
    } catch (...) {
        return nullptr;
    }
}
