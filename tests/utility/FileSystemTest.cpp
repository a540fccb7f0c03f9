#include "platform/utility/FileSystem.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "tests/support/TempFolder.h"

namespace {

// Sets environment variables for one test and restores them afterwards.
class ScopedEnvironment {
 public:
  void Set(const char* name, std::optional<std::string> value) {
    if (!saved_.count(name)) {
      const char* old = std::getenv(name);
      saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
    }
    value ? setenv(name, value->c_str(), 1) : unsetenv(name);
  }
  ~ScopedEnvironment() {
    for (const auto& [name, value] : saved_) Set(name.c_str(), value);
  }

 private:
  std::map<std::string, std::optional<std::string>> saved_;
};

TEST(FileSystemTest, FoldersFollowTheOverridesElseTheXdgBaseDirectories) {
  testsupport::TempFolder temp;
  ScopedEnvironment env;
  platform::FileSystem files;
  for (const char* name :
       {"DAM_LOG_DIR", "DAM_SETTINGS_DIR", "DAM_COMPONENT_DIR", "DAM_DATA_DIR"}) {
    env.Set(name, std::nullopt);
  }
  env.Set("HOME", temp.File("home"));
  env.Set("XDG_STATE_HOME", temp.File("state"));
  env.Set("XDG_CONFIG_HOME", temp.File("config"));
  env.Set("XDG_DATA_HOME", "relative/is/ignored");
  EXPECT_EQ(files.LogFolder(), temp.File("state/oxaGEPDAD6"));
  EXPECT_EQ(files.SettingsFolder(), temp.File("config/oxaGEPDAD6"));
  EXPECT_EQ(files.ComponentFolder(), temp.File("config/oxaGEPDAD6"));
  EXPECT_EQ(files.DataFolder(), temp.File("home/.local/share/oxaGEPDAD6"));
  EXPECT_TRUE(std::filesystem::is_directory(temp.File("home/.local/share/oxaGEPDAD6")))
      << "asked for, created";

  env.Set("XDG_STATE_HOME", "");
  EXPECT_EQ(files.LogFolder(), temp.File("home/.local/state/oxaGEPDAD6"));

  const std::pair<const char*, std::string (platform::FileSystem::*)() const> overrides[] = {
      {"DAM_LOG_DIR", &platform::FileSystem::LogFolder},
      {"DAM_SETTINGS_DIR", &platform::FileSystem::SettingsFolder},
      {"DAM_COMPONENT_DIR", &platform::FileSystem::ComponentFolder},
      {"DAM_DATA_DIR", &platform::FileSystem::DataFolder}};
  for (const auto& [name, folder] : overrides) {
    const std::string path = temp.File(std::string("over/") + name);
    env.Set(name, path);
    EXPECT_EQ((files.*folder)(), path);
    EXPECT_TRUE(std::filesystem::is_directory(path)) << name;
  }
}

TEST(FileSystemTest, JoinPathAddsOneSeparator) {
  platform::FileSystem files;
  EXPECT_EQ(files.JoinPath("/var/log", "a.LOG"), "/var/log/a.LOG");
  EXPECT_EQ(files.JoinPath("/var/log/", "a.LOG"), "/var/log/a.LOG");
  EXPECT_EQ(files.JoinPath("", "a.LOG"), "a.LOG");
}

}  // namespace
