/* The tool against the real daemon on the simulated switch: a session as an operator has it. */
#include <gtest/gtest.h>

#include "tests/tools/tool_session.h"

namespace {

using nlohmann::json;
using zv_test::kSample;
using zv_test::ToolRun;
using Session = zv_test::ToolSession;

TEST(ToolSession, LoadsTheSampleAndSendsPackets) {
    Session session;
    session.load_sample();
    const json dns =
        session.object({"switch", "packet", "--port", "65538", "--src", "10.20.10.7", "--dst",
                        "198.51.100.53", "--proto", "udp", "--sport", "40000", "--dport", "53"});
    EXPECT_EQ(dns.at("matched"), true);
    EXPECT_EQ(dns.at("verdict"), 0);
    EXPECT_EQ(dns.at("rule"), "udp any > 198.51.100.53 port 53");
    const json telnet =
        session.object({"switch", "packet", "--port", "65537", "--src", "8.8.8.8", "--dst",
                        "198.51.100.80", "--proto", "tcp", "--dport", "23", "--flags", "2"});
    EXPECT_EQ(telnet.at("verdict"), 1);
    EXPECT_EQ(telnet.at("rule"), "tcp any > 198.51.100.0/24 port 23");
    const json ospf = session.object({"switch", "packet", "--port", "65537", "--src", "10.20.255.1",
                                      "--dst", "10.20.255.2", "--proto", "89"});
    EXPECT_EQ(ospf.at("verdict"), 2);
    const json rest = session.object({"switch", "packet", "--port", "65537", "--src", "8.8.8.8",
                                      "--dst", "9.9.9.9", "--proto", "132"});
    EXPECT_EQ(rest.at("offset"), session.rules_num() - 1) << "the last rule drops everything else";
    const json unbound = session.object({"switch", "packet", "--port", "65541"});
    EXPECT_EQ(unbound.at("matched"), false);
}

TEST(ToolSession, ShowsWhatTheSwitchHolds) {
    Session session;
    session.load_sample();
    const json usage = session.object({"switch", "usage"}).at("usage");
    EXPECT_EQ(usage.at("tcam_entries").at("used"), session.rules_num());
    EXPECT_EQ(usage.at("bindings").at("used"), 4);
    session.text({"switch", "packet", "--port", "65537"});
    const std::string state = session.text({"switch", "state", "--active"});
    EXPECT_NE(state.find("ip4 any > any"), std::string::npos) << state;
}

TEST(ToolSession, DumpsTheCacheOfTheDaemon) {
    Session session;
    session.load_sample();
    const std::string dump = session.text({"dump"});
    EXPECT_NE(dump.find("g_rules_cnt=[" + std::to_string(session.rules_num()) + "]"),
              std::string::npos);
    const std::string path = session.daemon().root().file("dump.txt");
    session.text({"dump", path});
    EXPECT_NE(zv_test::read_file(path).find("Cache dump start"), std::string::npos);
}

TEST(ToolSession, ReportsARefusalOfTheRealDaemon) {
    Session session;
    session.text({"init"});
    const ToolRun result = session.run({"acl", "create", "--size", "5"});
    EXPECT_EQ(result.exit_code, 4);
    EXPECT_NE(result.err.find("ZV_ACL_RM_STATUS_ENTRY_NOT_FOUND"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("open --owner"), std::string::npos) << result.err;
    session.daemon().allow_error_lines();
}

TEST(ToolSession, StopsAtAnArmedFaultAndSaysHowFarItGot) {
    Session session;
    session.text({"open", "--owner", "PRA"});
    session.text({"init"});
    session.text({"acl", "create", "--size", "1000"});
    session.text(
        {"switch", "faults", "--set", R"([{"call":"zv_api_acl_rules_set","nth":3,"status":5}])"});
    const ToolRun result =
        session.run({"rule", "load", kSample, "--acl", "1", "--batch", "10", "--in-flight", "1"});
    EXPECT_EQ(result.exit_code, 8);
    EXPECT_NE(result.err.find("20-29 of ACL 1): refused"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("  20 of 345 rules are in the switch"), std::string::npos)
        << result.err;
    session.daemon().allow_error_lines();
}

}  // namespace
