/* zv_acl_rm.hpp - the client library for C++17 and later: header-only, over zv_acl_rm_client.h.
 *
 *   auto client = zv_acl_rm::Client::connect(0x51);
 *   if (!client) { std::puts(client.failure().words().c_str()); return 1; }
 *   client->open(zv_acl_rm::Owner::kOpenFlow);
 *   client->init(1);
 *   auto acl = client->create_acl(64);
 *   if (acl) {
 *       client->write_rules(acl->acl_id, {zv_acl_rm::Rule(0).verdict(zv_acl_rm::Verdict::kDrop)});
 *   }
 *
 * A Client owns one connection and has a method for every use of the sixteen commands. What a
 * command does, the statuses it gives and what a failure leaves behind is told with the C function
 * that the method's comment names; here stands only what is added to it.
 *
 * Results. Nothing throws and nothing needs exceptions or type information. Every call returns a
 * Result: either a value or a Failure, which is either the daemon's refusal, with its status, or an
 * errno value that says why there is no answer. EINVAL also stands for what cannot be put into a
 * record: more than 20 rules, more than 100 ports, a key of more than 128 bytes; nothing is sent
 * then. Nothing is allocated but what the C library allocates for a connection, and the texts.
 *
 * Threads. As in C: one Client is used by one thread at a time, any number of Clients at once.
 */
#ifndef ZV_ACL_RM_HPP
#define ZV_ACL_RM_HPP

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>

#include "zv_acl_rm/zv_acl_rm_client.h"

namespace zv_acl_rm {

/* ---- the numbers of the protocol under their names ---- */

enum class Owner : std::uint32_t {
    kOpenFlow = ZV_ACL_RM_OWNER_OPEN_FLOW,
    kTarnOs = ZV_ACL_RM_OWNER_TARN_OS,
    kPra = ZV_ACL_RM_OWNER_PRA,
    kOf13 = ZV_ACL_RM_OWNER_OF13
};

enum class Command : std::uint32_t {
    kOpen = ZV_ACL_RM_API_INT_CMD_OPEN,
    kInit = ZV_ACL_RM_API_INT_CMD_INIT,
    kAclSet = ZV_ACL_RM_API_INT_CMD_ACL_SET,
    kAclResize = ZV_ACL_RM_API_INT_CMD_ACL_RESIZE,
    kAclRuleSet = ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET,
    kAclRuleGet = ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET,
    kAclRuleMoveBlock = ZV_ACL_RM_API_INT_CMD_ACL_RULE_MOVE_BLOCK,
    kAclBindPortSet = ZV_ACL_RM_API_INT_CMD_ACL_BIND_PORT_SET,
    kAclBindRifSet = ZV_ACL_RM_API_INT_CMD_ACL_BIND_RIF_SET,
    kCounterSet = ZV_ACL_RM_API_INT_CMD_COUNTER_SET,
    kCounterGet = ZV_ACL_RM_API_INT_CMD_COUNTER_GET,
    kMcGrpSet = ZV_ACL_RM_API_INT_CMD_MC_GRP_SET,
    kMcGrpGet = ZV_ACL_RM_API_INT_CMD_MC_GRP_GET,
    kAclBindSystemSet = ZV_ACL_RM_API_INT_CMD_ACL_BIND_SYSTEM_SET,
    kPortSet = ZV_ACL_RM_API_INT_CMD_PORT_SET,
    kDump = ZV_ACL_RM_API_INT_CMD_DUMP
};

/* What a command of several uses is to do; the methods of Client choose it. */
enum class Access : std::uint32_t {
    kAdd = ZV_ACL_RM_ACCESS_CMD_ADD,
    kEdit = ZV_ACL_RM_ACCESS_CMD_EDIT,
    kDelete = ZV_ACL_RM_ACCESS_CMD_DELETE,
    kCreate = ZV_ACL_RM_ACCESS_CMD_CREATE,
    kDestroy = ZV_ACL_RM_ACCESS_CMD_DESTROY,
    kWrite = ZV_ACL_RM_ACCESS_CMD_WRITE,
    kBind = ZV_ACL_RM_ACCESS_CMD_BIND,
    kUnbind = ZV_ACL_RM_ACCESS_CMD_UNBIND,
    kAddPorts = ZV_ACL_RM_ACCESS_CMD_ADD_PORTS,
    kDeletePorts = ZV_ACL_RM_ACCESS_CMD_DELETE_PORTS,
    kRead = ZV_ACL_RM_ACCESS_CMD_READ,
    kReadClear = ZV_ACL_RM_ACCESS_CMD_READ_CLEAR,
    kClear = ZV_ACL_RM_ACCESS_CMD_CLEAR
};

/* Which packets an ACL looks at, as the switch numbers it. */
enum class Direction : std::uint32_t { kIngress = 0, kEgress = 1 };

/* What becomes of a packet that a rule matches. */
enum class Verdict : std::uint32_t { kPermit = 0, kDrop = 1, kTrap = 2 };

/* What reading a rule does about its activity: whether a packet hit it. */
enum class Activity : std::uint32_t { kIgnore = 0, kRead = 1, kReadAndClear = 2 };

enum class CounterKind : std::uint32_t { kBytes, kPackets };

enum class Status : std::uint32_t {
    kSuccess = ZV_ACL_RM_STATUS_SUCCESS,
    kError = ZV_ACL_RM_STATUS_ERROR,
    kCmdUnsupported = ZV_ACL_RM_STATUS_CMD_UNSUPPORTED,
    kParamNull = ZV_ACL_RM_STATUS_PARAM_NULL,
    kParamExceedsRange = ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE,
    kEntryNotFound = ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
    kNoResources = ZV_ACL_RM_STATUS_NO_RESOURCES,
    kNoHwResources = ZV_ACL_RM_STATUS_NO_HW_RESOURCES,
    kNoBufferSpace = ZV_ACL_RM_STATUS_NO_BUFFER_SPACE
};

inline const char *name_of(Status status) noexcept {
    return zv_acl_rm_status_name(static_cast<zv_acl_rm_status_t>(status));
}
inline const char *meaning_of(Status status) noexcept {
    return zv_acl_rm_status_meaning(static_cast<zv_acl_rm_status_t>(status));
}

/* ---- results ---- */

/* Why there is no value. */
class Failure {
  public:
    /* The daemon answered with this status. */
    static Failure refusal(zv_acl_rm_status_t status) noexcept {
        return Failure(0, static_cast<Status>(status));
    }
    /* No answer came, for the reason of this errno value. */
    static Failure no_answer(int error) noexcept { return Failure(error, Status::kSuccess); }

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

/* ---- several things at once ---- */

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

/* ---- rules ---- */

inline constexpr std::size_t kVerdictAt = 12; /* where the verdict is in a rule's action block */

/* A rule to write: built up by its functions, which may be chained. */
class Rule {
  public:
    /* A rule for this place in the ACL that matches every packet of key type 0 and permits it.
     * Lower offsets match first. */
    explicit Rule(std::uint32_t offset = 0) noexcept {
        record_.priority = offset;
        record_.offset = offset;
        record_.valid = 1;
    }
    explicit Rule(const acl_rm_rule &record) noexcept : record_(record) {}

