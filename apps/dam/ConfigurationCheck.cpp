#include "apps/dam/ConfigurationCheck.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "common/TagExpressions.h"
#include "common/TypeTables.h"
#include "config/Configuration1.h"
#include "platform/odbc/OdbcDiagnostics.h"
#include "runtime/Conversions.h"
#include "runtime/Date.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"

namespace dam {
namespace {

constexpr std::array<std::string_view, 11> kKeys = {
    "NAME",          "ACTIVE",    "DATALINK",   "SYNCTIME", "SUBGROUPINTERVAL", "SUBGROUPUNIT",
    "RETRYINTERVAL", "RETRYUNIT", "DESCRIPTOR", "TEST",     "CONDITION"};
constexpr int32_t kUserDefined = 7;
// As many names as the collection query binds in one statement.
constexpr size_t kTagsPerStatement = 999;

std::string Quoted(std::string_view text) {
  return "'" + std::string(text) + "'";
}

// A line the driver stops at; it reads nothing after it.
struct Stop {
  std::string text;
};

class Checker {
 public:
  Checker(std::vector<CheckFinding>& findings, const host::HostDateMath& dates)
      : findings_(findings), dates_(dates) {}

  // Reads one line; throws Stop where the driver's reader would raise.
  void Line(int number, const std::string& line) {
    line_ = number;
    if (line.empty()) throw Stop{"an empty line"};
    const size_t equals = line.find('=');
    const std::string key = line.substr(0, equals);
    const auto known = std::find_if(kKeys.begin(), kKeys.end(), [&](std::string_view k) {
      return runtime::EqualsNoCase(k, key);
    });
    if (known == kKeys.end()) {
      UnknownKey(key, equals == std::string::npos);
      return;
    }
    if (equals == std::string::npos) throw Stop{std::string(*known) + " without '='"};
    const std::string value = line.substr(equals + 1);
    const std::string_view name = *known;
    if (name == "ACTIVE") {
      try {
        runtime::TextToBoolean(value);
      } catch (const runtime::Error&) {
        throw Stop{"ACTIVE " + Quoted(value) + " is neither a number nor True or False"};
      }
      active_ = {number, value};
    } else if (name == "DATALINK") {
      dataLinkLine_ = number;
    } else if (name == "SYNCTIME") {
      SyncTime(Number(name, value, 4294967295.0));
    } else if (name == "SUBGROUPINTERVAL" || name == "RETRYINTERVAL") {
      if (const auto interval = Number(name, value); interval && *interval <= 0) {
        Error(std::string(name) + " " + std::to_string(*interval) + " is not a positive interval");
      }
    } else if (name == "SUBGROUPUNIT" || name == "RETRYUNIT") {
      Unit(name, Number(name, value));
    } else if (name == "DESCRIPTOR") {
      Descriptor(value);
    } else if (name == "TEST") {
      Test(value);
    } else if (name == "CONDITION") {
      Condition(value);
    }
  }

  int DataLinkLine() const { return dataLinkLine_; }
  // The line and value of the last ACTIVE, which decides; line 0 when there is none.
  const std::pair<int, std::string>& Active() const { return active_; }
  // The first line referencing each tag, by name without regard to case.
  const std::unordered_map<std::string, int, runtime::NoCaseHash, runtime::NoCaseEqual>& TagLines()
      const {
    return tagLines_;
  }

  void Warning(const std::string& text) { findings_.push_back({line_, false, text}); }
  void Error(const std::string& text) { findings_.push_back({line_, true, text}); }

 private:
  void UnknownKey(const std::string& key, bool withoutEquals) {
    if (key.empty()) return Warning("a line without a key: the driver ignores it");
    const std::string trimmed(runtime::TrimSpaces(key));
    const bool blanks = std::any_of(kKeys.begin(), kKeys.end(), [&](std::string_view k) {
      return runtime::EqualsNoCase(k, trimmed);
    });
    Warning("unknown key " + Quoted(key) +
            (blanks          ? " (blanks around the key)"
             : withoutEquals ? " (a line without '=')"
                             : "") +
            ": the driver ignores this line");
  }

  // The number the driver reads from `value`: an error when the text is not a number,
  // a stop when it is beyond what the driver keeps.
  std::optional<int64_t> Number(std::string_view what, const std::string& value,
                                double maximum = 2147483647.0) {
    const double number = runtime::LeadingNumber(value);
    if (std::nearbyint(number) < -2147483648.0 || std::nearbyint(number) > maximum) {
      throw Stop{std::string(what) + " " + Quoted(value) + " is too large"};
    }
    const int64_t read = static_cast<int64_t>(std::nearbyint(number));
    if (!runtime::IsNumericText(value)) {
      Error(std::string(what) + " " + Quoted(value) + " is not a number (the driver reads " +
            std::to_string(read) + ")");
      return std::nullopt;
    }
    return read;
  }

