// Counts, the same on a busy machine as on a quiet one: system calls, heap allocations and page
// faults of the daemon for one request, instructions (user space) for one 20-rule write.
//
// The first FEW requests of a daemon warm it up; counted is what the requests from there to MANY
// take more, divided by their number, so that start-up and shutdown drop out. System calls are
// counted by strace, instructions by valgrind's callgrind; without one of the two its section says
// so and is left out. Allocations are counted by a preloaded library, page faults (those that need
// no disk) by the kernel; each of them costs as much as some thousand instructions.
//
// --callgrind-out FILE keeps the profile of the 20-rule handler for callgrind_annotate.
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "bench/die.h"
#include "bench/requests.h"
#include "bench/server_process.h"
#include "bench/wire.h"

namespace {

using bench::Message;
using bench::ServerOptions;
using bench::ServerProcess;
using bench::Session;
using Counts = std::map<std::string, uint32_t>;  // by name of the system call

constexpr uint32_t FEW = 20;
constexpr uint32_t MANY = 220;
constexpr uint32_t MORE_NUM = MANY - FEW;
constexpr double MORE = MORE_NUM;

enum class Kind { open, port_bind, rule_set };

struct Command {
    const char *name;
    Kind kind;
};

constexpr Command COMMANDS[] = {
    {"OPEN (16 bytes)", Kind::open},
    {"port bind (424 bytes)", Kind::port_bind},
    {"20-rule write (7224 bytes)", Kind::rule_set},
};

void send_requests(Session *session, int fd, Kind kind, uint32_t requests) {
    static Message request;
    static Message reply;
    for (uint32_t i = 0; i < requests; i++) {
        switch (kind) {
            case Kind::open:
                session->make_open(&request);
                break;
            case Kind::port_bind:
                session->make_port_bind(&request);
                break;
            case Kind::rule_set:
                session->make_rule_set(&request);
                break;
        }
        bench::exchange_ok(fd, request, &reply, "a measured request");
    }
}

bool is_installed(const std::string &program) {
    const char *path = getenv("PATH");
    std::stringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (access((folder + "/" + program).c_str(), X_OK) == 0) {
            return true;
        }
    }
    printf("  (left out: %s is not installed)\n", program.c_str());
    return false;
}

// A whole life of the daemon under a tracer that writes its report to {root}/report.
std::string report_of(std::vector<std::string> tracer, Kind kind, uint32_t requests) {
    for (const std::string &word : bench::daemon_command()) {
        tracer.push_back(word);
    }
    ServerProcess daemon({.command = tracer, .environment = {}});
    {
        Session session(daemon.fd());
        send_requests(&session, daemon.fd(), kind, requests);
    }
    daemon.stop();
    std::ifstream file(daemon.root() + "/report");
    std::stringstream text;
    text << file.rdbuf();
    if (text.str().empty()) {
        bench::die("%s left no report", tracer.front().c_str());
    }
    return text.str();
}

// What a line of strace's log says: the thread, and the name of the call that begins there; false
// for lines about the end of a call that began earlier, signals and exits.
bool parse_call(const std::string &line, std::string *thread, std::string *name) {
    std::istringstream words(line);
    words >> *thread >> *name;
    const size_t open = name->find('(');
    name->resize(open != std::string::npos ? open : 0);
    return !name->empty();
}

// Calls of the serving thread after its FEW-th answer to a measured request, up to the last answer.
Counts system_calls(Kind kind) {
    std::istringstream log(
        report_of({"strace", "-f", "-a", "1", "-o", "{root}/report"}, kind, MANY));
    std::vector<std::string> lines;
    std::vector<size_t> answers;
    for (std::string line; std::getline(log, line); lines.push_back(line)) {
        // Magic, version 1, kind 2: an answer.
        if (line.find("\"ZVRP\\1\\0\\2") != std::string::npos) {
            answers.push_back(lines.size());
        }
    }
    if (answers.size() < MANY) {
        bench::die("strace saw %zu answers of %u", answers.size(), MANY);
    }
    std::string serving_thread;
    std::string name;
    parse_call(lines[answers.back()], &serving_thread, &name);
    Counts counts;
    for (size_t i = answers[answers.size() - MORE_NUM - 1] + 1; i <= answers.back(); i++) {
        std::string thread;
        if (parse_call(lines[i], &thread, &name) && thread == serving_thread) {
            counts[name]++;
        }
    }
    return counts;
}

