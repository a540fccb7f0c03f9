#include "apps/shared/CommandLine.h"

#include <QStringList>
#include <algorithm>
#include <cctype>
#include <charconv>
#include <sstream>

#include "apps/shared/Duration.h"

namespace apps {
namespace {

QString Q(const std::string& text) {
  return QString::fromStdString(text);
}

const OptionSpec kHelp{"help", "", "show this help and exit"};
// The one short option, -h for --help, as most programs take it.
const char kHelpShort[] = "h";
const OptionSpec kVerbose{"verbose", "", "errors with their numbers, SQLSTATEs and sources"};

std::vector<OptionSpec> AllOptions(const CommandSpec& spec) {
  std::vector<OptionSpec> options = spec.options;
  options.push_back(kHelp);
  options.push_back(kVerbose);
  return options;
}

// The argument as typed for an option QCommandLineParser reports without its dashes.
std::string Typed(const std::vector<std::string>& args, const QString& name) {
  for (const std::string& arg : args) {
    if (!arg.starts_with('-') || arg == "-" || arg == "--") continue;
    const std::string bare = arg.substr(arg.find_first_not_of('-'));
    if (Q(bare.substr(0, bare.find('='))) == name) return arg;
  }
  return "--" + name.toStdString();
}

std::string Lowered(std::string text) {
  if (!text.empty()) text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  if (text.ends_with('.')) text.pop_back();
  return text;
}

// `text` in lines of at most 79 columns, broken at blanks. The text starts at column
// `indent`, and so does every line after the first.
std::string Wrapped(const std::string& text, size_t indent) {
  constexpr size_t kWidth = 79;
  std::string out;
  size_t column = indent;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (!out.empty() && column + 1 + word.size() > kWidth) {
      out += "\n" + std::string(indent, ' ');
      column = indent;
    } else if (!out.empty()) {
      out += ' ';
      ++column;
    }
    out += word;
    column += word.size();
  }
  return out;
}

}  // namespace

std::string UsageLine(const std::string& invocation, const std::string& problem) {
  return invocation + ": " + problem + ". Try '" + invocation + " --help'.";
}

std::string HelpText(const CommandSpec& spec, const std::string& footer) {
  std::string text = "Usage: " + spec.invocation +
                     (spec.synopsis.empty() ? "" : " " + spec.synopsis) + "\n\n" +
                     Wrapped(spec.summary, 0) + "\n";
  const std::vector<OptionSpec> options = AllOptions(spec);
  size_t width = 0;
  for (const ArgumentSpec& argument : spec.arguments) width = std::max(width, argument.name.size());
  const auto named = [](const OptionSpec& option) {
    return (option.name == kHelp.name ? std::string("-") + kHelpShort + ", " : "") + "--" +
           option.name + (option.valueName.empty() ? "" : " " + option.valueName);
  };
  for (const OptionSpec& option : options) width = std::max(width, named(option).size());
  auto row = [&](const std::string& left, const std::string& right) {
    return "  " + left + std::string(width + 2 - left.size(), ' ') + Wrapped(right, width + 4) +
           "\n";
  };
  if (!spec.arguments.empty()) {
    text += "\nArguments:\n";
    for (const ArgumentSpec& argument : spec.arguments) {
      text += row(argument.name, argument.description);
    }
  }
  text += "\nOptions:\n";
  bool takesDuration = false;
  for (const OptionSpec& option : options) {
    text += row(named(option), option.description);
    takesDuration = takesDuration || option.valueName == "DURATION";
  }
  text += "  (--option=value and --option value are the same)\n";
  if (takesDuration) {
    text +=
        "\nDURATION is a number of seconds, or a number followed by s, m, h or d: 30, 90s, 1.5m,"
        " 8h, 2d.\n";
  }
  if (!footer.empty()) text += "\n" + footer;
  if (!spec.example.empty()) text += "\nExample:\n  " + spec.example + "\n";
  return text;
}

ParsedArguments::ParsedArguments(const CommandSpec& spec, const std::vector<std::string>& args)
    : spec_(spec) {
  parser_.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
  bool takesVersion = false;
  for (const OptionSpec& option : AllOptions(spec)) {
    QStringList names{Q(option.name)};
    if (option.name == kHelp.name) names.prepend(kHelpShort);
    parser_.addOption(QCommandLineOption(names, Q(option.description), Q(option.valueName)));
    takesVersion = takesVersion || option.name == "version";
  }
  QStringList list{Q(spec.invocation)};
  for (const std::string& arg : args) list << Q(arg);
  if (!parser_.parse(list)) {
    const QStringList unknown = parser_.unknownOptionNames();
    if (!unknown.isEmpty()) {
      throw UsageError(
          UsageLine(spec.invocation, "unknown option '" + Typed(args, unknown.front()) + "'"));
    }
    throw UsageError(UsageLine(spec.invocation, Lowered(parser_.errorText().toStdString())));
  }
  for (const QString& arg : parser_.positionalArguments()) positional_.push_back(arg.toStdString());
  if (Help() || (takesVersion && Has("version"))) return;
  if (positional_.size() > spec.maxArguments) {
    throw UsageError(
        UsageLine(spec.invocation, "unexpected argument '" + positional_[spec.maxArguments] + "'"));
  }
  if (positional_.size() < spec.minArguments) {
    throw UsageError(
        UsageLine(spec.invocation, "missing " + spec.arguments[positional_.size()].name));
  }
}

bool ParsedArguments::Has(const std::string& option) const {
  return parser_.isSet(Q(option));
}

std::string ParsedArguments::Value(const std::string& option, const std::string& fallback) const {
  return Has(option) ? parser_.values(Q(option)).back().toStdString() : fallback;
}

std::optional<std::chrono::milliseconds> ParsedArguments::Duration(const std::string& option,
                                                                   bool allowZero) const {
  if (!Has(option)) return std::nullopt;
  const std::string text = Value(option);
  const std::optional<std::chrono::milliseconds> duration = ParseDuration(text);
  if (!duration || (!allowZero && duration->count() == 0)) {
    throw UsageError(
        UsageLine(spec_.invocation, "--" + option + " '" + text + "' is not a " +
                                        (allowZero ? "" : "positive ") +
                                        "DURATION (seconds, or a number with s, m, h or d)"));
  }
  return duration;
}

std::optional<int64_t> ParsedArguments::Count(const std::string& option, int64_t minimum,
                                              int64_t maximum) const {
  if (!Has(option)) return std::nullopt;
  const std::string text = Value(option);
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() || value < minimum ||
      value > maximum) {
    throw UsageError(UsageLine(spec_.invocation,
                               "--" + option + " '" + text + "' is not a whole number from " +
                                   std::to_string(minimum) + " to " + std::to_string(maximum)));
  }
  return value;
}

}  // namespace apps
