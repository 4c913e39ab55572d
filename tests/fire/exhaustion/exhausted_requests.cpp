// Commands without memory.
//
// What a refused command leaves behind is compared with the same story without a failure: after
// everything that the cache knows has been taken away, the daemon's thread holds as many
// allocations as then. Objects that only the switch knows any more, which a refusal may leave (the
// daemon rolls nothing back), are counted in: the switch's state tells which, and what they cost.
#include <gtest/gtest.h>

#include "tests/fire/exhaustion/exhaustion.h"
#include "tests/fire/exhaustion/requests.h"
#include "tests/fire/support/process_figures.h"

namespace zv_fire {

using nlohmann::json;
using zv_test::TestClient;

namespace {

constexpr uint64_t kRulesOfAPage = 64;

// The allocations that the switch's objects stand for: a node of a map each, and what hangs off it.
int64_t cost_of(const json &state) {
    size_t num = state.at("acls").size() + state.at("bindings").size() +
                 state.at("counters").size() + state.at("groups").size() + state.at("pbs").size() +
                 state.at("regions").size();
    for (const json &group : state.at("groups")) {
        num += group.at("acl_ids").empty() ? 0 : 1;
    }
    for (const json &entry : state.at("pbs")) {
        num += entry.at("ports").size();
    }
    for (const json &region : state.at("regions")) {
        const auto size = region.at("region_size").get<uint64_t>();
        num += size == 0 ? 0 : 1 + (size + kRulesOfAPage - 1) / kRulesOfAPage;
    }
    return static_cast<int64_t>(num);
}

bool is_empty(const json &state) {
    for (const char *kind : {"acls", "bindings", "groups", "pbs", "regions"}) {
        if (!state.at(kind).empty()) {
            return false;
        }
    }
    return true;
}

// Takes away what the cache knows, whoever left it so. What refuses to go shows in the dump.
void unbind_everything(Stage &stage, const zv_test::CacheDump &dump) {
    for (const zv_test::CacheDump::Acl &acl : dump.acls) {
        if (acl.bound_to_system) {
            stage.one.bind_system(ZV_ACL_RM_ACCESS_CMD_UNBIND, acl.acl_id);
        }
        for (const zv_test::CacheDump::BindPoint &point : dump.bind_points) {
            if (point.is_rif) {
                stage.one.bind_rifs(ZV_ACL_RM_ACCESS_CMD_UNBIND, acl.acl_id,
                                    {static_cast<uint16_t>(point.port_id)});
            } else {
                stage.one.bind_ports(ZV_ACL_RM_ACCESS_CMD_UNBIND, acl.acl_id, {point.port_id});
            }
        }
    }
}

void take_everything_away(Stage &stage) {
    const zv_test::CacheDump dump = stage.daemon.dump();
    unbind_everything(stage, dump);
    for (const zv_test::CacheDump::Acl &cached : dump.acls) {
        acl_rm_acl acl = {};
        acl.acl_id = cached.acl_id;
        acl.region_id = cached.region_id;
        acl.direction = stage.acl.direction;
        stage.one.destroy_acl(acl);
    }
    for (zv_test::CacheDump::McGroup group : dump.mc_groups) {
        stage.one.mc_group_set(ZV_ACL_RM_ACCESS_CMD_DELETE, group.mcg_id, {});
    }
    for (const json &counter : stage.daemon.control().state().at("counters")) {
        stage.one.destroy_counter(counter.at("counter_id").get<uint32_t>());
    }
}

struct RequestOutcome {
    bool failed = false;  // an allocation did
    int64_t live = 0;     // of the main thread in the end, the switch's objects left out
};

class RequestRun {
  public:
    RequestRun(const Request &request, uint64_t nth, const Mode &mode, Report &report)
        : request_(request),
          nth_(nth),
          mode_(mode),
          report_(report),
          what_(std::string(request.name) + ", allocation " + std::to_string(nth) + " " +
                mode.name),
          stage_(faults_, request.opened) {}

