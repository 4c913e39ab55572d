// fire_syscalls - each call of the operating system that the daemon makes fails, as a table says.
//
// The rows name the calling library, so that a call site is hit whatever other libraries do. A row
// whose fault nothing ran into has failed: a site that has moved is noticed.
//
// No rows are there for calls that cannot fail with the arguments they are given, or whose failure
// nothing could be done about: close, munmap, getpid, pause, pthread_sigmask, sigemptyset,
// pthread_setname_np, pthread_attr_setdetachstate and _destroy, pthread_mutex_init, _lock and
// _unlock of a plain mutex, clock_gettime of the monotonic clock, time and localtime_r, the
// nanosleep between two looks of a closing log, the eventfd's read (of a stop that is taken back,
// which no daemon does: FailingCalls.AWakeThatCannotBeReadIsReadInALaterRound), the fstat of a
// trace file that is read (which no daemon does either), dlsym and dlclose of a library that is
// open, what goes to standard output and standard error before the process ends by itself (printf,
// fputs, fprintf), the fprintf to a file that only a plug-in can name as the log's, the fclose of a
// dump, all of whose text was flushed before, and the unlink of what could not be finished: a trace
// file without room, a control socket that cannot be listened on or has no thread. The unlink of an
// old control socket is ControlLife.AnOldSocketThatCannotBeRemovedIsReportedAndTheProgramRuns. The
// client's side of the RPC library is not the daemon's. Of syslog the C library reports nothing.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <atomic>
#include <cstring>

#include "tests/fire/exhaustion/syscalls.h"
#include "tests/fire/support/command_line.h"

