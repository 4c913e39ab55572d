// Two daemons at one place, or a daemon whose socket's place somebody else took.
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <memory>

#include "tests/fire/stops/stop_round.h"

namespace zv_fire {

using namespace zv_test;

namespace {

Plan plain(const Plan &plan) {
    Plan idle = plan;
    idle.moment = Moment::kIdle;
    idle.signals = {SIGTERM};
    return idle;
}

// A second daemon finds the place taken. Whatever ends it, the first one serves on.
void rival(const Launch &launch, const Plan &plan, const TempDir &place, Outcome &outcome) {
    Subject first(place, launch, plain(plan), "a");
    if (!first.bring_to_moment(outcome)) {
        return;
    }
    Subject second(place, launch, plan, "b");
    second.signal_and_wait(outcome);
    second.check_refused(outcome);
    if (!somebody_serves(place)) {
        outcome.failures.push_back("the first daemon does not serve any more");
    }
    first.stop(outcome);
}

// A second daemon starts while the first one ends: it gets the place or is refused, and if it has
// it, the first one's end does not take it away.
void successor(const Launch &launch, const Plan &plan, const TempDir &place, Outcome &outcome) {
    Plan first_plan = plan;
    first_plan.moment = Moment::kIdle;
    Subject first(place, launch, first_plan, "a");
    if (!first.bring_to_moment(outcome)) {
        return;
    }
    // Either of the two may be the one that the other has to wait for.
    const bool second_begins = plan.variant % 2 == 0;
    std::unique_ptr<Subject> second;
    if (second_begins) {
        second = std::make_unique<Subject>(place, launch, plain(plan), "b");
        first.signal_and_wait(outcome);
    } else {
        first.daemon().signal(plan.signals[0]);
        spin_for(plan.delay);
        second = std::make_unique<Subject>(place, launch, plain(plan), "b");
        first.signal_and_wait(outcome);
    }
    first.check_end(outcome, false);
    if (second->daemon().wait_until_serving()) {
        if (!second->works()) {
            outcome.failures.push_back("the second daemon does not work");
        }
        second->stop(outcome);
    } else {
        second->wait_for_end(outcome, Clock::now());
        second->check_refused(outcome);
    }
}

// --- strangers at the socket's place

struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
    bool operator==(const Identity &) const = default;
};

Identity identity_of(const std::string &path) {
    struct stat info = {};
    return lstat(path.c_str(), &info) == 0 ? Identity{info.st_dev, info.st_ino} : Identity{};
}

// Listens there as a daemon of another make would; -1 when it cannot.
int strange_socket(const std::string &path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (unlink(path.c_str()) != 0 ||
        bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0 ||
        listen(fd, 1) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

void usurped_by_stranger(const Plan &plan, const TempDir &place, Subject &first, Outcome &outcome) {
    const std::string path = socket_path(place);
    int fd = -1;
    if (plan.variant % 3 == 0) {
        write_file(place.file("precious"), "precious");
        std::filesystem::rename(place.file("precious"), path);
    } else {
        fd = strange_socket(path);
    }
    const Identity stranger = identity_of(path);
    first.signal_and_wait(outcome);
    first.check_end(outcome, false);
    if (!(identity_of(path) == stranger)) {
        outcome.failures.push_back("the end of a daemon removed another's file from its path");
    }
    if (fd >= 0) {
        close(fd);
    }
}

// Somebody cleaned the directory, lock and all, and started a second daemon.
void usurped_by_daemon(const Launch &launch, const Plan &plan, const TempDir &place, Subject &first,
                       Outcome &outcome) {
    unlink(socket_path(place).c_str());
    unlink((socket_path(place) + ".lock").c_str());
    Subject second(place, launch, plain(plan), "b");
    if (!second.daemon().wait_until_serving()) {
        outcome.failures.push_back("the second daemon does not serve in a clean directory");
        return;
    }
    first.signal_and_wait(outcome);
    first.check_end(outcome, false);
    if (!somebody_serves(place)) {
        outcome.failures.push_back("the end of a daemon removed another daemon's socket");
    }
    second.stop(outcome);
}

void usurper(const Launch &launch, const Plan &plan, const TempDir &place, Outcome &outcome) {
    Plan first_plan = plan;
    first_plan.moment = Moment::kIdle;
    Subject first(place, launch, first_plan, "a");
    if (!first.bring_to_moment(outcome)) {
        return;
    }
    if (plan.variant % 3 == 2) {
        usurped_by_daemon(launch, plan, place, first, outcome);
    } else {
        usurped_by_stranger(plan, place, first, outcome);
    }
}

}  // namespace

Outcome neighbour_round(const Launch &launch, const Plan &plan) {
    Outcome outcome;
    const TempDir place;
    switch (plan.moment) {
        case Moment::kRival:
            rival(launch, plan, place, outcome);
            break;
        case Moment::kSuccessor:
            successor(launch, plan, place, outcome);
            break;
        default:
            usurper(launch, plan, place, outcome);
    }
    return outcome;
}

}  // namespace zv_fire
