/* The fields of a rule, as words of the command line. */
#include "match_words.h"

#include <gtest/gtest.h>

namespace {

using namespace aclrmctl;

std::string bytes_of(const ReadAddress &address, size_t bytes_num) {
    std::string text;
    for (size_t i = 0; i < bytes_num; i++) {
        text += (i == 0 ? "" : " ") + std::to_string(address.prefix.bytes[i]);
    }
    return text;
}

TEST(MatchPrefix, IsAnAddressAPrefixOrAnyOfEitherVersion) {
    struct {
        const char *text;
        AddressFamily family;
        const char *bytes; /* the first four */
        int length;
    } const rows[] = {{"10.0.0.0/8", AddressFamily::kIpv4, "10 0 0 0", 8},
                      {"10.1.2.3", AddressFamily::kIpv4, "10 1 2 3", 32},
                      {"10.1.2.3/8", AddressFamily::kIpv4, "10 0 0 0", 8},
                      {"10.1.2.3/0", AddressFamily::kIpv4, "0 0 0 0", 0},
                      {"2001:db8::/32", AddressFamily::kIpv6, "32 1 13 184", 32},
                      {"2001:db8::/20", AddressFamily::kIpv6, "32 1 0 0", 20},
                      {"::1", AddressFamily::kIpv6, "0 0 0 0", 128},
                      {"::/0", AddressFamily::kIpv6, "0 0 0 0", 0},
                      {"any", AddressFamily::kAny, "0 0 0 0", 0}};
    for (const auto &row : rows) {
        ReadAddress address;
        address.prefix.bytes.fill(1);
        EXPECT_EQ(read_prefix(row.text, &address), "") << row.text;
        EXPECT_EQ(address.family, row.family) << row.text;
        EXPECT_EQ(bytes_of(address, 4), row.bytes) << row.text;
        EXPECT_EQ(address.prefix.length, row.length) << row.text;
    }
}

TEST(MatchPrefix, RefusesWhatIsNone) {
    ReadAddress address;
    for (const char *text :
         {"", "10.0.0", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/8x", "/8", "Any", "10.0.0.256",
          "10.0.0.0/-1", ":::1", "::1/129", "2001:db8", "02:00:00:00:00:01", "any "}) {
        EXPECT_EQ(
            read_prefix(text, &address),
            "'" + std::string(text) + "' is no IP address or prefix (10.0.0.0/8, 2001:db8::/32)");
    }
}

TEST(MatchMac, IsAnAddressAPrefixOrAny) {
    ReadAddress address;
    EXPECT_EQ(read_mac_prefix("02:00:5e:1:ff:Fe", &address), "");
    EXPECT_EQ(bytes_of(address, 6), "2 0 94 1 255 254");
    EXPECT_EQ(address.prefix.length, 48);
    EXPECT_EQ(read_mac_prefix("02:ff:00:00:00:00/9", &address), "");
    EXPECT_EQ(bytes_of(address, 6), "2 128 0 0 0 0");
    EXPECT_EQ(address.prefix.length, 9);
    EXPECT_EQ(read_mac_prefix("any", &address), "");
    EXPECT_EQ(address.prefix.length, 0);
    for (const char *text : {"", "02:00:00:00:00", "02:00:00:00:00:00/49", "10.0.0.1", "::1",
                             "02:00:00:00:00:100", "2::3:4:5:6"}) {
        EXPECT_EQ(read_mac_prefix(text, &address),
                  "'" + std::string(text) + "' is no MAC address or prefix (02:00:00:00:00:00/16)");
    }
}

TEST(MatchVlan, IsANumberUpTo4095OrAny) {
    uint16_t vlan = 9;
    uint16_t mask = 9;
    EXPECT_EQ(read_vlan("4095", &vlan, &mask), "");
    EXPECT_EQ(vlan, 4095);
    EXPECT_EQ(mask, 0xFFF);
    EXPECT_EQ(read_vlan("any", &vlan, &mask), "");
    EXPECT_EQ(mask, 0);
    EXPECT_EQ(read_vlan("4096", &vlan, &mask), "'4096' is no VLAN id: a number up to 4095, or any");
}

TEST(MatchEtherType, IsSixteenBitsOrAny) {
    uint16_t type = 9;
    uint16_t mask = 9;
    EXPECT_EQ(read_ethertype("0x86dd", &type, &mask), "");
    EXPECT_EQ(type, 0x86DD);
    EXPECT_EQ(mask, 0xFFFF);
    EXPECT_EQ(read_ethertype("0x10000", &type, &mask),
              "'0x10000' is no EtherType: a number up to 0xffff (0x86dd), or any");
}

/* Whoever writes 0800 means an EtherType in hexadecimal digits. */
TEST(MatchNumbers, HaveNoLeadingZeros) {
    uint16_t value = 0;
    uint16_t mask = 0;
    EXPECT_EQ(read_vlan("0", &value, &mask), "");
    EXPECT_EQ(read_ethertype("0x0800/0x00ff", &value, &mask), "");
    EXPECT_EQ(read_vlan("07", &value, &mask), "'07' is no VLAN id: a number up to 4095, or any");
    EXPECT_EQ(read_ethertype("0800", &value, &mask),
              "'0800' is no EtherType: a number up to 0xffff (0x86dd), or any");
    EXPECT_NE(read_ethertype("800/00", &value, &mask), "");
    EXPECT_NE(read_flags("02/0x12", &value, &mask), "");
    EXPECT_NE(read_flags("2/018", &value, &mask), "");
    AddressFamily version = AddressFamily::kAny;
    uint8_t protocol = 0;
    uint8_t protocol_mask = 0;
    EXPECT_EQ(read_protocol("0", &version, &protocol, &protocol_mask), "");
    EXPECT_NE(read_protocol("017", &version, &protocol, &protocol_mask), "");
    ReadAddress address;
    for (const char *text : {"010.0.0.0/8", "10.0.0.01", "10.0.0.0/08", "2001:db8::/032"}) {
        EXPECT_NE(read_prefix(text, &address), "") << text;
    }
    EXPECT_EQ(read_prefix("0.0.0.0/0", &address), "");
    EXPECT_NE(read_mac_prefix("02:00:00:00:00:00/08", &address), "");
}

TEST(MatchPort, IsAPortAPrefixOfThemOrAny) {
    struct {
        const char *text;
        uint16_t value;
        uint16_t mask;
    } const rows[] = {{"443", 443, 0xFFFF},          {"0", 0, 0xFFFF},  {"65535", 65535, 0xFFFF},
                      {"1024-2047", 1024, 0xFC00},   {"0-65535", 0, 0}, {"any", 0, 0},
                      {"65534-65535", 65534, 0xFFFE}};
    for (const auto &row : rows) {
        PortPrefix prefix{1, 1};
        EXPECT_EQ(read_port_prefix(row.text, &prefix), "") << row.text;
        EXPECT_EQ(prefix.value, row.value) << row.text;
        EXPECT_EQ(prefix.mask, row.mask) << row.text;
    }
}

TEST(MatchPort, RefusesARangeThatNeedsSeveralRulesAndNamesThem) {
    PortPrefix prefix;
    EXPECT_EQ(read_port_prefix("1-6", &prefix),
              "'1-6' is no prefix, it needs 4 rules (1, 2-3, 4-5, 6); 'rule load' makes them");
    EXPECT_EQ(read_port_prefix("1-8", &prefix),
              "'1-8' is no prefix, it needs 4 rules (1, 2-3, 4-7, 8); 'rule load' makes them");
    EXPECT_EQ(read_port_prefix("1-65534", &prefix),
              "'1-65534' is no prefix, it needs 30 rules; 'rule load' makes them");
}

TEST(MatchPort, RefusesWhatIsNone) {
    PortPrefix prefix;
    for (const char *text : {"", "x", "65536", "1-65536", "1-", "-1", "1:2", " 1"}) {
        EXPECT_EQ(read_port_prefix(text, &prefix),
                  "'" + std::string(text) + "' is neither a port nor a range of them (1024-2047)");
    }
    EXPECT_EQ(read_port_prefix("9-8", &prefix), "the range '9-8' ends before it begins");
}

TEST(MatchProtocol, IsANameANumberOrAny) {
    struct {
        const char *text;
        int protocol;
        int mask;
    } const rows[] = {{"tcp", 6, 255}, {"udp", 17, 255},  {"icmp", 1, 255},  {"0", 0, 255},
                      {"89", 89, 255}, {"255", 255, 255}, {"0x11", 17, 255}, {"any", 0, 0}};
    for (const auto &row : rows) {
        uint8_t protocol = 1;
        uint8_t mask = 1;
        AddressFamily version = AddressFamily::kAny;
        EXPECT_EQ(read_protocol(row.text, &version, &protocol, &mask), "") << row.text;
        EXPECT_EQ(protocol, row.protocol) << row.text;
        EXPECT_EQ(mask, row.mask) << row.text;
    }
    for (const char *text : {"", "256", "TCP", "0x", "6/255"}) {
        uint8_t protocol = 0;
        uint8_t mask = 0;
        AddressFamily version = AddressFamily::kAny;
        EXPECT_EQ(read_protocol(text, &version, &protocol, &mask),
                  "'" + std::string(text) +
                      "' is no protocol: tcp, udp, icmp, icmp6, any or a number up to 255");
    }
}

TEST(MatchProtocol, TellsTheVersionOfIpOrFitsIt) {
    constexpr AddressFamily kAny = AddressFamily::kAny;
    constexpr AddressFamily kIpv4 = AddressFamily::kIpv4;
    constexpr AddressFamily kIpv6 = AddressFamily::kIpv6;
    struct {
        const char *text;
        AddressFamily before;
        AddressFamily behind;
        const char *error;
    } const rows[] = {{"icmp", kAny, kIpv4, ""},
                      {"icmp", kIpv4, kIpv4, ""},
                      {"icmp", kIpv6, kIpv6, "icmp belongs to the other version of IP"},
                      {"icmp6", kAny, kIpv6, ""},
                      {"icmpv6", kIpv6, kIpv6, ""},
                      {"icmp6", kIpv4, kIpv4, "icmp6 belongs to the other version of IP"},
                      {"icmpv6", kIpv4, kIpv4, "icmpv6 belongs to the other version of IP"},
                      {"tcp", kAny, kAny, ""},
                      {"58", kIpv4, kIpv4, ""},
                      {"58", kAny, kAny, ""},
                      {"any", kAny, kAny, ""}};
    for (const auto &row : rows) {
        AddressFamily version = row.before;
        uint8_t protocol = 0;
        uint8_t mask = 0;
        EXPECT_EQ(read_protocol(row.text, &version, &protocol, &mask), row.error) << row.text;
        EXPECT_EQ(version, row.behind) << row.text;
    }
}

TEST(MatchFlags, AreBitsAndAMaskOrAllSixteen) {
    uint16_t flags = 1;
    uint16_t mask = 1;
    EXPECT_EQ(read_flags("0x02/0x12", &flags, &mask), "");
    EXPECT_EQ(flags, 2);
    EXPECT_EQ(mask, 0x12);
    EXPECT_EQ(read_flags("0xffff/2", &flags, &mask), "");
    EXPECT_EQ(flags, 2) << "bits outside the mask do not matter";
    EXPECT_EQ(read_flags("0x10", &flags, &mask), "");
    EXPECT_EQ(flags, 0x10);
    EXPECT_EQ(mask, 0xFFFF);
    for (const char *text : {"", "/", "2/", "/2", "65536", "0/65536", "0x", "S", "-1"}) {
        EXPECT_EQ(read_flags(text, &flags, &mask),
                  "'" + std::string(text) + "' is no FLAGS/MASK (0x02/0x12), each up to 0xffff");
    }
}

TEST(MatchKey, IsUpTo128BytesFollowedByZeros) {
    KeyBytes key;
    key.fill(1);
    EXPECT_EQ(read_key_bytes("0aFF", &key), "");
    KeyBytes expected{};
    expected[0] = 0x0A;
    expected[1] = 0xFF;
    EXPECT_EQ(key, expected);
    EXPECT_EQ(read_key_bytes(std::string(256, 'f'), &key), "");
    expected.fill(0xFF);
    EXPECT_EQ(key, expected);
    for (const std::string &text :
         {std::string(), std::string("0"), std::string("0g"), std::string("0x00"),
          std::string(258, '0'), std::string(257, '0')}) {
        EXPECT_EQ(read_key_bytes(text, &key),
                  "'" + text + "' is not 1 to 128 bytes as pairs of hexadecimal digits");
    }
}

}  // namespace
