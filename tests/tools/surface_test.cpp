/* What the tool says where the daemon tells it only a part, and where it looks before it asks. */
#include <unistd.h>

#include <filesystem>

#include "tests/tools/tool_session.h"

namespace {

using nlohmann::json;
using zv_test::ToolRun;
using Words = std::vector<std::string>;

/* --- a dump that was cut */

/* Three ACLs, the first with more rules than a dump has room for. */
class CutDump : public testing::Test {
  protected:
    void SetUp() override {
        session_.text({"open", "--owner", "open-flow"});
        session_.text({"init"});
        session_.text({"acl", "create", "--size", "2000"});
        session_.text({"acl", "create", "--size", "8"});
        session_.text({"acl", "create", "--size", "8"});
        session_.text({"counter", "create", "--type", "packets"});
        session_.text({"mc", "create", "65545"});
        std::string rules;
        for (int i = 0; i < 2000; i++) {
            rules += "@10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250) +
                     "/32 0.0.0.0/0 0:65535 0:65535 0/0 0/0\n";
        }
        const std::string file = session_.daemon().root().file("many.rules");
        zv_test::write_file(file, rules);
        session_.text({"rule", "load", file, "--acl", "1", "--counter", "1"});
        session_.text({"bind", "port", "--acl", "1", "65537"});
        session_.daemon().allow_error_lines(); /* of reads that find out what is there */
    }
    ToolRun shown(Words words) {
        words.insert(words.begin(), "show");
        ToolRun run = session_.run(words);
        EXPECT_EQ(run.exit_code, 8) << run.err;
        return run;
    }
    zv_test::ToolSession session_;
};

TEST_F(CutDump, ClaimsNothingThatItDoesNotTell) {
    const ToolRun all = shown({});
    EXPECT_NE(all.err.find("was cut in its table of rules"), std::string::npos) << all.err;
    EXPECT_EQ(all.out,
              "Owners\n"
              "  owner      ACLs  rules  MC groups  ACL ids\n"
              "  open-flow     -      -          -  not told\n"
              "  tarn-os       -      -          -  not told\n"
              "  PRA           -      -          -  not told\n"
              "  OF13          -      -          -  not told\n"
              "ACLs: not told: the dump was cut\n"
              "Ports: not told: the dump was cut\n"
              "Counters\n"
              "  counter  type     value  rules\n"
              "        1  packets      0      -\n"
              "MC groups: not told: the dump was cut\n"
              "Forwarding: not told: the dump was cut\n"
              "Rules: 2000 ('aclrmctl show rules' lists them)\n");
    EXPECT_EQ(shown({"groups"}).out, "Groups: not told: the dump was cut\n");
    const std::string rules = shown({"rules"}).out;
    EXPECT_NE(rules.find("\n  there may be more, not told: the dump was cut\n"), std::string::npos);
}

TEST_F(CutDump, HasNullWhereNothingWasTold) {
    const json all = zv_test::own_members(shown({"-j"}).out, 8);
    for (const char *table : {"acls", "groups", "ports", "mc", "forwarding"}) {
        EXPECT_TRUE(all.at(table).is_null()) << table;
    }
    for (const json &owner : all.at("owners")) {
        EXPECT_TRUE(owner.at("acl_ids").is_null());
        EXPECT_TRUE(owner.at("rules_num").is_null());
        EXPECT_TRUE(owner.at("mc_group_ids").is_null());
    }
    EXPECT_EQ(all.at("counters").size(), 1u);
    EXPECT_TRUE(all.at("counters").at(0).at("rules_num").is_null());
    const json dump = session_.object({"dump"});
    EXPECT_TRUE(dump.at("acls").is_null());
    EXPECT_GT(dump.at("rules").size(), 1000u);
}

TEST_F(CutDump, OffersTheAclsAllTheSame) {
    EXPECT_EQ(session_.run({"__complete", "--", "acl", "destroy", "--acl", ""}).out, "1\n2\n3\n");
    EXPECT_EQ(session_.run({"__complete", "--", "mc", "get", ""}).out, "");
}

TEST_F(CutDump, LetsNoAclBeEditedUnseen) {
    const ToolRun run = session_.run({"acl", "edit", "--acl", "2", "--direction", "egress"});
    EXPECT_EQ(run.exit_code, 4);
    EXPECT_NE(run.err.find("  whether it holds rules or is bound is not told: the dump was cut\n"),
              std::string::npos)
        << run.err;
    session_.text({"acl", "edit", "--acl", "2", "--direction", "egress", "--force"});
}

/* --- the place of a dump */

/* A working directory of its own, and TMPDIR as it is given. */
class InADirectory {
  public:
    explicit InADirectory(const char *tmpdir) : before_(std::filesystem::current_path()) {
        setenv("TMPDIR", tmpdir, 1);
        std::filesystem::current_path(directory_.path());
    }
    ~InADirectory() {
        std::filesystem::current_path(before_);
        unsetenv("TMPDIR");
    }
    InADirectory(const InADirectory &) = delete;
    InADirectory &operator=(const InADirectory &) = delete;

