// The ring itself: what a reader gets while and after lines are written.
#include "platform/log/trace_ring.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using zv_log_lib::kSlotNum;
using zv_log_lib::ring_read;
using zv_log_lib::ring_write;
using zv_log_lib::TraceRing;

class Ring : public ::testing::Test {
  protected:
    void write(const std::string &text) {
        ring_write(*ring_, text.data(), static_cast<uint32_t>(text.size()));
    }
    std::string read(uint32_t max_lines, uint32_t size = 1 << 16) {
        std::string buffer(size, '\0');
        buffer.resize(ring_read(*ring_, buffer.data(), size, max_lines));
        return buffer;
    }

    std::unique_ptr<TraceRing> ring_ = std::make_unique<TraceRing>();
};

TEST_F(Ring, IsEmptyAtFirst) {
    EXPECT_EQ(read(10), "");
}

TEST_F(Ring, GivesTheNewestLinesOldestFirst) {
    for (const char *line : {"one", "two", "three"}) {
        write(line);
    }
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(read(2), "two\nthree");
    EXPECT_EQ(read(3), "one\ntwo\nthree");
    EXPECT_EQ(read(4), "one\ntwo\nthree");
}

TEST_F(Ring, GivesOnlyWholeLinesThatFit) {
    write("one");
    write("two");
    EXPECT_EQ(read(9, 0), "");
    EXPECT_EQ(read(9, 2), "");
    EXPECT_EQ(read(9, 3), "two");
    EXPECT_EQ(read(9, 6), "two");
    EXPECT_EQ(read(9, 7), "one\ntwo");
}

TEST_F(Ring, KeepsLinesOfEveryLength) {
    for (size_t len : {0u, 1u, 7u, 8u, 9u, 47u, 48u, 49u, 96u, 97u, 65535u}) {
        std::string text;
        for (size_t i = 0; i < len; i++) {
            text += static_cast<char>('a' + i % 26);
        }
        write("before");
        write(text);
        EXPECT_EQ(read(2, 1 << 17), "before\n" + text) << len;
    }
}

TEST_F(Ring, KeepsAtLeastAMebibyteOfLinesOf16Characters) {
    constexpr uint32_t kLines = 3 * kSlotNum;
    for (uint32_t i = 0; i < kLines; i++) {
        char line[17];
        snprintf(line, sizeof(line), "line %011u", i);
        write(line);
    }
    std::istringstream lines(read(kLines, 4 << 20));
    std::string line;
    uint32_t count = 0;
    while (std::getline(lines, line)) {
        EXPECT_EQ(std::stoul(line.substr(5)), kLines - kSlotNum + count);
        count++;
    }
    EXPECT_EQ(count, kSlotNum);
    EXPECT_GE(count * 16, 1u << 20);
}

TEST_F(Ring, SkipsALineThatWasNotFinished) {
    write("one");
    write(std::string(60, 'x'));
    write("three");
    // The second of its two slots as a crash leaves it.
    ring_->slots[2].marker.store(2 * (2 + 1) + 1);
    EXPECT_EQ(read(9), "one\nthree");
}

TEST_F(Ring, SkipsALineWhoseFirstPartIsOverwritten) {
    write(std::string(60, 'x'));
    write("two");
    ring_->slots[0].marker.store(2 * (kSlotNum + 1));
    EXPECT_EQ(read(9), "two");
}

TEST_F(Ring, GoesAroundASlotThatAnInterruptedWriterHolds) {
    ring_->slots[1].marker.store(1);
    write(std::string(60, 'x'));
    EXPECT_EQ(read(9), std::string(60, 'x'));
    EXPECT_EQ(ring_->next.load(), 4u);
    EXPECT_EQ(ring_->slots[1].marker.load(), 1u);
}

TEST_F(Ring, DropsALineRatherThanOverwriteANewerOne) {
    write("newer");
    for (uint32_t number = 0; number < 4; number++) {
        ring_->slots[number].marker.store(2 * (uint64_t{kSlotNum} + number + 1));
    }
    ring_->next.store(0);
    write("a writer that slept for a turn");
    for (uint32_t number = 0; number < 4; number++) {
        EXPECT_EQ(ring_->slots[number].marker.load(), 2 * (uint64_t{kSlotNum} + number + 1));
    }
}

// Every line repeats its number to a length that depends on it, so that a mixture of two shows.
std::string line_of(uint32_t thread, uint32_t number) {
    std::string item = std::to_string(thread) + "." + std::to_string(number) + " ";
    std::string line = item;
    for (uint32_t i = 0; i < number % 40; i++) {
        line += item;
    }
    return line;
}

// Checks each line, and that those of one thread come in their order.
void check_lines(const std::string &text, uint32_t *line_num) {
    std::map<uint32_t, uint32_t> newest;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        uint32_t thread = 0;
        uint32_t number = 0;
        ASSERT_EQ(sscanf(line.c_str(), "%u.%u", &thread, &number), 2) << line;
        ASSERT_EQ(line, line_of(thread, number));
        auto [place, is_first] = newest.emplace(thread, number);
        ASSERT_TRUE(is_first || place->second < number) << line;
        place->second = number;
        (*line_num)++;
    }
}

TEST_F(Ring, ShowsNoTornLineWhileManyWrite) {
    constexpr uint32_t kThreads = 3;
    constexpr uint32_t kLines = 40000;
    std::atomic<uint32_t> running{kThreads};
    std::vector<std::thread> writers;
    for (uint32_t thread = 0; thread < kThreads; thread++) {
        writers.emplace_back([this, thread, &running] {
            for (uint32_t number = 0; number < kLines; number++) {
                write(line_of(thread, number));
            }
            running--;
        });
    }
    uint32_t read_num = 0;
    while (running > 0) {
        // To the oldest line, which the writers are about to overwrite.
        check_lines(read(UINT32_MAX, 4 << 20), &read_num);
    }
    for (std::thread &writer : writers) {
        writer.join();
    }
    check_lines(read(UINT32_MAX, 4 << 20), &read_num);
    EXPECT_GT(read_num, 1000u);
}

}  // namespace
