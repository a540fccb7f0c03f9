// One way of reading command lines for every program and command: options and positional
// arguments declared once, from which both the parsing and the --help text come.
// `--opt=value` and `--opt value` both work; a mistake is a UsageError naming the argument.
#pragma once

#include <QCommandLineParser>
#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace apps {

// A command line that cannot be read; the text names the argument and its value.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct OptionSpec {
  std::string name;       // without the dashes
  std::string valueName;  // empty for a flag
  std::string description;
};

struct ArgumentSpec {
  std::string name;  // as the synopsis shows it: CONFIG, CONFIG...
  std::string description;
};

struct CommandSpec {
  std::string invocation;  // "dam run", "histsim"
  std::string synopsis;    // what follows the invocation in the usage line
  std::string summary;     // what the command does, one or more sentences
  std::vector<ArgumentSpec> arguments;
  size_t minArguments = 0;
  size_t maxArguments = 0;
  std::vector<OptionSpec> options;  // -h/--help and --verbose come with every command
  std::string example;
};

// The full help of a command: usage, what it does, arguments, options, the DURATION
// syntax when an option takes one, `footer` (environment, exit codes) and the example.
std::string HelpText(const CommandSpec& spec, const std::string& footer);

// The first line a usage error prints, and the hint after it.
std::string UsageLine(const std::string& invocation, const std::string& problem);

// The command line of one command, read against its spec.
class ParsedArguments {
 public:
  // `spec` outlives the object. Throws UsageError for an unknown option, a missing or unexpected
  // value, or too few or too many positional arguments (not checked with --help, nor with
  // --version where the command declares it).
  ParsedArguments(const CommandSpec& spec, const std::vector<std::string>& args);

  bool Help() const { return Has("help"); }
  bool Verbose() const { return Has("verbose"); }
  bool Has(const std::string& option) const;
  std::string Value(const std::string& option, const std::string& fallback = {}) const;
  const std::vector<std::string>& Positional() const { return positional_; }

  // Values that cannot be read throw UsageError naming the option and the value.
  // The option's DURATION: "30", "90s", "5m", "2h", "1d"; nullopt when not given.
  std::optional<std::chrono::milliseconds> Duration(const std::string& option,
                                                    bool allowZero = true) const;
  // The option's whole number in [minimum, maximum]; nullopt when not given.
  std::optional<int64_t> Count(const std::string& option, int64_t minimum, int64_t maximum) const;

 private:
  const CommandSpec& spec_;
  QCommandLineParser parser_;
  std::vector<std::string> positional_;
};

}  // namespace apps
