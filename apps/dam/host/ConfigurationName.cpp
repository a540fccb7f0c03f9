#include "apps/dam/host/ConfigurationName.h"

#include <filesystem>

#include "config/ConfigurationGrammar.h"

namespace dam {

std::string ConfigurationNameIn(const std::string& file, const std::string& text) {
  std::string name;
  for (const std::string& line : config::ConfigurationLines(text)) {
    const config::KeyAndValue split = config::SplitLine(line);
    if (split.value && config::FindKey(split.key) == config::ConfigurationKey::Name) {
      name = *split.value;
    }
  }
  return name.empty() ? std::filesystem::path(file).stem().string() : name;
}

std::string SameNameText(const std::string& name, const std::string& first) {
  return "its name " + name + " is the name of " + first +
         " already: their subgroups and log lines could not be told apart";
}

}  // namespace dam
