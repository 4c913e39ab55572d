/* Captures sent through the simulated switch: each packet's verdict, and files that are none. */
#include <fstream>

#include "tests/support/temp_dir.h"
#include "tests/tools/capture_file.h"
#include "tests/tools/stub_switch.h"
#include "tests/tools/tool_session.h"

namespace {

using nlohmann::json;
using zv_test::Capture;
using zv_test::StubSwitch;
using zv_test::ToolRun;

const std::string kMacs = "020000000002020000000001";
const std::string kTelnet = kMacs + "0800" +
                            "450000280000400040060000"
                            "0a000001"
                            "c6336450"
                            "c73d001700000000000000005002ffff00000000";
const std::string kWeb = kMacs + "0800" +
                         "450000280000400040060000"
                         "0a000001"
                         "c6336450"
                         "c73d005000000000000000005002ffff00000000";
const std::string kIpv6 = kMacs + "86dd" + "6000000000081140" +
                          "20010db8000000000000000000000007"
                          "20010db8000000000000000000000053" +
                          "0400003500080000";
const std::string kArp = kMacs + "0806" + "0001080006040001";

class CaptureFile : public testing::Test {
  protected:
    void SetUp() override {
        session_.text({"open", "--owner", "open-flow"});
        session_.text({"init"});
        session_.text({"acl", "create", "--size", "8"});
        session_.text({"rule", "add", "--acl", "1", "--priority", "0", "--dst", "198.51.100.80",
                       "--proto", "tcp", "--dport", "23", "--verdict", "drop"});
        session_.text({"rule", "add", "--acl", "1", "--priority", "1", "--src", "2001:db8::/32",
                       "--verdict", "trap"});
        session_.text({"bind", "port", "--acl", "1", "65537"});
    }
    std::string file(const std::string &text) {
        const std::string path = session_.daemon().root().file("capture.pcap");
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    ToolRun send(const std::string &path, const std::vector<std::string> &more = {}) {
        std::vector<std::string> words{"switch", "packet", "--port", "65537", "--pcap", path};
        words.insert(words.end(), more.begin(), more.end());
        return session_.run(words);
    }
    static Capture mixed() {
        Capture capture(1);
        capture.add(kTelnet);
        capture.add(kWeb, 1500);
        capture.add(kIpv6);
        capture.add(kArp);
        return capture;
    }
    zv_test::ToolSession session_;
};

TEST_F(CaptureFile, IsSentPacketByPacketWithASummary) {
    const std::string path = file(mixed().text());
    const ToolRun run = send(path);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.out,
              path +
                  " at port 65537, ingress\n"
                  "  packet  bytes  verdict  ACL  offset  what\n"
                  "       1     54  drop       1       0  tcp 10.0.0.1:51005 > 198.51.100.80:23 "
                  "flags 0x0002\n"
                  "       2   1500  permit     -       -  tcp 10.0.0.1:51005 > 198.51.100.80:80 "
                  "flags 0x0002\n"
                  "       3     62  trap       1       1  udp [2001:db8::7]:1024 > "
                  "[2001:db8::53]:53\n"
                  "       4     22  permit     -       -  mac 02:00:00:00:00:01 > "
                  "02:00:00:00:00:02 type 0x0806\n"
                  "4 packets sent: 2 permit, 1 drop, 1 trap (2 of them matched no rule).\n");
}

TEST_F(CaptureFile, IsAListInJson) {
    const json answer = zv_test::own_members(send(file(mixed().text()), {"-j"}).out);
    ASSERT_EQ(answer.at("packets").size(), 4u);
    const json &telnet = answer.at("packets").at(0);
    EXPECT_EQ(telnet.at("verdict_name"), "drop");
    EXPECT_EQ(telnet.at("offset"), 0);
    EXPECT_EQ(telnet.at("rule"), "tcp any > 198.51.100.80 port 23");
    EXPECT_EQ(answer.at("packets").at(2).at("key_type"), 1);
    EXPECT_EQ(answer.at("packets").at(3).at("matched"), false);
}

TEST_F(CaptureFile, IsSentByTheKeyTypeAskedFor) {
    const std::string path = file(mixed().text());
    const json macs = zv_test::own_members(send(path, {"-j", "--key-type", "mac"}).out);
    EXPECT_EQ(macs.at("packets").at(0).at("key_type"), 2);
    const ToolRun ipv6 = send(path, {"--key-type", "ipv6"});
    EXPECT_NE(ipv6.out.find("1 packet sent: 1 trap; 3 not sent: they have no key of the type "),
              std::string::npos)
        << ipv6.out;
}

TEST_F(CaptureFile, IsSentAsFarAsItIsAskedForAndSaysThatItGoesOn) {
    const std::string path = file(mixed().text());
    for (const auto &[count, more] : {std::pair("2", true), {"3", true}, {"4", false}}) {
        const json answer = zv_test::own_members(send(path, {"-j", "--count", count}).out);
        EXPECT_EQ(answer.at("packets").size(), std::stoul(count));
        EXPECT_EQ(answer.at("more_in_file"), more) << count;
        const std::string text = send(path, {"--count", count}).out;
        EXPECT_EQ(text.find("There are more packets in the file: --count " + std::string(count) +
                            " ended before them.\n") != std::string::npos,
                  more)
            << text;
    }
}

TEST_F(CaptureFile, SaysWhereItsPacketsCameIn) {
    const json answer = zv_test::own_members(send(file(Capture(1).text()), {"-j"}).out);
    EXPECT_EQ(answer.at("port"), 65537);
    EXPECT_EQ(answer.at("direction"), 0);
    EXPECT_EQ(answer.at("direction_name"), "ingress");
}

TEST_F(CaptureFile, HasAWordBesideEveryBareNumber) {
    const std::string path = file(mixed().text());
    const std::string text = send(path, {"-n"}).out;
    EXPECT_EQ(text.rfind(path + " at port 65537, direction 0\n", 0), 0u) << text;
    EXPECT_NE(text.find("4 packets sent: 2 verdict 0, 1 verdict 1, 1 verdict 2 (2 of them"),
              std::string::npos)
        << text;
}

TEST_F(CaptureFile, OfRawIpIsSent) {
    Capture capture(101);
    capture.add(kTelnet.substr(28));
    capture.add(kIpv6.substr(28));
    const json answer = zv_test::own_members(send(file(capture.text()), {"-j"}).out);
    EXPECT_EQ(answer.at("packets").at(0).at("verdict_name"), "drop");
    EXPECT_EQ(answer.at("packets").at(1).at("verdict_name"), "trap");
}

TEST_F(CaptureFile, WithoutAPacketIsNoFailure) {
    const ToolRun run = send(file(Capture(1).text()));
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_NE(run.out.find("0 packets sent.\n"), std::string::npos) << run.out;
}

TEST_F(CaptureFile, ThatIsWrongIsRefusedBeforeAnythingIsSent) {
    const std::string whole = mixed().text();
    const size_t mark = session_.daemon().trace_mark();
    const std::vector<std::pair<std::string, std::string>> rows{
        {"no capture at all", "no capture: "},
        {"", "no capture: "},
        {whole.substr(0, 20), "no capture: "},
        {whole.substr(0, whole.size() - 1), "packet 4: "},
        {whole.substr(0, 30), "packet 1: "},
        {Capture(105).text(), "a capture of link type IEEE802_11; only Ethernet and raw IP"}};
    for (const auto &[text, part] : rows) {
        const std::string path = file(text);
        const ToolRun run = send(path);
        EXPECT_EQ(run.exit_code, 2) << run.out;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err.rfind("aclrmctl: " + path + ": " + part, 0), 0u) << run.err;
    }
    const ToolRun missing = send("/nonexistent.pcap");
    EXPECT_EQ(missing.exit_code, 2);
    EXPECT_EQ(missing.err, "aclrmctl: /nonexistent.pcap: No such file or directory\n");
    EXPECT_TRUE(session_.daemon().trace_since(mark).empty());
    const json state = session_.object({"switch", "state"});
    EXPECT_EQ(state.at("regions").at(0).at("rules").at(0).at("activity"), 0);
}

