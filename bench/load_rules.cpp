// Loading a full rule table: rules per second, from the first request to the last answer.
//
// 6,400 rules in 320 requests of 20, once with one request under way and once with up to 32, each
// into a fresh daemon; the figure is the median of 7 runs, beside the slowest and the fastest. The
// requests are made beforehand. Client and daemon run where the system puts them, as they do in
// use.
#include <errno.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>

#include <vector>

#include "bench/die.h"
#include "bench/requests.h"
#include "bench/server_process.h"
#include "bench/statistics.h"
#include "bench/wire.h"

namespace {

using bench::Message;

constexpr uint32_t RUNS = 7;
constexpr double RULES = double{bench::MAX_BATCHES} * bench::RULES_PER_BATCH;

double now_s() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// One attempt that does not wait; false when the socket has no room.
bool try_send(int fd, const Message &request) {
    const size_t length = sizeof(bench::WireHeader) + request.header.body_len;
    if (send(fd, &request, length, MSG_DONTWAIT | MSG_NOSIGNAL) == static_cast<ssize_t>(length)) {
        return true;
    }
    if (errno != EAGAIN) {
        bench::die("send: %s", strerror(errno));
    }
    return false;
}

// One attempt that does not wait; false when no answer is there.
bool try_receive(int fd) {
    static Message reply;
    const ssize_t length = recv(fd, &reply, sizeof reply, MSG_DONTWAIT);
    if (length < 0 && errno == EAGAIN) {
        return false;
    }
    if (length < static_cast<ssize_t>(sizeof(bench::WireHeader)) || !bench::succeeded(reply)) {
        bench::die("a rule write failed: status %u", length > 0 ? reply.header.status : 0);
    }
    return true;
}

// Neither side ever waits for the other's buffer while its own is full, so a window larger than the
// socket's buffers cannot lock the two up.
double load(int fd, const std::vector<Message> &requests, size_t window) {
    size_t sent = 0;
    size_t answered = 0;
    const double start = now_s();
    while (answered < requests.size()) {
        bool has_room = true;
        while (has_room && sent < requests.size() && sent - answered < window) {
            has_room = try_send(fd, requests[sent]);
            sent += has_room ? 1 : 0;
        }
        pollfd waiting = {};
        waiting.fd = fd;
        waiting.events = static_cast<short>(POLLIN | (has_room ? 0 : POLLOUT));
        if (poll(&waiting, 1, -1) < 0) {
            bench::die("poll: %s", strerror(errno));
        }
        while (answered < sent && try_receive(fd)) {
            answered++;
        }
    }
    return now_s() - start;
}

double rules_per_second(size_t window) {
    bench::ServerProcess daemon({.command = bench::daemon_command(), .environment = {}});
    bench::Session session(daemon.fd());
    std::vector<Message> requests(bench::MAX_BATCHES);
    for (Message &request : requests) {
        session.make_rule_set(&request);
    }
    return RULES / load(daemon.fd(), requests, window);
}

}  // namespace

int main() {
    printf("%-10s %14s %14s %14s\n", "under way", "rules/s", "slowest run", "fastest run");
    for (const size_t window : {size_t{1}, size_t{32}}) {
        std::vector<double> rates;
        for (uint32_t run = 0; run < RUNS; run++) {
            rates.push_back(rules_per_second(window));
        }
        const double middle = bench::median(rates);
        printf("%-10zu %14.0f %14.0f %14.0f\n", window, middle, rates.front(), rates.back());
    }
    return 0;
}
