/* Every command against a stub of the daemon: the record it sends, to the byte, and what it prints;
 * and long lists, which travel in several requests. */
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "tests/client/stub_daemon.h"
#include "tests/tools/command_rows.h"
#include "tests/tools/json_answer.h"
#include "tests/tools/stub_words.h"
#include "zv_acl_rm/zv_acl_rm_records.h"
#include "zv_acl_rm/zv_acl_rm_status.h"

namespace {

using nlohmann::json;
using zv_test::CommandRow;
using zv_test::echo_reply;
using zv_test::expect_part;
using zv_test::refuse;
using zv_test::run;
using zv_test::StubDaemon;
using zv_test::StubReply;
using zv_test::StubRequest;
using zv_test::ToolRun;
using zv_test::Words;

/* Refuses from request number `first` on, counted from 0. */
StubDaemon::Handler refuse_from(uint32_t first, uint32_t status) {
    return [first, status, number = 0u](const StubRequest &request) mutable {
        StubReply reply = echo_reply(request);
        reply.status = number++ >= first ? status : 0;
        return reply;
    };
}

class EveryCommand : public testing::TestWithParam<CommandRow> {
  protected:
    StubDaemon answering_{[](const StubRequest &) { return StubReply{.body = GetParam().reply}; }};
};

TEST_P(EveryCommand, SendsOneRecordToTheByte) {
    EXPECT_EQ(run(answering_, GetParam().words).exit_code, 0);
    ASSERT_EQ(answering_.requests().size(), 1u);
    EXPECT_EQ(answering_.requests()[0].command, GetParam().command);
    EXPECT_EQ(answering_.requests()[0].body, GetParam().sent);
}

TEST_P(EveryCommand, PrintsText) {
    const ToolRun result = run(answering_, GetParam().words);
    EXPECT_EQ(result.out, GetParam().text);
    EXPECT_EQ(result.err, "");
}

TEST_P(EveryCommand, PrintsAnObject) {
    Words words = GetParam().words;
    words.emplace_back("--json");
    EXPECT_EQ(zv_test::own_members(run(answering_, words).out), GetParam().object);
}

TEST_P(EveryCommand, SaysWhatWasRefusedAndEndsWithStatusFour) {
    for (uint32_t status = 1; status < ZV_ACL_RM_STATUS_LAST; status++) {
        StubDaemon daemon(refuse(status));
        const ToolRun result = run(daemon, GetParam().words);
        EXPECT_EQ(result.exit_code, 4);
        EXPECT_EQ(result.out, "");
        const std::string start = "aclrmctl: " + GetParam().refusal + ": refused\n  status " +
                                  std::to_string(status) + ", ZV_ACL_RM_STATUS_";
        EXPECT_EQ(result.err.substr(0, start.size()), start);
        const size_t behind = result.err.find('\n', start.size());
        EXPECT_TRUE(result.err.compare(behind, 8, "\n  why: ") == 0 ||
                    result.err.compare(behind, 12, "\n  perhaps: ") == 0)
            << result.err;
    }
}

TEST_P(EveryCommand, EndsWithStatusThreeWithoutADaemon) {
    EXPECT_EQ(zv_test::run_tool("/nonexistent", GetParam().words).exit_code, 3);
}

INSTANTIATE_TEST_SUITE_P(Each, EveryCommand, testing::ValuesIn(zv_test::command_rows()),
                         [](const auto &row) { return row.param.name; });

/* --- lists longer than a record ------------------------------------------------------------- */

struct ListRow {
    Words words; /* but for the list */
    uint32_t per_request;
    size_t count_at; /* the count's place in the record */
};

const std::vector<ListRow> kLists{{{"bind", "port", "--acl", "1"}, 100, 416},
                                  {{"unbind", "port", "--acl", "1"}, 100, 416},
                                  {{"bind", "rif", "--acl", "1"}, 100, 216},
                                  {{"unbind", "rif", "--acl", "1"}, 100, 216},
                                  {{"port", "add"}, 100, 412},
                                  {{"port", "del"}, 100, 412},
                                  {{"mc", "create"}, 100, 416},
                                  {{"mc", "add", "1"}, 100, 416},
                                  {{"mc", "del", "1"}, 100, 416},
                                  {{"rule", "del", "--acl", "1"}, 20, 7216},
                                  {{"rule", "get", "--acl", "1"}, 20, 7216}};

std::vector<uint32_t> counts_sent(const ListRow &row, uint32_t numbers) {
    StubDaemon daemon;
    Words words = row.words;
    words.push_back("1-" + std::to_string(numbers));
    EXPECT_EQ(run(daemon, words).exit_code, 0);
    std::vector<uint32_t> counts;
    for (const StubRequest &request : daemon.requests()) {
        uint32_t count = 0;
        std::memcpy(&count, &request.body.at(row.count_at), sizeof(count));
        counts.push_back(count);
    }
    return counts;
}

TEST(LongLists, TravelInFullRecordsAndARest) {
    using Counts = std::vector<uint32_t>;
    for (const ListRow &row : kLists) {
        const uint32_t full = row.per_request;
        EXPECT_EQ(counts_sent(row, full - 1), (Counts{full - 1})) << row.words[0];
        EXPECT_EQ(counts_sent(row, full), (Counts{full})) << row.words[0];
        EXPECT_EQ(counts_sent(row, full + 1), (Counts{full, 1})) << row.words[0];
        EXPECT_EQ(counts_sent(row, 2 * full), (Counts{full, full})) << row.words[0];
    }
}

/* Requests but for those that ask why the daemon refused: dumps and reads. */
size_t changes_num(const StubDaemon &daemon) {
    const auto requests = daemon.requests();
    return static_cast<size_t>(
        std::count_if(requests.begin(), requests.end(), [](const StubRequest &request) {
            return request.command != ZV_ACL_RM_API_INT_CMD_DUMP &&
                   request.command != ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET &&
                   request.command != ZV_ACL_RM_API_INT_CMD_COUNTER_GET;
        }));
}

TEST(LongLists, EndAtTheFirstRefusalAndTellWhatWasDone) {
    const std::vector<std::pair<Words, Words>> rows{
        {{"bind", "port", "--acl", "1", "1-250"},
         {"binding ACL 1 to ports 101-200: refused", "bound before that: 100 ports (1-100)",
          "those of these ports before the failing one may be bound"}},
        {{"unbind", "rif", "--acl", "1", "1-250"},
         {"unbinding ACL 1 from router interfaces 101-200: refused",
          "unbound before that: 100 router interfaces (1-100)"}},
        {{"port", "add", "1-250"},
         {"adding ports 101-200: refused", "added before that: 100 ports (1-100)",
          "some of the ACLs bound to the system may have followed"}},
        {{"mc", "del", "4", "1-250"},
         {"removing ports 101-200 from MC group 4: refused",
          "removed before that: 100 ports (1-100)"}},
        {{"rule", "del", "--acl", "6", "1-50"},
         {"deleting the rules at offsets 21-40 of ACL 6: refused",
          "deleted before that: 20 rules (1-20)"}},
        {{"rule", "get", "--acl", "6", "1-50"},
         {"reading the rules at offsets 21-40 of ACL 6: refused", "read before that: 20 rules"}}};
    for (const auto &[words, parts] : rows) {
        StubDaemon daemon(refuse_from(1, ZV_ACL_RM_STATUS_ERROR));
        const ToolRun result = run(daemon, words);
        EXPECT_EQ(result.exit_code, words[1] == "get" ? 4 : 8) << "reading leaves nothing done";
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(changes_num(daemon), words[1] == "get" ? 0u : 2u) << words[0];
        for (const std::string &part : parts) {
            expect_part(result.err, part);
        }
    }
}

/* What the switch has forgotten by then cannot be read a second time. */
TEST(LongLists, KeepTheRulesWhoseActivityIsClearedWhereTheNextRequestFails) {
    const auto get = [](const char *activity, bool in_json) {
        StubDaemon daemon(refuse_from(1, ZV_ACL_RM_STATUS_ERROR));
        return run(daemon,
                   {"rule", "get", "--acl", "6", "1-50", activity, in_json ? "--json" : "-n"});
    };
    const ToolRun text = get("--clear-activity", false);
    EXPECT_EQ(text.exit_code, 8);
    EXPECT_EQ(std::count(text.out.begin(), text.out.end(), '\n'), 21) << text.out;
    expect_part(text.err, "read and cleared before that: 20 rules (1-20)");
    expect_part(text.err, "the activity of those of these rules before the failing one is cleared");
    const json answer = zv_test::own_members(get("--clear-activity", true).out, 8);
    EXPECT_EQ(answer.at("partial").at("what"), "read and cleared");
    EXPECT_EQ(answer.at("partial").at("cause"), 4);
    EXPECT_EQ(answer.at("partial").at("done").size(), 20u);
    EXPECT_EQ(answer.at("partial").at("uncertain").size(), 20u);
    EXPECT_EQ(answer.at("partial").at("not_sent").size(), 10u);
    EXPECT_EQ(answer.at("acl_id"), 6);
    ASSERT_EQ(answer.at("rules").size(), 20u);
    EXPECT_EQ(answer.at("rules").at(0).at("active"), false);
    const json plain = zv_test::own_members(get("--activity", true).out, 4);
    EXPECT_FALSE(plain.contains("partial")) << "reading alone leaves nothing done";
    EXPECT_FALSE(plain.contains("rules"));
}

TEST(LongLists, RefusedInTheFirstRequestLeaveItsNumbersUncertain) {
    const auto refused = [](Words words, uint32_t status) {
        StubDaemon daemon(refuse(status));
        words.emplace_back("-j");
        return zv_test::own_members(run(daemon, words).out, 4);
    };
    for (const Words &words : {Words{"bind", "port", "--acl", "1", "1-150"},
                               {"unbind", "rif", "--acl", "1", "1-150"},
                               {"port", "add", "1-150"},
                               {"port", "del", "1-150"}}) {
        const json partial = refused(words, ZV_ACL_RM_STATUS_ERROR).at("partial");
        EXPECT_EQ(partial.at("cause"), 4) << words[0];
        EXPECT_EQ(partial.at("done"), json::array()) << words[0];
        EXPECT_EQ(partial.at("uncertain").size(), 100u) << words[0];
        EXPECT_EQ(partial.at("not_sent").size(), 50u) << words[0];
    }
    EXPECT_EQ(
        refused({"rule", "get", "--acl", "1", "1-9", "--clear-activity"}, ZV_ACL_RM_STATUS_ERROR)
            .at("partial")
            .at("uncertain")
            .size(),
        9u);
    for (const auto &[words, status] :
         {std::pair(Words{"bind", "port", "--acl", "1", "1-9"},
                    ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE),
          {Words{"bind", "port", "--acl", "1", "1"}, ZV_ACL_RM_STATUS_ERROR},
          {Words{"mc", "add", "1", "1-9"}, ZV_ACL_RM_STATUS_ERROR},
          {Words{"rule", "del", "--acl", "1", "1-9"}, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND}}) {
        EXPECT_FALSE(refused(words, status).contains("partial")) << words[0] << words[1];
    }
}

TEST(LongLists, WithoutAnAnswerToTheFirstRequestAreUncertainToo) {
    StubDaemon daemon([](const StubRequest &) { return StubReply{.silent = true}; });
    const auto partial_of = [&](Words words) {
        words.insert(words.end(), {"-j", "--timeout", "30"});
        return zv_test::own_members(run(daemon, words).out, 5);
    };
    const json lost = partial_of({"mc", "add", "1", "1-150"}).at("partial");
    EXPECT_EQ(lost.at("cause"), 5);
    EXPECT_EQ(lost.at("done"), json::array());
    EXPECT_EQ(lost.at("uncertain").size(), 100u);
    EXPECT_EQ(lost.at("not_sent").size(), 50u);
    EXPECT_FALSE(partial_of({"rule", "get", "--acl", "1", "1-9"}).contains("partial"));
}

TEST(LongLists, LeaveAnMcGroupWithItsFirstPortsAndNameIt) {
    StubDaemon daemon([](const StubRequest &request) {
        StubReply reply = echo_reply(request);
        const bool create = request.body[8] == ZV_ACL_RM_ACCESS_CMD_ADD;
        reply.body[12] = 17;
        reply.status = create ? 0 : ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE;
        return reply;
    });
    const ToolRun result = run(daemon, {"mc", "create", "1-101"});
    EXPECT_EQ(result.exit_code, 8);
    const json answer =
        zv_test::own_members(run(daemon, {"mc", "create", "1-250", "--json"}).out, 8);
    EXPECT_EQ(answer.at("partial").at("cause"), 4);
    EXPECT_EQ(answer.at("partial").at("done").size(), 100u);
    EXPECT_EQ(answer.at("partial").at("uncertain").size(), 100u);
    EXPECT_EQ(answer.at("partial").at("not_sent").size(), 50u);
    EXPECT_EQ(answer.at("partial").at("mc_group_id"), 17);
    expect_part(result.err, "adding port 101 to MC group 17: refused");
    expect_part(result.err, "MC group 17 is there with the first 100 ports");
    expect_part(result.err, "perhaps: there is no MC group 17\n");
}

TEST(LongLists, AreAbridgedInASentenceButNotInTheAccount) {
    StubDaemon daemon(refuse_from(1, ZV_ACL_RM_STATUS_ERROR));
    std::string odd = "1";
    for (int i = 3; i < 90; i += 2) {
        odd += "," + std::to_string(i);
    }
    const ToolRun result = run(daemon, {"rule", "del", "--acl", "6", odd});
    expect_part(result.err, "deleting the rules at offsets 41 and 19 more of ACL 6: refused");
    expect_part(result.err, "(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31, 33, 35, ");
}

TEST(LongLists, TellWhatWasDoneBeforeASilence) {
    StubDaemon daemon([number = 0](const StubRequest &request) mutable {
        StubReply reply = echo_reply(request);
        reply.silent = number++ > 0;
        return reply;
    });
    const ToolRun result = run(daemon, {"rule", "del", "--acl", "6", "1-50", "--timeout", "30"});
    EXPECT_EQ(result.exit_code, 8);
    expect_part(result.err, "deleted before that: 20 rules (1-20)");
    expect_part(result.err, "whether it was carried out is unknown");
}

/* --- what a refusal may mean ------------------------------------------------------------------ */

/* Each of them beside the reasons that the library finds. */
TEST(RuleDel, NamesEachOffsetOnceHoweverOftenItIsGiven) {
    StubDaemon daemon;
    EXPECT_EQ(run(daemon, {"rule", "del", "--acl", "1", "7-10,0-8", "9"}).out,
              "11 rules of ACL 1 deleted: offsets 7-10, 0-6.\n");
    ASSERT_EQ(daemon.requests().size(), 1u);
    zv_acl_rm_acl_rule_set_params_t sent{};
    std::memcpy(&sent, daemon.requests()[0].body.data(), sizeof(sent));
    EXPECT_EQ(sent.rules_num, 11u);
}

TEST(Hints, TellWhatIsSoBesideAReason) {
    const std::vector<std::tuple<Words, uint32_t, std::string>> rows{
        {{"acl", "destroy", "--acl", "1"}, ZV_ACL_RM_STATUS_ERROR, "bindings may be gone"},
        {{"acl", "edit", "--acl", "1", "--direction", "1", "--force"},
         ZV_ACL_RM_STATUS_ERROR,
         "an ACL that is bound is refused by the switch"},
        {{"acl", "resize", "--acl", "1", "--size", "1"}, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, ""},
        {{"rule", "del", "--acl", "1", "1"},
         ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
         "none of them is deleted"},
        {{"rule", "add", "--acl", "1", "--priority", "1", "--counter", "7"},
         ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
         "the switch may have it; a good rule at its priority mends that"},
        {{"rule", "add", "--acl", "1", "--priority", "1", "--counter", "7", "--forward-mc", "3"},
         ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
         ""},
        {{"rule", "add", "--acl", "1", "--priority", "1"}, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, ""},
        {{"rule", "get", "--acl", "1", "1"}, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, ""},
        {{"open", "--owner", "PRA"}, ZV_ACL_RM_STATUS_ERROR, ""},
        {{"acl", "create", "--size", "1"},
         ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND,
         "'aclrmctl open --owner NAME' opens it"},
        {{"bind", "system", "--acl", "1"}, ZV_ACL_RM_STATUS_ERROR, ""},
        {{"counter", "destroy", "1"}, ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND, ""},
        {{"mc", "get", "1"}, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE, ""},
        {{"mc", "delete", "1"}, ZV_ACL_RM_STATUS_ERROR, ""},
        {{"init", "--chip", "2"}, ZV_ACL_RM_STATUS_ERROR, ""}};
    for (const auto &[words, status, part] : rows) {
        StubDaemon daemon(refuse(status));
        Words in_json = words;
        in_json.emplace_back("-j");
        const json answer = json::parse(run(daemon, in_json).out);
        EXPECT_FALSE(answer.at("why").empty()) << words[0] << " " << words[1];
        const auto hint = answer.at("hint").get<std::string>();
        EXPECT_EQ(hint.find('?'), std::string::npos) << hint;
        EXPECT_EQ(hint.empty(), part.empty())
            << words[0] << " " << words[1] << ": " << answer.dump();
        expect_part(hint, part);
    }
}

/* Knows the ACL, writes no dump, and reads no rule. */
StubDaemon::Handler refuse_reads(uint32_t status) {
    return [status](const StubRequest &request) {
        constexpr size_t kRulesNumAt = 7216;
        const bool reads = request.command == ZV_ACL_RM_API_INT_CMD_ACL_RULE_GET &&
                           request.body.at(kRulesNumAt) != 0;
        return reads ? StubReply{.status = status} : echo_reply(request);
    };
}

/* Where the dump does not tell all rules, each offset is asked for. */
TEST(Refusal, OfAReadThatLooksForRulesHasItsReasonToo) {
    StubDaemon daemon(refuse_reads(ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE));
    const ToolRun result = run(daemon, {"-j", "rule", "get", "--acl", "6", "--all"});
    const json answer = zv_test::own_members(result.out, 4);
    EXPECT_EQ(answer.at("status"), 4);
    EXPECT_FALSE(answer.at("why").empty());
    EXPECT_EQ(answer.at("hint"), "");
}

TEST(Refusal, OfEveryOffsetLeavesOpenWhichRulesThereAre) {
    StubDaemon daemon(refuse_reads(ZV_ACL_RM_STATUS_ERROR));
    const ToolRun result = run(daemon, {"-j", "rule", "get", "--acl", "6", "--all"});
    const json answer = zv_test::own_members(result.out, 4);
    EXPECT_EQ(answer.at("error"), "reading the rules of ACL 6, at offset 0: refused");
    EXPECT_EQ(answer.at("hint"),
              "the ACL has no room for rules, or the switch does not answer: which rules there "
              "are cannot be told");
}

TEST(Hints, OfARefusalAreNotThoseOfASilence) {
    StubDaemon daemon([](const StubRequest &) { return StubReply{.silent = true}; });
    expect_part(run(daemon, {"init", "--timeout", "30"}).err, "whether it was carried out is");
}

TEST(Refusals, FitATerminalOf80Columns) {
    for (uint32_t status = 1; status < ZV_ACL_RM_STATUS_LAST; status++) {
        StubDaemon daemon(refuse(status));
        const std::string err = run(daemon, {"acl", "resize", "--acl", "1", "--size", "2"}).err;
        for (size_t at = 0, end = 0; at < err.size(); at = end + 1) {
            end = err.find('\n', at);
            EXPECT_LE(end - at, 80u) << err.substr(at, end - at);
        }
    }
}

/* --- tables ---------------------------------------------------------------------------------- */

TEST(RuleTable, LeavesOutWhatNoRuleHas) {
    StubDaemon daemon;
    EXPECT_EQ(run(daemon, {"rule", "get", "--acl", "1", "4"}).out,
              "  offset  valid  verdict  rule\n"
              "       4  no     permit   ip4 any > any\n");
    EXPECT_EQ(run(daemon, {"rule", "get", "--acl", "1", "4", "--activity"}).out,
              "  offset  valid  verdict  hit  rule\n"
              "       4  no     permit   no   ip4 any > any\n");
}

TEST(RuleMove, WritesABlockOfOneOrNoneWithoutARange) {
    StubDaemon daemon([](const StubRequest &) { return StubReply{}; });
    const auto moved = [&](const std::string &count) {
        return run(daemon,
                   {"rule", "move", "--acl", "1", "--from", "4", "--count", count, "--to", "9"})
            .out;
    };
    EXPECT_EQ(moved("0"), "0 rules of ACL 1 moved from offset 4 to 9.\n");
    EXPECT_EQ(moved("1"), "1 rule of ACL 1 moved from offset 4 to 9.\n");
    EXPECT_EQ(moved("2"), "2 rules of ACL 1 moved from offset 4-5 to 9-10.\n");
    EXPECT_EQ(moved("4294967295"),
              "4294967295 rules of ACL 1 moved from offset 4-4294967298 to 9-4294967303.\n");
}

TEST(McGet, TakesNoMorePortsThanARecordHoldsAndSaysThatThereMayBeMore) {
    for (const auto &[told, taken] : {std::pair(99u, 99u), {100u, 100u}, {200u, 100u}}) {
        StubDaemon daemon([told = told](const StubRequest &request) {
            StubReply reply = echo_reply(request);
            reply.body[412] = static_cast<uint8_t>(told);
            return reply;
        });
        const json answer = json::parse(run(daemon, {"mc", "get", "1", "--json"}).out);
        EXPECT_EQ(answer.at("ports").size(), taken);
        EXPECT_EQ(answer.at("may_have_more"), taken == 100);
        const std::string text = run(daemon, {"mc", "get", "1"}).out;
        EXPECT_EQ(text.find("  There may be more: a read holds 100 ports.\n") != std::string::npos,
                  taken == 100)
            << text;
    }
}

/* --- addresses beyond their prefix ----------------------------------------------------------- */

TEST(RuleAdd, SaysThatBitsBeyondAPrefixWereCleared) {
    StubDaemon daemon;
    const auto add = [&](const Words &more) {
        Words words{"rule", "add", "--acl", "1", "--priority", "0"};
        words.insert(words.end(), more.begin(), more.end());
        return run(daemon, words).out;
    };
    expect_part(add({"--src", "10.1.2.3/8", "--dst", "192.0.2.0/24"}),
                "\n  note: --src had address bits beyond the prefix, which were cleared\n");
    expect_part(add({"--mac-dst", "02:00:00:00:00:01/8"}), "\n  note: --mac-dst had address bits");
    EXPECT_EQ(json::parse(add({"--src", "2001:db8::1/32", "--dst", "::1/0", "-j"})).at("masked"),
              (json{"--src", "--dst"}));
    EXPECT_EQ(json::parse(add({"--src", "10.0.0.0/8", "-j"})).at("masked"), json::array());
}

}  // namespace