    /* A packet matches where its key equals `key` in every bit that is set in `mask`. Up to 128
     * bytes each, the rest is 0; of a rule with more nothing is sent (EINVAL). */
    Rule &match(Bytes key, Bytes mask) noexcept {
        fits_ = put(key, record_.key.data) && put(mask, record_.mask.data);
        return *this;
    }
    /* 0 to 3 */
    Rule &key_type(std::uint32_t type) noexcept {
        record_.key.key_type = type;
        record_.mask.key_type = type;
        return *this;
    }
    Rule &verdict(Verdict verdict) noexcept {
        const auto number = static_cast<std::uint32_t>(verdict);
        std::memcpy(record_.action + kVerdictAt, &number, sizeof(number));
        return *this;
    }
    /* Flow counter that counts the packets; it must exist. 0: none. */
    Rule &counter(std::uint32_t counter_id) noexcept {
        record_.forwarding.counter_id = counter_id;
        return *this;
    }
    /* A rule forwards to one of the two: the later call counts. */
    Rule &forward_to_port(std::uint32_t log_port) noexcept {
        return forward({1, log_port, 0, {0, 0}, record_.forwarding.counter_id});
    }
    Rule &forward_to_mc_group(std::uint32_t mc_group_id) noexcept {
        return forward({2, 0, mc_group_id, {0, 0}, record_.forwarding.counter_id});
    }
    /* A rule that is not valid takes its place and matches nothing. */
    Rule &valid(bool valid) noexcept {
        record_.valid = valid ? 1 : 0;
        return *this;
    }

    const acl_rm_rule &record() const noexcept { return record_; }
    /* False after match() with too many bytes. */
    bool fits() const noexcept { return fits_; }

  private:
    Rule &forward(const acl_rm_rule_forwarding &forwarding) noexcept {
        record_.forwarding = forwarding;
        return *this;
    }
    static bool put(Bytes bytes, std::uint8_t (&room)[ZV_ACL_RM_KEY_BYTES]) noexcept {
        if (bytes.size() > sizeof(room)) {
            return false;
        }
        std::memset(room, 0, sizeof(room));
        if (!bytes.empty()) {
            std::memcpy(room, bytes.data(), bytes.size());
        }
        return true;
    }

    acl_rm_rule record_{};
    bool fits_ = true;
};

/* A rule as the switch holds it. */
struct StoredRule {
    std::uint32_t offset = 0;
    bool valid = false;
    std::uint32_t key_type = 0;
    std::array<std::uint8_t, ZV_ACL_RM_KEY_BYTES> key{};
    std::array<std::uint8_t, ZV_ACL_RM_KEY_BYTES> mask{};
    Verdict verdict = Verdict::kPermit;
    std::uint32_t counter_id = 0;                /* 0: none */
    std::optional<bool> active;                  /* whether a packet hit it, where asked */
    std::optional<std::uint32_t> forward_port;   /* logical port it forwards to */
    std::optional<std::uint32_t> forward_mc_pbs; /* the switch's number for its MC group */
    std::array<std::uint8_t, ZV_ACL_RM_ACTION_BYTES> action{};

