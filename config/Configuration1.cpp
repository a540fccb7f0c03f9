#include "config/Configuration1.h"

#include <array>
#include <exception>
#include <optional>
#include <utility>

#include "common/DataLinkState.h"
#include "common/ErrorDisplay.h"
#include "common/TagExpressions.h"
#include "common/TypeTables.h"
#include "config/ConfigurationGrammar.h"
#include "config/MergedNames.h"
#include "runtime/Clock.h"
#include "runtime/Conversions.h"
#include "runtime/Date.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace config {
namespace {

template <typename Item>
std::shared_ptr<Item> ItemAt(const std::vector<std::shared_ptr<Item>>& list, int32_t index) {
  if (index < 1 || static_cast<size_t>(index) > list.size()) return nullptr;
  return list[index - 1];
}

template <typename Item>
bool RemoveAt(std::vector<std::shared_ptr<Item>>& list, int32_t index) {
  if (index < 1 || static_cast<size_t>(index) > list.size()) return false;
  list.erase(list.begin() + (index - 1));
  return true;
}

// A null item would fail later, far from where it came in; it is refused here.
template <typename Item>
void Append(std::vector<std::shared_ptr<Item>>& list, std::shared_ptr<Item> item,
            const char* location) {
  if (!item) {
    throw runtime::Error(runtime::kObjectNotSet,
                         runtime::StandardDescription(runtime::kObjectNotSet), location);
  }
  list.push_back(std::move(item));
}

template <typename Item>
std::shared_ptr<Item> ReadItem(const std::string& body) {
  auto item = std::make_shared<Item>();
  item->SetData(body);
  return item;
}

std::string Line(ConfigurationKey key, const std::string& value) {
  return std::string(KeyText(key)) + "=" + value;
}

}  // namespace

Configuration1::Configuration1(host::Components& components) : components_(components) {
  ClearData();
}

void Configuration1::ClearData() {
  record_ = Record{};
  // Today at eight in the morning, built as text the way users would type it.
  const std::string today = runtime::FormatShortDate(runtime::Today()) + " 8:00:00";
  record_.syncTime = components_.DateMath().DateToSerial(runtime::ParseDate(today).value());
  descriptors_.clear();
  tests_.clear();
  conditions_.clear();
}

void Configuration1::SetDataLink(std::string dataLink) {
  record_.dataLink = std::move(dataLink);
  TestDataLink();
}

void Configuration1::AddDescriptor(std::shared_ptr<DescriptorItem> item) {
  Append(descriptors_, std::move(item), "Configuration1.AddDescriptor");
}

std::shared_ptr<DescriptorItem> Configuration1::GetDescriptorItem(int32_t index) const {
  return ItemAt(descriptors_, index);
}

bool Configuration1::RemoveDescriptorItem(int32_t index) {
  return RemoveAt(descriptors_, index);
}

std::shared_ptr<DescriptorItem> Configuration1::GetDescriptorType(int32_t type) const {
  for (const std::shared_ptr<DescriptorItem>& item : descriptors_) {
    if (item->DescriptorType() == type) return item;
  }
  return nullptr;
}

int32_t Configuration1::DescriptorCount() const {
  return static_cast<int32_t>(descriptors_.size());
}

void Configuration1::AddTest(std::shared_ptr<TestItem> item) {
  Append(tests_, std::move(item), "Configuration1.AddTest");
}

std::shared_ptr<TestItem> Configuration1::GetTestItem(int32_t index) const {
  return ItemAt(tests_, index);
}

bool Configuration1::RemoveTestItem(int32_t index) {
  return RemoveAt(tests_, index);
}

int32_t Configuration1::TestCount() const {
  return static_cast<int32_t>(tests_.size());
}

void Configuration1::AddCondition(std::shared_ptr<ConditionItem> item) {
  Append(conditions_, std::move(item), "Configuration1.AddCondition");
}

std::shared_ptr<ConditionItem> Configuration1::GetConditionItem(int32_t index) const {
  return ItemAt(conditions_, index);
}

