#include "config/ConfigurationCheck.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "common/DataLinkState.h"
#include "common/DescriptorType.h"
#include "common/Evaluation.h"
#include "common/IntervalUnit.h"
#include "common/TagExpressions.h"
#include "common/TypeTables.h"
#include "config/Configuration1.h"
#include "config/ConfigurationGrammar.h"
#include "config/ItemFields.h"
#include "host/HostSubgroup.h"
#include "host/HostTextExpander.h"
#include "runtime/Conversions.h"
#include "runtime/Date.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"

namespace config {
namespace {

using host::CheckFinding;

std::string Quoted(std::string_view text) {
  return "'" + std::string(text) + "'";
}

// "0 seconds, 1 minutes, 2 hours, 3 days"
std::string UnitList() {
  std::string units;
  for (int32_t code = common::kFirstIntervalUnit; code <= common::kLastIntervalUnit; ++code) {
    units += (units.empty() ? "" : ", ") + std::to_string(code) + " " +
             runtime::ToLower(common::GetUnitName(code));
  }
  return units;
}

// A line the reader stops at; it reads nothing after it.
struct Stop {
  std::string text;
};

class Checker {
 public:
  Checker(std::vector<CheckFinding>& findings, const host::HostDateMath& dates,
          const host::HostTextExpander& expander)
      : findings_(findings), dates_(dates), expander_(expander) {}