    StoredRule() = default;
    explicit StoredRule(const acl_rm_rule &record) noexcept
        : offset(record.offset),
          valid(record.valid != 0),
          key_type(record.key.key_type),
          counter_id(record.readout.counter_id) {
        std::memcpy(key.data(), record.key.data, key.size());
        std::memcpy(mask.data(), record.mask.data, mask.size());
        std::memcpy(action.data(), record.action, action.size());
        std::memcpy(&verdict, record.action + kVerdictAt, sizeof(verdict));
        if (record.readout.activity_request != 0) {
            active = record.readout.activity != 0;
        }
        if (record.readout.forwarding_type == 1) {
            forward_port = record.readout.log_port;
        } else if (record.readout.forwarding_type == 2) {
            forward_mc_pbs = record.readout.mc_pbs_id;
        }
    }
};

using StoredRules = List<StoredRule, ZV_ACL_RM_RULES_PER_RECORD>;

/* An ACL that was created: its id and the switch's region that holds its rules. */
struct Acl {
    std::uint32_t acl_id;
    std::uint32_t region_id;
};

/* The switch's own numbers, of an ACL to create. */
struct AclTypes {
    std::uint32_t key_type = 0;
    std::uint32_t action_type = 0;
    std::uint32_t acl_type = 0;
};

struct CounterValue {
    CounterKind kind;
    std::uint64_t value;
};

/* ---- records ---- */

namespace detail {

/* Which command a record belongs to, and the C function that carries it out. */
template <typename Record>
struct Wire;

inline int call_open(zv_acl_rm_client_t *client, zv_acl_rm_open_params_t *record,
                     zv_acl_rm_status_t *status) {
    return zv_acl_rm_api_open(client, record->owner, status);
}
inline int call_init(zv_acl_rm_client_t *client, zv_acl_rm_init_params_t *record,
                     zv_acl_rm_status_t *status) {
    return zv_acl_rm_api_init(client, record->chip_type, status);
}
inline int call_move_block(zv_acl_rm_client_t *client,
                           zv_acl_rm_acl_rule_move_block_params_t *record,
                           zv_acl_rm_status_t *status) {
    return zv_acl_rm_api_acl_rule_move_block(client, record, status);
}
inline int call_dump(zv_acl_rm_client_t *client, zv_acl_rm_dump_params_t *record,
                     zv_acl_rm_status_t *status) {
    const auto address = static_cast<std::uintptr_t>(record->path);
    return zv_acl_rm_api_dump(client, reinterpret_cast<const char *>(address), status);
}

template <Command kNumber, typename Record,
          int (*kFunction)(zv_acl_rm_client_t *, Record *, zv_acl_rm_status_t *)>
struct WireRow {
    static constexpr Command kCommand = kNumber;
    static int call(zv_acl_rm_client_t *client, Record *record, zv_acl_rm_status_t *status) {
        return kFunction(client, record, status);
    }
};

template <>
struct Wire<zv_acl_rm_open_params_t> : WireRow<Command::kOpen, zv_acl_rm_open_params_t, call_open> {
};
template <>
struct Wire<zv_acl_rm_init_params_t> : WireRow<Command::kInit, zv_acl_rm_init_params_t, call_init> {
};
template <>
struct Wire<zv_acl_rm_acl_set_params_t>
    : WireRow<Command::kAclSet, zv_acl_rm_acl_set_params_t, zv_acl_rm_api_acl_set> {};
template <>
struct Wire<zv_acl_rm_acl_resize_params_t>
    : WireRow<Command::kAclResize, zv_acl_rm_acl_resize_params_t, zv_acl_rm_api_acl_resize> {};
template <>
struct Wire<zv_acl_rm_acl_rule_set_params_t>
    : WireRow<Command::kAclRuleSet, zv_acl_rm_acl_rule_set_params_t, zv_acl_rm_api_acl_rule_set> {};
template <>
struct Wire<zv_acl_rm_acl_rule_get_params_t>
    : WireRow<Command::kAclRuleGet, zv_acl_rm_acl_rule_get_params_t, zv_acl_rm_api_acl_rule_get> {};
template <>
struct Wire<zv_acl_rm_acl_rule_move_block_params_t>
    : WireRow<Command::kAclRuleMoveBlock, zv_acl_rm_acl_rule_move_block_params_t, call_move_block> {
};
template <>
struct Wire<zv_acl_rm_acl_port_bind_params_t>
    : WireRow<Command::kAclBindPortSet, zv_acl_rm_acl_port_bind_params_t,
              zv_acl_rm_api_acl_port_bind> {};
template <>
struct Wire<zv_acl_rm_acl_rif_bind_params_t>
    : WireRow<Command::kAclBindRifSet, zv_acl_rm_acl_rif_bind_params_t,
              zv_acl_rm_api_acl_rif_bind> {};
template <>
struct Wire<zv_acl_rm_counter_set_params_t>
    : WireRow<Command::kCounterSet, zv_acl_rm_counter_set_params_t, zv_acl_rm_api_counter_set> {};
template <>
struct Wire<zv_acl_rm_counter_get_params_t>
    : WireRow<Command::kCounterGet, zv_acl_rm_counter_get_params_t, zv_acl_rm_api_counter_get> {};
template <>
struct Wire<zv_acl_rm_mc_group_set_params_t>
    : WireRow<Command::kMcGrpSet, zv_acl_rm_mc_group_set_params_t, zv_acl_rm_api_mc_group_set> {};
template <>
struct Wire<zv_acl_rm_mc_group_get_params_t>
    : WireRow<Command::kMcGrpGet, zv_acl_rm_mc_group_get_params_t, zv_acl_rm_api_mc_group_get> {};
template <>
struct Wire<zv_acl_rm_acl_system_bind_params_t>
    : WireRow<Command::kAclBindSystemSet, zv_acl_rm_acl_system_bind_params_t,
              zv_acl_rm_api_system_bind_set> {};
template <>
struct Wire<zv_acl_rm_port_set_params_t>
    : WireRow<Command::kPortSet, zv_acl_rm_port_set_params_t, zv_acl_rm_api_port_set> {};
template <>
struct Wire<zv_acl_rm_dump_params_t> : WireRow<Command::kDump, zv_acl_rm_dump_params_t, call_dump> {
};

template <typename Number, std::size_t N>
bool put_list(Span<const Number> from, Number (&to)[N], std::uint32_t &count) noexcept {
    if (from.size() > N) {
        return false;
    }
    std::size_t place = 0;
    for (const Number number : from) {
        to[place++] = number;
    }
    count = static_cast<std::uint32_t>(place);
    return true;
}

inline Failure does_not_fit() noexcept {
    return Failure::no_answer(EINVAL);
}

}  // namespace detail

/* A record that is ready to be sent, or EINVAL where its arguments do not fit into one. */
template <typename Record>
using Request = Result<Record>;

/* The requests, one function for each use of a command, under the names of Client's methods:
 *
 *     client.submit(requests::write_rules(acl_id, rules));
 */
namespace requests {

inline Request<zv_acl_rm_open_params_t> open(Owner owner) noexcept {
    return zv_acl_rm_open_params_t{0, static_cast<std::uint32_t>(owner), 0};
}

inline Request<zv_acl_rm_init_params_t> init(std::uint32_t chip_type) noexcept {
    return zv_acl_rm_init_params_t{0, chip_type, 0};
}

inline Request<zv_acl_rm_acl_set_params_t> acl_set(Access access, const acl_rm_acl &acl) noexcept {
    return zv_acl_rm_acl_set_params_t{0, static_cast<std::uint32_t>(access), acl, 0};
}

inline Request<zv_acl_rm_acl_set_params_t> create_acl(std::uint32_t size,
                                                      Direction direction = Direction::kIngress,
                                                      const AclTypes &types = {}) noexcept {
    return acl_set(Access::kCreate, {0, types.key_type, types.action_type, types.acl_type,
                                     static_cast<std::uint32_t>(direction), size, size, 0});
}

inline Request<zv_acl_rm_acl_set_params_t> destroy_acl(std::uint32_t acl_id,
                                                       Direction direction = Direction::kIngress,
                                                       std::uint32_t acl_type = 0) noexcept {
    return acl_set(Access::kDestroy,
                   {acl_id, 0, 0, acl_type, static_cast<std::uint32_t>(direction), 0, 0, 0});
}

inline Request<zv_acl_rm_acl_set_params_t> edit_acl(std::uint32_t acl_id,
                                                    Direction direction) noexcept {
    return acl_set(Access::kEdit,
                   {acl_id, 0, 0, 0, static_cast<std::uint32_t>(direction), 0, 0, 0});
}

inline Request<zv_acl_rm_acl_resize_params_t> resize_acl(std::uint32_t acl_id,
                                                         std::uint32_t new_size) noexcept {
    return zv_acl_rm_acl_resize_params_t{0, acl_id, new_size};
}

inline Request<zv_acl_rm_acl_rule_set_params_t> write_rules(std::uint32_t acl_id,
                                                            Span<const Rule> rules) noexcept {
    zv_acl_rm_acl_rule_set_params_t record{};
    record.cmd = static_cast<std::uint32_t>(Access::kWrite);
    record.acl_id = acl_id;
    if (rules.size() > ZV_ACL_RM_RULES_PER_RECORD) {
        return detail::does_not_fit();
    }
    for (const Rule &rule : rules) {
        if (!rule.fits()) {
            return detail::does_not_fit();
        }
        record.rules[record.rules_num++] = rule.record();
    }
    return record;
}

inline Request<zv_acl_rm_acl_rule_set_params_t> delete_rules(std::uint32_t acl_id,
                                                             Numbers offsets) noexcept {
    zv_acl_rm_acl_rule_set_params_t record{};
    record.cmd = static_cast<std::uint32_t>(Access::kDelete);
    record.acl_id = acl_id;
    if (offsets.size() > ZV_ACL_RM_RULES_PER_RECORD) {
        return detail::does_not_fit();
    }
    for (const std::uint32_t offset : offsets) {
        record.rules[record.rules_num].priority = offset;
        record.rules[record.rules_num++].offset = offset;
    }
    return record;
}

inline Request<zv_acl_rm_acl_rule_get_params_t> read_rules(
    std::uint32_t acl_id, Numbers offsets, Activity activity = Activity::kIgnore) noexcept {
    zv_acl_rm_acl_rule_get_params_t record{};
    record.acl_id = acl_id;
    if (offsets.size() > ZV_ACL_RM_RULES_PER_RECORD) {
        return detail::does_not_fit();
    }
    for (const std::uint32_t offset : offsets) {
        acl_rm_rule &rule = record.rules[record.rules_num++];
        rule.priority = offset;
        rule.offset = offset;
        rule.readout.activity_request = static_cast<std::uint32_t>(activity);
    }
    return record;
}

inline Request<zv_acl_rm_acl_rule_move_block_params_t> move_rules(
    std::uint32_t acl_id, std::uint32_t start, std::uint32_t count,
    std::uint32_t new_start) noexcept {
    return zv_acl_rm_acl_rule_move_block_params_t{0, acl_id, start, count, new_start};
}

inline Request<zv_acl_rm_acl_port_bind_params_t> port_bind(Access access, std::uint32_t acl_id,
                                                           Numbers log_ports) noexcept {
    zv_acl_rm_acl_port_bind_params_t record{};
    record.cmd = static_cast<std::uint32_t>(access);
    record.acl_id = acl_id;
    if (!detail::put_list(log_ports, record.log_ports, record.ports_num)) {
        return detail::does_not_fit();
    }
    return record;
}

inline Request<zv_acl_rm_acl_port_bind_params_t> bind_ports(std::uint32_t acl_id,
                                                            Numbers log_ports) noexcept {
    return port_bind(Access::kBind, acl_id, log_ports);
}

inline Request<zv_acl_rm_acl_port_bind_params_t> unbind_ports(std::uint32_t acl_id,
                                                              Numbers log_ports) noexcept {
    return port_bind(Access::kUnbind, acl_id, log_ports);
}

inline Request<zv_acl_rm_acl_rif_bind_params_t> rif_bind(Access access, std::uint32_t acl_id,
                                                         Rifs rifs) noexcept {
    zv_acl_rm_acl_rif_bind_params_t record{};
    record.cmd = static_cast<std::uint32_t>(access);
    record.acl_id = acl_id;
    if (!detail::put_list(rifs, record.rifs, record.rifs_num)) {
        return detail::does_not_fit();
    }
    return record;
}

inline Request<zv_acl_rm_acl_rif_bind_params_t> bind_rifs(std::uint32_t acl_id,
                                                          Rifs rifs) noexcept {
    return rif_bind(Access::kBind, acl_id, rifs);
}

inline Request<zv_acl_rm_acl_rif_bind_params_t> unbind_rifs(std::uint32_t acl_id,
                                                            Rifs rifs) noexcept {
    return rif_bind(Access::kUnbind, acl_id, rifs);
}

inline Request<zv_acl_rm_acl_system_bind_params_t> bind_system(std::uint32_t acl_id) noexcept {
    return zv_acl_rm_acl_system_bind_params_t{0, static_cast<std::uint32_t>(Access::kBind), acl_id};
}

inline Request<zv_acl_rm_acl_system_bind_params_t> unbind_system(std::uint32_t acl_id) noexcept {
    return zv_acl_rm_acl_system_bind_params_t{0, static_cast<std::uint32_t>(Access::kUnbind),
                                              acl_id};
}

inline Request<zv_acl_rm_port_set_params_t> port_set(Access access, Numbers log_ports) noexcept {
    zv_acl_rm_port_set_params_t record{};
    record.cmd = static_cast<std::uint32_t>(access);
    if (!detail::put_list(log_ports, record.log_ports, record.ports_num)) {
        return detail::does_not_fit();
    }
    return record;
}

inline Request<zv_acl_rm_port_set_params_t> add_ports(Numbers log_ports) noexcept {
    return port_set(Access::kAddPorts, log_ports);
}

inline Request<zv_acl_rm_port_set_params_t> remove_ports(Numbers log_ports) noexcept {
    return port_set(Access::kDeletePorts, log_ports);
}

inline Request<zv_acl_rm_counter_set_params_t> create_counter(CounterKind kind) noexcept {
    const acl_rm_counter_type bytes = {1, 0};
    const acl_rm_counter_type packets = {0, 1};
    return zv_acl_rm_counter_set_params_t{0, static_cast<std::uint32_t>(Access::kCreate),
                                          kind == CounterKind::kBytes ? bytes : packets, 0};
}

inline Request<zv_acl_rm_counter_set_params_t> destroy_counter(std::uint32_t counter_id) noexcept {
    return zv_acl_rm_counter_set_params_t{
        0, static_cast<std::uint32_t>(Access::kDestroy), {0, 0}, counter_id};
}

inline Request<zv_acl_rm_counter_get_params_t> read_counter(std::uint32_t counter_id) noexcept {
    return zv_acl_rm_counter_get_params_t{
        0, static_cast<std::uint32_t>(Access::kRead), counter_id, {0, 0}, {0, 0}};
}

inline Request<zv_acl_rm_counter_get_params_t> clear_counter(std::uint32_t counter_id) noexcept {
    return zv_acl_rm_counter_get_params_t{
        0, static_cast<std::uint32_t>(Access::kClear), counter_id, {0, 0}, {0, 0}};
}

inline Request<zv_acl_rm_mc_group_set_params_t> mc_group_set(Access access,
                                                             std::uint32_t mc_group_id,
                                                             Numbers log_ports) noexcept {
    zv_acl_rm_mc_group_set_params_t record{};
    record.cmd = static_cast<std::uint32_t>(access);
    record.mc_group_id = mc_group_id;
    if (!detail::put_list(log_ports, record.log_ports, record.ports_num)) {
        return detail::does_not_fit();
    }
    return record;
}

inline Request<zv_acl_rm_mc_group_set_params_t> create_mc_group(Numbers log_ports = {}) noexcept {
    return mc_group_set(Access::kAdd, 0, log_ports);
}

inline Request<zv_acl_rm_mc_group_set_params_t> add_mc_group_ports(std::uint32_t mc_group_id,
                                                                   Numbers log_ports) noexcept {
    return mc_group_set(Access::kAddPorts, mc_group_id, log_ports);
}

inline Request<zv_acl_rm_mc_group_set_params_t> remove_mc_group_ports(std::uint32_t mc_group_id,
                                                                      Numbers log_ports) noexcept {
    return mc_group_set(Access::kDeletePorts, mc_group_id, log_ports);
}

inline Request<zv_acl_rm_mc_group_set_params_t> delete_mc_group(
    std::uint32_t mc_group_id) noexcept {
    return mc_group_set(Access::kDelete, mc_group_id, {});
}

inline Request<zv_acl_rm_mc_group_get_params_t> mc_group_ports(
    std::uint32_t mc_group_id, std::uint32_t room = ZV_ACL_RM_PORTS_PER_RECORD) noexcept {
    zv_acl_rm_mc_group_get_params_t record{};
    record.mc_group_id = mc_group_id;
    record.ports_num = room;
    if (room > ZV_ACL_RM_PORTS_PER_RECORD) {
        return detail::does_not_fit();
    }
    return record;
}

/* The path must last until the request is sent. */
inline Request<zv_acl_rm_dump_params_t> dump(const char *path) noexcept {
    return zv_acl_rm_dump_params_t{0, reinterpret_cast<std::uintptr_t>(path)};
}

}  // namespace requests

/* What the replies say, read from the records that hold them. */
namespace replies {

inline Acl acl(const zv_acl_rm_acl_set_params_t &record) noexcept {
    return {record.acl.acl_id, record.acl.region_id};
}

inline StoredRules rules(const zv_acl_rm_acl_rule_get_params_t &record) noexcept {
    StoredRules list;
    for (std::uint32_t i = 0; i < record.rules_num && i < ZV_ACL_RM_RULES_PER_RECORD; i++) {
        list.append(StoredRule(record.rules[i]));
    }
    return list;
}

inline CounterValue counter(const zv_acl_rm_counter_get_params_t &record) noexcept {
    if (record.counter_type.first != 0) {
        return {CounterKind::kBytes, record.values[0]};
    }
    return {CounterKind::kPackets, record.values[1]};
}

inline PortList ports(const zv_acl_rm_mc_group_get_params_t &record) noexcept {
    PortList list;
    for (std::uint32_t i = 0; i < record.ports_num && i < ZV_ACL_RM_PORTS_PER_RECORD; i++) {
        list.append(record.log_ports[i]);
    }
    return list;
}

}  // namespace replies

/* The answer to a submitted request. */
struct Answer {
    std::uint32_t sequence; /* as submit() gave it */
    Result<void> outcome;
};

/* ---- the client ---- */

/* A connection to the daemon; closed with the object, which can be moved and not copied. After a
 * move, and after close(), every call fails with EINVAL. */
class Client {
  public:
    /* zv_acl_rm_client_connect: `handle` is any number but 0; no path means the daemon's own. */
    static Result<Client> connect(std::uint64_t handle, const char *socket_path = nullptr) {
        zv_acl_rm_client_t *client = nullptr;
        const int error = zv_acl_rm_client_connect(socket_path, handle, &client);
        if (error != 0) {
            return Failure::no_answer(error);
        }
        return Client(client);
    }

