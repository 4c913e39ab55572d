#include "tests/platform/switch/control_client.h"

namespace {

using zv_test::refusal;

using nlohmann::json;

std::string zeros(size_t bytes) {
    return std::string(2 * bytes, '0');
}

std::string packet(const std::string &where, const std::string &first_byte) {
    return "{\"cmd\":\"packet\"," + where + ",\"direction\":0,\"key_type\":1,\"key\":\"" +
           first_byte + zeros(127) + "\",\"length\":60}";
}

class ControlCommands : public zv_test::ControlTest {};

TEST_F(ControlCommands, StateShowsEverythingFromTheFirstIdOn) {
    const auto rule = [](const char *offset, const char *byte, const char *action_start) {
        return std::string(R"({"offset":)") + offset + R"(,"valid":1,"key_type":1,"key":")" + byte +
               zeros(127) + R"(","mask_key_type":0,"mask":"ff)" + zeros(127) + R"(","action":")" +
               action_start + "01" + zeros(43) + R"(","activity":0})";
    };
    ASSERT_EQ(ask(R"({"cmd":"ports","set":[{"log_port":3,"kind":1,"name":"x"}]})"),
              R"({"ok":true,"count":1})");
    EXPECT_EQ(
        ask(R"({"cmd":"state"})"),
        R"({"ok":true,"regions":[{"region_id":1,"region_size":8,"key_type":1,"action_type":3,)"
        R"("rules":[)" +
            rule("2", "aa", "060000000100000001000000") + "," +
            rule("5", "bb", "060000000000000000000000") +
            R"(]}],"acls":[{"acl_id":1,"acl_type":5,"direction":0,"region_id":1}],)"
            R"("groups":[{"group_id":1,"direction":0,"acl_ids":[1]}],)"
            R"("bindings":[{"log_port":65537,"group_id":1},{"rif_id":7,"group_id":1}],)"
            R"("pbs":[{"pbs_id":1,"switch_id":0,"entry_type":2,"ports":[65538,65539]}],)"
            R"("counters":[{"counter_id":1,"counter_type":4,"values":[0,0]}],)"
            R"("ports":[{"log_port":3,"kind":1,"name":"x"}]})");
}

TEST_F(ControlCommands, UsageShowsEachCapacity) {
    EXPECT_EQ(
        ask(R"({"cmd":"usage"})"),
        R"({"ok":true,"usage":{"tcam_entries":{"used":8,"capacity":65536},)"
        R"("regions":{"used":1,"capacity":512},"acls":{"used":1,"capacity":512},)"
        R"("groups":{"used":1,"capacity":256},"bindings":{"used":2,"capacity":1024},)"
        R"("pbs_entries":{"used":1,"capacity":1024},"counters":{"used":1,"capacity":1024}}})");
}

TEST_F(ControlCommands, FaultsAreReplacedAndCleared) {
    EXPECT_EQ(ask(R"({"cmd":"faults","set":[{"call":"zv_api_flow_counter_set","status":5,)"
                  R"("times":-1},{"call":"zv_api_open","status":1}]})"),
              R"({"ok":true,"armed":2})");
    EXPECT_EQ(call("counter"), "5");
    EXPECT_EQ(call("counter"), "5");
    EXPECT_EQ(ask(R"({"cmd":"faults","set":[]})"), R"({"ok":true,"armed":0})");
    EXPECT_EQ(call("counter"), "0");
}

TEST_F(ControlCommands, RefusedFaultsLeaveTheArmedOnes) {
    ask(R"({"cmd":"faults","set":[{"call":"zv_api_flow_counter_set","status":5}]})");
    EXPECT_EQ(ask(R"({"cmd":"faults","set":[{"call":"zv_api_open"}]})"),
              refusal("set[0].status: missing"));
    EXPECT_EQ(call("counter"), "5");
}

