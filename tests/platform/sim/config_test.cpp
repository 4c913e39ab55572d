#include "platform/sim/config.h"

#include <gtest/gtest.h>

#include "platform/sim/json.h"

namespace {

using json = zv_sim::Json;
using zv_sim::Config;
using zv_sim::Port;

std::string complaint(const char *text) {
    Config config;
    return zv_sim::config_parse(json::parse(text), &config);
}

std::string port_complaint(const char *text) {
    std::vector<Port> ports;
    return zv_sim::ports_parse(json::parse(text), "ports", &ports);
}

TEST(Config, WhatIsLeftOutKeepsItsDefault) {
    Config config;
    ASSERT_EQ(zv_sim::config_parse(json::parse(R"({"acls": 7})"), &config), "");
    EXPECT_EQ(config.acls, 7u);
    EXPECT_EQ(config.tcam_entries, 65536u);
    EXPECT_EQ(config.regions, 512u);
    EXPECT_EQ(config.groups, 256u);
    EXPECT_EQ(config.bindings, 1024u);
    EXPECT_EQ(config.pbs_entries, 1024u);
    EXPECT_EQ(config.counters, 1024u);
    EXPECT_FALSE(config.acl_destroy_in_use);
}

TEST(Config, DefaultPortsAreThirtyTwoAtTheFrontAndTheCpu) {
    Config config;
    ASSERT_EQ(zv_sim::config_parse(json::object(), &config), "");
    ASSERT_EQ(config.ports.size(), 33u);
    EXPECT_EQ(config.ports[0].log_port, 65537u);
    EXPECT_EQ(config.ports[0].name, "p1");
    EXPECT_EQ(config.ports[31].log_port, 65568u);
    EXPECT_EQ(config.ports[31].kind, 0u);
    EXPECT_EQ(config.ports[31].name, "p32");
    EXPECT_EQ(config.ports[32].log_port, 65600u);
    EXPECT_EQ(config.ports[32].kind, 1u);
    EXPECT_EQ(config.ports[32].name, "cpu");
}

TEST(Config, ReadsEveryField) {
    Config config;
    ASSERT_EQ(zv_sim::config_parse(json::parse(R"({"tcam_entries": 1, "regions": 2, "acls": 3,
        "groups": 4, "bindings": 5, "pbs_entries": 6, "counters": 4294967295,
        "acl_destroy_in_use": true, "ports": [{"log_port": 9, "kind": 8, "name": "x"}]})"),
                                   &config),
              "");
    EXPECT_EQ(config.tcam_entries, 1u);
    EXPECT_EQ(config.regions, 2u);
    EXPECT_EQ(config.acls, 3u);
    EXPECT_EQ(config.groups, 4u);
    EXPECT_EQ(config.bindings, 5u);
    EXPECT_EQ(config.pbs_entries, 6u);
    EXPECT_EQ(config.counters, 4294967295u);
    EXPECT_TRUE(config.acl_destroy_in_use);
    ASSERT_EQ(config.ports.size(), 1u);
    EXPECT_EQ(config.ports[0].log_port, 9u);
    EXPECT_EQ(config.ports[0].kind, 8u);
    EXPECT_EQ(config.ports[0].name, "x");
}

TEST(Config, RefusesANumberOutOfRange) {
    constexpr const char *kRange = "acls: must be an integer from 0 to 4294967295";
    EXPECT_EQ(complaint(R"({"acls": -1})"), kRange);
    EXPECT_EQ(complaint(R"({"acls": 4294967296})"), kRange);
    EXPECT_EQ(complaint(R"({"acls": 18446744073709551615})"), kRange);
    EXPECT_EQ(complaint(R"({"acls": 1.5})"), kRange);
    EXPECT_EQ(complaint(R"({"acls": "1"})"), kRange);
}

TEST(Config, RefusesAnUnknownFieldByName) {
    EXPECT_EQ(complaint(R"({"acl": 1})"), "acl: unknown field");
}

TEST(Config, RefusesWrongTypes) {
    EXPECT_EQ(complaint(R"([])"), "input: must be an object");
    EXPECT_EQ(complaint(R"({"acl_destroy_in_use": 1})"),
              "acl_destroy_in_use: must be true or false");
    EXPECT_EQ(complaint(R"({"ports": {}})"), "ports: must be a list");
}

TEST(Config, AComplaintLeavesTheRecordAsItWas) {
    Config config;
    config.acls = 5;
    EXPECT_NE(zv_sim::config_parse(json::parse(R"({"acls": 1, "groups": "x"})"), &config), "");
    EXPECT_EQ(config.acls, 5u);
}

TEST(Ports, NameAndKindMayBeLeftOut) {
    std::vector<Port> ports;
    ASSERT_EQ(zv_sim::ports_parse(json::parse(R"([{"log_port": 3}])"), "set", &ports), "");
    ASSERT_EQ(ports.size(), 1u);
    EXPECT_EQ(ports[0].kind, 0u);
    EXPECT_EQ(ports[0].name, "");
}

TEST(Ports, NamesTheOffendingPort) {
    EXPECT_EQ(port_complaint(R"([{"log_port": 3}, {"kind": 0}])"), "ports[1].log_port: missing");
    EXPECT_EQ(port_complaint(R"([3])"), "ports[0]: must be an object");
    EXPECT_EQ(port_complaint(R"([{"log_port": 3, "name": 4}])"), "ports[0].name: must be a text");
    EXPECT_EQ(port_complaint(R"([{"log_port": 3}, {"log_port": 3}])"),
              "ports[1].log_port: stands in the list twice");
}

TEST(Ports, ANameFillsARecordButNotMore) {
    const std::string longest(23, 'n');
    EXPECT_EQ(port_complaint(("[{\"log_port\":1,\"name\":\"" + longest + "\"}]").c_str()), "");
    EXPECT_EQ(port_complaint(("[{\"log_port\":1,\"name\":\"" + longest + "n\"}]").c_str()),
              "ports[0].name: must be at most 23 bytes without a NUL");
    EXPECT_EQ(port_complaint(R"([{"log_port": 1, "name": "a\u0000b"}])"),
              "ports[0].name: must be at most 23 bytes without a NUL");
}

TEST(Ports, WrittenListReadsBackTheSame) {
    const auto text = json::parse(R"([{"kind": 1, "log_port": 7, "name": "cpu"}])");
    std::vector<Port> ports;
    ASSERT_EQ(zv_sim::ports_parse(text, "set", &ports), "");
    EXPECT_EQ(zv_sim::ports_json(ports).dump(), R"([{"log_port":7,"kind":1,"name":"cpu"}])");
}

}  // namespace