/* --- a switch that goes away in the middle */

/* Answers the first packets with "no rule matched" and hangs up on the next one. */
StubSwitch::Handler hang_up_at_packet(int number) {
    return [number, packets_num = 0](const json &question) mutable {
        if (question.at("cmd") == "state") {
            return json{{"ok", true}, {"acls", json::array()}, {"regions", json::array()}}.dump() +
                   "\n";
        }
        packets_num++;
        return packets_num == number ? std::string() : "{\"ok\":true,\"matched\":false}\n";
    };
}

struct CutCapture {
    const char *name;
    int hangs_up_at; /* of the packets that are sent */
    const char *key_type;
    int exit_code;
    const char *detail;
    std::vector<uint32_t> sent;
    uint32_t failed; /* its number in the file */
};

void PrintTo(const CutCapture &each, std::ostream *out) {
    *out << each.name;
}

class CaptureCutShort : public testing::TestWithParam<CutCapture> {};

TEST_P(CaptureCutShort, TellsWhichPacketsTheSwitchHasSeen) {
    Capture capture(1);
    for (const std::string &frame : {kArp, kIpv6, kTelnet, kIpv6}) {
        capture.add(frame);
    }
    const zv_test::TempDir directory;
    const std::string path = directory.file("capture.pcap");
    zv_test::write_file(path, capture.text());
    const StubSwitch sim(hang_up_at_packet(GetParam().hangs_up_at));
    const ToolRun run = sim.run({"-j", "switch", "packet", "--port", "65537", "--pcap", path,
                                 "--key-type", GetParam().key_type});
    EXPECT_EQ(run.exit_code, GetParam().exit_code);
    const json answer = zv_test::own_members(run.out, GetParam().exit_code);
    EXPECT_EQ(answer.at("details"), json::array({GetParam().detail}));
    const json &partial = answer.at("partial");
    EXPECT_EQ(partial.at("cause"), 3);
    EXPECT_EQ(partial.at("what"), "sent");
    EXPECT_EQ(partial.at("done"), GetParam().sent);
    const uint32_t failed = partial.at("uncertain").at(0);
    EXPECT_EQ(partial.at("uncertain").size(), 1u);
    EXPECT_EQ(failed, GetParam().failed);
    EXPECT_EQ(partial.at("not_sent").size(), 4 - failed);
    /* What the switch did with the packets before. */
    EXPECT_EQ(answer.contains("packets"), !GetParam().sent.empty());
    EXPECT_EQ(answer.value("packets", json::array()).size(),
              GetParam().sent.empty() ? 0 : failed - 1);
}