void print_system_calls() {
    printf("system calls a request\n");
    if (!is_installed("strace")) {
        return;
    }
    for (const Command &command : COMMANDS) {
        uint32_t total = 0;
        std::string names;
        for (const auto &[name, calls] : system_calls(command.kind)) {
            char text[64];
            snprintf(text, sizeof text, "%s%s %.2f", names.empty() ? "" : ", ", name.c_str(),
                     calls / MORE);
            names += text;
            total += calls;
        }
        printf("  %-28s %6.2f  (%s)\n", command.name, total / MORE, names.c_str());
    }
}

uint64_t heap_count(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    uint64_t count = 0;
    if (!file.read(reinterpret_cast<char *>(&count), sizeof count)) {
        bench::die("the heap counter was not loaded");
    }
    return count;
}

// Field 10 of the process's line, counted from the parenthesis that ends field 2.
uint64_t page_faults(int pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(file, line);
    std::istringstream words(line.substr(std::min(line.rfind(')') + 2, line.size())));
    std::string word;
    for (int field = 3; field <= 10; field++) {
        words >> word;
    }
    return strtoull(word.c_str(), nullptr, 10);
}

void print_allocations() {
    printf("heap allocations a request\n");
    for (const Command &command : COMMANDS) {
        ServerProcess daemon(
            {.command = bench::daemon_command(),
             .environment = {std::string("LD_PRELOAD=") + ZV_BENCH_HEAP_COUNTER_PATH,
                             "ZV_BENCH_HEAP_COUNT={root}/heap"}});
        const std::string path = daemon.root() + "/heap";
        Session session(daemon.fd());
        send_requests(&session, daemon.fd(), command.kind, FEW);
        const uint64_t before = heap_count(path);
        send_requests(&session, daemon.fd(), command.kind, MORE_NUM);
        const auto more = static_cast<double>(heap_count(path) - before);
        printf("  %-28s %6.2f\n", command.name, more / MORE);
    }
}

void print_page_faults() {
    printf("page faults a request\n");
    for (const Command &command : COMMANDS) {
        ServerProcess daemon({.command = bench::daemon_command(), .environment = {}});
        const int pid = bench::peer_pid(daemon.fd());
        Session session(daemon.fd());
        send_requests(&session, daemon.fd(), command.kind, FEW);
        const uint64_t before = page_faults(pid);
        send_requests(&session, daemon.fd(), command.kind, MORE_NUM);
        const auto more = static_cast<double>(page_faults(pid) - before);
        printf("  %-28s %6.2f\n", command.name, more / MORE);
    }
}

// Instructions in the whole process, or with `function` only while it (and what it calls) runs.
double instructions(const char *function, uint32_t requests, std::string *profile) {
    std::vector<std::string> tracer = {"valgrind", "--tool=callgrind",
                                       "--callgrind-out-file={root}/report"};
    if (function != nullptr) {
        tracer.push_back(std::string("--toggle-collect=") + function);
    }
    *profile = report_of(tracer, Kind::rule_set, requests);
    const size_t at = profile->find("\ntotals: ");
    if (at == std::string::npos) {
        bench::die("no totals in callgrind's report");
    }
    return strtod(profile->c_str() + at + strlen("\ntotals: "), nullptr);
}

void print_instructions(const char *profile_path) {
    printf("instructions a 20-rule write\n");
    if (!is_installed("valgrind")) {
        return;
    }
    constexpr const char *HANDLER = "acl_rm_rpc_acl_rule_set(*";
    std::string profile;
    const double few = instructions(HANDLER, FEW, &profile);
    const double many = instructions(HANDLER, MANY, &profile);
    if (many == 0) {
        bench::die("the handler was not found; has the daemon its symbols?");
    }
    printf("  %-28s %10.0f\n", "in the handler", (many - few) / MORE);
    if (profile_path != nullptr) {
        std::ofstream(profile_path) << profile;
    }
    const double few_in_all = instructions(nullptr, FEW, &profile);
    const double many_in_all = instructions(nullptr, MANY, &profile);
    printf("  %-28s %10.0f\n", "in the whole process", (many_in_all - few_in_all) / MORE);
}

}  // namespace

int main(int count, char **arguments) {
    const char *profile_path = nullptr;
    if (count == 3 && strcmp(arguments[1], "--callgrind-out") == 0) {
        profile_path = arguments[2];
    } else if (count != 1) {
        bench::die("usage: %s [--callgrind-out FILE]", arguments[0]);
    }
    print_system_calls();
    print_allocations();
    print_page_faults();
    print_instructions(profile_path);
    return 0;
}