  // Reads one line; throws Stop where the reader would raise.
  void Line(int number, const std::string& line) {
    line_ = number;
    if (line.empty()) throw Stop{"an empty line"};
    const KeyAndValue split = SplitLine(line);
    const std::optional<ConfigurationKey> key = FindKey(split.key);
    if (!key) return UnknownKey(std::string(split.key), !split.value);
    const std::string name(KeyText(*key));
    if (!split.value) throw Stop{name + " without '='"};
    const std::string value(*split.value);
    switch (*key) {
      case ConfigurationKey::Name:
        break;
      case ConfigurationKey::Active:
        try {
          runtime::TextToBoolean(value);
        } catch (const runtime::Error&) {
          throw Stop{"ACTIVE " + Quoted(value) + " is neither a number nor True or False"};
        }
        active_ = {number, value};
        break;
      case ConfigurationKey::DataLink:
        dataLinkLine_ = number;
        break;
      case ConfigurationKey::SyncTime:
        SyncTime(Number(name, value, ReadSerial));
        break;
      case ConfigurationKey::SubgroupInterval:
      case ConfigurationKey::RetryInterval:
        if (const auto interval = Number(name, value); interval && *interval <= 0) {
          Error(name + " " + std::to_string(*interval) + " is not a positive interval");
        }
        break;
      case ConfigurationKey::SubgroupUnit:
      case ConfigurationKey::RetryUnit:
        Unit(name, Number(name, value));
        break;
      case ConfigurationKey::Descriptor:
        Descriptor(ItemFields(value));
        break;
      case ConfigurationKey::Test:
        Test(ItemFields(value));
        break;
      case ConfigurationKey::Condition:
        Condition(ItemFields(value));
        break;
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
    const bool blanks = FindKey(runtime::TrimSpaces(key)).has_value();
    Warning("unknown key " + Quoted(key) +
            (blanks          ? " (blanks around the key)"
             : withoutEquals ? " (a line without '=')"
                             : "") +
            ": the driver ignores this line");
  }

  // The number `value` holds as typed: an error when the text is not a number, a stop when
  // `read`, the reader's own, cannot keep it.
  std::optional<int64_t> Number(std::string_view what, const std::string& value,
                                int32_t (*read)(std::string_view) = ReadNumber) {
    try {
      read(value);
    } catch (const runtime::Error&) {
      throw Stop{std::string(what) + " " + Quoted(value) + " is too large"};
    }
    const double written = runtime::LeadingNumber(value);
    const auto typed = static_cast<int64_t>(std::nearbyint(written));
    if (!runtime::IsNumericText(value)) {
      Error(std::string(what) + " " + Quoted(value) + " is not a number (the driver reads " +
            std::to_string(typed) + ")");
      return std::nullopt;
    }
    if (written != static_cast<double>(typed)) {
      Warning(std::string(what) + " " + Quoted(value) +
              " is not a whole number: the driver reads " + std::to_string(typed));
    }
    return typed;
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
    if (unit && !common::IsIntervalUnit(static_cast<int32_t>(*unit))) {
      Error(std::string(what) + " " + std::to_string(*unit) + " is no unit (" + UnitList() + ")");
    }
  }

  void Range(std::string_view what, std::optional<int64_t> code, int32_t first, int32_t last) {
    if (code && (*code < first || *code > last)) {
      Error(std::string(what) + " " + std::to_string(*code) + " is outside " +
            std::to_string(first) + "-" + std::to_string(last));
    }
  }

  void Balanced(std::string_view what, const std::string& field) {
    if (common::HasUnbalancedMarker(field)) {
      Error(std::string(what) + ": '%TAG(' without its ')' in " + Quoted(field) +
            " (the driver reads no tag from it)");
    }
  }

  void References(const std::string& text) {
    std::vector<std::string> tokens, names, fields;
    if (!common::GetTagArrays(text, tokens, names, fields)) return;
    for (const std::string& name : names) tagLines_.try_emplace(name, line_);
  }

  void Descriptor(const ItemFields& fields) {
    const std::optional<int64_t> type =
        Number("descriptor type", fields.Text(DescriptorItem::kTypeField));
    Range("descriptor type", type, common::kFirstDescriptorType, common::kLastDescriptorType);
    // Every type but User-Defined sets one thing of the subgroup: the save applies each in
    // turn, so the last one wins, yet an earlier one that does not resolve still fails it.
    if (type && common::IsDescriptorType(static_cast<int32_t>(*type)) &&
        *type != common::kUserDefined) {
      const auto code = static_cast<int32_t>(*type);
      const auto [first, added] = descriptorLines_.try_emplace(code, line_);
      if (!added) {
        Error("a second " + common::GetDescriptorType(code) + " descriptor (the first is on line " +
              std::to_string(first->second) + "): the driver saves the last one's " +
              (common::HasGroup(code) ? "group and name" : "value") +
              ", and each must resolve or no subgroup is saved");
      }
    }
    const std::string group = fields.Text(DescriptorItem::kGroupField);
    const std::string item = fields.Text(DescriptorItem::kItemField);
    if (type && common::IsDescriptorType(static_cast<int32_t>(*type))) {
      Unsaved(static_cast<int32_t>(*type), group, item);
    }
    Balanced("descriptor group", group);
    Balanced("descriptor item", item);
    References(group + item);
  }

  // What a text without a tag reference resolves to at every collection, as the engine
  // resolves it; nothing for a template, which only a collection can judge.
  std::optional<std::string> Fixed(const std::string& text) const {
    const std::string expanded = expander_.ExpandText(text);
    std::vector<std::string> tokens, names, fields;
    if (common::GetTagArrays(expanded, tokens, names, fields)) return std::nullopt;
    return std::string(runtime::TrimSpaces(expanded));
  }

  // A fixed descriptor text the save refuses at every collection, by the save's own
  // checks and conversions.
  void Unsaved(int32_t type, const std::string& groupText, const std::string& itemText) {
    const std::string name = common::GetDescriptorType(type);
    const std::string never = ": the driver saves no subgroup";
    const std::optional<std::string> group = Fixed(groupText);
    if (common::HasGroup(type) && group && group->empty()) {
      Error("a " + name + " descriptor without a group" + never + " (\"Invalid Descriptor\")");
    }
    const std::optional<std::string> item = Fixed(itemText);
    if (!item) return;
    if (item->empty()) {
      return Error("a " + name + " descriptor without a " +
                   (common::HasGroup(type) ? "name" : "value") + never +
                   " (\"Invalid Descriptor\")");
    }
    try {
      if (type == common::kSize && !host::IsSubgroupSize(runtime::ToLong(*item))) {
        Error("Size " + Quoted(*item) + " is negative" + never + " (\"Subgroup Save Error\")");
      } else if (type == common::kTime) {
        runtime::ToDate(*item);
      }
    } catch (const runtime::Error& e) {
      Error(name + " " + Quoted(*item) + " cannot be saved (" + e.NumberAndDescription() + ")" +
            never + " (\"Subgroup Save Error\")");
    }
  }

  void Test(const ItemFields& fields) {
    const std::pair<TestItem::Field, const char*> named[] = {{TestItem::kGroupField, "group"},
                                                             {TestItem::kItemField, "name"},
                                                             {TestItem::kValueField, "value"},
                                                             {TestItem::kDefectField, "defect"}};
    for (const auto& [field, name] : named) {
      if (field != TestItem::kDefectField && runtime::TrimSpaces(fields.Text(field)).empty()) {
        Error(std::string("a test without a ") + name);
      }
    }
    std::string all;
    for (const auto& [field, name] : named) {
      Balanced(std::string("test ") + name, fields.Text(field));
      all += fields.Text(field);
    }
    References(all);
  }

  void Condition(const ItemFields& fields) {
    Number("condition data type", fields.Text(ConditionItem::kDataTypeField));
    Range("condition evaluation",
          Number("condition evaluation", fields.Text(ConditionItem::kEvaluationField)),
          common::kFirstEvaluation, common::kLastEvaluation);
    const std::string value1 = fields.Text(ConditionItem::kValue1Field);
    const std::string value2 = fields.Text(ConditionItem::kValue2Field);
    Balanced("condition value 1", value1);
    Balanced("condition value 2", value2);
    References(value1 + value2);
  }

  std::vector<CheckFinding>& findings_;
  const host::HostDateMath& dates_;
  const host::HostTextExpander& expander_;
  int line_ = 0;
  int dataLinkLine_ = 0;
  std::pair<int, std::string> active_;
  std::map<int64_t, int> descriptorLines_;
  std::unordered_map<std::string, int, runtime::NoCaseHash, runtime::NoCaseEqual> tagLines_;
};

// The referenced tags the historian's ihTags does not list, asked with bound names.
std::vector<std::string> MissingTags(host::Components& components,
                                     const Configuration1& configuration) {
  std::vector<std::string> names;
  for (const auto& tag : configuration.TagItems()) names.push_back(tag->TagName);
  std::unordered_set<std::string, runtime::NoCaseHash, runtime::NoCaseEqual> found;
  std::unique_ptr<host::Connection> connection = components.CreateConnection();
  connection->Open(configuration.DataLink(), "", "", -1);
  for (size_t start = 0; start < names.size(); start += common::kTagsPerStatement) {
    const size_t count = std::min(common::kTagsPerStatement, names.size() - start);
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
  Checker checker(findings, components.DateMath(), components.TextExpander());
  int number = 0;
  for (const std::string& line : ConfigurationLines(text)) {
    try {
      checker.Line(++number, line);
    } catch (const Stop& stop) {
      checker.Error(stop.text +
                    ": the driver stops reading here, so the lines after it, the "
                    "data link test and the tags are not read");
      return findings;
    }
  }

  Configuration1 configuration(components);
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
  } else if (configuration.DataLinkState() != common::kConnectionReady) {
    findings.push_back(
        {dataLinkLine, false,
         "the historian cannot be reached now: " +
             common::GetDataLinkStatus(configuration.DataLinkState()) +
             (configuration.DataLinkError().empty() ? ""
                                                    : " (" + configuration.DataLinkError() + ")")});
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
                              runtime::ToError(std::current_exception()).Description()});
    }
  }
  // The engine collects only when it reads a tag: without one it never saves.
  if (configuration.TagItems().Count() == 0) {
    findings.push_back({0, false,
                        "no %TAG(...) anywhere: the driver reads no tag, so it never collects "
                        "and saves no subgroup"});
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const CheckFinding& a, const CheckFinding& b) { return a.line < b.line; });
  return findings;
}

}  // namespace config
