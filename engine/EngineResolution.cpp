#include <string_view>
#include <unordered_map>

#include "common/DescriptorType.h"
#include "common/TagExpressions.h"
#include "engine/Engine1.h"
#include "engine/ReferenceSubstitution.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"

namespace engine {
namespace {

// The engine resolves one sample per subgroup.
constexpr int32_t kSample = 1;

}  // namespace

bool Engine1::ResolveDescriptors() {
  return Trapped("ResolveDescriptors", [&] {
    const config::Configuration1& configuration = Configuration();
    for (int32_t i = 1; i <= configuration.DescriptorCount(); ++i) {
      const std::shared_ptr<config::DescriptorItem> descriptor = configuration.GetDescriptorItem(i);
      // A code outside the table resolves nothing; the save then reports it unresolved.
      const int32_t type = descriptor->DescriptorType();
      if (!common::IsDescriptorType(type)) continue;
      if (common::HasGroup(type)) {
        descriptor->SetResolvedGroup(kSample, ResolveItem(descriptor->Group()));
      }
      descriptor->SetResolvedItem(kSample, ResolveItem(descriptor->Item()));
    }
    DescriptorsRefreshed.Raise();
    return true;
  });
}

bool Engine1::ResolveTests() {
  return Trapped("ResolveTests", [&] {
    const config::Configuration1& configuration = Configuration();
    for (int32_t i = 1; i <= configuration.TestCount(); ++i) {
      const std::shared_ptr<config::TestItem> test = configuration.GetTestItem(i);
      test->SetResolvedGroup(kSample, ResolveItem(test->Group()));
      test->SetResolvedItem(kSample, ResolveItem(test->Item()));
      test->SetResolvedValue(kSample, ResolveItem(test->Value()));
      test->SetResolvedDefect(kSample, ResolveItem(test->Defect()));
    }
    TestsRefreshed.Raise();
    return true;
  });
}

// A reference to a tag the configuration does not know, or to a value without text
// (Null), is reported here and resolves the whole text to "". Every value is taken before
// any is put in place, in the order of the references, so the first bad one is reported.
std::string Engine1::ResolveItem(const std::string& text) {
  return Trapped("ResolveItem", [&] {
    std::string result = components_.TextExpander().ExpandText(text);
    std::vector<std::string> tokens, tagNames, fields;
    if (common::GetTagArrays(result, tokens, tagNames, fields)) {
      const config::TagItems& tags = Configuration().TagItems();
      std::vector<std::string> values;
      values.reserve(tokens.size());
      for (size_t i = 0; i < tokens.size(); ++i) {
        const config::TagItem& tag = tags.Item(tagNames[i]);
        values.push_back(runtime::EqualsNoCase(fields[i], "DATE")
                             ? runtime::FormatGeneralDate(tag.TimeStamp)
                             : runtime::ToText(tag.TagValue));
      }
      // Most templates are one reference and nothing else: its value is the whole result.
      result = tokens.size() == 1 && result == tokens[0]
                   ? std::move(values[0])
                   : SubstituteReferences(result, tokens, values);
    }
    return std::string(runtime::TrimSpaces(result));
  });
}

// Each entry's occurrence is that of the latest earlier entry with the same item, plus
// one; a map of the latest occurrence per item finds it without searching backwards.
void Engine1::ProcessTestItems(std::deque<TestEntry>& entries) {
  Trapped("ProcessTestItems", [&] {
    std::unordered_map<std::string_view, int32_t, runtime::NoCaseHash, runtime::NoCaseEqual> latest;
    for (TestEntry& entry : entries) entry.occurrence = ++latest[entry.item];
  });
}

}  // namespace engine
