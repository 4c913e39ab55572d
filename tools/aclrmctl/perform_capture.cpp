/* The packets of a capture, one by one through the simulated switch. */
#include <map>
#include <nlohmann/json.hpp>

#include "exit_codes.h"
#include "pcap_file.h"
#include "switch_control.h"
#include "text_table.h"

namespace aclrmctl {

namespace {

using nlohmann::json;
using RuleWords = std::map<std::pair<uint32_t, uint32_t>, std::string>; /* by ACL and offset */

/* Reads from an answer, which is another one than this version's if that throws. */
template <typename Read>
std::optional<Failure> as_the_switch_answers(const std::string &command, Read read) {
    try {
        read();
    } catch (const json::exception &error) {
        return Failure{
            kExitFailure,
            "switch command '" + command + "': the answer is not the switch's: " + error.what(),
            {},
            {},
            ""};
    }
    return std::nullopt;
}

/* Every rule in words, from one look at the switch before the first packet. */
std::optional<Failure> read_rule_words(const Settings &settings, RuleWords *words) {
    json state;
    if (auto failure = ask_switch(settings, {{"cmd", "state"}}, &state)) {
        return failure;
    }
    return as_the_switch_answers("state", [&] {
        for (const json &acl : state.at("acls")) {
            for (const json &region : state.at("regions")) {
                if (region.at("region_id") != acl.at("region_id")) {
                    continue;
                }
                for (const json &rule : region.at("rules")) {
                    words->emplace(std::pair(acl.at("acl_id").get<uint32_t>(),
                                             rule.at("offset").get<uint32_t>()),
                                   describe_switch_rule(rule));
                }
            }
        }
    });
}

std::optional<Failure> send_one(const Settings &settings, const PcapRequest &request,
                                const RuleWords &words, CaptureRow *row) {
    PacketRequest packet = request.where;
    packet.key_type = row->packet.key_type;
    packet.key = row->packet.key;
    packet.length = row->length;
    json hit;
    if (auto failure = ask_packet(settings, packet, &hit)) {
        return failure;
    }
    row->sent = true;
    return as_the_switch_answers("packet", [&] {
        row->matched = hit.at("matched").get<bool>();
        if (row->matched) {
            row->acl_id = hit.at("acl_id").get<uint32_t>();
            row->offset = hit.at("offset").get<uint32_t>();
            row->verdict = hit.at("verdict").get<uint32_t>();
            const auto rule = words.find({row->acl_id, row->offset});
            row->rule = rule == words.end() ? "" : rule->second;
        }
    });
}

/* Which packets of the capture the switch has seen, and what it did with them; a frame without a
 * key is none of them. Of the one that failed nobody knows. */
void tell_of_sent(const PcapAnswer &answer, size_t packets_num, Failure *failure) {
    PartialWork work;
    work.cause = failure->exit_code;
    work.done_word = "sent";
    for (const CaptureRow &row : answer.rows) {
        if (row.sent) {
            work.done.push_back(row.number);
        }
    }
    const auto failed = static_cast<uint32_t>(answer.rows.size() + 1);
    work.uncertain = {failed};
    for (uint32_t number = failed + 1; number <= packets_num; number++) {
        work.not_sent.push_back(number);
    }
    failure->details.push_back(
        "sent before that: " + (work.done.empty() ? "none" : "packets " + number_runs(work.done)) +
        " of " + std::to_string(packets_num));
    if (!work.done.empty()) {
        failure->exit_code = kExitPartial;
        failure->finished = std::make_shared<FinishedPart>(FinishedPart{answer});
    }
    failure->partial = std::move(work);
}

}  // namespace

Answer send_capture(const Settings &settings, const PcapRequest &request) {
    std::vector<CapturedPacket> packets;
    PcapAnswer answer;
    answer.asked = request;
    const std::string complaint =
        read_pcap_file(request.file, request.most, &packets, &answer.more);
    if (!complaint.empty()) {
        return Failure{kExitInput, request.file + ": " + complaint, {}, {}, ""};
    }
    RuleWords words;
    if (auto failure = read_rule_words(settings, &words)) {
        return *failure;
    }
    for (size_t i = 0; i < packets.size(); i++) {
        CaptureRow row;
        row.number = static_cast<uint32_t>(i + 1);
        row.length = packets[i].length;
        if (const auto key =
                pick_key(keys_of(packets[i].layer, packets[i].bytes), request.key_type)) {
            row.packet = *key;
            if (auto failure = send_one(settings, request, words, &row)) {
                tell_of_sent(answer, packets.size(), &*failure);
                return *failure;
            }
        }
        answer.rows.push_back(row);
    }
    return answer;
}

}  // namespace aclrmctl
