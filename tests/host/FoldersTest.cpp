// The one resolver of folders: the driver registry and the host's file system agree on
// every environment, a service without HOME included.
#include "host/Folders.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>

#include "host/DriverRegistry.h"
#include "platform/utility/FileSystem.h"
#include "runtime/Error.h"
#include "tests/support/TempFolder.h"

namespace {

const char* const kVariables[] = {
    "HOME",        "XDG_STATE_HOME",   "XDG_CONFIG_HOME",   "XDG_DATA_HOME", "DAM_REGISTRY_FILE",
    "DAM_LOG_DIR", "DAM_SETTINGS_DIR", "DAM_COMPONENT_DIR", "DAM_DATA_DIR"};

// Sets the variables a case names and unsets the others; puts everything back at the end.
class Environment {
 public:
  Environment() {
    for (const char* name : kVariables) {
      const char* value = std::getenv(name);
      saved_[name] = value ? std::optional<std::string>(value) : std::nullopt;
    }
  }
  ~Environment() {
    for (const auto& [name, value] : saved_) {
      value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    }
  }
  void Only(const std::map<std::string, std::string>& values) {
    for (const char* name : kVariables) unsetenv(name);
    for (const auto& [name, value] : values) setenv(name.c_str(), value.c_str(), 1);
  }

 private:
  std::map<std::string, std::optional<std::string>> saved_;
};

TEST(Folders, TheRegistryAndTheHostFilesComeFromOneResolver) {
  testsupport::TempFolder temp;
  Environment environment;
  const std::string home = temp.File("home");
  const passwd* entry = getpwuid(getuid());
  const std::string passwdHome = entry && entry->pw_dir ? entry->pw_dir : "";
  ASSERT_FALSE(passwdHome.empty()) << "this user needs a home in the user database";
  // The config, data and state folders under a home folder.
  const auto under = [](const std::string& h) {
    return h + "/.config|" + h + "/.local/share|" + h + "/.local/state";
  };
  const std::pair<std::map<std::string, std::string>, std::string> cases[] = {
      {{{"HOME", home}}, under(home)},
      {{{"HOME", home},
        {"XDG_CONFIG_HOME", temp.File("c")},
        {"XDG_DATA_HOME", "rel"},
        {"XDG_STATE_HOME", temp.File("s")}},
       temp.File("c") + "|" + home + "/.local/share|" + temp.File("s")},
      // A service started without HOME: the user database's home, never "/.config".
      {{}, under(passwdHome)},
      {{{"HOME", ""}, {"XDG_STATE_HOME", ""}, {"XDG_CONFIG_HOME", "relative"}}, under(passwdHome)},
  };
  for (const auto& [set, folders] : cases) {
    environment.Only(set);
    const std::string config = host::BaseFolderPath(host::BaseFolder::Config, "X");
    EXPECT_EQ(config + "|" + host::BaseFolderPath(host::BaseFolder::Data, "X") + "|" +
                  host::BaseFolderPath(host::BaseFolder::State, "X"),
              folders);
    EXPECT_EQ(host::DriverRegistryPath(), config + "/oxaDAM/drivers.registry");
  }
  // The host's folders are created when asked for, so only in the temporary folder; the
  // variables are read on every call.
  platform::FileSystem files;
  environment.Only({{"HOME", home}});
  EXPECT_EQ(files.SettingsFolder(), home + "/.config/oxaGEPDAD6");
  EXPECT_EQ(files.ComponentFolder(), home + "/.config/oxaGEPDAD6");
  EXPECT_EQ(files.LogFolder(), home + "/.local/state/oxaGEPDAD6");
  EXPECT_EQ(files.DataFolder(), home + "/.local/share/oxaGEPDAD6");
  EXPECT_TRUE(std::filesystem::is_directory(home + "/.local/share/oxaGEPDAD6"));
  // The DAM_ variables, the last five, override the folders one by one.
  for (const char* name : std::span(kVariables).last(5)) setenv(name, temp.File(name).c_str(), 1);
  EXPECT_EQ(host::DriverRegistryPath(), temp.File("DAM_REGISTRY_FILE"));
  EXPECT_EQ(files.LogFolder(), temp.File("DAM_LOG_DIR"));
  EXPECT_EQ(files.SettingsFolder(), temp.File("DAM_SETTINGS_DIR"));
  EXPECT_EQ(files.ComponentFolder(), temp.File("DAM_COMPONENT_DIR"));
  EXPECT_EQ(files.DataFolder(), temp.File("DAM_DATA_DIR"));
  EXPECT_TRUE(std::filesystem::is_directory(temp.File("DAM_COMPONENT_DIR")));
}

// A user the user database does not know (a container's numeric user) without HOME gets
// an error naming what to set, not files under "/".
TEST(Folders, NoHomeAnywhereIsAnErrorNamingWhatToSet) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root to become a user without an entry";
  uid_t stranger = 54321;
  while (getpwuid(stranger) != nullptr) ++stranger;
  int report[2];
  ASSERT_EQ(pipe(report), 0);
  const pid_t child = fork();
  if (child == 0) {
    close(report[0]);
    std::string lines;
    if (setgid(stranger) != 0 || setuid(stranger) != 0) _exit(2);
    Environment environment;  // never restored: the child ends in _exit
    environment.Only({});
    const auto attempt = [&](auto&& body) {
      try {
        lines += "path " + body() + "\n";
      } catch (const runtime::Error& e) {
        lines += std::to_string(e.Number()) + " " + e.Description() + "\n";
      }
    };
    attempt([] { return host::DriverRegistryPath(); });
    attempt([] { return platform::FileSystem().LogFolder(); });
    setenv("DAM_LOG_DIR", "/nonexistent-dam-test/log", 1);
    attempt([] { return host::ApplicationFolder("DAM_LOG_DIR", host::BaseFolder::State, "x"); });
    if (write(report[1], lines.data(), lines.size()) < 0) _exit(3);
    _exit(0);
  }
  close(report[1]);
  std::string text;
  char buffer[1024];
  for (ssize_t n; (n = read(report[0], buffer, sizeof buffer)) > 0;) text.append(buffer, n);
  close(report[0]);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  const std::string noHome = "75 There is no home folder: HOME is unset and user " +
                             std::to_string(stranger) +
                             " has no home in the user database; set HOME or ";
  EXPECT_EQ(text, noHome + "DAM_REGISTRY_FILE\n" + noHome +
                      "DAM_LOG_DIR\npath /nonexistent-dam-test/log\n");
}

}  // namespace
