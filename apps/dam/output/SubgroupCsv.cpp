#include "apps/dam/output/SubgroupCsv.h"

#include <cmath>
#include <map>
#include <optional>

#include "apps/dam/output/JsonOutput.h"

namespace dam {
namespace {

// Column names in the order they first appear, each with its place.
class Columns {
 public:
  size_t Add(const std::string& name) {
    const auto [at, added] = index_.try_emplace(name, names_.size());
    if (added) names_.push_back(name);
    return at->second;
  }
  const std::vector<std::string>& Names() const { return names_; }

 private:
  std::vector<std::string> names_;
  std::map<std::string, size_t> index_;
};

std::string Row(const std::vector<std::string>& fields) {
  std::string row;
  for (size_t i = 0; i < fields.size(); ++i) row += (i ? "," : "") + CsvField(fields[i]);
  return row + "\r\n";
}

}  // namespace

std::string CsvField(std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
  std::string quoted = "\"";
  for (char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

std::string SubgroupsCsv(const std::vector<platform::SpcSubgroupData>& subgroups) {
  const std::vector<std::string> fixed = {
      "id",      "time",      "size", "configuration", "part group", "part", "process group",
      "process", "job group", "job",  "shift group",   "shift",      "lot",  "serial"};
  Columns descriptors, samples;
  std::map<std::string, bool> defects;  // by sample column: whether any row records one
  for (const auto& subgroup : subgroups) {
    for (const platform::SpcName& d : subgroup.descriptors) descriptors.Add(d.group);
    for (const platform::SpcReading& r : subgroup.readings) {
      const std::string name = r.testGroup + "/" + r.test + "#" + std::to_string(r.sample);
      samples.Add(name);
      defects[name] = defects[name] || !r.defect.empty();
    }
  }
  std::vector<std::string> header = fixed;
  header.insert(header.end(), descriptors.Names().begin(), descriptors.Names().end());
  // Each sample's value column, then its defect column where one is needed.
  std::vector<size_t> valueAt, defectAt;
  for (const std::string& name : samples.Names()) {
    valueAt.push_back(header.size());
    header.push_back(name);
    defectAt.push_back(defects[name] ? header.size() : 0);
    if (defects[name]) header.push_back(name + " defect");
  }

  std::string csv = Row(header);
  for (const auto& s : subgroups) {
    std::vector<std::string> row(header.size());
    const auto named = [&](size_t at, const std::optional<platform::SpcName>& name) {
      if (name) row[at] = name->group, row[at + 1] = name->name;
    };
    row[0] = std::to_string(s.id);
    row[1] = IsoTime(s.time);
    row[2] = std::to_string(s.size);
    row[3] = s.configuration.value_or("");
    named(4, s.part);
    named(6, s.process);
    named(8, s.job);
    named(10, s.shift);
    row[12] = s.lot.value_or("");
    for (const platform::SpcName& d : s.descriptors)
      row[fixed.size() + descriptors.Add(d.group)] = d.name;
    for (const platform::SpcReading& r : s.readings) {
      if (row[13].empty()) row[13] = r.serialNumber;
      const size_t sample =
          samples.Add(r.testGroup + "/" + r.test + "#" + std::to_string(r.sample));
      if (std::isfinite(r.value)) row[valueAt[sample]] = JsonNumber(r.value);
      if (defectAt[sample]) row[defectAt[sample]] = r.defect;
    }
    csv += Row(row);
  }
  return csv;
}

}  // namespace dam
