/* The published schema: whatever the tool prints with --json satisfies it, and has no member that
 * it does not name. */
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "tests/support/temp_dir.h"
#include "tests/tools/capture_file.h"
#include "tests/tools/stub_switch.h"
#include "tests/tools/tool_session.h"

namespace {

using nlohmann::json;
using zv_test::ToolRun;
using Words = std::vector<std::string>;

const char *const kPython = "/usr/bin/python3";

class Schema : public testing::Test {
  protected:
    void SetUp() override {
        const std::string asked = std::string(kPython) + " -c 'import jsonschema' 2>/dev/null";
        if (std::system(asked.c_str()) != 0) {
            GTEST_SKIP() << "python3-jsonschema is not installed";
        }
    }

    /* What is wrong with the objects of a list, "" for nothing. */
    static std::string complaint_of_file(const std::string &file) {
        const std::string command = std::string(kPython) +
                                    " " ZV_TEST_TOOLS_DIR "/check_schema.py " ZV_TEST_SCHEMA " " +
                                    file + " 2>&1";
        FILE *pipe = popen(command.c_str(), "r");
        char buffer[4096];
        std::string complaint;
        while (fgets(buffer, sizeof(buffer), pipe) != nullptr) {
            complaint += buffer;
        }
        const bool is_valid = pclose(pipe) == 0;
        return is_valid ? "" : "invalid: " + complaint;
    }
    std::string complaint_of(const json &object) {
        const std::string file = directory_.file("objects.json");
        zv_test::write_file(file, json::array({{{"line", "x"}, {"object", object}}}).dump());
        return complaint_of_file(file);
    }
    /* Checks the object of a run, and returns it. */
    json expect_valid(const ToolRun &run, int exit_code) {
        EXPECT_EQ(run.exit_code, exit_code) << run.out;
        json object = json::parse(run.out, nullptr, false);
        EXPECT_EQ(complaint_of(object), "") << run.out;
        return object;
    }

