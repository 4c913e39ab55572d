// table.h - a dictionary with a capacity that lists its entries as a chained hash table would.
//
// New entries stand at the front of their bucket's chain and leave it without moving the others,
// so the walk is by bucket and, inside one, from the newest to the oldest. That is all that is kept
// here: a sorted map by (bucket, age), and where each key stands in it.
#ifndef ZV_TESTS_FIRE_MODEL_TABLE_H
#define ZV_TESTS_FIRE_MODEL_TABLE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>

namespace zv_model {

template <class Value>
class Table {
  public:
    using Bucket = uint32_t (*)(uint64_t key);
    struct Row {
        uint64_t key;
        Value value;
    };

    Table(size_t capacity, Bucket bucket) : capacity_(capacity), bucket_(bucket) {}

    Value *find(uint64_t key) {
        const auto place = places_.find(key);
        return place == places_.end() ? nullptr : &rows_.at(place->second).value;
    }
    // False, and nothing done, for a key that is there and for a table that is full.
    bool insert(uint64_t key, Value value) {
        if (places_.contains(key) || places_.size() >= capacity_) {
            return false;
        }
        const Place place{bucket_(key), --age_};
        places_[key] = place;
        rows_.emplace(place, Row{key, std::move(value)});
        return true;
    }
    bool erase(uint64_t key) {
        const auto place = places_.find(key);
        if (place == places_.end()) {
            return false;
        }
        rows_.erase(place->second);
        places_.erase(place);
        return true;
    }

    // (place, Row) in the order of a walk.
    auto begin() const { return rows_.begin(); }
    auto end() const { return rows_.end(); }
    auto begin() { return rows_.begin(); }
    auto end() { return rows_.end(); }
    size_t size() const { return rows_.size(); }

  private:
    using Place = std::pair<uint32_t, uint64_t>;
    size_t capacity_;
    Bucket bucket_;
    uint64_t age_ = UINT64_MAX;  // of the newest entry; the older, the greater
    std::map<Place, Row> rows_;
    std::unordered_map<uint64_t, Place> places_;
};

}  // namespace zv_model

#endif