    ~Client() { close(); }
    Client(Client &&other) noexcept : client_(std::exchange(other.client_, nullptr)) {}
    Client &operator=(Client &&other) noexcept {
        if (this != &other) {
            close();
            client_ = std::exchange(other.client_, nullptr);
        }
        return *this;
    }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    /* A request under way is still carried out. Owners, ACLs and rules stay. */
    void close() noexcept { zv_acl_rm_client_close(std::exchange(client_, nullptr)); }

    std::uint64_t handle() const noexcept { return zv_acl_rm_client_handle(client_); }
    int fd() const noexcept { return zv_acl_rm_client_fd(client_); }
    /* The C library's object, for its functions; it stays this object's. */
    zv_acl_rm_client_t *get() const noexcept { return client_; }

    /* Of each call from its first byte to the whole answer, in ms; negative: no limit. */
    Result<void> set_timeout_ms(int timeout_ms) noexcept {
        return outcome(zv_acl_rm_client_set_timeout_ms(client_, timeout_ms), 0);
    }

    /* zv_acl_rm_api_open */
    Result<void> open(Owner owner) { return finish(requests::open(owner)); }
    /* zv_acl_rm_api_init */
    Result<void> init(std::uint32_t chip_type) { return finish(requests::init(chip_type)); }

    /* zv_acl_rm_api_acl_set: an ACL with room for `size` rules. */
    Result<Acl> create_acl(std::uint32_t size, Direction direction = Direction::kIngress,
                           const AclTypes &types = {}) {
        return finish(requests::create_acl(size, direction, types), replies::acl);
    }
    /* zv_acl_rm_api_acl_set: direction and type go to the switch as given here. */
    Result<void> destroy_acl(std::uint32_t acl_id, Direction direction = Direction::kIngress,
                             std::uint32_t acl_type = 0) {
        return finish(requests::destroy_acl(acl_id, direction, acl_type));
    }
    /* zv_acl_rm_api_acl_set: the id that the ACL has from then on. */
    Result<std::uint32_t> edit_acl(std::uint32_t acl_id, Direction direction) {
        return finish(requests::edit_acl(acl_id, direction),
                      [](const auto &record) { return record.acl.acl_id; });
    }
    /* zv_acl_rm_api_acl_resize */
    Result<void> resize_acl(std::uint32_t acl_id, std::uint32_t new_size) {
        return finish(requests::resize_acl(acl_id, new_size));
    }

