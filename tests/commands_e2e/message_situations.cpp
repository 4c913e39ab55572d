#include "tests/commands_e2e/message_situations.h"

namespace zv_test {

LogLine core(const char *level, const std::string &text) {
    return {"ZV_ACL_RM", level, text};
}

LogLine rpc(const char *level, const std::string &text) {
    return {"ACL_RM_RPC", level, text};
}

void PrintTo(const Situation &situation, std::ostream *out) {
    *out << situation.name;
}

std::vector<Situation> all_situations() {
    std::vector<Situation> all;
    for (const auto &subject : {session_situations(), acl_situations(), rule_situations(),
                                binding_situations(), counter_situations(), limit_situations()}) {
        all.insert(all.end(), subject.begin(), subject.end());
    }
    return all;
}

DaemonOptions talkative(nlohmann::json faults) {
    DaemonOptions options;
    options.arguments = {"-v", "5", std::string("--connector=") + ZV_TEST_EARLY_VERBOSITY};
    options.faults = std::move(faults);
    return options;
}

std::vector<LogLine> stopped(DaemonProcess &daemon, int exit_code) {
    daemon.allow_error_lines();
    daemon.stop(SIGTERM, ExitStatus::exit(exit_code));
    return daemon.log();
}

}  // namespace zv_test