bool Configuration1::RemoveConditionItem(int32_t index) {
  return RemoveAt(conditions_, index);
}

int32_t Configuration1::ConditionCount() const {
  return static_cast<int32_t>(conditions_.size());
}

std::string Configuration1::GetData() const {
  using enum ConfigurationKey;
  std::string text = Line(Name, record_.configurationName);
  const auto add = [&](ConfigurationKey key, const std::string& value) {
    text += kLineBreak;
    text += Line(key, value);
  };
  add(Active, record_.active ? "1" : "0");
  add(DataLink, record_.dataLink);
  add(SyncTime, std::to_string(static_cast<uint32_t>(record_.syncTime)));
  add(SubgroupInterval, std::to_string(record_.subgroupInterval));
  add(SubgroupUnit, std::to_string(record_.subgroupUnit));
  add(RetryInterval, std::to_string(record_.retryInterval));
  add(RetryUnit, std::to_string(record_.retryUnit));
  for (const std::shared_ptr<DescriptorItem>& item : descriptors_) add(Descriptor, item->GetData());
  for (const std::shared_ptr<TestItem>& item : tests_) add(Test, item->GetData());
  for (const std::shared_ptr<ConditionItem>& item : conditions_) add(Condition, item->GetData());
  return text;
}

void Configuration1::SetData(const std::string& text) {
  // The error is raised again with its number and description as they came; the line that
  // failed, and what is wrong with it when that is known, go into the source.
  int lineNumber = 0;
  try {
    ClearData();
    for (const std::string& line : ConfigurationLines(text)) {
      ++lineNumber;
      ReadLine(line);
    }
    lineNumber = 0;
    TestDataLink();
    RebuildTagItems();
    ReadTableDefinitions();
  } catch (...) {
    const runtime::Error error = runtime::ToError(std::current_exception());
    std::string source = "Configuration1.SetData";
    if (lineNumber > 0) {
      source += ", line " + std::to_string(lineNumber) + " of the configuration text";
      if (!error.Source().empty()) source += ": " + error.Source();
    }
    throw runtime::Error(error.Number(), error.Description(), source);
  }
}

void Configuration1::ReadLine(const std::string& line) {
  // Number and description stay the standard ones; the source says what is wrong with the
  // line, and SetData adds which line it is.
  if (line.empty()) {
    throw runtime::Error(runtime::kSubscriptOutOfRange,
                         runtime::StandardDescription(runtime::kSubscriptOutOfRange),
                         "an empty line");
  }
  const KeyAndValue split = SplitLine(line);
  const std::optional<ConfigurationKey> key = FindKey(split.key);
  if (!key) return;
  if (!split.value) {
    throw runtime::Error(runtime::kSubscriptOutOfRange,
                         runtime::StandardDescription(runtime::kSubscriptOutOfRange),
                         std::string(KeyText(*key)) + " without \"=\"");
  }
  const std::string value(*split.value);
  switch (*key) {
    case ConfigurationKey::Name:
      record_.configurationName = value;
      break;
    case ConfigurationKey::Active:
      record_.active = runtime::TextToBoolean(value);
      break;
    case ConfigurationKey::DataLink:
      record_.dataLink = value;
      break;
    case ConfigurationKey::SyncTime:
      record_.syncTime = ReadSerial(value);
      break;
    case ConfigurationKey::SubgroupInterval:
      record_.subgroupInterval = ReadNumber(value);
      break;
    case ConfigurationKey::SubgroupUnit:
      record_.subgroupUnit = ReadNumber(value);
      break;
    case ConfigurationKey::RetryInterval:
      record_.retryInterval = ReadNumber(value);
      break;
    case ConfigurationKey::RetryUnit:
      record_.retryUnit = ReadNumber(value);
      break;
    case ConfigurationKey::Descriptor:
      descriptors_.push_back(ReadItem<DescriptorItem>(value));
      break;
    case ConfigurationKey::Test:
      tests_.push_back(ReadItem<TestItem>(value));
      break;
    case ConfigurationKey::Condition:
      conditions_.push_back(ReadItem<ConditionItem>(value));
      break;
  }
}