  private:
    zv_test::TempDir directory_;
    std::filesystem::path before_;
};

/* The daemon opens the file, and its working directory is another one. */
TEST(Show, TakesNoTmpdirThatIsRelative) {
    zv_test::ToolSession session;
    session.text({"open", "--owner", "open-flow"});
    session.text({"init"});
    session.text({"acl", "create", "--size", "8"});
    const InADirectory here(".");
    const json acls = session.object({"show", "acls"}).at("acls");
    ASSERT_EQ(acls.size(), 1u);
    EXPECT_EQ(acls.at(0).at("acl_id"), 1);
    EXPECT_TRUE(std::filesystem::is_empty("."));
}

/* --- the switch of another daemon */

TEST(Show, HasNoCountersOfTheSwitchOfAnotherDaemon) {
    zv_test::ToolSession session;
    zv_test::ToolSession other;
    for (zv_test::ToolSession *each : {&session, &other}) {
        each->text({"open", "--owner", "open-flow"});
        each->text({"init"});
        each->text({"counter", "create", "--type", "packets"});
    }
    other.text({"counter", "create", "--type", "packets"});
    const auto counters_beside = [&](zv_test::ToolSession &whose_switch) {
        const zv_test::ToolRun run = zv_test::run_tool(
            "", {"-j", "--socket", other.daemon().root().file("var/run/zv_acl_rm.sock"),
                 "--switch-socket", whose_switch.daemon().root().file("var/run/zv_switch.sock"),
                 "show", "counters"});
        return json::parse(run.out).at("counters");
    };
    EXPECT_EQ(counters_beside(other).size(), 2u);
    EXPECT_EQ(counters_beside(session), json::array()) << "no rule uses one";
}

/* --- counters that cannot be read, and ACLs that are not there */

TEST(Show, SaysWhichCountersCouldNotBeRead) {
    zv_test::ToolSession session;
    session.text({"open", "--owner", "open-flow"});
    session.text({"init"});
    session.text({"counter", "create", "--type", "packets"});
    session.text({"counter", "create", "--type", "bytes"});
    session.daemon().allow_error_lines();
    const auto shown = [&](Words words, int nth, int times) {
        session.daemon().control().fail("zv_api_flow_counter_get", 5, nth, times);
        const ToolRun run = session.run(words);
        EXPECT_EQ(run.exit_code, 8) << words.back();
        return run;
    };
    const ToolRun none = shown({"show", "counters"}, 1, -1);
    EXPECT_EQ(none.out, "Counters: not told: counters could not be read\n");
    EXPECT_EQ(none.err,
              "aclrmctl: a part is missing\n"
              "  the values of counters 1-2 could not be read: reading counter 1: refused\n");
    EXPECT_NE(shown({"show"}, 2, 1)
                  .out.find("there may be more, not told: counters could not be "
                            "read\n"),
              std::string::npos);
    const json answer = zv_test::own_members(shown({"-j", "show", "counters"}, 2, 1).out, 8);
    EXPECT_EQ(answer.at("whole"), false);
    EXPECT_EQ(answer.at("counters").size(), 1u);
    EXPECT_EQ(
        answer.at("notes"),
        json::array({"the value of counter 2 could not be read: reading counter 2: refused"}));
}

TEST(Show, RefusesRulesOfAnAclThatIsNotThere) {
    zv_test::ToolSession session;
    session.text({"open", "--owner", "open-flow"});
    session.text({"init"});
    session.text({"acl", "create", "--size", "8"});
    EXPECT_EQ(session.text({"show", "rules", "--acl", "1"}), "Rules: none\n");
    const ToolRun run = session.run({"show", "rules", "--acl", "99"});
    EXPECT_EQ(run.exit_code, 4);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err.rfind("aclrmctl: showing the rules of ACL 99: there is no such ACL\n", 0), 0u)
        << run.err;
}

