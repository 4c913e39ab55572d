// model.h - what the daemon ought to do, said a second time and in another way.
//
// The model is a small interpreter of commands over dictionaries. It shares no source with the
// daemon: it was written from the documented behaviour, so that a fault would have to be made twice
// to stay unseen. It does not simulate the switch. What the platform answers is taken from the
// daemon's own trace, call by call: the model says which call has to come next and with which
// arguments, compares it with the one that came, and goes on with the status and the output that
// the daemon got. An injected fault therefore needs no word here.
//
//   Model model;
//   Outcome outcome = model.serve(request, calls_since(mark));
//   outcome.differences  // empty, or what the daemon did otherwise, one text each
//   outcome.reply        // to be compared with the daemon's, byte for byte
//   model.dump()         // to be compared with a dump of the daemon
#ifndef ZV_TESTS_FIRE_MODEL_MODEL_H
#define ZV_TESTS_FIRE_MODEL_MODEL_H

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tests/fire/model/switch_objects.h"

namespace zv_model {

using Bytes = std::vector<uint8_t>;

// One line of the platform's trace.
struct Call {
    std::string name;
    nlohmann::json args;
    uint32_t status = 0;
    nlohmann::json out;
};

struct Request {
    uint32_t command = 0;
    Bytes body;
    std::optional<std::string> attachment;
};

struct Reply {
    uint32_t transport = 0;
    uint32_t status = 0;
    Bytes body;  // empty where the status is not 0
    bool operator==(const Reply &) const = default;
};

struct Outcome {
    Reply reply;
    std::vector<std::string> differences;
};

class Model {
  public:
    Model();
    ~Model();
    Model(const Model &other);  // a copy goes its own way: to try something out
    Model &operator=(const Model &other);

    // One request, and the platform calls that the daemon made while it served it, in order. After
    // a difference in the calls the model's state is undefined: the story has to end there.
    Outcome serve(const Request &request, const std::vector<Call> &made);

    // The text a dump of the cache shows now, the time in its headline left out (the headline ends
    // where the time would begin).
    std::string dump() const;

    // The objects that the cache names, as the switch's control socket would tell of them, where
    // cache and switch agree: {"acls": {"<id>": {...}}, ...}. The format is the model's own.
    nlohmann::json cache() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// A dump as the daemon wrote it, in the form of Model::dump(): the time of the headline and the
// "====" and line break after it are taken out.
std::string without_time(std::string dump);

// What the switch holds after a row of calls: the sum of those that did their work. The answer has
// the form of the control socket's "state", rules without their activity, counters without values
// and without "ports".
class SwitchModel {
  public:
    // `config`: the switch's capacities, as DaemonOptions::config; only late faults need them.
    explicit SwitchModel(nlohmann::json config = nlohmann::json::object());

    // Calls that failed did nothing. `late`: the status is an injected fault's that let the call do
    // its work before; whether there was work to do is found by the switch's own rules.
    void add(const Call &call, bool late = false);
    nlohmann::json state() const;

    // An answer of the control socket, reduced to the form of state().
    static nlohmann::json comparable(nlohmann::json control_state);

  private:
    nlohmann::json config_;
    SwitchObjects objects_;
};

}  // namespace zv_model

#endif
