/* The client: a connection and its calls. Included by zv_acl_rm.hpp. */
#ifndef ZV_ACL_RM_HPP_CLIENT_HPP
#define ZV_ACL_RM_HPP_CLIENT_HPP

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "zv_acl_rm/hpp/lists.hpp"
#include "zv_acl_rm/hpp/names.hpp"
#include "zv_acl_rm/hpp/requests.hpp"
#include "zv_acl_rm/hpp/results.hpp"
#include "zv_acl_rm/hpp/rules.hpp"
#include "zv_acl_rm/zv_acl_rm_client.h"

namespace zv_acl_rm {

/* The answer to a submitted request. */
struct Answer {
    std::uint32_t sequence; /* as submit() gave it */
    Result<void> outcome;
};

/* A connection to the daemon; closed with the object, which can be moved and not copied. After a
 * move, and after close(), every call fails with EINVAL. */
class Client {
  public:
    /* zv_acl_rm_client_connect: `handle` is any number but 0; no path means the daemon's own. */
    static Result<Client> connect(std::uint64_t handle, const char *socket_path = nullptr) {
        zv_acl_rm_client_t *client = nullptr;
        const int error = zv_acl_rm_client_connect(socket_path, handle, &client);
        if (error != 0) {
            return Failure::no_connection(error);
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
     * given is smaller than the command's; or the system's own error, and the answer is still to
     * come. Everything else is the answer's outcome. */
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

    /* Whether a request is outstanding no more: it was answered, or no answer will come. */
    static bool ends_request(int error) noexcept {
        return error == 0 || error == ECONNRESET || error == ESHUTDOWN || error == EPROTO ||
               error == EOPNOTSUPP || error == EBADMSG || error == EMSGSIZE;
    }

    Result<Answer> collect(void *record, std::uint32_t *record_len) {
        std::uint32_t sequence = 0;
        zv_acl_rm_status_t status = ZV_ACL_RM_STATUS_SUCCESS;
        const int error = zv_acl_rm_client_collect(client_, &sequence, record, record_len, &status);
        if (!ends_request(error)) {
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