void Configuration1::TestDataLink() {
  if (runtime::TrimSpaces(record_.dataLink).empty()) {
    record_.dataLinkState = common::kNoConnection;
    return;
  }
  using namespace std::string_literals;
  struct Step {
    std::string sql;
    common::DataLinkState failedState;
  };
  const std::array<Step, 4> steps = {{
      {"SELECT COUNT(*) FROM "s + common::kTagsTable, common::kTagsTableInaccessible},
      {"SELECT "s + common::kTagnameField + " FROM " + common::kTagsTable,
       common::kTagsTableInaccessible},
      {"SELECT COUNT(*) FROM "s + common::kRawDataTable, common::kRawDataTableInaccessible},
      // The columns are checked when the statement is prepared; drivers that read a whole
      // result at execute would otherwise pull the entire history.
      {"SELECT "s + common::kTagnameField + "," + common::kTimeStampField + "," +
           common::kValueField + " FROM " + common::kRawDataTable + " WHERE 1 = 0",
       common::kRawDataFieldInaccessible},
  }};
  common::DataLinkState state = common::kUnableToConnect;
  try {
    // The host that starts this configuration may have tested the same link already.
    if (const std::optional<host::DataLinkTest> shared =
            components_.SharedDataLinkTest(record_.dataLink)) {
      record_.dataLinkState = shared->state;
      if (shared->state != common::kConnectionReady) record_.dataLinkError = shared->error;
      return;
    }
    std::unique_ptr<host::Connection> connection = components_.CreateConnection();
    connection->Open(record_.dataLink, "", "", -1);
    for (const Step& step : steps) {
      state = step.failedState;
      connection->Execute(step.sql);
    }
    record_.dataLinkState = common::kConnectionReady;
  } catch (...) {
    record_.dataLinkError = runtime::ToError(std::current_exception()).NumberAndDescription();
    record_.dataLinkState = state;
  }
}

bool Configuration1::GetUniqueTagNames(std::vector<std::string>& names) const {
  bool result = false;
  common::ShowingErrors(components_, "Configuration1.GetUniqueTagNames", [&] {
    MergedNames merged;
    bool found = false;
    auto gather = [&](const std::string& text) {
      std::vector<std::string> tokens, tagNames, fields;
      if (common::GetTagArrays(text, tokens, tagNames, fields)) {
        merged.Merge(tagNames);
        found = true;
      }
    };
    for (const std::shared_ptr<DescriptorItem>& item : descriptors_) {
      gather(item->Group() + item->Item());
    }
    for (const std::shared_ptr<TestItem>& item : tests_) {
      gather(item->Group() + item->Item() + item->Value() + item->Defect());
    }
    for (const std::shared_ptr<ConditionItem>& item : conditions_) {
      gather(item->Value1() + item->Value2());
    }
    if (found) {
      names = merged.Names();
      result = true;
    }
  });
  return result;
}

void Configuration1::RebuildTagItems() {
  tagItems_ = config::TagItems();
  std::vector<std::string> names;
  if (!GetUniqueTagNames(names)) return;
  for (const std::string& name : names) {
    // A template naming one tag twice brings the name twice; users expect one item.
    if (tagItems_.Find(name)) continue;
    auto item = std::make_shared<TagItem>();
    item->TagName = name;
    tagItems_.Add(std::move(item), name);
  }
}

void Configuration1::ReadTableDefinitions() {
  const host::HostFileSystem& files = components_.FileSystem();
  const std::string path = files.JoinPath(files.ComponentFolder(), "oxaGEPDAD.INI");
  realDateField_ =
      components_.OpenSettingsFile(path)->ReadInteger("TABLE DEFINITIONS", "RealDateField", 0) != 0;
}

}  // namespace config
