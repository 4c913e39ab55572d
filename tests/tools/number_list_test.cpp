/* Lists and ranges of ports, router interfaces and offsets. */
#include "number_list.h"

#include <gtest/gtest.h>

namespace {

using namespace aclrmctl;
using Numbers = std::vector<uint32_t>;

TEST(NumberList, ReadsNumbersRangesAndListsInTheirOrder) {
    Numbers numbers{1};
    EXPECT_EQ(read_number_list(kLogicalPorts, "5", &numbers), "");
    EXPECT_EQ(read_number_list(kLogicalPorts, "7-9,3,65537-65537", &numbers), "");
    EXPECT_EQ(numbers, (Numbers{1, 5, 7, 8, 9, 3, 65537}));
}

TEST(NumberList, RefusesWhatIsNone) {
    Numbers ports;
    for (const char *text :
         {"", ",", "5,", "a", "5-", "-5", "5--6", "5-6-7", "0x", "0xg", "+5", " 5", "4294967296"}) {
        EXPECT_NE(read_number_list(kLogicalPorts, text, &ports), "") << text;
    }
    EXPECT_EQ(read_number_list(kLogicalPorts, "9-8", &ports),
              "the range '9-8' ends before it begins");
}

TEST(NumberList, TakesHexadecimalNumbers) {
    Numbers ports;
    EXPECT_EQ(read_number_list(kLogicalPorts, "0x5-0x6,9", &ports), "");
    EXPECT_EQ(ports, (Numbers{5, 6, 9}));
}

TEST(NumberList, Holds4096Ports) {
    Numbers ports;
    EXPECT_EQ(read_number_list(kLogicalPorts, "1-4096", &ports), "");
    EXPECT_EQ(ports.size(), 4096u);
    EXPECT_NE(read_number_list(kLogicalPorts, "5000", &ports), "");
    ports.clear();
    EXPECT_NE(read_number_list(kLogicalPorts, "1-4097", &ports), "");
    EXPECT_NE(read_number_list(kLogicalPorts, "0-4294967295", &ports), "");
    ports.clear();
    EXPECT_EQ(read_number_list(kLogicalPorts, "4294967294-4294967295", &ports), "");
    EXPECT_EQ(ports.size(), 2u);
}

TEST(NumberList, SaysWhatItIsAListOf) {
    Numbers numbers;
    EXPECT_EQ(read_number_list(kLogicalPorts, "x", &numbers),
              "'x' is neither a logical port nor a range of them (65537-65540)");
    EXPECT_EQ(read_number_list(kOffsets, "x", &numbers),
              "'x' is neither an offset nor a range of them (0-19)");
    EXPECT_EQ(read_number_list(kRouterInterfaces, "x", &numbers),
              "'x' is neither a router interface nor a range of them (1-4)");
}

TEST(NumberList, KeepsRouterInterfacesTo16Bits) {
    Numbers numbers;
    EXPECT_EQ(read_number_list(kRouterInterfaces, "65534-65535", &numbers), "");
    EXPECT_EQ(numbers, (Numbers{65534, 65535}));
    EXPECT_EQ(read_number_list(kRouterInterfaces, "65535-65536", &numbers),
              "'65535-65536': a router interface is at most 65535");
}

TEST(NumberList, Holds65536Offsets) {
    Numbers numbers;
    EXPECT_EQ(read_number_list(kOffsets, "0-65535", &numbers), "");
    EXPECT_EQ(numbers.size(), 65536u);
    EXPECT_EQ(read_number_list(kOffsets, "70000", &numbers),
              "'70000' makes more than 65536 offsets");
}

}  // namespace