    /* zv_acl_rm_api_acl_rule_set, up to 20 rules */
    Result<void> write_rules(std::uint32_t acl_id, Span<const Rule> rules) {
        return finish(requests::write_rules(acl_id, rules));
    }
    /* zv_acl_rm_api_acl_rule_set, up to 20 offsets */
    Result<void> delete_rules(std::uint32_t acl_id, Numbers offsets) {
        return finish(requests::delete_rules(acl_id, offsets));
    }
    /* zv_acl_rm_api_acl_rule_get, up to 20 offsets; the rules come in their order */
    Result<StoredRules> read_rules(std::uint32_t acl_id, Numbers offsets,
                                   Activity activity = Activity::kIgnore) {
        return finish(requests::read_rules(acl_id, offsets, activity), replies::rules);
    }
    /* zv_acl_rm_api_acl_rule_move_block */
    Result<void> move_rules(std::uint32_t acl_id, std::uint32_t start, std::uint32_t count,
                            std::uint32_t new_start) {
        return finish(requests::move_rules(acl_id, start, count, new_start));
    }

    /* zv_acl_rm_api_acl_port_bind, up to 100 ports */
    Result<void> bind_ports(std::uint32_t acl_id, Numbers log_ports) {
        return finish(requests::bind_ports(acl_id, log_ports));
    }
    Result<void> unbind_ports(std::uint32_t acl_id, Numbers log_ports) {
        return finish(requests::unbind_ports(acl_id, log_ports));
    }
    /* zv_acl_rm_api_acl_rif_bind, up to 100 router interfaces */
    Result<void> bind_rifs(std::uint32_t acl_id, Rifs rifs) {
        return finish(requests::bind_rifs(acl_id, rifs));
    }
    Result<void> unbind_rifs(std::uint32_t acl_id, Rifs rifs) {
        return finish(requests::unbind_rifs(acl_id, rifs));
    }
    /* zv_acl_rm_api_system_bind_set */
    Result<void> bind_system(std::uint32_t acl_id) { return finish(requests::bind_system(acl_id)); }
    Result<void> unbind_system(std::uint32_t acl_id) {
        return finish(requests::unbind_system(acl_id));
    }
    /* zv_acl_rm_api_port_set, up to 100 ports */
    Result<void> add_ports(Numbers log_ports) { return finish(requests::add_ports(log_ports)); }
    Result<void> remove_ports(Numbers log_ports) {
        return finish(requests::remove_ports(log_ports));
    }

