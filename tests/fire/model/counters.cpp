// Flow counters.
#include "tests/fire/model/bytes.h"
#include "tests/fire/model/world.h"

namespace zv_model {

using nlohmann::json;

namespace {

constexpr size_t kMaxCounters = 255;

}  // namespace

const Call &Service::counter_call(uint32_t cmd, uint32_t first_flag, uint32_t id) {
    json args = {{"cmd", cmd}, {"counter_type", first_flag != 0 ? 0 : 1}};
    if (cmd == kCreate) {
        return calls_.take("zv_api_flow_counter_set", args, {"counter_id"});
    }
    args["counter_id"] = id;
    return calls_.take("zv_api_flow_counter_set", args);
}

void Service::counter_set() {
    need_connection();
    const uint32_t cmd = word(8), first = word(12), second = word(16);
    if (cmd == 5) {
        return free_counter(word(20));
    }
    if (cmd != 4) {
        throw Refusal{kUnsupported};
    }
    if (!((first == 1 && second == 0) || (first == 0 && second == 1))) {
        throw Refusal{kError};
    }
    const Call &made = counter_call(kCreate, first, 0);
    if (made.status != 0) {
        throw Refusal{kError};
    }
    const uint32_t id = made.out.at("counter_id");
    const bool known = world_.counters.contains(id);
    if (known || world_.counters.size() >= kMaxCounters) {
        counter_call(kDestroy, first, id);
        throw Refusal{known ? kError : kNoResources};
    }
    world_.counters[id] = {first, second, 0};
    put(record_, 20, id);
}

// A counter that rules use stays, and its destruction is a success all the same.
void Service::free_counter(uint32_t id) {
    const auto counter = world_.counters.find(id);
    if (counter == world_.counters.end()) {
        throw Refusal{kNotFound};
    }
    if (counter->second.users != 0) {
        return;
    }
    if (counter_call(kDestroy, counter->second.first, id).status != 0) {
        throw Refusal{kError};
    }
    world_.counters.erase(counter);
}

void Service::drop_counter_user(uint32_t id) {
    if (id == 0) {
        return;
    }
    const auto counter = world_.counters.find(id);
    if (counter == world_.counters.end()) {
        throw Refusal{kNotFound};
    }
    --counter->second.users;
    free_counter(id);
}

void Service::counter_get() {
    need_connection();
    const uint32_t cmd = word(8), id = word(12);
    const auto found = world_.counters.find(id);
    if (found == world_.counters.end()) {
        throw Refusal{kNotFound};
    }
    const Counter &counter = found->second;
    put(record_, 16, counter.first);
    put(record_, 20, counter.second);
    if (cmd != 13 && cmd != 15) {
        throw Refusal{kUnsupported};
    }
    const Call &made =
        cmd == 15 ? calls_.take("zv_api_flow_counter_clear_set", {{"counter_id", id}})
                  : calls_.take("zv_api_flow_counter_get", {{"cmd", kRead}, {"counter_id", id}});
    if (made.status != 0) {
        // The failure's text names the switch's status.
        calls_.take("zv_status_str", {{"status", made.status}});
        throw Refusal{kError};
    }
    if (cmd == 13) {
        // Crosswise: the first type reads the second value, and the other way round.
        const size_t from = counter.first != 0 ? 1 : 0;
        put(record_, counter.first != 0 ? 24 : 32, made.out.at("values").at(from).get<uint64_t>());
    }
}

}  // namespace zv_model