/* Of the four frames the second and the fourth have a key of IPv6, all have one of MAC. */
const CutCapture kCutCaptures[] = {
    {"AtTheFirst", 1, "mac", 3, "sent before that: none of 4", {}, 1},
    {"AtTheSecond", 2, "mac", 8, "sent before that: packets 1 of 4", {1}, 2},
    {"AtTheFourth", 4, "mac", 8, "sent before that: packets 1-3 of 4", {1, 2, 3}, 4},
    {"AtTheFirstThatHasAKey", 1, "ipv6", 3, "sent before that: none of 4", {}, 2},
    {"AtTheSecondThatHasAKey", 2, "ipv6", 8, "sent before that: packets 2 of 4", {2}, 4}};

INSTANTIATE_TEST_SUITE_P(Capture, CaptureCutShort, testing::ValuesIn(kCutCaptures),
                         [](const auto &each) { return each.param.name; });

/* An answer of another version loses nothing of what came before it. */
TEST(CaptureCutShortByAnAnswer, ThatIsNoneShowsThePacketsBefore) {
    Capture capture(1);
    capture.add(kTelnet);
    capture.add(kArp);
    const zv_test::TempDir directory;
    const std::string path = directory.file("capture.pcap");
    zv_test::write_file(path, capture.text());
    const StubSwitch sim([packets_num = 0](const json &question) mutable {
        if (question.at("cmd") == "state") {
            return std::string("{\"ok\":true,\"acls\":[],\"regions\":[]}\n");
        }
        const bool bad = packets_num++ % 2 == 1;
        return std::string(bad ? "{\"ok\":true,\"matched\":7}\n"
                               : "{\"ok\":true,\"matched\":false}\n");
    });
    const std::vector<std::string> words{"switch", "packet", "--port", "1", "--pcap", path};
    const ToolRun text = sim.run(words);
    EXPECT_EQ(text.exit_code, 8) << text.err;
    EXPECT_NE(text.out.find("       1     54  permit"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("1 packet sent: 1 permit"), std::string::npos) << text.out;
    EXPECT_EQ(
        text.err.rfind("aclrmctl: switch command 'packet': the answer is not the switch's: ", 0),
        0u)
        << text.err;
    std::vector<std::string> in_json = words;
    in_json.emplace_back("-j");
    const json answer = zv_test::own_members(sim.run(in_json).out, 8);
    EXPECT_EQ(answer.at("partial").at("cause"), 7);
    EXPECT_EQ(answer.at("partial").at("done"), json::array({1}));
    EXPECT_EQ(answer.at("packets").at(0).at("verdict_name"), "permit");
}

}  // namespace