TEST(RuleGet, OfAnEmptyAclSaysSoAndThatItsFileWillNotLoad) {
    zv_test::ToolSession session;
    session.text({"open", "--owner", "open-flow"});
    session.text({"init"});
    session.text({"acl", "create", "--size", "8"});
    EXPECT_EQ(session.text({"rule", "get", "--acl", "1", "--all"}), "Rules: none\n");
    for (const char *format : {"policy", "json"}) {
        const ToolRun run = session.run({"rule", "get", "--acl", "1", "--all", "--format", format});
        EXPECT_EQ(run.exit_code, 0);
        EXPECT_EQ(run.err,
                  "aclrmctl: ACL 1 holds no rule: 'rule load' refuses a file without one\n");
    }
    session.text({"rule", "add", "--acl", "1", "--priority", "3"});
    const ToolRun file = session.run({"rule", "get", "--acl", "1", "--all", "--format", "policy"});
    EXPECT_EQ(file.err, "");
    const json in_json =
        session.object({"rule", "get", "--acl", "1", "--all", "--format", "policy"});
    EXPECT_EQ(in_json.at("format"), "policy");
    EXPECT_EQ(in_json.at("text"), file.out);
    EXPECT_FALSE(session.object({"rule", "get", "--acl", "1", "--all"}).contains("text"));
    session.daemon().allow_error_lines();
}

/* --- an edit */

class Edit : public testing::Test {
  protected:
    void SetUp() override {
        session_.text({"open", "--owner", "open-flow"});
        session_.text({"init"});
        session_.text({"acl", "create", "--size", "8"});
    }
    /* Refused by the tool itself, so that nothing has changed. */
    void expect_refused(const std::string &why) {
        const json before = session_.object({"switch", "state"});
        const Words words{"acl", "edit", "--acl", "1", "--direction", "egress"};
        const ToolRun run = session_.run(words);
        EXPECT_EQ(run.exit_code, 4);
        EXPECT_EQ(run.err.rfind("aclrmctl: changing the direction of ACL 1: refused, nothing was "
                                "sent\n  " +
                                    why + "\n",
                                0),
                  0u)
            << run.err;
        EXPECT_EQ(session_.object({"switch", "state"}), before);
    }
    zv_test::ToolSession session_;
};

TEST_F(Edit, OfALoadedOrBoundAclIsRefusedUnlessForced) {
    session_.text({"rule", "add", "--acl", "1", "--priority", "3"});
    expect_refused("it holds 1 rule");
    session_.text({"bind", "port", "--acl", "1", "65537"});
    expect_refused("it holds 1 rule and is bound");
    session_.text({"rule", "del", "--acl", "1", "3"});
    expect_refused("it is bound");
    session_.text({"unbind", "port", "--acl", "1", "65537"});
    session_.text({"bind", "system", "--acl", "1"});
    expect_refused("it is bound");
    session_.text({"unbind", "system", "--acl", "1"});
    session_.text({"rule", "add", "--acl", "1", "--priority", "3"});
    EXPECT_EQ(session_.text({"acl", "edit", "--acl", "1", "--direction", "egress", "--force"}),
              "ACL 1 is now ACL 2, egress.\n");
}

TEST_F(Edit, LeavesRulesThatShowCannotReadAndSaysSo) {
    session_.text({"rule", "add", "--acl", "1", "--priority", "3"});
    session_.text({"acl", "edit", "--acl", "1", "--direction", "egress", "--force"});
    session_.daemon().allow_error_lines();
    for (const Words &words : {Words{"show"}, Words{"show", "rules"}, Words{"show", "counters"}}) {
        const ToolRun run = session_.run(words);
        EXPECT_EQ(run.exit_code, 8) << words.back();
        EXPECT_NE(run.err.find("aclrmctl: a part is missing\n"), std::string::npos) << run.err;
    }
    const json answer = zv_test::own_members(session_.run({"-j", "show", "rules"}).out, 8);
    EXPECT_EQ(answer.at("whole"), false);
}

/* --- words of failures */

TEST(Bind, ToAnUnknownAclSaysNothingOfPortsThatMayBeBound) {
    zv_test::ToolSession session;
    session.text({"open", "--owner", "open-flow"});
    session.text({"init"});
    session.text({"acl", "create", "--size", "8"});
    const ToolRun run = session.run({"bind", "port", "--acl", "99", "65537-65540"});
    EXPECT_EQ(run.exit_code, 4);
    EXPECT_EQ(run.err.find("may be"), std::string::npos) << run.err;
    EXPECT_EQ(session.text({"bind", "port", "--acl", "1", "65541,65541", "65541"}),
              "ACL 1 bound to 1 port: 65541.\n");
    session.daemon().allow_error_lines();
}

