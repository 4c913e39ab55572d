// The rules of one region, by offset.
//
// Writing rules is the switch's most frequent work and must cost little more than copying them, so
// rules lie in pages of 64, which bit sets describe: there is no allocation for a rule. Pages are
// made with the region, as hardware has its rows from the start, so that the first write of a rule
// is as fast as the next; those of a very large region come with their first rule. A write mostly
// waits for memory that nobody has touched for long, and few rules use more than the first bytes of
// key, mask and action: what is behind those lies apart, and is left alone where it is zero.
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
#include <optional>
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

    // Makes sure that put(offset) needs no memory, and asks for that which it writes: of a batch
    // all rules are reserved before the first is put. Throws bad_alloc.
    void reserve(uint32_t offset) {
        if (page_of(offset) == nullptr) {
            make_page(offset);
        }
        const Front &front = pages_[offset / kPageRules]->fronts[offset % kPageRules];
        __builtin_prefetch(&front, 1);
        __builtin_prefetch(&front.action, 1);
    }

    // Writes a rule at its offset, which was reserved, with activity 0.
    void put(const zv_acl_rule_t &rule) {
        Page &page = *pages_[rule.offset / kPageRules];
        const size_t place = rule.offset % kPageRules;
        write_front(rule, &page.fronts[place]);
        page.with_rest &= ~bit(rule.offset);
        if (has_rest(rule)) {
            write_rest(rule, &page.rests[place]);
            page.with_rest |= bit(rule.offset);
        }
        page.occupied |= bit(rule.offset);
        page.active &= ~bit(rule.offset);
    }

    // Empties an offset.
    void erase(uint32_t offset);

    bool contains(uint32_t offset) const {
        const Page *page = page_of(offset);
        return page != nullptr && (page->occupied & bit(offset)) != 0;
    }

    // The rule at an offset; none when it is empty.
    std::optional<zv_acl_rule_t> find(uint32_t offset) const;

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
                if (visit(rule_at(*page, static_cast<size_t>(std::countr_zero(left))))) {
                    return true;
                }
            }
        }
        return false;
    }

  private:
    static constexpr uint32_t kPageRules = 64;
    static constexpr uint32_t kPreparedRules = 65536;

    static constexpr size_t kFrontBytes = 32;  // of a key's data

    struct Front {
        uint8_t head_and_key[offsetof(zv_acl_rule_t, key.data) + kFrontBytes];
        uint8_t mask[offsetof(zv_acl_key_t, data) + kFrontBytes];
        uint8_t action[offsetof(zv_acl_action_t, data)];
    };
    struct Rest {
        uint8_t key[sizeof(zv_acl_key_t::data) - kFrontBytes];
        uint8_t mask[sizeof(zv_acl_key_t::data) - kFrontBytes];
        uint8_t action[sizeof(zv_acl_action_t::data)];
    };
    static_assert(sizeof(Front) + sizeof(Rest) == sizeof(zv_acl_rule_t));

    // A front is meaningful only where its bit in `occupied` is set, a rest where it is in
    // `with_rest`.
    struct Page {
        uint64_t occupied = 0;
        uint64_t active = 0;
        uint64_t with_rest = 0;
        std::array<Front, kPageRules> fronts;
        std::array<Rest, kPageRules> rests;
    };

    static void write_front(const zv_acl_rule_t &rule, Front *front) {
        std::memcpy(front->head_and_key, &rule, sizeof(front->head_and_key));
        std::memcpy(front->mask, &rule.mask, sizeof(front->mask));
        std::memcpy(front->action, &rule.action, sizeof(front->action));
    }
    static void write_rest(const zv_acl_rule_t &rule, Rest *rest) {
        std::memcpy(rest->key, rule.key.data + kFrontBytes, sizeof(rest->key));
        std::memcpy(rest->mask, rule.mask.data + kFrontBytes, sizeof(rest->mask));
        std::memcpy(rest->action, rule.action.data, sizeof(rest->action));
    }
    // Sixteen bytes at a time, the last ones perhaps twice.
    using Lanes [[gnu::vector_size(16)]] = uint64_t;
    template <size_t N>
    static Lanes any_bits(const uint8_t (&bytes)[N], size_t from) {
        Lanes lanes;
        std::memcpy(&lanes, bytes + N - sizeof(lanes), sizeof(lanes));
        for (size_t at = from; at + sizeof(lanes) <= N; at += sizeof(lanes)) {
            Lanes more;
            std::memcpy(&more, bytes + at, sizeof(more));
            lanes |= more;
        }
        return lanes;
    }
    static bool has_rest(const zv_acl_rule_t &rule) {
        const Lanes bits = any_bits(rule.key.data, kFrontBytes) |
                           any_bits(rule.mask.data, kFrontBytes) | any_bits(rule.action.data, 0);
        return (bits[0] | bits[1]) != 0;
    }
    static zv_acl_rule_t rule_at(const Page &page, size_t place);
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