    /* zv_acl_rm_api_counter_set: the counter's id */
    Result<std::uint32_t> create_counter(CounterKind kind) {
        return finish(requests::create_counter(kind),
                      [](const auto &record) { return record.counter_id; });
    }
    Result<void> destroy_counter(std::uint32_t counter_id) {
        return finish(requests::destroy_counter(counter_id));
    }
    /* zv_acl_rm_api_counter_get */
    Result<CounterValue> read_counter(std::uint32_t counter_id) {
        return finish(requests::read_counter(counter_id), replies::counter);
    }
    Result<void> clear_counter(std::uint32_t counter_id) {
        return finish(requests::clear_counter(counter_id));
    }

    /* zv_acl_rm_api_mc_group_set: the group's id; up to 100 ports */
    Result<std::uint32_t> create_mc_group(Numbers log_ports = {}) {
        return finish(requests::create_mc_group(log_ports),
                      [](const auto &record) { return record.mc_group_id; });
    }
    Result<void> add_mc_group_ports(std::uint32_t mc_group_id, Numbers log_ports) {
        return finish(requests::add_mc_group_ports(mc_group_id, log_ports));
    }
    Result<void> remove_mc_group_ports(std::uint32_t mc_group_id, Numbers log_ports) {
        return finish(requests::remove_mc_group_ports(mc_group_id, log_ports));
    }
    Result<void> delete_mc_group(std::uint32_t mc_group_id) {
        return finish(requests::delete_mc_group(mc_group_id));
    }
    /* zv_acl_rm_api_mc_group_get: the first `room` ports of the group */
    Result<PortList> mc_group_ports(std::uint32_t mc_group_id,
                                    std::uint32_t room = ZV_ACL_RM_PORTS_PER_RECORD) {
        return finish(requests::mc_group_ports(mc_group_id, room), replies::ports);
    }