namespace zv_fire {

using zv_test::DaemonOptions;
using zv_test::DaemonProcess;
using zv_test::ExitStatus;
using zv_test::RpcConnection;
using zv_test::TestClient;

namespace {

std::atomic<uint64_t> failed_calls{0};
constexpr char kOldTrace[] = "of the run before";

std::string name_of_fault(const CallFault &fault) {
    return std::string(*fault.library == '\0' ? "anywhere" : fault.library) + ": " +
           name_of(fault.call) + " " + std::to_string(fault.nth) +
           (fault.times == kFromThenOn ? " and on: " : ": ") +
           (fault.error == 0 ? "short" : strerrorname_np(fault.error));
}

bool answers(const DaemonProcess &daemon) {
    std::optional<RpcConnection> connection = RpcConnection::open(daemon.socket_path());
    return connection && connection->call(0, {}).has_value();
}

// Lines of the RPC library reach nobody without a logger.
void add_logger(const CallFault &fault, DaemonOptions &options) {
    if (strcmp(fault.library, "libzv_rpc") == 0) {
        options.arguments.push_back(std::string("--logger=") + ZV_TEST_FILE_LOGGER);
        options.environment["ZV_ACL_RM_LOG_FILE"] = "/dev/stderr";
    }
}

void add_need(StartRow::Need need, DaemonOptions &options) {
    switch (need) {
        case StartRow::kNothing:
            break;
        case StartRow::kConnector:
            options.arguments = {std::string("--connector=") + ZV_TEST_CONNECTOR};
            break;
        case StartRow::kTraceFile:
        case StartRow::kOldTraceFile:
            options.environment["ZV_TRACE_FILE"] =
                std::string(getenv("TMPDIR") ? getenv("TMPDIR") : "/tmp") + "/fire-trace-" +
                std::to_string(getpid()) + "-" + std::to_string(failed_calls++);
            if (need == StartRow::kOldTraceFile) {
                zv_test::write_file(options.environment["ZV_TRACE_FILE"], kOldTrace);
            }
            break;
        case StartRow::kTrace:
        case StartRow::kWholeTrace:
            options.trace = true;
            break;
        case StartRow::kConfig:
            options.config = {{"regions", 100}};
            break;
        case StartRow::kBadConfig:
            options.config = {{"regions", "many"}};
            break;
    }
}

void expect_line(Report &report, const std::string &what, const DaemonProcess &daemon,
                 const std::string &line) {
    report.expect(daemon.err().find(line) != std::string::npos,
                  what + ": it does not write \"" + line + "\" but\n" + daemon.err());
}

// Every line is a call's, and none is lost where none may be.
void expect_trace(Report &report, const std::string &what, const StartRow &row,
                  const DaemonProcess &daemon) {
    uint64_t last = 0;
    for (const nlohmann::json &call : daemon.trace()) {
        const auto number = call.at("seq").get<uint64_t>();
        const bool follows = row.need == StartRow::kWholeTrace ? number == last + 1 : number > last;
        report.expect(follows, what + ": line " + std::to_string(number) +
                                   " of the trace follows line " + std::to_string(last));
        last = number;
    }
    const bool is_wanted = row.fault.call != FIRE_open;
    report.expect((last > 0) == is_wanted, what + (is_wanted ? ": no trace" : ": a trace"));
}

void expect_serving_daemon(Report &report, const std::string &what, const StartRow &row,
                           DaemonProcess &daemon) {
    {
        TestClient one(daemon);
        TestClient other(daemon, ZV_ACL_RM_OWNER_TARN_OS);
        expect_served(report, what, one, other);
    }
    const bool has_control =
        ControlLine(daemon.root().file("var/run/zv_switch.sock")).send("{\"cmd\":\"usage\"}");
    report.expect(has_control == row.has_control, what + ": the control socket");
    expect_line(report, what, daemon, row.line);
    if (!row.can_stop) {
        daemon.signal(SIGKILL);
        daemon.wait_exit();
        return;
    }
    report.expect(daemon.stop() == ExitStatus::exit(0), what + ": it did not end well");
    if (row.need == StartRow::kTrace || row.need == StartRow::kWholeTrace) {
        expect_trace(report, what, row, daemon);
    }
}

void start_with_failure(const StartRow &row, Report &report) {
    const std::string what = "start, " + name_of_fault(row.fault);
    Faults faults;
    DaemonOptions options = failing_daemon(faults);
    options.wait_until_serving = false;
    add_logger(row.fault, options);
    add_need(row.need, options);
    faults.arm(0, row.fault);
    DaemonProcess daemon(options);
    daemon.allow_error_lines();
    report.expect(wait_until([&] { return !daemon.running() || answers(daemon); }),
                  what + ": it neither serves nor ends");
    if (row.need == StartRow::kConfig || row.need == StartRow::kBadConfig) {
        // The configuration is read when the switch is first asked for.
        ControlLine first(daemon.root().file("var/run/zv_switch.sock"));
        first.send("{\"cmd\":\"usage\"}");
        report.expect(first.answer().value_or("") != "", what + ": the switch does not answer");
    }
    report.expect(faults.failed(0) > 0, what + ": nothing ran into the fault");
    failed_calls += faults.failed(0);
    faults.disarm_calls();
    if (row.need == StartRow::kOldTraceFile) {
        report.expect(zv_test::read_file(options.environment.at("ZV_TRACE_FILE")) == kOldTrace,
                      what + ": the trace of the run before is not what it was");
    }
    if (row.need == StartRow::kTraceFile || row.need == StartRow::kOldTraceFile) {
        unlink(options.environment.at("ZV_TRACE_FILE").c_str());
    }
    const bool serves = daemon.running();
    report.expect(serves == (row.end == StartEnd::kServes),
                  what + (serves ? ": it serves" : ": it does not serve") + "\n" + daemon.err());
    if (serves) {
        expect_serving_daemon(report, what, row, daemon);
        return;
    }
    const ExitStatus end = daemon.wait_exit();
    report.expect(end.exited && end.code != 0, what + ": it did not end with a refusal");
    expect_line(report, what, daemon, row.line);
}

void arm_all(const ServingRow &row, Faults &faults) {
    for (size_t i = 0; i < row.faults.size(); i++) {
        faults.arm(i, row.faults[i]);
    }
}

void disarm_all(const ServingRow &row, const std::string &what, Faults &faults, Report &report) {
    for (size_t i = 0; i < row.faults.size(); i++) {
        report.expect(faults.failed(i) > 0,
                      what + ": nothing ran into " + name_of_fault(row.faults[i]));
        failed_calls += faults.failed(i);
    }
    faults.disarm_calls();
}

void serve_with_failure(const ServingRow &row, Report &report) {
    const std::string what = row.what;
    Faults faults;
    DaemonOptions options = failing_daemon(faults);
    options.environment.insert(row.environment.begin(), row.environment.end());
    add_logger(row.faults[0], options);
    DaemonProcess daemon(options);
    daemon.allow_error_lines();
    TestClient one(daemon);
    TestClient other(daemon, ZV_ACL_RM_OWNER_TARN_OS);
    daemon.control().state();
    arm_all(row, faults);
    const std::string wrong = row.step(daemon, one);
    report.expect(wrong.empty(), what + ": " + wrong);
    disarm_all(row, what, faults, report);
    expect_line(report, what, daemon, row.line);
    if (report.expect(daemon.running(), what + ": the daemon has ended\n" + daemon.err())) {
        expect_served(report, what, one, other);
        report.expect(ControlLine(daemon.root().file("var/run/zv_switch.sock")).send("{}"),
                      what + ": the control socket is gone");
        report.expect(daemon.stop() == ExitStatus::exit(0), what + ": it did not end well");
    }
}

// The connection wakes the wait that may be under way, so that the next one fails, and all after.
void deafen_loop(const DaemonProcess &daemon, Faults &faults, Report &report) {
    constexpr size_t kPlace = FIRE_FAULTS_MAX - 1;
    faults.arm(kPlace, {FIRE_epoll_wait, EINTR, "libzv_rpc", 1, kFromThenOn});
    const std::optional<RpcConnection> connection = RpcConnection::open(daemon.socket_path());
    report.expect(wait_until([&] { return faults.failed(kPlace) > 0; }), "the loop hears");
}

// The step is the end itself, and nothing is asked of the daemon afterwards.
void stop_with_failure(const ServingRow &row, Report &report) {
    const std::string what = row.what;
    Faults faults;
    DaemonOptions options = failing_daemon(faults);
    options.environment.insert(row.environment.begin(), row.environment.end());
    add_logger(row.faults[0], options);
    DaemonProcess daemon(options);
    daemon.allow_error_lines();
    TestClient one(daemon);
    if (row.is_deaf) {
        deafen_loop(daemon, faults, report);
    }
    arm_all(row, faults);
    const std::string wrong = row.step(daemon, one);
    report.expect(wrong.empty(), what + ": " + wrong);
    disarm_all(row, what, faults, report);
    expect_line(report, what, daemon, row.line);
}

// `path` empty: standard error is looked at.
void run_with_plugin(const PluginRow &row, const DaemonOptions &plugin, const std::string &path,
                     Report &report) {
    const std::string what = row.what;
    Faults faults;
    DaemonOptions options = failing_daemon(faults);
    options.arguments = plugin.arguments;
    options.environment.insert(plugin.environment.begin(), plugin.environment.end());
    for (size_t i = 0; i < row.faults.size(); i++) {
        faults.arm(i, row.faults[i]);
    }
    DaemonProcess daemon(options);
    {
        TestClient one(daemon);
        TestClient other(daemon, ZV_ACL_RM_OWNER_TARN_OS);
        expect_served(report, what, one, other);
    }
    report.expect(daemon.stop() == ExitStatus::exit(0), what + ": it did not end well");
    for (size_t i = 0; i < row.faults.size(); i++) {
        report.expect(faults.failed(i) > 0,
                      what + ": nothing ran into " + name_of_fault(row.faults[i]));
        failed_calls += faults.failed(i);
    }
    const std::string wrong = row.look(path.empty() ? daemon.err() : zv_test::read_file(path));
    report.expect(wrong.empty(), what + ": " + wrong);
}

void run_with_no_plugin(const PluginRow &row, Report &report) {
    run_with_plugin(row, {}, "", report);
}

void log_with_failure(const PluginRow &row, Report &report) {
    const zv_test::TempDir place;
    const std::string path = place.file("log");
    DaemonOptions plugin;
    plugin.arguments = {std::string("--logger=") + ZV_TEST_FILE_LOGGER};
    plugin.environment = {{"ZV_ACL_RM_LOG_FILE", path}};
    run_with_plugin(row, plugin, path, report);
}

void connect_with_failure(const PluginRow &row, Report &report) {
    const zv_test::TempDir place;
    const std::string path = place.file("calls");
    DaemonOptions plugin;
    plugin.arguments = {std::string("--connector=") + ZV_TEST_SAMPLE_CONNECTOR};
    plugin.environment = {{"ZV_ACL_RM_CONNECTOR_FILE", path}};
    run_with_plugin(row, plugin, path, report);
}

template <class Row, class Run>
void add_cases(const std::vector<Row> &rows, const Run &run, std::vector<Case> *cases) {
    for (const Row &row : rows) {
        std::string name;
        if constexpr (std::is_same_v<Row, StartRow>) {
            name = "start, " + name_of_fault(row.fault);
        } else {
            name = row.what;
        }
        cases->push_back({name, [row, run](Report &report) { run(row, report); }});
    }
}

std::vector<Case> all_cases() {
    std::vector<Case> cases;
    add_cases(start_rows(), start_with_failure, &cases);
    add_cases(control_start_rows(), start_with_failure, &cases);
    add_cases(serving_rows(), serve_with_failure, &cases);
    add_cases(control_rows(), serve_with_failure, &cases);
    add_cases(file_rows(), serve_with_failure, &cases);
    add_cases(stop_rows(), stop_with_failure, &cases);
    add_cases(log_rows(), run_with_no_plugin, &cases);
    add_cases(logger_rows(), log_with_failure, &cases);
    add_cases(connector_rows(), connect_with_failure, &cases);
    return cases;
}

}  // namespace

}  // namespace zv_fire

int main(int argc, char **argv) {
    std::string json_path;
    std::string only;
    unsigned jobs = 2;
    zv_fire::CommandLine line("Each system call of the daemon fails as a table says.");
    line.option("--jobs", jobs, "Rows side by side");
    line.option("--only", only, "Only rows whose name contains this");
    line.option("--json", json_path, "Write the figures to this file");
    line.option("--daemon", zv_fire::daemon_program, "Another build of the daemon");
    line.option("--libraries", zv_fire::daemon_libraries, "Its platform libraries");
    if (const auto status = line.parse(argc, argv)) {
        return *status;
    }
    testing::InitGoogleTest();
    unsetenv("ZV_PLATFORM_ROOT");

    zv_fire::Report report("fire_syscalls", json_path);
    zv_fire::run_cases(zv_fire::all_cases(), jobs, only, report);
    report.figure("failed_calls", zv_fire::failed_calls.load());
    return report.finish();
}