TEST(TimeOut, LeavesDoubtOnlyWhereSomethingWouldChange) {
    zv_test::ToolSession session;
    session.daemon().signal(SIGSTOP);
    const auto error_of = [&](Words words) {
        words.insert(words.begin(), {"--timeout", "30ms"});
        const ToolRun run = session.run(words);
        EXPECT_EQ(run.exit_code, 5) << words.back();
        return run.err;
    };
    EXPECT_EQ(error_of({"show"}), "aclrmctl: reading the daemon's cache: no answer within 30 ms\n");
    EXPECT_EQ(error_of({"dump"}), "aclrmctl: reading the daemon's cache: no answer within 30 ms\n");
    EXPECT_EQ(error_of({"mc", "get", "1"}),
              "aclrmctl: reading MC group 1: no answer within 30 ms\n");
    EXPECT_EQ(error_of({"counter", "read", "1"}),
              "aclrmctl: reading counter 1: no answer within 30 ms\n");
    for (const Words &words : {Words{"counter", "clear", "1"}, Words{"mc", "delete", "1"},
                               Words{"rule", "get", "--acl", "1", "1", "--clear-activity"}}) {
        EXPECT_NE(error_of(words).find("whether it was carried out is unknown"), std::string::npos);
    }
    EXPECT_EQ(error_of({"rule", "get", "--acl", "1", "1"}).find("unknown"), std::string::npos);
    session.daemon().signal(SIGCONT);
    session.daemon().allow_error_lines(); /* what it reads late it refuses */
}

TEST(Init, OfAnUnknownChipSaysOnce) {
    zv_test::ToolSession session;
    const ToolRun run = session.run({"init", "--chip", "99"});
    EXPECT_EQ(run.err,
              "aclrmctl: loading the limits of chip type 99: refused\n"
              "  status 1, ZV_ACL_RM_STATUS_ERROR\n"
              "  why: there is no chip type 99; there are 1, 3 and 5 to 11\n");
    session.daemon().allow_error_lines();
}

TEST(McGroup, ThatIsUnknownIsTheCertainCause) {
    zv_test::ToolSession session;
    session.text({"open", "--owner", "open-flow"});
    for (const auto &[words, what] :
         {std::pair(Words{"mc", "get", "9"}, "reading MC group 9"),
          std::pair(Words{"mc", "delete", "9"}, "deleting MC group 9"),
          std::pair(Words{"mc", "add", "9", "65537"}, "adding port 65537 to MC group 9")}) {
        EXPECT_EQ(session.run(words).err, "aclrmctl: " + std::string(what) +
                                              ": refused\n"
                                              "  status 4, ZV_ACL_RM_STATUS_PARAM_EXCEEDS_RANGE\n"
                                              "  why: there is no MC group 9\n");
    }
    session.daemon().allow_error_lines();
}

TEST(HelpAndVersion, ThatCannotBeWrittenAreAFailure) {
    for (const char *word : {"--help", "--version", "acl --help", "-j --version"}) {
        const std::string line = zv_test::tool_path() + " " + word + " >/dev/full 2>&1";
        EXPECT_EQ(WEXITSTATUS(std::system(line.c_str())), 7) << word;
    }
}

/* --- packets */

TEST(Packet, OfIcmp6IsTakenByEitherNameAndHasNoPorts) {
    zv_test::ToolSession session;
    for (const char *name : {"icmp6", "icmpv6", "58"}) {
        const std::string text = session.text(
            {"switch", "packet", "--port", "65537", "--src", "2001:db8::1", "--proto", name});
        EXPECT_EQ(text.substr(0, text.find('\n')), "packet  icmp6 2001:db8::1 > ::") << name;
    }
    const std::string ospf =
        session.text({"switch", "packet", "--port", "65537", "--src", "10.0.0.1", "--proto", "89"});
    EXPECT_EQ(ospf.substr(0, ospf.find('\n')), "packet  protocol 89 10.0.0.1 > 0.0.0.0");
}

TEST(Packet, ForwardedToSeveralPortsSaysPorts) {
    zv_test::ToolSession session;
    session.text({"open", "--owner", "open-flow"});
    session.text({"init"});
    session.text({"acl", "create", "--size", "8"});
    session.text({"mc", "create", "65541-65543"});
    session.text({"rule", "add", "--acl", "1", "--priority", "0", "--forward-mc", "1"});
    session.text({"bind", "port", "--acl", "1", "65537"});
    const std::string text = session.text({"switch", "packet", "--port", "65537"});
    EXPECT_NE(text.find(", forwarded to ports 65541-65543\n"), std::string::npos) << text;
}

}  // namespace