    /* zv_acl_rm_api_dump */
    Result<void> dump(const char *path) { return finish(requests::dump(path)); }

    /* ---- records ---- */

    /* Carries out the command of a record, and leaves its reply in it. The methods above do this.
     */
    template <typename Record, Command = detail::Wire<Record>::kCommand>
    Result<void> call(Record &record) {
        zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
        const int error = detail::Wire<Record>::call(client_, &record, &status);
        return outcome(error, status);
    }

    /* zv_acl_rm_client_submit: the sequence number. A request that could not be made is not sent,
     * and its failure comes back. */
    template <typename Record>
    Result<std::uint32_t> submit(Request<Record> request) {
        if (!request) {
            return request.failure();
        }
        return submit(*request);
    }
    template <typename Record, Command = detail::Wire<Record>::kCommand>
    Result<std::uint32_t> submit(Record &record) {
        std::uint32_t sequence = 0;
        const int error =
            zv_acl_rm_client_submit(client_, static_cast<std::uint32_t>(command_of<Record>()),
                                    &record, sizeof(record), &sequence);
        if (error != 0) {
            return Failure::no_answer(error);
        }
        return sequence;
    }

    /* zv_acl_rm_client_collect: takes the oldest outstanding answer. A Failure here says that none
     * was taken: ENOMSG, nothing was submitted; ETIMEDOUT, it is still to come; ENOBUFS, the record
     * given is smaller than the command's. Everything else is the answer's outcome. */
    Result<Answer> collect() { return collect(nullptr, nullptr); }
    /* The same; of a command that succeeded the reply is put into its record. */
    template <typename Record>
    Result<Answer> collect(Record &record) {
        std::uint32_t record_len = sizeof(record);
        return collect(&record, &record_len);
    }