  // Serials are unsigned 32-bit: a negative one keeps its bits and means a date up to 2106.
  void SyncTime(std::optional<int64_t> serial) {
    if (!serial || *serial >= 0) return;
    const auto bits = static_cast<int32_t>(*serial);
    Warning("SYNCTIME " + std::to_string(*serial) + " is negative: the driver reads it as " +
            std::to_string(static_cast<uint32_t>(bits)) + ", " +
            runtime::FormatGeneralDate(dates_.SerialToDate(bits)) +
            ", and plans the collection times from there");
  }

  void Unit(std::string_view what, std::optional<int64_t> unit) {
    if (unit && (*unit < 0 || *unit > 3)) {
      Error(std::string(what) + " " + std::to_string(*unit) +
            " is no unit (0 seconds, 1 minutes, 2 hours, 3 days)");
    }
  }

  void Range(std::string_view what, std::optional<int64_t> code, int64_t low, int64_t high) {
    if (code && (*code < low || *code > high)) {
      Error(std::string(what) + " " + std::to_string(*code) + " is outside " + std::to_string(low) +
            "-" + std::to_string(high));
    }
  }

  // Item fields by position, as the item readers take them.
  static std::vector<std::string> Fields(const std::string& body, size_t count) {
    std::vector<std::string> fields =
        body.empty() ? std::vector<std::string>() : runtime::Split(body, "\t");
    fields.resize(std::max(fields.size(), count));
    return fields;
  }

  // The driver reads a reference up to the ")" that balances its "(" before the next
  // marker; a marker without one is skipped, tag and all.
  void Balanced(std::string_view what, const std::string& field) {
    const std::vector<std::string> pieces = runtime::Split(field, "%TAG(");
    for (size_t p = 1; p < pieces.size(); ++p) {
      int level = 1;
      for (size_t j = 0; j < pieces[p].size() && level > 0; ++j) {
        if (pieces[p][j] == ')') --level;
        if (pieces[p][j] == '(') ++level;
      }
      if (level > 0) {
        return Error(std::string(what) + ": '%TAG(' without its ')' in " + Quoted(field) +
                     " (the driver reads no tag from it)");
      }
    }
  }

  void References(const std::string& text) {
    std::vector<std::string> tokens, names, fields;
    if (!common::GetTagArrays(text, tokens, names, fields)) return;
    for (const std::string& name : names) tagLines_.try_emplace(name, line_);
  }

  void Descriptor(const std::string& body) {
    const std::vector<std::string> f = Fields(body, 3);
    const std::optional<int64_t> type = Number("descriptor type", f[0]);
    Range("descriptor type", type, 1, 9);
    if (type && *type >= 1 && *type <= 9 && *type != kUserDefined) {
      const auto [first, added] = descriptorLines_.try_emplace(*type, line_);
      if (!added) {
        Error("a second " + common::GetDescriptorType(static_cast<int32_t>(*type)) +
              " descriptor (the first is on line " + std::to_string(first->second) +
              "): the driver uses only the first");
      }
    }
    Balanced("descriptor group", f[1]);
    Balanced("descriptor item", f[2]);
    References(f[1] + f[2]);
  }

  void Test(const std::string& body) {
    const std::vector<std::string> f = Fields(body, 4);
    const char* names[] = {"group", "name", "value"};
    for (size_t i = 0; i < 3; ++i) {
      if (runtime::TrimSpaces(f[i]).empty()) Error(std::string("a test without a ") + names[i]);
    }
    Balanced("test group", f[0]);
    Balanced("test name", f[1]);
    Balanced("test value", f[2]);
    Balanced("test defect", f[3]);
    References(f[0] + f[1] + f[2] + f[3]);
  }

  void Condition(const std::string& body) {
    const std::vector<std::string> f = Fields(body, 4);
    Number("condition data type", f[0]);
    Range("condition evaluation", Number("condition evaluation", f[2]), 0, 6);
    Balanced("condition value 1", f[1]);
    Balanced("condition value 2", f[3]);
    References(f[1] + f[3]);
  }

