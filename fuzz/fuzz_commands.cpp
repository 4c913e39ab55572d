// Stories of commands against the daemon's code and, beside it, against the model: every reply,
// every platform call with its arguments, the cache's dump, and what the switch holds in the end.
//
// Input: one byte (odd: without the usual four OPENs and the INIT), then the story as
// support/story.cpp decodes it. ZV_FUZZ_TELL=1 in the environment tells the story on standard
// error.
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "fuzz/support/fuzz.h"
#include "fuzz/support/recorded_trace.h"
#include "fuzz/support/story.h"
#include "fuzz/support/world.h"
#include "platform/sim/faults.h"
#include "platform/switch/control_commands.h"
#include "tests/fire/model/model.h"
#include "tests/fire/story/fault_count.h"

namespace {

using zv_fuzz::Answer;
using zv_fuzz::fail;
using zv_fuzz::Input;
using zv_fuzz::Step;

constexpr uint32_t kMaxSteps = 80;
constexpr uint32_t kStepsBetweenDumps = 8;
constexpr char kDumpPath[] = "/dev/null";

bool tells() {
    static const bool told = getenv("ZV_FUZZ_TELL") != nullptr;
    return told;
}

std::string hex(const std::vector<uint8_t> &bytes) {
    std::string text;
    for (size_t i = 0; i < bytes.size() && i < 64; i++) {
        char digits[4];
        snprintf(digits, sizeof(digits), "%02x", bytes[i]);
        text += digits;
    }
    return text;
}

class Story {
  public:
    void order(const zv_sim::Fault &fault) {
        if (tells()) {
            fprintf(stderr, "fault: %s nth %u times %ld status %u%s\n", fault.call.c_str(),
                    fault.nth, static_cast<long>(fault.times), fault.status,
                    fault.late ? " late" : "");
        }
        zv_sim::faults_arm({fault});
        const nlohmann::json ordered = {
            {"call", fault.call}, {"nth", fault.nth}, {"times", fault.times}, {"late", fault.late}};
        faults_.arm(nlohmann::json::array({ordered}));
    }

    void carry_out(const Step &step) {
        zv_fuzz::take_calls();
        const Answer answer =
            zv_fuzz::serve(step.command, step.record, step.has_path ? kDumpPath : nullptr);
        std::vector<zv_model::Call> calls;
        for (zv_fuzz::RecordedCall &call : zv_fuzz::take_calls()) {
            calls.push_back(
                {std::move(call.name), std::move(call.args), call.status, std::move(call.out)});
            const bool late = faults_.count(calls.back().name) == zv_fire::Hit::kLate;
            switch_model_.add(calls.back(), late);
        }
        tell(step, answer, calls);
        zv_model::Request request{step.command, step.record, std::nullopt};
        if (step.has_path) {
            request.attachment = kDumpPath;
        }
        compare(step, answer, model_.serve(request, calls));
        if (++steps_num_ % kStepsBetweenDumps == 0) {
            compare_dumps();
        }
    }

    void end() {
        compare_dumps();
        zv_fuzz::check_cache(false);
        compare_switches();
    }

  private:
    void tell(const Step &step, const Answer &answer, const std::vector<zv_model::Call> &calls) {
        if (!tells()) {
            return;
        }
        fprintf(stderr, "command %u %s: status %u\n", step.command, hex(step.record).c_str(),
                answer.status);
        for (const zv_model::Call &call : calls) {
            fprintf(stderr, "    %s %.200s: %u %.200s\n", call.name.c_str(),
                    call.args.dump().c_str(), call.status, call.out.dump().c_str());
        }
    }

    static void compare(const Step &step, const Answer &answer, const zv_model::Outcome &outcome) {
        if (!outcome.differences.empty()) {
            fail("command %u (%s...), status %u: %s", step.command, hex(step.record).c_str(),
                 answer.status, outcome.differences[0].c_str());
        }
        const zv_model::Reply &reply = outcome.reply;
        if (reply.transport != 0 || reply.status != answer.status) {
            fail("command %u (%s...) answers %u, the model %u", step.command,
                 hex(step.record).c_str(), answer.status, reply.status);
        }
        if (answer.status == 0 && reply.body != answer.body) {
            fail("command %u (%s...) answers\n%s..., the model\n%s...", step.command,
                 hex(step.record).c_str(), hex(answer.body).c_str(), hex(reply.body).c_str());
        }
    }

    void compare_dumps() {
        const std::string dump = zv_model::without_time(zv_fuzz::dump_text());
        const std::string wanted = model_.dump();
        if (dump != wanted) {
            fail("the dump is\n%s\nand the model's\n%s", dump.c_str(), wanted.c_str());
        }
    }

    void compare_switches() {
        const auto state = zv_model::SwitchModel::comparable(
            nlohmann::json::parse(zv_switch::control_answer("{\"cmd\":\"state\"}")));
        const nlohmann::json wanted = switch_model_.state();
        if (state != wanted) {
            fail("the switch holds more or less than its calls say: %s",
                 nlohmann::json::diff(wanted, state).dump().c_str());
        }
    }

    zv_model::Model model_;
    zv_model::SwitchModel switch_model_;
    zv_fire::FaultCount faults_;  // which calls did their work and failed all the same
    uint32_t steps_num_ = 0;
};

void tell_story(Input input) {
    const zv_fuzz::World world;
    Story story;
    if ((input.u8() & 1) == 0) {
        for (const Step &step : zv_fuzz::first_steps()) {
            story.carry_out(step);
        }
    }
    for (uint32_t i = 0; i < kMaxSteps && !input.empty(); i++) {
        const Step step = zv_fuzz::next_step(input);
        if (step.fault) {
            story.order(*step.fault);
        } else {
            story.carry_out(step);
        }
    }
    zv_sim::faults_arm({});
    story.end();
}

}  // namespace

int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/) {
    zv_fuzz::record_calls();
    return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    tell_story(Input(data, size));
    zv_fuzz::take_calls();
    return 0;
}