    /* zv_acl_rm_client_explain: the likely causes of a refusal, one a line, the likeliest first.
     * `record` is the request as it was refused. What is no refusal is put in words. */
    template <typename Record>
    std::string explain(const Record &record, const Failure &failure) {
        if (!failure.refused()) {
            return failure.words();
        }
        std::string text(ZV_ACL_RM_EXPLANATION_BYTES, '\0');
        /* Whatever it returns, the text holds what could be found out. */
        (void)zv_acl_rm_client_explain(
            client_, static_cast<std::uint32_t>(command_of<Record>()), &record, sizeof(record),
            static_cast<zv_acl_rm_status_t>(failure.status()), text.data(),
            static_cast<std::uint32_t>(text.size()), nullptr);
        text.resize(std::strlen(text.c_str()));
        return text.empty() ? failure.words() : text;
    }

  private:
    explicit Client(zv_acl_rm_client_t *client) noexcept : client_(client) {}

    template <typename Record>
    static constexpr Command command_of() noexcept {
        return detail::Wire<Record>::kCommand;
    }

    static Result<void> outcome(int error, zv_acl_rm_status_t status) noexcept {
        if (error != 0) {
            return Failure::no_answer(error);
        }
        if (status != ZV_ACL_RM_STATUS_SUCCESS) {
            return Failure::refusal(status);
        }
        return {};
    }

    Result<Answer> collect(void *record, std::uint32_t *record_len) {
        std::uint32_t sequence = 0;
        zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
        const int error = zv_acl_rm_client_collect(client_, &sequence, record, record_len, &status);
        if (error == ENOMSG || error == ETIMEDOUT || error == ENOBUFS || error == EINVAL) {
            return Failure::no_answer(error);
        }
        return Answer{sequence, outcome(error, status)};
    }

    template <typename Record>
    Result<void> finish(Request<Record> request) {
        if (!request) {
            return request.failure();
        }
        return call(*request);
    }

    template <typename Record, typename Read>
    auto finish(Request<Record> request, Read read) -> Result<decltype(read(*request))> {
        if (!request) {
            return request.failure();
        }
        const Result<void> done = call(*request);
        if (!done) {
            return done.failure();
        }
        return read(*request);
    }

    zv_acl_rm_client_t *client_;
};

}  // namespace zv_acl_rm

#endif
