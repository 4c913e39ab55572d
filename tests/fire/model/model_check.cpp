// fire_model_check - the model beside the real daemon, in a told story and in noise.
//
// It measures the model and not the daemon: what the two say of the same requests has to agree in
// every reply, platform call, dump and in what the switch holds afterwards.
#include <iostream>
#include <string>

#include "tests/fire/model/stories.h"
#include "tests/fire/support/command_line.h"
#include "tests/fire/support/fire_report.h"

namespace {

struct Totals {
    uint64_t requests = 0, successes = 0, calls = 0;
    double model_seconds = 0;

    void add(const zv_model::SideBySide &pair) {
        requests += pair.requests();
        successes += pair.successes();
        calls += pair.calls();
        model_seconds += pair.model_seconds();
    }
};

void end(const std::string &what, const zv_model::SideBySide &pair, zv_fire::Report &report,
         Totals &totals) {
    for (const std::string &text : pair.differences()) {
        report.failure(what + ", " + text);
    }
    totals.add(pair);
}

}  // namespace

int main(int argc, char **argv) {
    zv_fire::CommandLine line("Compares the reference model with the daemon, request by request.");
    uint64_t seed = 1;
    uint32_t rounds = 10, num = 300;
    std::string json_path;
    bool no_story = false, no_tables = false;
    line.option("--seed", seed, "of the first round of noise; each round has the next one");
    line.option("--count", rounds, "rounds of noise, each with a daemon of its own");
    line.option("--requests", num, "requests of a round");
    line.option("--json", json_path, "file for the figures");
    line.flag("--no-story", no_story, "noise alone, without the told story");
    line.flag("--no-tables", no_tables, "without filling the tables");
    if (const auto status = line.parse(argc, argv)) {
        return *status;
    }

    zv_fire::Report report("fire_model_check", json_path);
    Totals totals;
    if (!no_story) {
        zv_model::SideBySide pair(nlohmann::json{{"acl_destroy_in_use", true}});
        tell_story(pair);
        end("the story", pair, report, totals);
    }
    if (!no_tables) {
        zv_model::SideBySide pair(
            nlohmann::json{{"acls", 1000}, {"regions", 1000}, {"bindings", 2000}});
        fill_tables(pair);
        end("the full tables", pair, report, totals);
    }
    for (uint32_t round = 0; round < rounds && report.failures() == 0; ++round) {
        zv_model::SideBySide pair;
        make_noise(pair, seed + round, num);
        const std::string which = std::to_string(seed + round);
        end("noise (--no-story --no-tables --count 1 --requests " + std::to_string(num) +
                " --seed " + which + ")",
            pair, report, totals);
        report.progress("noise of seed " + which);
    }
    report.figure("requests", totals.requests);
    report.figure("successes", totals.successes);
    report.figure("platform_calls", totals.calls);
    report.figure(
        "model_us_per_request",
        1e6 * totals.model_seconds / static_cast<double>(std::max<uint64_t>(1, totals.requests)));
    return report.finish();
}
