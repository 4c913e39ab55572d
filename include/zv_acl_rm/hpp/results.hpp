/* What calls return: a value, or why there is none. Included by zv_acl_rm.hpp. */
#ifndef ZV_ACL_RM_HPP_RESULTS_HPP
#define ZV_ACL_RM_HPP_RESULTS_HPP

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "zv_acl_rm/hpp/names.hpp"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace zv_acl_rm {

/* Why there is no value. */
class Failure {
  public:
    /* The daemon answered with this status. */
    static Failure refusal(zv_acl_rm_status_t status) noexcept {
        return Failure(0, static_cast<Status>(status));
    }
    /* No answer came, for the reason of this errno value. */
    static Failure no_answer(int error) noexcept { return Failure(error, Status::kSuccess); }

    /* There is no connection, for the reason of this errno value. */
    static Failure no_connection(int error) noexcept {
        Failure failure = no_answer(error);
        failure.is_connecting_ = true;
        return failure;
    }

    /* Whether the daemon answered. */
    bool refused() const noexcept { return error_ == 0; }
    /* The daemon's status; kSuccess when it did not answer. */
    Status status() const noexcept { return status_; }
    /* An errno value of the list in zv_acl_rm_client.h; 0 when the daemon answered. */
    int error() const noexcept { return error_; }

    /* One sentence without a newline. */
    std::string words() const {
        if (refused()) {
            return std::string(name_of(status_)) + ": " + meaning_of(status_);
        }
        if (is_connecting_ && error_ == EAGAIN) {
            return "as many connections wait for the daemon as may; try again later";
        }
        for (const auto &[error, text] : kTexts) {
            if (error == error_) {
                return text;
            }
        }
        return std::generic_category().message(error_);
    }

  private:
    Failure(int error, Status status) noexcept : error_(error), status_(status) {}

    struct Text {
        int error;
        const char *text;
    };
    /* Where the system's own words would not say what it means here. */
    static constexpr Text kTexts[] = {
        {ETIMEDOUT, "no answer in time; whether the command was carried out is unknown"},
        {ECONNRESET, "the daemon closed the connection; connect again"},
        {ESHUTDOWN, "the daemon is shutting down and did not carry the command out"},
        {EBUSY, "answers to submitted requests are outstanding; collect them first"},
        {EAGAIN, "as many answers are outstanding as may be; collect one first"},
        {ENOMSG, "nothing was submitted"},
        {EPROTO, "the daemon's answer was none of this protocol; close the client"},
        {EOPNOTSUPP, "the daemon has no such command; it is of another version"},
        {EBADMSG, "the daemon found the message malformed; it is of another version"},
        {EMSGSIZE, "the daemon found the message too long; it is of another version"},
        {EINVAL, "an argument is outside its range; nothing was sent"},
        {ENOENT, "no socket of a daemon is there"},
        {ECONNREFUSED, "no daemon listens at the socket"},
    };

    int error_;
    Status status_;
    bool is_connecting_ = false;
};

/* A value, or why there is none. Asking a Result for what it does not hold ends the program. */
template <typename T>
class [[nodiscard]] Result {
  public:
    Result(T value) : value_(std::move(value)), failure_(Failure::no_answer(0)) {}
    Result(Failure failure) noexcept : failure_(failure) {}

    bool ok() const noexcept { return value_.has_value(); }
    explicit operator bool() const noexcept { return ok(); }

    T &value() &noexcept { return *require(); }
    const T &value() const &noexcept { return *const_cast<Result *>(this)->require(); }
    T &&value() &&noexcept { return std::move(*require()); }
    T value_or(T other) const & { return ok() ? value() : std::move(other); }
    T &operator*() &noexcept { return value(); }
    const T &operator*() const &noexcept { return value(); }
    T &&operator*() &&noexcept { return std::move(*require()); }
    T *operator->() noexcept { return require(); }
    const T *operator->() const noexcept { return const_cast<Result *>(this)->require(); }

    const Failure &failure() const noexcept {
        if (ok()) {
            std::abort();
        }
        return failure_;
    }

  private:
    T *require() noexcept {
        if (!value_) {
            std::abort();
        }
        return &*value_;
    }

    std::optional<T> value_;
    Failure failure_; /* means nothing beside a value */
};

/* Of a command that only succeeds or fails. A caller that does not look at it may say so by a cast
 * to void. */
template <>
class [[nodiscard]] Result<void> {
  public:
    Result() noexcept = default;
    Result(Failure failure) noexcept : failure_(failure) {}

    bool ok() const noexcept { return !failure_.has_value(); }
    explicit operator bool() const noexcept { return ok(); }
    const Failure &failure() const noexcept {
        if (ok()) {
            std::abort();
        }
        return *failure_;
    }

  private:
    std::optional<Failure> failure_;
};

}  // namespace zv_acl_rm

#endif
