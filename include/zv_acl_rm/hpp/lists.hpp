/* Several things at once, borrowed or held. Included by zv_acl_rm.hpp. */
#ifndef ZV_ACL_RM_HPP_LISTS_HPP
#define ZV_ACL_RM_HPP_LISTS_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <type_traits>
#include <utility>

#include "zv_acl_rm/zv_acl_rm_records.h"

namespace zv_acl_rm {

/* A view of elements that lie in a row: of a vector, an array, a std::span, a list in braces. Like
 * them it owns nothing; one made from a list in braces lasts as long as the call it is given to. */
template <typename T>
class Span {
  public:
    Span() noexcept = default;
    Span(T *data, std::size_t size) noexcept : data_(data), size_(size) {}
    template <std::size_t N>
    Span(T (&array)[N]) noexcept : data_(array), size_(N) {}
    template <typename Container,
              typename = std::enable_if_t<std::is_convertible_v<
                  decltype(std::declval<const Container &>().data()), const T *>>,
              typename = decltype(std::declval<const Container &>().size())>
    Span(const Container &container) noexcept : data_(container.data()), size_(container.size()) {}
    template <typename U = T, typename = std::enable_if_t<std::is_const_v<U>>>
    Span(std::initializer_list<std::remove_const_t<U>> list) noexcept {
        /* Not in the member list: compilers warn there of a lifetime that is documented above. */
        data_ = list.begin();
        size_ = list.size();
    }

    T *data() const noexcept { return data_; }
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    T *begin() const noexcept { return data_; }
    T *end() const noexcept { return data_ + size_; }
    T &operator[](std::size_t index) const noexcept { return data_[index]; }

  private:
    T *data_ = nullptr;
    std::size_t size_ = 0;
};

/* Up to N elements, held in place. */
template <typename T, std::size_t N>
class List {
  public:
    /* What does not fit is left out. */
    void append(const T &element) {
        if (size_ < N) {
            elements_[size_++] = element;
        }
    }
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    const T *data() const noexcept { return elements_.data(); }
    const T *begin() const noexcept { return elements_.data(); }
    const T *end() const noexcept { return elements_.data() + size_; }
    const T &operator[](std::size_t index) const noexcept { return elements_[index]; }

  private:
    std::array<T, N> elements_{};
    std::size_t size_ = 0;
};

using Bytes = Span<const std::uint8_t>;
using Numbers = Span<const std::uint32_t>;
using Rifs = Span<const std::uint16_t>;
using PortList = List<std::uint32_t, ZV_ACL_RM_PORTS_PER_RECORD>;

}  // namespace zv_acl_rm

#endif