    RequestOutcome run() {
        tally.runs++;
        request_.prepare(stage_);
        // Both are accepted when they have been answered.
        for (TestClient *client : {&stage_.one, &stage_.other}) {
            zv_acl_rm_counter_get_params_t unknown = {};
            client->counter_get(unknown);
        }
        // So is the test's own connection to the control socket, which stays.
        stage_.daemon.control().state();
        const size_t descriptors = descriptors_of(stage_.daemon.pid()).size();
        faults_.arm_allocations(nth_, mode_.times, FIRE_MAIN_THREAD);
        const zv_acl_rm_status_t status = request_.act(stage_);
        faults_.disarm_allocations();
        RequestOutcome outcome;
        outcome.failed = faults_.allocations_failed() > 0;
        judge(status, outcome.failed);
        if (!request_.opened) {
            open_both();
        }
        expect_served(report_, what_, stage_.one, stage_.other);
        const unsigned skip = request_.drift | (outcome.failed ? request_.skip : 0u);
        if (skip != ~0u) {
            check_cache(stage_.daemon, skip);
        }
        outcome.live = live_after_teardown();
        const bool same =
            wait_until([&] { return descriptors_of(stage_.daemon.pid()).size() <= descriptors; });
        report_.expect(same, what_ + ": descriptors are left open");
        return outcome;
    }

    const std::string &what() const { return what_; }

  private:
    void judge(zv_acl_rm_status_t status, bool failed) {
        tally.failed += faults_.allocations_failed();
        if (status == ZV_ACL_RM_STATUS_SUCCESS) {
            tally.carried_out += failed ? 1 : 0;
            return;
        }
        tally.refused += 1;
        bool allowed = false;
        for (const zv_acl_rm_status_t refusal : request_.refusals) {
            allowed = allowed || (failed && status == refusal);
        }
        report_.expect(allowed, what_ + ": status " + std::to_string(status) + ", " +
                                    std::to_string(faults_.allocations_failed()) +
                                    " allocations failed");
    }

    void open_both() {
        for (TestClient *client : {&stage_.one, &stage_.other}) {
            const uint32_t owner = client == &stage_.one ? 0 : 1;
            report_.expect(client->open(owner) == 0 && client->init(3) == 0,
                           what_ + ": a client cannot open afterwards");
        }
    }

    int64_t live_after_teardown() {
        take_everything_away(stage_);
        const zv_test::CacheDump dump = stage_.daemon.dump();
        report_.expect(dump.acls.empty() && dump.rules.empty() && dump.mc_groups.empty() &&
                           dump.forwardings.empty(),
                       what_ + ": the cache cannot be emptied afterwards");
        const json state = stage_.daemon.control().state();
        tally.drifts += is_empty(state) ? 0 : 1;
        return faults_.live_of_main() - cost_of(state);
    }

    const Request &request_;
    uint64_t nth_;
    const Mode &mode_;
    Report &report_;
    std::string what_;
    Faults faults_;
    Stage stage_;
};

void exhaust(const Request &request, Report &report) {
    const RequestOutcome whole = RequestRun(request, 0, kModes[0], report).run();
    for (const Mode &mode : kModes) {
        for (uint64_t nth = 1;; nth++) {
            RequestRun run(request, nth, mode, report);
            const RequestOutcome outcome = run.run();
            // Fewer where the C library did without a cache of its own, the time zone's.
            report.expect(outcome.live <= whole.live,
                          run.what() + ": " + std::to_string(outcome.live - whole.live) +
                              " allocations more are left than without a failure");
            if (!outcome.failed) {
                break;
            }
        }
    }
}

}  // namespace

std::vector<Case> request_cases() {
    std::vector<Case> cases;
    for (const Request &request : requests()) {
        cases.push_back({std::string("request: ") + request.name,
                         [&request](Report &report) { exhaust(request, report); }});
    }
    return cases;
}

}  // namespace zv_fire