TEST_F(ControlCommands, APacketNamesWhatItMet) {
    EXPECT_EQ(ask(packet("\"log_port\":65537", "aa")),
              R"({"ok":true,"matched":true,"acl_id":1,"offset":2,"verdict":1,"counter_id":1,)"
              R"("ports":[65538,65539]})");
    EXPECT_EQ(ask(packet("\"rif_id\":7", "BB")),
              R"({"ok":true,"matched":true,"acl_id":1,"offset":5,"verdict":1,"counter_id":0,)"
              R"("ports":[]})");
    EXPECT_EQ(ask(packet("\"log_port\":65537", "cc")), R"({"ok":true,"matched":false})");
    EXPECT_EQ(ask(packet("\"log_port\":7", "aa")), R"({"ok":true,"matched":false})");
    const json state = json::parse(ask(R"({"cmd":"state"})"));
    EXPECT_EQ(state["counters"][0]["values"], json::array({1, 60}));
    EXPECT_EQ(state["regions"][0]["rules"][0]["activity"], 1);
}

TEST_F(ControlCommands, APacketsFieldsAreChecked) {
    EXPECT_EQ(ask(packet("\"log_port\":1,\"rif_id\":1", "aa")),
              refusal("rif_id: cannot stand beside log_port"));
    EXPECT_EQ(ask(packet("\"rif_id\":65536", "aa")),
              refusal("rif_id: must be an integer from 0 to 65535"));
    EXPECT_EQ(ask(R"({"cmd":"packet"})"), refusal("log_port: missing"));
    EXPECT_EQ(ask(packet("\"log_port\":1", "a")),
              refusal("key: must be the 256 hexadecimal digits of 128 bytes"));
    EXPECT_EQ(ask(packet("\"log_port\":1", "ag")),
              refusal("key: must be the 256 hexadecimal digits of 128 bytes"));
    EXPECT_EQ(ask(R"({"cmd":"packet","log_port":1,"direction":0,"key_type":1,"key":""})"),
              refusal("length: missing"));
}

TEST_F(ControlCommands, PortsAreReplacedForTheNetworkLibraryToo) {
    EXPECT_EQ(call("ports"), "33");
    EXPECT_EQ(ask(R"({"cmd":"ports","set":[{"log_port":1},{"log_port":2}]})"),
              R"({"ok":true,"count":2})");
    EXPECT_EQ(call("ports"), "2");
    EXPECT_EQ(ask(R"({"cmd":"ports","set":[{"log_port":1},{}]})"),
              refusal("set[1].log_port: missing"));
    EXPECT_EQ(call("ports"), "2");
}

TEST_F(ControlCommands, CorruptDropsOneRule) {
    EXPECT_EQ(ask(R"({"cmd":"corrupt","region_id":1,"offset":2})"), R"({"ok":true})");
    const json rules = json::parse(ask(R"({"cmd":"state"})"))["regions"][0]["rules"];
    ASSERT_EQ(rules.size(), 1u);
    EXPECT_EQ(rules[0]["offset"], 5);
    EXPECT_EQ(ask(R"({"cmd":"corrupt","region_id":1,"offset":2})"),
              refusal("offset: there is no rule"));
    EXPECT_EQ(ask(R"({"cmd":"corrupt","region_id":1,"offset":4294967295})"),
              refusal("offset: there is no rule"));
    EXPECT_EQ(ask(R"({"cmd":"corrupt","region_id":2,"offset":5})"),
              refusal("region_id: there is no such region"));
}

TEST_F(ControlCommands, TraceShowsTheNewestLinesOfTheRing) {
    call("first line");
    call("second line");
    call("third line");
    EXPECT_EQ(ask(R"({"cmd":"trace","lines":2})"),
              R"({"ok":true,"lines":["second line","third line"]})");
    EXPECT_EQ(ask(R"({"cmd":"trace","lines":0})"),
              refusal("lines: must be an integer from 1 to 65536"));
}

TEST_F(ControlCommands, BytesOfTheRingThatAreNoTextAreReplaced) {
    call("bad \xff byte");
    EXPECT_EQ(ask(R"({"cmd":"trace","lines":1})"),
              "{\"ok\":true,\"lines\":[\"bad \xef\xbf\xbd byte\"]}");
}

TEST_F(ControlCommands, ALargeStateArrivesWhole) {
    ASSERT_EQ(call("fill"), "0");
    const json state = json::parse(ask(R"({"cmd":"state"})"));
    ASSERT_EQ(state["regions"].size(), 2u);
    EXPECT_EQ(state["regions"][1]["rules"].size(), 4096u);
    EXPECT_EQ(state["regions"][1]["rules"][4095]["offset"], 4095);
}

}  // namespace
