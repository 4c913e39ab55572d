#include "daemon_link.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "exit_codes.h"
#include "text_table.h"

namespace aclrmctl {

namespace {

constexpr size_t kShownRunsBytes = 48; /* keeps a failure's sentence within a line or two */

/* Tool and daemon do not understand each other. */
Failure version_failure(const std::string &what) {
    return {kExitFailure,
            what,
            {},
            {},
            "daemon and tool are of different versions, which 'zv_acl_rm --version' and 'aclrmctl "
            "--version' tell"};
}

Failure error_failure(const Settings &settings, const std::string &what, int error) {
    switch (error) {
        case ETIMEDOUT:
            return {kExitTimeout,
                    what + ": no answer within " + std::to_string(settings.timeout_ms) + " ms",
                    {},
                    {},
                    "whether it was carried out is unknown; 'aclrmctl show' tells what is there"};
        case ECONNRESET:
        case EPIPE:
        case ESHUTDOWN:
            return {kExitUnreachable, what + ": the daemon went away", {}, {}, ""};
        case EPROTO:
            return version_failure(what + ": the daemon's answer is none of this protocol");
        case EOPNOTSUPP:
            return version_failure(what + ": the daemon has no such command");
        case EBADMSG:
            return version_failure(what + ": the daemon found the message malformed");
        case EMSGSIZE:
            return version_failure(what + ": the daemon found the message too long");
        case ENOMEM:
            return {kExitFailure, what + ": out of memory", {}, {}, ""};
        default:
            return {kExitFailure, what + ": " + std::strerror(error), {}, {}, ""};
    }
}

}  // namespace

std::string rooted_path(const std::string &path) {
    const char *root = std::getenv("ZV_PLATFORM_ROOT");
    return root == nullptr ? path : root + path;
}

Failure connect_failure(const std::string &who, const std::string &path, int error,
                        const std::string &hint) {
    switch (error) {
        case EAGAIN: /* somebody listens, and has as many waiting as there may be */
            return {kExitUnreachable,
                    "the " + who + " at " + path + " takes no connections now",
                    {},
                    {},
                    "it is very busy, or stopped: try again"};
        case EACCES:
            return {kExitUnreachable,
                    "no right to connect to the " + who + " at " + path,
                    {},
                    {},
                    "run aclrmctl as root or as the user that the socket belongs to"};
        default:
            return {kExitUnreachable,
                    "no " + who + " at " + path + ": " + std::strerror(error),
                    {},
                    {},
                    hint};
    }
}

int time_left_ms(const Settings &settings) {
    if (!settings.deadline) {
        return settings.timeout_ms;
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        *settings.deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<int64_t>(left.count(), 0, settings.timeout_ms));
}

std::optional<Failure> connect_daemon(const Settings &settings, Client *client) {
    const int left_ms = time_left_ms(settings);
    if (left_ms == 0) {
        return error_failure(settings, "connecting to " + rooted_path(settings.socket), ETIMEDOUT);
    }
    zv_acl_rm_client_t *made = nullptr;
    const int error = zv_acl_rm_client_connect(settings.socket.c_str(), settings.handle, &made);
    if (error != 0) {
        return connect_failure("daemon", rooted_path(settings.socket), error,
                               "is zv_acl_rm running, and under the same ZV_PLATFORM_ROOT?");
    }
    client->reset(made);
    zv_acl_rm_client_set_timeout_ms(made, left_ms);
    return std::nullopt;
}

std::optional<Failure> call_failure(const Settings &settings, const std::string &what, int error,
                                    zv_acl_rm_status_t status) {
    if (error != 0) {
        return error_failure(settings, what, error);
    }
    if (status != ZV_ACL_RM_STATUS_SUCCESS) {
        return Failure{kExitRefused, what + ": refused", status, {}, ""};
    }
    return std::nullopt;
}

void add_why(zv_acl_rm_client_t *client, uint32_t command, const void *record, uint32_t record_len,
             Failure *failure) {
    char text[ZV_ACL_RM_EXPLANATION_BYTES] = "";
    uint32_t causes_num = 0;
    /* Where asking fails the text holds what can be told without. */
    zv_acl_rm_client_explain(client, command, record, record_len, *failure->status, text,
                             sizeof(text), &causes_num);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        failure->why.push_back(line);
    }
    failure->why_certain = causes_num == 1 && failure->why.size() == 1;
    /* Where no cause is found there is what the status means, which may be that among others. */
    const bool unopened =
        causes_num > 0 && failure->why.front().find("never opened") != std::string::npos;
    failure->hint = unopened ? "'aclrmctl open --owner NAME' opens it" : "";
}

void set_hint(std::optional<Failure> *failure, zv_acl_rm_status_t status, const std::string &hint) {
    if (*failure && (*failure)->status == status) {
        (*failure)->hint = hint;
    }
}

void mark_partial(Failure *failure, const std::string &done, const std::vector<uint32_t> &numbers,
                  size_t first, size_t end) {
    const auto at = [&](size_t index) { return numbers.begin() + static_cast<ptrdiff_t>(index); };
    failure->partial = PartialWork{
        failure->exit_code,       done,         {at(0), at(first)}, {at(first), at(end)},
        {at(end), numbers.end()}, std::nullopt,
    };
    failure->exit_code = kExitPartial;
}

void mark_uncertain(Failure *failure, const std::string &done, const std::vector<uint32_t> &numbers,
                    size_t end) {
    const int cause = failure->exit_code;
    mark_partial(failure, done, numbers, 0, end);
    failure->exit_code = cause;
}

namespace {

/* Nobody knows what became of a request without an answer. */
bool is_unanswered(const Failure &failure) {
    return !failure.status &&
           (failure.exit_code == kExitTimeout || failure.exit_code == kExitUnreachable);
}

}  // namespace

std::optional<Failure> send_in_pieces(const std::vector<uint32_t> &numbers, size_t piece_size,
                                      const std::string &done, const std::string &noun,
                                      const SendPiece &send) {
    for (size_t first = 0; first < numbers.size(); first += piece_size) {
        auto failure = send(first, std::min(numbers.size() - first, piece_size));
        if (failure) {
            const size_t end = std::min(numbers.size(), first + piece_size);
            if (first > 0) {
                const auto before = numbers.begin() + static_cast<ptrdiff_t>(first);
                failure->details.insert(failure->details.begin(),
                                        done + " before that: " + counted(first, noun) + " (" +
                                            number_runs({numbers.begin(), before}) + ")");
                if (done != kOnlyRead) {
                    mark_partial(&*failure, done, numbers, first, end);
                }
            } else if (done != kOnlyRead && numbers.size() > 1 && is_unanswered(*failure)) {
                mark_uncertain(&*failure, done, numbers, end);
            }
            return failure;
        }
    }
    return std::nullopt;
}

std::string piece_text(const std::string &noun, const std::vector<uint32_t> &numbers, size_t first,
                       size_t count) {
    const auto start = numbers.begin() + static_cast<ptrdiff_t>(first);
    std::string runs = number_runs({start, start + static_cast<ptrdiff_t>(count)});
    if (runs.size() > kShownRunsBytes) {
        runs = std::to_string(*start) + " and " + std::to_string(count - 1) + " more";
    }
    return noun + (count == 1 ? " " : "s ") + runs;
}

}  // namespace aclrmctl
