#include "platform/utility/FileSystem.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>

#include "runtime/Error.h"
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

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

// Log lines hold what went wrong in a plant; no other user may read them, whatever the
// process's file mode mask says.
TEST(FileSystemTest, AppendedFilesAndTheirFoldersAreTheOwnersOnly) {
  testsupport::TempFolder temp;
  platform::FileSystem files;
  const char* saved = std::getenv("DAM_LOG_DIR");
  const std::string savedValue = saved ? saved : "";
  const mode_t savedMask = umask(0);
  setenv("DAM_LOG_DIR", temp.File("state/new/log").c_str(), 1);
  const std::string folder = files.LogFolder();
  const std::string path = files.JoinPath(folder, "x.LOG");
  files.AppendToFile(path, "one\r\n");
  files.AppendToFile(path, "two\r\n");
  EXPECT_EQ(ModeOf(temp.File("state")), 0700u) << "a missing parent too";
  EXPECT_EQ(ModeOf(folder), 0700u);
  EXPECT_EQ(ModeOf(path), 0600u);
  std::ifstream file(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "one\r\ntwo\r\n");

  const std::string wide = temp.File("wide.LOG");
  std::ofstream(wide) << "kept\n";
  std::filesystem::permissions(wide, std::filesystem::perms(0666));
  files.AppendToFile(wide, "more\n");
  EXPECT_EQ(ModeOf(wide), 0600u) << "an existing file of ours is narrowed";
  umask(savedMask);
  saved ? setenv("DAM_LOG_DIR", savedValue.c_str(), 1) : unsetenv("DAM_LOG_DIR");

  const std::string full = temp.File("full.LOG");
  std::filesystem::create_symlink("/dev/full", full);
  std::ofstream(temp.File("plain")) << "";
  const struct {
    std::string path, reason;
  } failures[] = {{full, "No space left on device"}, {temp.File("plain/x.LOG"), "Not a directory"}};
  for (const auto& failure : failures) {
    try {
      files.AppendToFile(failure.path, "lost\r\n");
      ADD_FAILURE() << failure.path << " was written";
    } catch (const runtime::Error& error) {
      EXPECT_EQ(error.Number(), 75);
      EXPECT_NE(error.Description().find(failure.path + ": " + failure.reason), std::string::npos)
          << error.Description();
    }
  }
  EXPECT_EQ(ModeOf("/dev/full") & 0666, 0666u) << "a device is not ours to narrow";
}

}  // namespace
