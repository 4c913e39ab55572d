/* Batches are sent as long as the window has room and the daemon takes them, then the oldest answer
 * is awaited. A send never waits: a daemon that does not read is waiting for us to take an answer,
 * and waiting for it in turn would stop both. */
#include "rule_load.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>

#include "daemon_link.h"
#include "exit_codes.h"

namespace aclrmctl {

namespace {

struct Batch {
    uint32_t first; /* index of its first expanded rule */
    uint32_t count;
    uint32_t sequence;
};

/* Rules that are in the ACL, as runs of expanded rules [first, end). */
struct Run {
    uint32_t first;
    uint32_t end;
};

class Loader {
  public:
    Loader(const Settings &settings, const RuleLoadRequest &request, const LoadedFile &loaded,
           Client client)
        : settings_(settings), request_(request), loaded_(loaded), client_(std::move(client)) {}

    std::optional<Failure> run(const Progress &progress);
    uint32_t commands_num() const { return commands_num_; }

  private:
    uint32_t total() const { return static_cast<uint32_t>(loaded_.expanded.size()); }
    bool may_send() const {
        return !failure_ && next_ < total() && under_way_.size() < request_.in_flight;
    }
    bool send_one();
    bool receive_one();
    void fill_batch(const Batch &batch);
    void note_failure(const Batch &batch, int error, zv_acl_rm_status_t status);
    void note_loaded(const Batch &batch);
    std::string batch_text(const Batch &batch) const;
    void describe_outcome();

