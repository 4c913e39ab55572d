/* Frames taken apart and fields put together: the key bytes the switch compares. */
#include "frame.h"

#include <gtest/gtest.h>

namespace {

using namespace aclrmctl;

std::vector<uint8_t> bytes(const std::string &hex) {
    std::vector<uint8_t> result;
    EXPECT_TRUE(read_hex_bytes(hex, &result)) << hex;
    return result;
}

std::string first(const PacketKey &packet, size_t count) {
    return key_to_hex(packet.key).substr(0, 2 * count);
}

bool rest_is_zero(const PacketKey &packet, size_t from) {
    return key_to_hex(packet.key).find_first_not_of('0', 2 * from) == std::string::npos;
}

const std::string kMacs = "020000000002 020000000001 ";
const std::string kIpv4 = "45000028 00004000 40060000 0a000001 c6336450 ";
const std::string kTcpSyn = "c73d 0017 00000000 00000000 5002 ffff 0000 0000";
const std::string kIpv6Addresses =
    "20010db8000000000000000000000007 20010db8000000000000000000000053 ";

TEST(Frame, OfIpv4HasA5TupleAndAMacKey) {
    const PacketKeys keys = keys_of(LinkLayer::kEthernet, bytes(kMacs + "0800" + kIpv4 + kTcpSyn));
    ASSERT_TRUE(keys.ip && keys.mac);
    EXPECT_EQ(keys.ip->key_type, kKeyIpv4);
    EXPECT_EQ(first(*keys.ip, 16), "0a000001c63364500600c73d00170002");
    EXPECT_TRUE(rest_is_zero(*keys.ip, 16));
    EXPECT_EQ(keys.mac->key_type, kKeyMac);
    EXPECT_EQ(first(*keys.mac, 16), "02000000000202000000000100000800");
    EXPECT_TRUE(rest_is_zero(*keys.mac, 16));
}

TEST(Frame, WithATagHasItsVlanIdAndTheInnerType) {
    const PacketKeys keys =
        keys_of(LinkLayer::kEthernet, bytes(kMacs + "8100 e007 0800" + kIpv4 + kTcpSyn));
    EXPECT_EQ(first(*keys.mac, 16), "02000000000202000000000100070800");
    EXPECT_EQ(first(*keys.ip, 16), "0a000001c63364500600c73d00170002");
}

TEST(Frame, WithTwoTagsHasTheOuterVlanId) {
    const PacketKeys keys =
        keys_of(LinkLayer::kEthernet, bytes(kMacs + "88a8 0009 8100 0007 0800" + kIpv4 + kTcpSyn));
    EXPECT_EQ(first(*keys.mac, 16), "02000000000202000000000100090800");
    EXPECT_TRUE(keys.ip);
}

TEST(Frame, OfIpv6IsReadPastItsExtensions) {
    /* Hop by hop, then a first fragment, then UDP. */
    const PacketKeys keys = keys_of(LinkLayer::kEthernet,
                                    bytes(kMacs + "86dd 60000000 0018 00 40" + kIpv6Addresses +
                                          "2c00000000000000 1100000100000001 0400 0035 0008 0000"));
    ASSERT_TRUE(keys.ip);
    EXPECT_EQ(keys.ip->key_type, kKeyIpv6);
    EXPECT_EQ(first(*keys.ip, 40),
              "20010db800000000000000000000000720010db8000000000000000000000053"
              "1100040000350000");
}

TEST(Frame, OfALaterFragmentHasNoPorts) {
    const PacketKeys ipv4 =
        keys_of(LinkLayer::kIp, bytes("45000028 00002001 40060000 0a000001 c6336450" + kTcpSyn));
    EXPECT_EQ(first(*ipv4.ip, 16), "0a000001c63364500600000000000000");
    const PacketKeys ipv6 = keys_of(LinkLayer::kIp, bytes("60000000 0010 2c 40" + kIpv6Addresses +
                                                          "1100000800000001 0400 0035 0008 0000"));
    EXPECT_EQ(key_to_hex(ipv6.ip->key).substr(64, 16), "1100000000000000");
}

TEST(Frame, WithIpOptionsHasItsPorts) {
    const PacketKeys keys =
        keys_of(LinkLayer::kIp, bytes("46000000 00004000 40110000 0a000001 c6336450 01010101"
                                      "0400 0035 0008 0000"));
    EXPECT_EQ(first(*keys.ip, 16), "0a000001c63364501100040000350000");
}

/* Every length from nothing to the whole frame: what is cut is not read, and nothing is past it. */
TEST(Frame, CutAnywhereHasTheKeysOfWhatIsThere) {
    const std::vector<uint8_t> whole = bytes(kMacs + "8100 0007 0800" + kIpv4 + kTcpSyn);
    for (size_t size = 0; size <= whole.size(); size++) {
        const std::vector<uint8_t> cut(whole.begin(), whole.begin() + static_cast<long>(size));
        const PacketKeys keys = keys_of(LinkLayer::kEthernet, cut);
        EXPECT_EQ(keys.mac.has_value(), size >= 14) << size;
        EXPECT_EQ(keys.ip.has_value(), size >= 38) << size;
        if (keys.ip) {
            EXPECT_EQ(key_to_hex(keys.ip->key).substr(20, 8), size >= 42 ? "c73d0017" : "00000000");
        }
    }
    const std::vector<uint8_t> ipv6 =
        bytes("60000000 0010 00 40" + kIpv6Addresses + "2b00000000000000 06ff000000000000");
    for (size_t size = 0; size <= ipv6.size(); size++) {
        const std::vector<uint8_t> cut(ipv6.begin(), ipv6.begin() + static_cast<long>(size));
        EXPECT_EQ(keys_of(LinkLayer::kIp, cut).ip.has_value(), size >= 40) << size;
    }
}

TEST(Frame, WithAHeaderThatIsNoneHasOnlyItsMacKey) {
    EXPECT_FALSE(keys_of(LinkLayer::kEthernet, bytes(kMacs + "0800 41" + kIpv4)).ip);
    EXPECT_FALSE(keys_of(LinkLayer::kEthernet, bytes(kMacs + "86dd" + kIpv4 + kTcpSyn)).ip);
    EXPECT_FALSE(keys_of(LinkLayer::kEthernet, bytes(kMacs + "0806 0001")).ip);
}

TEST(Frame, IsKnownByTheKeyTypeAskedFor) {
    const PacketKeys keys = keys_of(LinkLayer::kEthernet, bytes(kMacs + "0800" + kIpv4 + kTcpSyn));
    EXPECT_EQ(pick_key(keys, std::nullopt)->key_type, kKeyIpv4);
    EXPECT_EQ(pick_key(keys, kKeyIpv4)->key_type, kKeyIpv4);
    EXPECT_EQ(pick_key(keys, kKeyMac)->key_type, kKeyMac);
    EXPECT_FALSE(pick_key(keys, kKeyIpv6));
    EXPECT_FALSE(pick_key(keys, 3));
    const PacketKeys arp = keys_of(LinkLayer::kEthernet, bytes(kMacs + "0806 0001"));
    EXPECT_EQ(pick_key(arp, std::nullopt)->key_type, kKeyMac);
    EXPECT_FALSE(pick_key(PacketKeys{}, std::nullopt));
}

TEST(PacketWords, SayWhatThePacketIs) {
    const PacketKeys ipv4 = keys_of(LinkLayer::kEthernet, bytes(kMacs + "0800" + kIpv4 + kTcpSyn));
    EXPECT_EQ(describe_packet_key(*ipv4.ip), "tcp 10.0.0.1:51005 > 198.51.100.80:23 flags 0x0002");
    EXPECT_EQ(describe_packet_key(*ipv4.mac),
              "mac 02:00:00:00:00:01 > 02:00:00:00:00:02 type 0x0800");
    Ipv6Fields fields;
    fields.source[15] = 1;
    fields.protocol = 17;
    fields.destination_port = 53;
    EXPECT_EQ(describe_packet_key(encode_ipv6(fields)), "udp [::1]:0 > [::]:53");
    EXPECT_EQ(describe_packet_key({3, {}}), "key type 3");
}

TEST(MacAddress, IsSixPairsOfDigits) {
    MacAddress address{};
    EXPECT_TRUE(read_mac("02:00:5e:00:00:Ff", &address));
    EXPECT_EQ(address, (MacAddress{2, 0, 0x5e, 0, 0, 0xff}));
    for (const char *wrong : {"", "02:00:5e:00:00", "02:00:5e:00:00:f", "02-00-5e-00-00-ff",
                              "02:00:5e:00:00:fg", "0200:5e:00:00:ff:", "02:00:5e:00:00:ff:"}) {
        EXPECT_FALSE(read_mac(wrong, &address)) << wrong;
    }
}

TEST(HexBytes, MayBeInGroups) {
    EXPECT_EQ(bytes("0a0B 0c:0d"), (std::vector<uint8_t>{10, 11, 12, 13}));
    EXPECT_EQ(bytes(""), std::vector<uint8_t>{});
    std::vector<uint8_t> result;
    for (const char *wrong : {"0", "0a0", "0g", "0 a", "0x0a", "-1"}) {
        EXPECT_FALSE(read_hex_bytes(wrong, &result)) << wrong;
    }
}

}  // namespace
