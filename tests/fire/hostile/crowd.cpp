#include "tests/fire/hostile/crowd.h"

#include <algorithm>

namespace zv_fire {

Crowd::Crowd(Battlefield &field, uint64_t seed, const std::string &only) {
    for (const Kind &kind : kinds()) {
        const bool is_in = only.empty() || only == kind.name;
        for (uint32_t i = 0; is_in && i < kind.connections; ++i) {
            members_.push_back({kind.make(field, seed * 1000 + members_.size()), kind.every, {}});
        }
    }
    thread_ = std::thread([this] { run(); });
}

Crowd::~Crowd() {
    retreat();
    state_ = kEnding;
    state_.notify_all();
    thread_.join();
}

void Crowd::attack() {
    state_ = kAttacking;
    state_.notify_all();
}

void Crowd::retreat() {
    int expected = kAttacking;
    if (state_.compare_exchange_strong(expected, kRetreating)) {
        state_.wait(kRetreating);
    }
}

void Crowd::run() {
    for (;;) {
        state_.wait(kResting);
        if (state_ == kEnding) {
            return;
        }
        act_until_told();
        for (Member &member : members_) {
            member.client->leave();
        }
        state_ = kResting;
        state_.notify_all();
    }
}

void Crowd::act_until_told() {
    const auto later = [](const Member *a, const Member *b) { return a->next > b->next; };
    std::vector<Member *> queue;
    const auto start = Clock::now();
    for (size_t i = 0; i < members_.size(); ++i) {
        // Those of one kind begin one after the other.
        members_[i].next = start + members_[i].every * i / members_.size();
        queue.push_back(&members_[i]);
    }
    std::make_heap(queue.begin(), queue.end(), later);
    while (state_ == kAttacking) {
        std::pop_heap(queue.begin(), queue.end(), later);
        Member &member = *queue.back();
        std::this_thread::sleep_until(member.next);
        member.client->act();
        ++acts_;
        // Turns that were missed are not made up for: that would be a burst.
        member.next = std::max(member.next, Clock::now() - member.every) + member.every;
        std::push_heap(queue.begin(), queue.end(), later);
    }
}

}  // namespace zv_fire
