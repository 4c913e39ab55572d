/* What became of packets in the simulated switch. */
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "render_text.h"
#include "text_table.h"

namespace aclrmctl {

namespace {

using nlohmann::json;

std::string where_text(const Names &names, const PacketRequest &asked) {
    return (asked.router_interface ? "router interface " : "port ") +
           std::to_string(asked.ingress_point) + ", " + direction_text(names, asked.direction);
}

void print_summary(std::ostream &out, const Names &names, const PcapAnswer &answer) {
    std::map<uint32_t, uint32_t> verdicts;
    uint32_t unmatched_num = 0;
    uint32_t unsent_num = 0;
    for (const CaptureRow &row : answer.rows) {
        unsent_num += row.sent ? 0 : 1;
        unmatched_num += row.sent && !row.matched ? 1 : 0;
        if (row.sent) {
            verdicts[row.verdict]++;
        }
    }
    out << counted(answer.rows.size() - unsent_num, "packet") << " sent";
    const char *separator = ": ";
    for (const auto &[verdict, packets_num] : verdicts) {
        out << separator << packets_num << (names.numeric() ? " verdict " : " ")
            << names.verdict(verdict);
        separator = ", ";
    }
    if (unmatched_num > 0) {
        out << " (" << unmatched_num << " of them matched no rule)";
    }
    if (unsent_num > 0) {
        out << "; " << unsent_num << " not sent: they have no key of the type asked for";
    }
    out << ".\n";
    if (answer.more) {
        out << "There are more packets in the file: --count " << answer.asked.most
            << " ended before them.\n";
    }
}

}  // namespace

void TextRenderer::operator()(const PacketAnswer &answer) const {
    const PacketRequest &asked = answer.asked;
    out_ << "packet  " << describe_packet_key({asked.key_type, asked.key}) << "\n"
         << "at      " << where_text(names_, asked) << ", " << asked.length << " bytes\n";
    const json &hit = *answer.json;
    if (!hit.value("matched", false)) {
        out_ << "verdict " << names_.verdict(0) << " (no rule matched)\n";
        return;
    }
    out_ << "hit     ACL " << hit.at("acl_id") << ", rule at offset " << hit.at("offset")
         << (answer.rule.empty() ? "" : ": " + answer.rule) << "\n"
         << "verdict " << names_.verdict(hit.at("verdict").get<uint32_t>());
    if (hit.value("counter_id", 0) != 0) {
        out_ << ", counted by " << hit.at("counter_id");
    }
    const auto ports = hit.value("ports", std::vector<uint32_t>());
    if (!ports.empty()) {
        out_ << ", forwarded to " << (ports.size() == 1 ? "port " : "ports ") << number_runs(ports);
    }
    out_ << "\n";
}

void TextRenderer::operator()(const PcapAnswer &answer) const {
    out_ << fitted(answer.asked.file + " at " + where_text(names_, answer.asked.where) + "\n",
                   columns_);
    TextTable table({">packet", ">bytes", "verdict", ">ACL", ">offset", "what"});
    for (const CaptureRow &row : answer.rows) {
        const bool hit = row.sent && row.matched;
        const std::string packet = row.sent ? describe_packet_key(row.packet) : "-";
        table.add({std::to_string(row.number), std::to_string(row.length),
                   row.sent ? names_.verdict(row.verdict) : "not sent",
                   hit ? std::to_string(row.acl_id) : "-", hit ? std::to_string(row.offset) : "-",
                   packet});
    }
    if (!table.empty()) {
        table.print(out_, columns_);
    }
    std::ostringstream summary;
    print_summary(summary, names_, answer);
    out_ << fitted(summary.str(), columns_);
}

}  // namespace aclrmctl