    const Settings &settings_;
    const RuleLoadRequest &request_;
    const LoadedFile &loaded_;
    Client client_;
    zv_acl_rm_acl_rule_set_params_t params_{};
    std::deque<Batch> under_way_;
    std::vector<Run> runs_;
    std::optional<Failure> failure_;
    uint32_t next_ = 0;
    uint32_t done_ = 0;
    uint32_t commands_num_ = 0;
};

void Loader::fill_batch(const Batch &batch) {
    params_.cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    params_.acl_id = request_.acl_id;
    params_.rules_num = batch.count;
    for (uint32_t i = 0; i < batch.count; i++) {
        const ExpandedRule &expanded = loaded_.expanded[batch.first + i];
        encode_rule(loaded_.file.rules[expanded.rule_index], expanded,
                    request_.options.first_priority + batch.first + i, request_.options,
                    &params_.rules[i]);
    }
}

/* False when nothing was sent: the daemon takes nothing more now, or the connection failed. */
bool Loader::send_one() {
    Batch batch{next_, std::min(request_.batch, total() - next_), 0};
    fill_batch(batch);
    /* With answers outstanding there is something better to do than to wait. */
    zv_acl_rm_client_set_timeout_ms(client_.get(), under_way_.empty() ? settings_.timeout_ms : 0);
    const int error = zv_acl_rm_api_acl_rule_set_send(client_.get(), &params_, &batch.sequence);
    if (error == 0) {
        under_way_.push_back(batch);
        next_ += batch.count;
        commands_num_++;
        return true;
    }
    const bool full = error == EAGAIN || error == ETIMEDOUT;
    if (!full || under_way_.empty()) {
        note_failure(batch, error, 0);
    }
    return false;
}

/* False when the connection is of no more use. */
bool Loader::receive_one() {
    uint32_t sequence = 0;
    zv_acl_rm_status_t status = 0;
    zv_acl_rm_client_set_timeout_ms(client_.get(), settings_.timeout_ms);
    const int error =
        zv_acl_rm_api_acl_rule_set_receive(client_.get(), nullptr, &sequence, &status);
    const Batch batch = under_way_.front();
    if (error != 0) {
        note_failure(batch, error, 0);
        return false;
    }
    if (sequence != batch.sequence) {
        note_failure(batch, EPROTO, 0);
        return false;
    }
    under_way_.pop_front();
    if (status == ZV_ACL_RM_STATUS_SUCCESS) {
        note_loaded(batch);
    } else {
        note_failure(batch, 0, status);
    }
    return true;
}

void Loader::note_loaded(const Batch &batch) {
    done_ += batch.count;
    if (!runs_.empty() && runs_.back().end == batch.first) {
        runs_.back().end += batch.count;
    } else {
        runs_.push_back({batch.first, batch.first + batch.count});
    }
}

/* The lines of the file that a batch was made from, and where it was to go. */
std::string Loader::batch_text(const Batch &batch) const {
    const auto line = [this](uint32_t index) {
        return loaded_.file.rules[loaded_.expanded[index].rule_index].line;
    };
    const uint32_t last = batch.first + batch.count - 1;
    const uint32_t priority = request_.options.first_priority + batch.first;
    return request_.file + " lines " + std::to_string(line(batch.first)) + "-" +
           std::to_string(line(last)) + " (rules at priority " + std::to_string(priority) + "-" +
           std::to_string(priority + batch.count - 1) + " of ACL " +
           std::to_string(request_.acl_id) + ")";
}

/* The first failure is the cause; later ones mostly follow from it and become further lines. */
void Loader::note_failure(const Batch &batch, int error, zv_acl_rm_status_t status) {
    std::optional<Failure> failure =
        call_failure(settings_, "loading " + batch_text(batch), error, status);
    if (!failure_) {
        failure_ = std::move(failure);
    } else {
        failure_->details.push_back("also: " + failure->what);
    }
}

void Loader::describe_outcome() {
    std::string text =
        "loaded: " + std::to_string(done_) + " of " + std::to_string(total()) + " rules";
    const char *separator = ", at priority ";
    for (const Run &run : runs_) {
        text += separator + std::to_string(request_.options.first_priority + run.first) + "-" +
                std::to_string(request_.options.first_priority + run.end - 1);
        separator = ", ";
    }
    failure_->details.insert(failure_->details.begin(), text);
    if (!under_way_.empty()) {
        failure_->details.push_back("unknown: " + std::to_string(under_way_.size()) +
                                    " commands were under way, from " +
                                    batch_text(under_way_.front()) + " on");
    }
}

std::optional<Failure> Loader::run(const Progress &progress) {
    while (may_send() || !under_way_.empty()) {
        while (may_send() && send_one()) {
        }
        if (!under_way_.empty() && !receive_one()) {
            break;
        }
        progress(done_, total());
    }
    if (failure_) {
        describe_outcome();
    }
    return failure_;
}

void count_rules(const std::string &name, LoadedFile *loaded) {
    RuleCheckAnswer &checked = loaded->checked;
    checked = {};
    checked.file = name;
    checked.lines_num = loaded->file.lines_num;
    checked.rules_num = static_cast<uint32_t>(loaded->file.rules.size());
    checked.expanded_num = static_cast<uint32_t>(loaded->expanded.size());
    checked.masked_num = loaded->file.masked_num;
    checked.first_masked_line = loaded->file.first_masked_line;
    for (const FilterRule &rule : loaded->file.rules) {
        if (rule.verdict) {
            checked.verdicts_num[static_cast<uint32_t>(*rule.verdict)]++;
        } else {
            checked.no_verdict_num++;
        }
    }
}

}  // namespace

std::optional<Failure> read_rule_file(const std::string &name, LoadedFile *loaded) {
    std::string text;
    if (const int error = read_text_file(name, &text); error != 0) {
        return Failure{kExitInput, name + ": " + std::strerror(error), {}, {}, ""};
    }
    if (const auto error = parse_rule_text(text, &loaded->file)) {
        std::string what = describe_rule_error(name, *error);
        what.pop_back(); /* whoever prints a failure ends its line */
        return Failure{kExitInput, what, {}, {}, ""};
    }
    if (loaded->file.rules.empty()) {
        return Failure{kExitInput, name + ": there is no rule in the file", {}, {}, ""};
    }
    if (!expand_rules(loaded->file, &loaded->expanded)) {
        const uint32_t line = loaded->expanded.empty()
                                  ? loaded->file.rules.front().line
                                  : loaded->file.rules[loaded->expanded.back().rule_index + 1].line;
        return Failure{kExitInput,
                       name + ":" + std::to_string(line) + ": the file makes more than " +
                           std::to_string(kLargestExpansion) + " rules of the switch",
                       {},
                       {},
                       ""};
    }
    count_rules(name, loaded);
    return std::nullopt;
}

Answer load_rules(const Settings &settings, const RuleLoadRequest &request,
                  const Progress &progress) {
    LoadedFile loaded;
    if (auto failure = read_rule_file(request.file, &loaded)) {
        return *failure;
    }
    if (request.options.first_priority > UINT32_MAX - loaded.expanded.size()) {
        return Failure{kExitUsage, "--first-priority leaves no room for the rules", {}, {}, ""};
    }
    Client client;
    if (auto failure = connect_daemon(settings, &client)) {
        return *failure;
    }
    const auto start = std::chrono::steady_clock::now();
    Loader loader(settings, request, loaded, std::move(client));
    if (auto failure = loader.run(progress)) {
        return *failure;
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    return RuleLoadAnswer{loaded.checked, request.acl_id, request.options.first_priority,
                          loader.commands_num(), seconds.count()};
}

}  // namespace aclrmctl
