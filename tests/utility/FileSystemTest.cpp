#include "platform/utility/FileSystem.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "tests/support/TempFolder.h"

namespace {

TEST(FileSystemTest, FoldersFollowTheOverridesElseTheXdgBaseDirectories) {
  testsupport::TempFolder temp;
  std::map<std::string, std::optional<std::string>> saved;
  for (const char* name : {"DAM_LOG_DIR", "DAM_SETTINGS_DIR", "DAM_COMPONENT_DIR", "DAM_DATA_DIR",
                           "HOME", "XDG_STATE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
    const char* value = std::getenv(name);
    saved[name] = value ? std::optional<std::string>(value) : std::nullopt;
    unsetenv(name);
  }
  platform::FileSystem files;
  setenv("HOME", temp.File("home").c_str(), 1);
  setenv("XDG_STATE_HOME", temp.File("state").c_str(), 1);
  setenv("XDG_CONFIG_HOME", temp.File("config").c_str(), 1);
  setenv("XDG_DATA_HOME", "relative/is/ignored", 1);
  EXPECT_EQ(files.LogFolder(), temp.File("state/oxaGEPDAD6"));
  EXPECT_EQ(files.SettingsFolder(), temp.File("config/oxaGEPDAD6"));
  EXPECT_EQ(files.ComponentFolder(), temp.File("config/oxaGEPDAD6"));
  EXPECT_EQ(files.DataFolder(), temp.File("home/.local/share/oxaGEPDAD6"));
  EXPECT_TRUE(std::filesystem::is_directory(temp.File("home/.local/share/oxaGEPDAD6")))
      << "asked for, created";
  setenv("XDG_STATE_HOME", "", 1);
  EXPECT_EQ(files.LogFolder(), temp.File("home/.local/state/oxaGEPDAD6"));

  const std::pair<const char*, std::string (platform::FileSystem::*)() const> overrides[] = {
      {"DAM_LOG_DIR", &platform::FileSystem::LogFolder},
      {"DAM_SETTINGS_DIR", &platform::FileSystem::SettingsFolder},
      {"DAM_COMPONENT_DIR", &platform::FileSystem::ComponentFolder},
      {"DAM_DATA_DIR", &platform::FileSystem::DataFolder}};
  for (const auto& [name, folder] : overrides) {
    const std::string path = temp.File(std::string("over/") + name);
    setenv(name, path.c_str(), 1);
    EXPECT_EQ((files.*folder)(), path);
    EXPECT_TRUE(std::filesystem::is_directory(path)) << name;
  }
  EXPECT_EQ(files.JoinPath("/var/log", "a.LOG"), "/var/log/a.LOG");
  EXPECT_EQ(files.JoinPath("/var/log/", "a.LOG"), "/var/log/a.LOG");
  EXPECT_EQ(files.JoinPath("", "a.LOG"), "a.LOG");
  for (const auto& [name, value] : saved) {
    value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
  }
}

}  // namespace
