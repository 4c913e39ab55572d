// The daemon's messages, word for word: what it says in which situation, from which module and at
// which level. One case per situation holds all its messages against what the daemon logged.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "tests/commands_e2e/message_situations.h"

namespace zv_test {
namespace {

// A debug line begins with "<source>[<line>]- <function>: ", which is not part of the text.
LogLine without_place(const LogLine &line) {
    static const auto &place = *new std::regex("acl_rm(_rpc_server|_db)?\\.c\\[[0-9]+\\]- \\w+: ");
    std::smatch found;
    if (line.level != "DEBUG" || !std::regex_search(line.text, found, place) ||
        found.position() != 0) {
        return line;
    }
    return {line.module, line.level, found.suffix().str()};
}

bool is_text(const Message &message, const std::string &text) {
    switch (message.kind) {
        case Message::kPattern:
            return text.size() < 1000 && std::regex_match(text, std::regex(message.line.text));
        case Message::kBeginning:
            return text.starts_with(message.line.text);
        default:
            return text == message.line.text;
    }
}

bool says(const std::vector<LogLine> &log, const Message &message) {
    return std::any_of(log.begin(), log.end(), [&](const LogLine &line) {
        return line.module == message.line.module && line.level == message.line.level &&
               is_text(message, line.text);
    });
}

// The message itself, without the words that report a status.
std::string bare(const std::string &text) {
    static const auto &report = *new std::regex(
        "ZV_ACL_RM(_ERROR, error: [0-9]+, | ERROR error;=[0-9]+, error message:=| Notification, "
        "error: [0-9]+, )");
    std::smatch found;
    if (!text.starts_with("ZV_ACL_RM") || !std::regex_search(text, found, report)) {
        return text;
    }
    return found.suffix().str();
}

// Whether the text is the message with something for each of its conversions.
class Format {
  public:
    explicit Format(const std::string &message) {
        static const auto &conversion = *new std::regex("%l?[udxs]");
        parts_.assign(std::sregex_token_iterator(message.begin(), message.end(), conversion, -1),
                      std::sregex_token_iterator());
        if (std::regex_match(message, std::regex(".*%l?[udxs]"))) {
            parts_.emplace_back();
        }
    }
    bool is_format_of(const std::string &text) const {
        size_t at = parts_.front().size();
        if (!text.starts_with(parts_.front()) || !text.ends_with(parts_.back())) {
            return false;
        }
        for (size_t i = 1; i < parts_.size(); ++i) {
            const size_t found = text.find(parts_[i], at);
            if (found == std::string::npos) {
                return false;
            }
            at = found + parts_[i].size();
        }
        return parts_.size() > 1 || at == text.size();
    }

  private:
    std::vector<std::string> parts_;  // what stands between the conversions
};

TEST(MessageFormat, IsRecognisedWithAnyArguments) {
    EXPECT_TRUE(Format("mcg %u").is_format_of("mcg 17"));
    EXPECT_TRUE(Format("%s: acl %u not found").is_format_of("f: acl 0 not found"));
    EXPECT_TRUE(Format("no arguments").is_format_of("no arguments"));
    EXPECT_FALSE(Format("no arguments").is_format_of("no arguments, but more"));
    EXPECT_FALSE(Format("acl %u not found").is_format_of("acl 1 not found in hast table"));
    EXPECT_FALSE(Format("acl %u, %u").is_format_of("acl 1; 2"));
}

TEST(Messages, StandInOneListOnly) {
    for (const Situation &situation : all_situations()) {
        for (const Message &message : situation.messages) {
            for (const Unspoken &unspoken : unspoken_messages()) {
                EXPECT_FALSE(Format(unspoken.text).is_format_of(bare(message.line.text)))
                    << message.line << " of " << situation.name;
            }
        }
    }
}

class MessageTexts : public testing::TestWithParam<Situation> {};

std::string name_of(const testing::TestParamInfo<Situation> &situation) {
    return situation.param.name;
}

TEST_P(MessageTexts, AreSpokenWordForWord) {
    std::vector<LogLine> log = GetParam().play();
    std::transform(log.begin(), log.end(), log.begin(), without_place);
    EXPECT_FALSE(GetParam().messages.empty());
    for (const Message &message : GetParam().messages) {
        EXPECT_TRUE(says(log, message)) << "not said: " << message.line;
    }
    for (const Unspoken &unspoken : unspoken_messages()) {
        const Format format(unspoken.text);
        for (const LogLine &line : log) {
            EXPECT_FALSE(format.is_format_of(bare(line.text)))
                << line << "\nwas thought impossible (" << unspoken.reason << "), tested in "
                << unspoken.tested_in;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, MessageTexts, testing::ValuesIn(all_situations()), name_of);

}  // namespace
}  // namespace zv_test
