/* Batches are sent as long as the window has room and the daemon takes them, then the oldest answer
 * is awaited. A send never waits: a daemon that does not read is waiting for us to take an answer,
 * and waiting for it in turn would stop both. */
#include "rule_sender.h"

#include <algorithm>
#include <cerrno>

#include "exit_codes.h"
#include "rule_interrupt.h"
#include "text_table.h"

namespace aclrmctl {

namespace {

class Sender {
  public:
    Sender(const LoadPlan &plan, zv_acl_rm_client_t *client, SendResult *result)
        : plan_(plan), client_(client), result_(result) {}

    void run(const Progress &progress);

  private:
    bool may_send() const {
        return !result_->failure && InterruptWatch::caught() == nullptr &&
               sent_num_ < result_->batches.size() &&
               sent_num_ - answered_num_ < plan_.request.in_flight;
    }
    bool waits() const { return answered_num_ < sent_num_; }
    bool send_one();
    bool collect_one();
    void note_failure(const LoadBatch &batch, int error);
    void note_interrupt();
    void tell_also_refused();
    std::string batch_words(const LoadBatch &batch) const;

    const LoadPlan &plan_;
    zv_acl_rm_client_t *client_;
    SendResult *result_;
    zv_acl_rm_acl_rule_set_params_t params_{};
    size_t sent_num_ = 0; /* batches */
    size_t answered_num_ = 0;
    uint32_t written_num_ = 0;           /* rules */
    std::vector<uint32_t> also_refused_; /* lines of commands refused behind the first failure */
    uint32_t also_refused_num_ = 0;
};

/* False when nothing was sent: the daemon takes nothing more now, or the connection failed. */
bool Sender::send_one() {
    LoadBatch &batch = result_->batches[sent_num_];
    fill_batch(plan_, batch, &params_);
    /* With answers outstanding there is something better to do than to wait. */
    zv_acl_rm_client_set_timeout_ms(client_, waits() ? 0 : plan_.settings.timeout_ms);
    const int error = zv_acl_rm_client_submit(client_, ZV_ACL_RM_API_INT_CMD_ACL_RULE_SET, &params_,
                                              sizeof(params_), &batch.sequence);
    if (error == 0) {
        batch.fate = BatchFate::kUnderWay;
        sent_num_++;
        result_->commands_num++;
        return true;
    }
    const bool is_full = error == EAGAIN || error == ETIMEDOUT;
    if (!is_full || !waits()) {
        note_failure(batch, error);
        result_->is_connected = is_full;
    }
    return false;
}

/* False when no answer came: none will be waited for any more. */
bool Sender::collect_one() {
    LoadBatch &batch = result_->batches[answered_num_];
    uint32_t sequence = 0;
    zv_acl_rm_status_t status = 0;
    zv_acl_rm_client_set_timeout_ms(client_, plan_.settings.timeout_ms);
    int error = zv_acl_rm_client_collect(client_, &sequence, nullptr, nullptr, &status);
    if (error == 0 && sequence != batch.sequence) {
        error = EPROTO;
    }
    if (error != 0) {
        note_failure(batch, error);
        result_->is_connected = error == ETIMEDOUT;
        return false;
    }
    answered_num_++;
    batch.status = status;
    batch.fate = status == ZV_ACL_RM_STATUS_SUCCESS ? BatchFate::kWritten : BatchFate::kRefused;
    if (batch.fate == BatchFate::kWritten) {
        written_num_ += batch.count;
    } else {
        note_failure(batch, 0);
    }
    return true;
}

/* "edge.rules lines 22-31 (priority 20-29 of ACL 6)" */
std::string Sender::batch_words(const LoadBatch &batch) const {
    const uint32_t last = batch.first + batch.count - 1;
    const auto range = [](uint32_t low, uint32_t high) {
        return std::to_string(low) + (low == high ? "" : "-" + std::to_string(high));
    };
    return plan_.loaded.name +
           (plan_.line(batch.first) == plan_.line(last) ? " line " : " lines ") +
           range(plan_.line(batch.first), plan_.line(last)) + " (priority " +
           range(plan_.offset(batch.first), plan_.offset(last)) + " of ACL " +
           std::to_string(plan_.request.acl_id) + ")";
}

/* The first failure is the cause; later ones mostly follow from it and become further lines. */
void Sender::note_failure(const LoadBatch &batch, int error) {
    std::optional<Failure> failure = call_failure(plan_.settings, "loading " + batch_words(batch),
                                                  error, error == 0 ? batch.status : 0);
    if (!result_->failure) {
        result_->failure = std::move(failure);
    } else if (error == 0) {
        also_refused_num_++;
        for (uint32_t i = batch.first; i < batch.first + batch.count; i++) {
            also_refused_.push_back(plan_.line(i));
        }
    } else {
        result_->failure->details.push_back("also: " + failure->what);
    }
}

void Sender::tell_also_refused() {
    if (also_refused_num_ == 0) {
        return;
    }
    /* A rule that expands has several rules of the switch on its line. */
    also_refused_.erase(std::unique(also_refused_.begin(), also_refused_.end()),
                        also_refused_.end());
    result_->failure->details.push_back(
        "also refused: " + counted(also_refused_num_, "command") + " under way behind it, line" +
        (also_refused_.size() == 1 ? " " : "s ") + number_runs(also_refused_));
}

void Sender::note_interrupt() {
    result_->failure =
        Failure{kExitFailure,
                "loading " + plan_.loaded.name + " was stopped by " + InterruptWatch::caught(),
                {},
                {},
                ""};
}

void Sender::run(const Progress &progress) {
    progress(0, plan_.total());
    while (may_send() || waits()) {
        while (may_send() && send_one()) {
        }
        if (waits() && !collect_one()) {
            break;
        }
        progress(written_num_, plan_.total());
    }
    for (size_t i = answered_num_; i < sent_num_; i++) {
        result_->batches[i].fate = BatchFate::kUnanswered;
    }
    if (!result_->failure && sent_num_ < result_->batches.size()) {
        note_interrupt();
    }
    tell_also_refused();
}

}  // namespace

void fill_batch(const LoadPlan &plan, const LoadBatch &batch,
                zv_acl_rm_acl_rule_set_params_t *params) {
    params->cmd = ZV_ACL_RM_ACCESS_CMD_WRITE;
    params->acl_id = plan.request.acl_id;
    params->rules_num = batch.count;
    for (uint32_t i = 0; i < batch.count; i++) {
        encode_whole_rule(plan.rule(batch.first + i), &params->rules[i]);
    }
}

SendResult send_rules(const LoadPlan &plan, zv_acl_rm_client_t *client, const Progress &progress) {
    SendResult result;
    for (uint32_t first = 0; first < plan.total(); first += plan.request.batch) {
        LoadBatch batch;
        batch.first = first;
        batch.count = std::min(plan.request.batch, plan.total() - first);
        result.batches.push_back(batch);
    }
    Sender(plan, client, &result).run(progress);
    return result;
}

}  // namespace aclrmctl