  std::vector<CheckFinding>& findings_;
  const host::HostDateMath& dates_;
  int line_ = 0;
  int dataLinkLine_ = 0;
  std::pair<int, std::string> active_;
  std::map<int64_t, int> descriptorLines_;
  std::unordered_map<std::string, int, runtime::NoCaseHash, runtime::NoCaseEqual> tagLines_;
};

// The referenced tags the historian's ihTags does not list, asked with bound names.
std::vector<std::string> MissingTags(host::Components& components,
                                     const config::Configuration1& configuration) {
  std::vector<std::string> names;
  for (const auto& tag : configuration.TagItems()) names.push_back(tag->TagName);
  std::unordered_set<std::string, runtime::NoCaseHash, runtime::NoCaseEqual> found;
  std::unique_ptr<host::Connection> connection = components.CreateConnection();
  connection->Open(configuration.DataLink(), "", "", -1);
  for (size_t start = 0; start < names.size(); start += kTagsPerStatement) {
    const size_t count = std::min(kTagsPerStatement, names.size() - start);
    std::string sql = std::string("SELECT ") + common::kTagnameField + " FROM " +
                      common::kTagsTable + " WHERE " + common::kTagnameField + " IN (?";
    for (size_t i = 1; i < count; ++i) sql += ", ?";
    sql += ")";
    std::unique_ptr<host::Recordset> rows = connection->Execute(
        sql, std::vector<runtime::Variant>(names.begin() + start, names.begin() + start + count));
    for (; !rows->Eof(); rows->MoveNext()) {
      found.insert(runtime::ToText(rows->Field(common::kTagnameField)));
    }
  }
  std::vector<std::string> missing;
  for (const std::string& name : names) {
    if (!found.contains(name)) missing.push_back(name);
  }
  return missing;
}

}  // namespace

std::vector<CheckFinding> CheckConfiguration(host::Components& components,
                                             const std::string& text) {
  std::vector<CheckFinding> findings;
  Checker checker(findings, components.DateMath());
  const std::string_view trimmed = runtime::TrimSpaces(text);
  if (!trimmed.empty()) {
    int number = 0;
    for (const std::string& line : runtime::Split(trimmed, "\r\n")) {
      try {
        checker.Line(++number, line);
      } catch (const Stop& stop) {
        checker.Error(stop.text +
                      ": the driver stops reading here, so the lines after it, the "
                      "data link test and the tags are not read");
        return findings;
      }
    }
  }

  config::Configuration1 configuration(components);
  try {
    configuration.SetData(text);
  } catch (const runtime::Error& e) {
    findings.push_back(
        {0, true, "the driver cannot read it: " + e.Description() + " (" + e.Source() + ")"});
    return findings;
  }
  if (!configuration.Active()) {
    const auto& [line, value] = checker.Active();
    findings.push_back({line, false,
                        (line > 0 ? "ACTIVE " + Quoted(value) + " disables the configuration"
                                  : std::string("no ACTIVE: the configuration is disabled")) +
                            ": the driver does not start it (ACTIVE=1 enables it)"});
  }
  const int dataLinkLine = checker.DataLinkLine();
  if (configuration.DataLink().empty()) {
    findings.push_back({dataLinkLine, false, "no DATALINK: the driver has no historian to read"});
  } else if (configuration.DataLinkState() != 6) {
    findings.push_back({dataLinkLine, false,
                        "the historian cannot be reached now: " +
                            common::GetDataLinkStatus(configuration.DataLinkState()) +
                            (configuration.DataLinkError().empty()
                                 ? ""
                                 : " (" + platform::WithoutSqlStates(configuration.DataLinkError()) + ")")});
  } else if (configuration.TagItems().Count() > 0) {
    try {
      for (const std::string& tag : MissingTags(components, configuration)) {
        const auto line = checker.TagLines().find(tag);
        findings.push_back(
            {line == checker.TagLines().end() ? 0 : line->second, false,
             "the historian has no tag " + Quoted(tag) + " in " + common::kTagsTable});
      }
    } catch (...) {
      findings.push_back({dataLinkLine, false,
                          "the historian's tags cannot be read now: " +
                              platform::WithoutSqlStates(runtime::ToError(std::current_exception()).Description())});
    }
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const CheckFinding& a, const CheckFinding& b) { return a.line < b.line; });
  return findings;
}

std::string FormatFinding(const std::string& file, const CheckFinding& finding) {
  return file + (finding.line > 0 ? ":" + std::to_string(finding.line) : "") + ": " +
         (finding.error ? "error" : "warning") + ": " + finding.text;
}

}  // namespace dam
