// command_line.h - the options of a program that runs long.
//
//   CommandLine line("Stops the daemon at random moments.");
//   line.option("--count", options.count, "Rounds");
//   line.flag("--kill", options.kill, "Kill instead");
//   if (const auto status = line.parse(argc, argv)) {
//       return *status;                          // of --help, or of a word that it does not know
//   }
//
// The parser behind it is made of headers that take longer to compile than most of these programs:
// here they are compiled once.
#ifndef ZV_TESTS_FIRE_SUPPORT_COMMAND_LINE_H
#define ZV_TESTS_FIRE_SUPPORT_COMMAND_LINE_H

#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace zv_fire {

class CommandLine {
  public:
    explicit CommandLine(const std::string &about);
    ~CommandLine();

    // What `value` holds is what it stays without the option; the help shows it. The kinds of
    // values are listed at the end of the source.
    template <class Value>
    void option(const std::string &name, Value &value, const std::string &help);
    // The same for a number that must not be 0.
    template <class Number>
    void count(const std::string &name, Number &value, const std::string &help);
    void flag(const std::string &name, bool &value, const std::string &help);

    // The exit status where the program has nothing left to do.
    std::optional<int> parse(int argc, char **argv);

  private:
    std::unique_ptr<CLI::App> app_;
};

}  // namespace zv_fire

#endif