  private:
    zv_test::TempDir directory_;
};

TEST_F(Schema, IsSatisfiedByEveryObjectOfTheGoldenFiles) {
    int files_num = 0;
    for (const auto &entry : std::filesystem::directory_iterator(ZV_TEST_GOLDEN_DIR)) {
        if (entry.path().extension() == ".json") {
            files_num++;
            EXPECT_EQ(complaint_of_file(entry.path()), "") << entry.path();
        }
    }
    EXPECT_GT(files_num, 0);
}

TEST_F(Schema, RefusesObjectsThatLackAMemberOrHaveAnotherType) {
    const json good{
        {"schema_version", 1}, {"command", "init"}, {"ok", true}, {"exit", 0}, {"chip", 3}};
    const auto is_valid = [&](const json &object) { return complaint_of(object).empty(); };
    EXPECT_TRUE(is_valid(good));
    expect_valid(zv_test::run_tool("", {"-j", "--version"}), 0);
    for (const auto &[key, value] : good.items()) {
        json bad = good;
        bad.erase(key);
        EXPECT_FALSE(is_valid(bad)) << "without " << key;
        bad = good;
        bad[key] = json::array();
        EXPECT_FALSE(is_valid(bad)) << "another type of " << key;
    }
    json unknown = good;
    unknown["command"] = "innit";
    EXPECT_FALSE(is_valid(unknown));
    json failed = good;
    failed["ok"] = false;
    EXPECT_FALSE(is_valid(failed));
}

/* A place of every kind: the object itself, an object of a list, one that two definitions share,
 * one below a failure. */
TEST_F(Schema, IsHeldAgainstMembersThatItDoesNotName) {
    const json head{{"schema_version", 1}, {"ok", true}, {"exit", 0}};
    json show = head;
    show.update(
        {{"command", "show mc"},
         {"started_at", ""},
         {"complete", true},
         {"acls_num", 0},
         {"rules_num", 0},
         {"whole", true},
         {"notes", json::array()},
         {"mc", {{{"mc_group_id", 1}, {"pbs_id", 1}, {"owner", 0}, {"owner_name", nullptr}}}}});
    json rule = head;
    rule.update({{"command", "rule add"},
                 {"acl_id", 1},
                 {"offset", 0},
                 {"valid", true},
                 {"key_type", 0},
                 {"key", std::string(256, '0')},
                 {"mask", std::string(256, '0')},
                 {"rule", ""},
                 {"verdict", 0},
                 {"verdict_name", "permit"},
                 {"forward_port", nullptr},
                 {"forward_mc", nullptr},
                 {"counter_id", 0},
                 {"masked", json::array()}});
    const json failure{{"schema_version", 1},
                       {"command", "mc create"},
                       {"ok", false},
                       {"exit", 8},
                       {"error", "x"},
                       {"details", json::array()},
                       {"hint", ""},
                       {"partial",
                        {{"cause", 4},
                         {"what", "added"},
                         {"done", {1}},
                         {"uncertain", {2}},
                         {"not_sent", {3}},
                         {"mc_group_id", 7}}}};
    for (const auto &[good, place] :
         {std::pair(show, ""), {show, "/mc/0"}, {rule, ""}, {failure, ""}, {failure, "/partial"}}) {
        EXPECT_EQ(complaint_of(good), "");
        json more = good;
        more[json::json_pointer(std::string(place) + "/no_such_member")] = 1;
        EXPECT_NE(complaint_of(more).find("no_such_member"), std::string::npos)
            << good.at("command") << place;
    }
}

/* --- objects that no golden file has, as they differ from run to run or are long */

TEST_F(Schema, IsSatisfiedByTheDemo) {
    const json demo = expect_valid(
        zv_test::run_tool("", {"-j", "demo", "--fast", "--daemon", zv_test::daemon_path()}), 0);
    EXPECT_GT(demo.at("steps").size(), 0u);
}

/* A daemon with an ACL of 2000 rules, more than a dump has room for. */
class SchemaOfASession : public Schema {
  protected:
    void SetUp() override {
        Schema::SetUp();
        session_.text({"open", "--owner", "open-flow"});
        session_.text({"init"});
        session_.text({"acl", "create", "--size", "2100"});
        session_.daemon().allow_error_lines();
    }
    std::string rules(size_t count) {
        std::string text;
        for (size_t i = 0; i < count; i++) {
            text += "drop ip from 10.0." + std::to_string(i / 250) + "." + std::to_string(i % 250) +
                    " to any\n";
        }
        const std::string file = session_.daemon().root().file("many.policy");
        zv_test::write_file(file, text);
        return file;
    }
    json expect_run_valid(int exit_code, Words words) {
        words.insert(words.begin(), "-j");
        return expect_valid(session_.run(words), exit_code);
    }
    zv_test::ToolSession session_;
};

TEST_F(SchemaOfASession, IsSatisfiedByALoadAndByWhatACutDumpLeavesOut) {
    const std::string file = rules(2000);
    const json loaded = expect_run_valid(0, {"rule", "load", file, "--acl", "1"});
    EXPECT_EQ(loaded.at("commands"), 100);
    expect_run_valid(0, {"rule", "load", file, "--acl", "1", "--check", "--first-priority", "50"});
    const json shown = expect_run_valid(8, {"show"});
    EXPECT_TRUE(shown.at("acls").is_null());
    expect_run_valid(8, {"show", "rules"});
    expect_run_valid(8, {"show", "counters"});
    EXPECT_TRUE(expect_run_valid(0, {"dump"}).at("mc").is_null());
    expect_run_valid(0, {"rule", "del", "--acl", "1", "0-49"});
}

TEST_F(SchemaOfASession, IsSatisfiedByLoadsThatFail) {
    const std::string file = rules(60);
    for (const bool undo : {false, true}) {
        session_.daemon().control().fail("zv_api_acl_rules_set", 5, 2);
        Words words{"rule", "load", file, "--acl", "1", "--in-flight", "1"};
        if (undo) {
            words.insert(words.end(), {"--undo", "--first-priority", "100"});
        }
        const json failed = expect_run_valid(undo ? 4 : 8, words);
        EXPECT_EQ(failed.at("load").at("undo"), undo);
        EXPECT_EQ(failed.at("load").at("runs").size(), 3u);
    }
}

TEST_F(SchemaOfASession, IsSatisfiedByALoadOfAFileThatIsWrong) {
    const std::string file = session_.daemon().root().file("bad.json");
    zv_test::write_file(file, "{\"rules\": [5]}");
    expect_run_valid(2, {"rule", "load", file, "--acl", "1"});
    expect_run_valid(2, {"rule", "check", file});
}

TEST_F(SchemaOfASession, IsSatisfiedByAnMcGroupThatLacksPorts) {
    session_.daemon().control().fail("zv_api_acl_policy_based_switching_set", 5, 2);
    const json failed = expect_run_valid(8, {"mc", "create", "65537-65637"});
    EXPECT_TRUE(failed.at("partial").contains("mc_group_id"));
}

TEST_F(SchemaOfASession, IsSatisfiedByRulesReadBeforeAFailure) {
    session_.text({"rule", "load", rules(30), "--acl", "1"});
    session_.daemon().control().fail("zv_api_acl_rule_activity_get", 5, 25);
    const json failed =
        expect_run_valid(8, {"rule", "get", "--acl", "1", "0-29", "--clear-activity"});
    EXPECT_EQ(failed.at("rules").size(), 20u);
    EXPECT_EQ(failed.at("partial").at("done").size(), 20u);
}

/* Ethernet, little-endian: a frame of ARP, and one too short for a key. */
TEST_F(SchemaOfASession, IsSatisfiedByACapture) {
    const std::string head("\xd4\xc3\xb2\xa1\x02\0\x04\0\0\0\0\0\0\0\0\0\xff\xff\0\0\x01\0\0\0",
                           24);
    const std::string arp(
        "\x01\0\0\0\0\0\0\0\x0e\0\0\0\x0e\0\0\0"
        "\x02\0\0\0\0\x02\x02\0\0\0\0\x01\x08\x06",
        30);
    const std::string torn("\x01\0\0\0\0\0\0\0\x02\0\0\0\x02\0\0\0\x02\0", 18);
    const std::string file = session_.daemon().root().file("capture.pcap");
    zv_test::write_file(file, head + arp + torn);
    session_.text({"rule", "add", "--acl", "1", "--priority", "0", "--mac-src", "02:00:00:00:00:01",
                   "--verdict", "drop"});
    session_.text({"bind", "port", "--acl", "1", "65537"});
    const json sent = expect_run_valid(0, {"switch", "packet", "--port", "65537", "--pcap", file});
    EXPECT_EQ(sent.at("packets").at(0).at("matched"), true) << sent;
    EXPECT_EQ(sent.at("packets").at(1).at("sent"), false) << sent;
    const json first =
        expect_run_valid(0, {"switch", "packet", "--rif", "3", "--pcap", file, "--count", "1"});
    EXPECT_EQ(first.at("more_in_file"), true);
}

TEST_F(Schema, IsSatisfiedByACaptureThatFailsOnTheWay) {
    const zv_test::StubSwitch sim([packets_num = 0](const json &question) mutable {
        const bool state = question.at("cmd") == "state";
        return std::string(state               ? "{\"ok\":true,\"acls\":[],\"regions\":[]}\n"
                           : packets_num++ > 0 ? ""
                                               : "{\"ok\":true,\"matched\":false}\n");
    });
    zv_test::Capture capture(1);
    capture.add("02000000000202000000000108060001");
    capture.add("02000000000202000000000108060001");
    const zv_test::TempDir directory;
    const std::string file = directory.file("capture.pcap");
    zv_test::write_file(file, capture.text());
    const json failed =
        expect_valid(sim.run({"-j", "switch", "packet", "--port", "1", "--pcap", file}), 8);
    EXPECT_EQ(failed.at("packets").size(), 1u);
}

}  // namespace
