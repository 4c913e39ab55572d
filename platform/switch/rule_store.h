// The rules of one region, by offset.
//
// Writing rules is the switch's most frequent work and must cost little more than copying them, so
// a rule lies as it came in a page of 64, which bit sets describe: there is no allocation for a
// rule. Pages are made with the region, as hardware has its rows from the start, so that the first
// write of a rule is as fast as the next; those of a very large region come with their first rule.
//
// Offsets are not checked against the region's size here; that is the region's business. One thread
// at a time.
#ifndef PLATFORM_SWITCH_RULE_STORE_H
#define PLATFORM_SWITCH_RULE_STORE_H

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "zv_api.h"

namespace zv_switch {

struct StoredRule {
    zv_acl_rule_t rule;
    bool active;
};

class RuleStore {
  public:
    // Makes the pages of the first `size` offsets, as far as a region is not very large, and has
    // the kernel provide their memory. Throws bad_alloc.
    void prepare(uint32_t size);

    // Makes sure that put(offset) needs no memory. Throws bad_alloc.
    void reserve(uint32_t offset) {
        if (page_of(offset) == nullptr) {
            make_page(offset);
        }
    }

    // Writes a rule at its offset, which was reserved, with activity 0.
    void put(const zv_acl_rule_t &rule) {
        Page &page = *pages_[rule.offset / kPageRules];
        copy_rule(rule, &page.rules[rule.offset % kPageRules]);
        page.occupied |= bit(rule.offset);
        page.active &= ~bit(rule.offset);
    }

    // Empties an offset.
    void erase(uint32_t offset);

    // The rule at an offset, null when it is empty. Good until the next change.
    const zv_acl_rule_t *find(uint32_t offset) const;

    // Whether the rule at an offset matched a packet; false when it is empty.
    bool is_active(uint32_t offset) const;
    void set_active(uint32_t offset, bool active);

    // Moves a block as an overlapping memory move and leaves the vacated offsets empty. Throws
    // bad_alloc before anything has changed.
    void move_block(uint32_t start, uint32_t size, uint32_t new_start);

    // One more than the highest offset that holds a rule; 0 when there is none.
    uint64_t end() const;

    // All rules by ascending offset.
    std::vector<StoredRule> copy() const;

    // Calls visit(rule) by ascending offset until it returns true; whether it did.
    template <class F>
    bool find_first(F &&visit) const {
        for (const auto &page : pages_) {
            uint64_t left = page == nullptr ? 0 : page->occupied;
            for (; left != 0; left &= left - 1) {
                if (visit(page->rules[static_cast<size_t>(std::countr_zero(left))])) {
                    return true;
                }
            }
        }
        return false;
    }

  private:
    static constexpr uint32_t kPageRules = 64;
    static constexpr uint32_t kPreparedRules = 65536;

    // The rules themselves are meaningful only where their bit is set.
    struct Page {
        uint64_t occupied = 0;
        uint64_t active = 0;
        std::array<zv_acl_rule_t, kPageRules> rules;
    };

    // In parts, which the compiler turns into vector moves; the whole record would be one string
    // instruction, which takes longer to start than to copy.
    static void copy_rule(const zv_acl_rule_t &from, zv_acl_rule_t *to) {
        std::memcpy(to, &from, offsetof(zv_acl_rule_t, key));
        to->key = from.key;
        to->mask = from.mask;
        to->action = from.action;
    }
    static uint64_t bit(uint32_t offset) { return uint64_t{1} << (offset % kPageRules); }
    Page *page_of(uint32_t offset) const {
        const size_t index = offset / kPageRules;
        return index < pages_.size() ? pages_[index].get() : nullptr;
    }
    void make_page(uint32_t offset);
    void move_one(uint32_t from, uint32_t to);

    std::vector<std::unique_ptr<Page>> pages_;
};

}  // namespace zv_switch

#endif
