#include "number_list.h"

#include <charconv>

namespace aclrmctl {

namespace {

std::string read_item(const NumberKind &kind, const std::string &item,
                      std::vector<uint32_t> *numbers) {
    const size_t dash = item.find('-');
    uint32_t low = 0;
    uint32_t high = 0;
    if (!read_number(item.substr(0, dash), &low) ||
        !read_number(dash == std::string::npos ? item : item.substr(dash + 1), &high)) {
        return "'" + item + "' is neither " + kind.one + " nor a range of them (" + kind.range +
               ")";
    }
    if (low > high) {
        return "the range '" + item + "' ends before it begins";
    }
    if (high > kind.largest) {
        return "'" + item + "': " + kind.one + " is at most " + std::to_string(kind.largest);
    }
    if (uint64_t{high} - low + 1 + numbers->size() > kind.most) {
        return "'" + item + "' makes more than " + std::to_string(kind.most) + " " + kind.several;
    }
    /* 64 bits, for a range that ends at the largest number there is. */
    for (uint64_t number = low; number <= high; number++) {
        numbers->push_back(static_cast<uint32_t>(number));
    }
    return "";
}

}  // namespace

std::string read_number_list(const NumberKind &kind, const std::string &text,
                             std::vector<uint32_t> *numbers) {
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        const std::string item = text.substr(start, comma - start);
        if (item.empty()) {
            return "'" + text + "': " + kind.one + " is missing" +
                   (text.empty() ? "" : " beside a comma");
        }
        std::string error = read_item(kind, item, numbers);
        if (!error.empty() || comma == std::string::npos) {
            return error;
        }
        start = comma + 1;
    }
}

bool read_number64(const std::string &text, uint64_t *number) {
    const bool hex = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
    const char *start = text.data() + (hex ? 2 : 0);
    const char *end = text.data() + text.size();
    if (!hex && text.size() > 1 && text[0] == '0') {
        return false;
    }
    const auto [stop, error] = std::from_chars(start, end, *number, hex ? 16 : 10);
    return error == std::errc() && stop == end;
}

bool read_number(const std::string &text, uint32_t *number) {
    uint64_t wide = 0;
    if (!read_number64(text, &wide) || wide > UINT32_MAX) {
        return false;
    }
    *number = static_cast<uint32_t>(wide);
    return true;
}

}  // namespace aclrmctl
