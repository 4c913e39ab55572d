#include "platform/switch/rule_store.h"

#include <algorithm>

namespace zv_switch {

void RuleStore::prepare(uint32_t size) {
    const uint32_t end = std::min(size, kPreparedRules);
    for (uint32_t offset = 0; offset < end; offset += kPageRules) {
        reserve(offset);
    }
}

void RuleStore::make_page(uint32_t offset) {
    const size_t index = offset / kPageRules;
    if (index >= pages_.size()) {
        pages_.resize(index + 1);
    }
    // Cleared for its effect on the memory, which is there from then on, not for the zeros.
    pages_[index].reset(new Page());
}

void RuleStore::erase(uint32_t offset) {
    Page *page = page_of(offset);
    if (page != nullptr) {
        page->occupied &= ~bit(offset);
        page->active &= ~bit(offset);
    }
}

zv_acl_rule_t RuleStore::rule_at(const Page &page, size_t place) {
    zv_acl_rule_t rule = {};
    const Front &front = page.fronts[place];
    std::memcpy(&rule, front.head_and_key, sizeof(front.head_and_key));
    std::memcpy(&rule.mask, front.mask, sizeof(front.mask));
    std::memcpy(&rule.action, front.action, sizeof(front.action));
    if ((page.with_rest >> place & 1) != 0) {
        const Rest &rest = page.rests[place];
        std::memcpy(rule.key.data + kFrontBytes, rest.key, sizeof(rest.key));
        std::memcpy(rule.mask.data + kFrontBytes, rest.mask, sizeof(rest.mask));
        std::memcpy(rule.action.data, rest.action, sizeof(rest.action));
    }
    return rule;
}

std::optional<zv_acl_rule_t> RuleStore::find(uint32_t offset) const {
    const Page *page = page_of(offset);
    if (page == nullptr || (page->occupied & bit(offset)) == 0) {
        return std::nullopt;
    }
    return rule_at(*page, offset % kPageRules);
}

bool RuleStore::is_active(uint32_t offset) const {
    const Page *page = page_of(offset);
    return page != nullptr && (page->active & bit(offset)) != 0;
}

void RuleStore::set_active(uint32_t offset, bool active) {
    Page *page = page_of(offset);
    if (page == nullptr || (page->occupied & bit(offset)) == 0) {
        return;
    }
    page->active = active ? page->active | bit(offset) : page->active & ~bit(offset);
}

void RuleStore::move_one(uint32_t from, uint32_t to) {
    std::optional<zv_acl_rule_t> moved = find(from);
    if (!moved) {
        erase(to);
        return;
    }
    moved->offset = to;
    const bool active = is_active(from);
    put(*moved);
    set_active(to, active);
    erase(from);
}

void RuleStore::move_block(uint32_t start, uint32_t size, uint32_t new_start) {
    if (start == new_start) {
        return;
    }
    for (uint32_t i = 0; i < size; i++) {
        if (contains(start + i)) {
            reserve(new_start + i);
        }
    }
    // From the end that lies towards the destination, so that each rule is read before another one
    // takes its place. What has moved on is emptied at once: it is either vacated or filled later.
    for (uint32_t i = 0; i < size; i++) {
        const uint32_t step = new_start < start ? i : size - 1 - i;
        move_one(start + step, new_start + step);
    }
}

uint64_t RuleStore::end() const {
    for (size_t i = pages_.size(); i > 0; i--) {
        const auto &page = pages_[i - 1];
        if (page != nullptr && page->occupied != 0) {
            return i * kPageRules - static_cast<uint64_t>(std::countl_zero(page->occupied));
        }
    }
    return 0;
}

std::vector<StoredRule> RuleStore::copy() const {
    std::vector<StoredRule> rules;
    find_first([&](const zv_acl_rule_t &rule) {
        rules.push_back({rule, is_active(rule.offset)});
        return false;
    });
    return rules;
}

}  // namespace zv_switch
