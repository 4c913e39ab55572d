#include "tests/fire/exhaustion/cases.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

namespace zv_fire {

using zv_test::TestClient;

std::string daemon_program;
std::string daemon_libraries;

namespace {

constexpr int kPatienceMs = 20000;

void run_one(const Case &wanted, Report &report) {
    const testing::ScopedTrace here(__FILE__, __LINE__, wanted.name);
    try {
        wanted.run(report);
    } catch (const std::exception &error) {
        report.failure(wanted.name + ": " + error.what());
    }
}

bool works(TestClient &client) {
    acl_rm_acl acl = zv_test::acl_of_size(16);
    return client.create_acl(acl) == ZV_ACL_RM_STATUS_SUCCESS &&
           client.write_rules(acl.acl_id, {zv_test::make_rule(3)}) == ZV_ACL_RM_STATUS_SUCCESS &&
           client.delete_rules(acl.acl_id, {3}) == ZV_ACL_RM_STATUS_SUCCESS &&
           client.destroy_acl(acl) == ZV_ACL_RM_STATUS_SUCCESS;
}

}  // namespace

void run_cases(const std::vector<Case> &cases, unsigned jobs, const std::string &only,
               Report &report) {
    std::atomic<size_t> next{0};
    std::atomic<size_t> done_num{0};
    const auto work = [&] {
        for (size_t i = next++; i < cases.size(); i = next++) {
            if (cases[i].name.find(only) != std::string::npos) {
                run_one(cases[i], report);
                done_num++;
            }
            report.progress(cases[i].name);
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < std::max(1u, jobs); i++) {
        threads.emplace_back(work);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    report.expect(done_num > 0, "no case is named like \"" + only + "\"");
    report.figure("cases", done_num.load());
}

zv_test::DaemonOptions failing_daemon(const Faults &faults) {
    zv_test::DaemonOptions options;
    options.trace = false;
    options.environment = faults.environment();
    options.program = daemon_program;
    options.library_path = daemon_libraries;
    return options;
}

bool wait_until(const std::function<bool()> &is_so) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(kPatienceMs);
    while (!is_so()) {
        if (Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

void expect_served(Report &report, const std::string &what, TestClient &one, TestClient &other) {
    report.expect(works(one), what + ": the same client is not served afterwards");
    report.expect(works(other), what + ": another client is not served afterwards");
}

ControlLine::ControlLine(const std::string &socket_path)
    : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, socket_path.c_str(), sizeof(address.sun_path) - 1);
    closed_ = connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0;
}

ControlLine::~ControlLine() {
    close(fd_);
}

bool ControlLine::send(const std::string &line) {
    const std::string whole = line + "\n";
    return ::send(fd_, whole.data(), whole.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(whole.size());
}

bool ControlLine::take(int timeout_ms) {
    pollfd readable = {fd_, POLLIN, 0};
    if (closed_ || poll(&readable, 1, timeout_ms) != 1) {
        return false;
    }
    char part[65536];
    const ssize_t len = recv(fd_, part, sizeof(part), 0);
    closed_ = len <= 0;
    received_.append(part, static_cast<size_t>(std::max<ssize_t>(0, len)));
    return !closed_;
}

bool ControlLine::ended() {
    while (take(0)) {
    }
    return closed_ || received_.find('\n') != std::string::npos;
}

std::optional<std::string> ControlLine::answer() {
    while (received_.find('\n') == std::string::npos) {
        if (!take(kPatienceMs)) {
            return closed_ ? std::optional<std::string>("") : std::nullopt;
        }
    }
    return received_.substr(0, received_.find('\n'));
}

}  // namespace zv_fire
