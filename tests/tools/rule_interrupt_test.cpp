/* Signals while a load is under way: noted once, and left to whoever noted them before. */
#include "rule_interrupt.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <ostream>

namespace {

using aclrmctl::InterruptWatch;

/* What becomes of a signal for as long as a case lasts. */
class Disposition {
  public:
    Disposition(int number, void (*handler)(int)) : number_(number) {
        struct sigaction wanted {};
        wanted.sa_handler = handler;
        sigaction(number, &wanted, &before_);
    }
    ~Disposition() { sigaction(number_, &before_, nullptr); }
    Disposition(const Disposition &) = delete;
    Disposition &operator=(const Disposition &) = delete;

  private:
    int number_;
    struct sigaction before_ {};
};

void (*handler_of(int number))(int) {
    struct sigaction now {};
    sigaction(number, nullptr, &now);
    return now.sa_handler;
}

struct Signal {
    int number;
    const char *name;
};

void PrintTo(const Signal &each, std::ostream *out) {
    *out << each.name;
}

class EachSignal : public testing::TestWithParam<Signal> {};

TEST_P(EachSignal, IsNotedByItsOwnName) {
    const auto [number, name] = GetParam();
    const Disposition before(number, SIG_DFL);
    const InterruptWatch watch;
    EXPECT_EQ(InterruptWatch::caught(), nullptr);
    std::raise(number);
    EXPECT_STREQ(InterruptWatch::caught(), name);
}

TEST_P(EachSignal, EndsTheProcessWhenItComesAgain) {
    const int number = GetParam().number;
    const auto twice = [number] {
        const Disposition before(number, SIG_DFL);
        const InterruptWatch watch;
        std::raise(number);
        std::raise(number);
        std::exit(0);
    };
    EXPECT_EXIT(twice(), testing::KilledBySignal(number), "");
}

TEST_P(EachSignal, ThatIsIgnoredStaysIgnored) {
    const int number = GetParam().number;
    const Disposition before(number, SIG_IGN);
    {
        const InterruptWatch watch;
        EXPECT_EQ(handler_of(number), SIG_IGN);
        std::raise(number);
        EXPECT_EQ(InterruptWatch::caught(), nullptr);
    }
    EXPECT_EQ(handler_of(number), SIG_IGN);
}

volatile std::sig_atomic_t g_handed_on = 0;
volatile std::sig_atomic_t g_times = 0;

void take(int number) {
    g_handed_on = number;
    g_times = g_times + 1;
}

TEST_P(EachSignal, IsHandedOnToAHandlerOfBeforeWhenTheWatchEnds) {
    const int number = GetParam().number;
    const Disposition before(number, take);
    g_handed_on = 0;
    g_times = 0;
    {
        const InterruptWatch watch;
        std::raise(number);
        EXPECT_EQ(g_times, 0) << "not before the report";
    }
    EXPECT_EQ(g_handed_on, number);
    EXPECT_EQ(g_times, 1);
    EXPECT_EQ(handler_of(number), take);
}

TEST_P(EachSignal, IsHandedOnOnlyWhereItCame) {
    const Disposition before(GetParam().number, take);
    g_times = 0;
    { const InterruptWatch watch; }
    EXPECT_EQ(g_times, 0);
}

/* In a process of its own: what is handed on by mistake would end it. */
TEST_P(EachSignal, IsNotHandedOnToTheDefault) {
    const int number = GetParam().number;
    const auto once = [number] {
        const Disposition before(number, SIG_DFL);
        {
            const InterruptWatch watch;
            std::raise(number);
        }
        std::exit(handler_of(number) == SIG_DFL ? 3 : 1);
    };
    EXPECT_EXIT(once(), testing::ExitedWithCode(3), "");
}

INSTANTIATE_TEST_SUITE_P(InterruptWatch, EachSignal,
                         testing::Values(Signal{SIGINT, "SIGINT"}, Signal{SIGTERM, "SIGTERM"},
                                         Signal{SIGHUP, "SIGHUP"}),
                         [](const auto &each) { return each.param.name; });

/* The first of a kind is noted again: what one watch caught is no news to the next. */
TEST(InterruptWatch, BeginsWithNothingCaught) {
    const Disposition before(SIGTERM, SIG_DFL);
    {
        const InterruptWatch first;
        std::raise(SIGTERM);
    }
    const InterruptWatch second;
    EXPECT_EQ(InterruptWatch::caught(), nullptr);
}

}  // namespace
