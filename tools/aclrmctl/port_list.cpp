/* Lists and ranges of logical ports. */
#include <charconv>

#include "words.h"

namespace aclrmctl {

namespace {

constexpr size_t kLargestPortList = 4096; /* far above the ports of any switch */

bool read_number(const std::string &text, uint32_t *number) {
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *number);
    return error == std::errc() && stop == end;
}

std::string read_item(const std::string &item, std::vector<uint32_t> *ports) {
    const size_t dash = item.find('-');
    uint32_t low = 0;
    uint32_t high = 0;
    if (!read_number(item.substr(0, dash), &low) ||
        !read_number(dash == std::string::npos ? item : item.substr(dash + 1), &high)) {
        return "'" + item + "' is neither a logical port nor a range of them (65537-65540)";
    }
    if (low > high) {
        return "the range '" + item + "' ends before it begins";
    }
    if (uint64_t{high} - low + 1 + ports->size() > kLargestPortList) {
        return "'" + item + "' makes more than " + std::to_string(kLargestPortList) + " ports";
    }
    /* 64 bits, for a range that ends at the largest number there is. */
    for (uint64_t port = low; port <= high; port++) {
        ports->push_back(static_cast<uint32_t>(port));
    }
    return "";
}

}  // namespace

std::string read_port_list(const std::string &text, std::vector<uint32_t> *ports) {
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        const std::string item = text.substr(start, comma - start);
        std::string error = read_item(item, ports);
        if (!error.empty() || comma == std::string::npos) {
            return error;
        }
        start = comma + 1;
    }
}

}  // namespace aclrmctl
