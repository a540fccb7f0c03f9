#include "platform/components/PlatformComponents.h"

#include <unistd.h>

#include <QCoreApplication>
#include <algorithm>
#include <charconv>
#include <climits>
#include <iostream>

#include "common/Module.h"
#include "platform/components/ConsoleError.h"
#include "platform/components/HostWindows.h"
#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcDialect.h"
#include "platform/spcdb/SpcRecord.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "platform/utility/ProfileFile.h"
#include "platform/utility/QtHostTimer.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "runtime/TrustedFile.h"

namespace platform {
namespace {

constexpr int64_t kDefaultSpoolBytes = int64_t{1} << 30;

// Keys made on this host: the machine and the data folder, which tell two hosts on one
// machine apart.
std::string HostId(const std::string& dataFolder) {
  char name[HOST_NAME_MAX + 1] = {};
  gethostname(name, sizeof name - 1);
  return std::string(name) + ":" + dataFolder;
}

int64_t SpoolBytes(const std::string& settingsPath) {
  const std::string text = ProfileFile(settingsPath).ReadString("Spool", "MaxBytes", "");
  if (text.empty()) return kDefaultSpoolBytes;
  int64_t bytes = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bytes);
  if (error != std::errc() || end != text.data() + text.size() || bytes <= 0) {
    throw runtime::Error(runtime::kTypeMismatch,
                         "[Spool] MaxBytes in " + settingsPath +
                             " must be a positive number of bytes, not \"" + text + "\"",
                         "PlatformComponents");
  }
  return bytes;
}

// The whole number from `least` to `most` that dam.ini holds for `key`, else `fallback` when it
// holds none. Anything else is refused, as MaxBytes is: read as the default, a typing error
// would change how long a run waits on its databases without a word.
int32_t SettingNumber(const std::string& settingsPath, const std::string& section,
                      const std::string& key, int32_t fallback, int32_t least, int32_t most,
                      const std::string& meaning) {
  const std::string text = ProfileFile(settingsPath).ReadString(section, key, "");
  if (text.empty()) return fallback;
  int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) {
    throw runtime::Error(runtime::kTypeMismatch,
                         "[" + section + "] " + key + " in " + settingsPath + " must be " +
                             meaning + ", not \"" + text + "\"",
                         "PlatformComponents");
  }
  return number;
}

bool SettingSwitch(const std::string& settingsPath, const std::string& section,
                   const std::string& key) {
  return SettingNumber(settingsPath, section, key, 0, 0, 1, "0 (off) or 1 (on)") != 0;
}

int32_t SettingSeconds(const std::string& settingsPath, const std::string& key, int32_t fallback) {
  return SettingNumber(settingsPath, "Connections", key, fallback, 0, INT32_MAX,
                       "a whole number of seconds, 0 or more");
}

}  // namespace

OdbcPolicy PlatformComponents::ReadOdbcPolicy() {
  std::call_once(policyRead_, [this] {
    const std::string path = SettingsPath();
    policy_.allowDriverPaths = SettingSwitch(path, "Security", "AllowDriverPaths") &&
                               SecuritySettingsTrusted("AllowDriverPaths");
    policy_.loginTimeout = SettingSeconds(path, "LoginTimeout", policy_.loginTimeout);
    policy_.queryTimeout = SettingSeconds(path, "QueryTimeout", policy_.queryTimeout);
    policy_.poolIdleSeconds = SettingSeconds(path, "PoolIdleSeconds", policy_.poolIdleSeconds);
  });
  return policy_;
}

// A setting that lets code be loaded counts only in a file no other user could have written;
// otherwise the safe default holds and the service keeps running.
bool PlatformComponents::SecuritySettingsTrusted(const std::string& key) {
  const std::string path = SettingsPath();
  const std::string why = runtime::WhyOthersCouldChange(path);
  if (why.empty()) return true;
  if (!warnedUntrustedSettings_.exchange(true)) {
    std::cerr << "dam: warning: ignoring [Security] " << key << " in " << path << ": " << why
              << ", so another user could have written it; make it and its folders writable "
                 "by you only"
              << std::endl;
  }
  return false;
}

std::unique_ptr<host::Connection> PlatformComponents::CreateConnection() {
  return std::make_unique<OdbcConnection>(ReadOdbcPolicy());
}

std::unique_ptr<host::Connection> PlatformComponents::CreateWindowConnection() {
  OdbcPolicy policy = ReadOdbcPolicy();
  // As long as the SPC database's statements wait: enough for a writer's commit.
  policy.lockWait = kSpcLockWaitSeconds;
  return std::make_unique<WindowConnection>(policy, windowLocks_);
}

std::unique_ptr<host::HostTimer> PlatformComponents::CreateTimer() {
  return std::make_unique<QtHostTimer>();
}

std::unique_ptr<host::HostError> PlatformComponents::CreateError() {
  return std::make_unique<ConsoleError>(shownErrors_);
}

std::unique_ptr<host::SettingsFile> PlatformComponents::OpenSettingsFile(const std::string& path) {
  return std::make_unique<ProfileFile>(path);
}

std::shared_ptr<host::DatabaseSession> PlatformComponents::CreateDatabaseSession() {
  // Drivers copy only the connection from the host's session, so the host settings that
  // make unknown tests an error and bound the connection are applied to every session.
  auto session = std::make_shared<SpcSession>();
  session->CountSavesIn(saves_);
  session->SetConfigurationName(configurationName_);
  session->Settings().SetOdbcPolicy(ReadOdbcPolicy());
  const bool strict = SettingSwitch(SettingsPath(), "Database", "StrictTests");
  session->Settings().SetStrictTests(strict);
  session->KeepIn(MakeSpool());
  if (!forwarder_ && QCoreApplication::instance()) {
    forwarder_ = std::make_unique<SpoolForwarder>(spool_, strict, ReadOdbcPolicy());
  }
  return session;
}

SpcSpool& PlatformComponents::Spool() {
  return *MakeSpool();
}

std::string PlatformComponents::SettingsPath() {
  return fileSystem_.JoinPath(fileSystem_.SettingsFolder(), "dam.ini");
}

std::shared_ptr<SpcSpool> PlatformComponents::MakeSpool() {
  if (!spool_) {
    const std::string data = fileSystem_.DataFolder();
    spool_ = std::make_shared<SpcSpool>(
        fileSystem_.JoinPath(data, "spool.db"), HostId(data), SpoolBytes(SettingsPath()),
        [this](const std::string& description, const std::string& detail,
               const std::string& extended) {
          WriteLogLine("SPC database", description, detail, extended);
        });
  }
  return spool_;
}

// The collection log's format.
void PlatformComponents::WriteLogLine(const std::string& writer, const std::string& description,
                                      const std::string& detail, const std::string& extended) {
  const std::string line = runtime::Join(
      {writer, runtime::FormatGeneralDate(runtime::Now()), description, detail, extended}, "\t");
  try {
    // The host's own line, not its driver's: not told as one.
    fileSystem_.platform::FileSystem::AppendToFile(
        fileSystem_.JoinPath(fileSystem_.LogFolder(), std::string(common::kModuleName) + ".LOG"),
        line + "\r\n");
  } catch (const runtime::Error& error) {
    CreateError()->Show(common::kModuleName, error.Source(),
                        "The collection log could not be written (" + error.Description() +
                            "). The line it was to take: " + line,
                        error.Number(), "PlatformComponents.WriteLogLine");
  }
}

std::unique_ptr<host::HostRecord> PlatformComponents::CreateRecord(host::RecordKind kind) {
  return std::make_unique<SpcRecord>(kind);
}

std::unique_ptr<host::HostSubgroup> PlatformComponents::CreateSubgroup() {
  return std::make_unique<SpcSubgroup>();
}

std::unique_ptr<host::SelectionDialog> PlatformComponents::CreateSelectionDialog(
    host::SelectionKind kind) {
  HostWindows* windows = InstalledHostWindows();
  if (windows == nullptr) {
    throw runtime::Error(runtime::kCannotCreateObject,
                         "The selection dialogs of the SPC database need windows");
  }
  return windows->CreateSelectionDialog(kind);
}

std::unique_ptr<host::DataLinkDialog> PlatformComponents::CreateDataLinkDialog() {
  HostWindows* windows = InstalledHostWindows();
  if (windows == nullptr)
    throw runtime::Error(runtime::kCannotCreateObject, "The data link dialog needs windows");
  return windows->CreateDataLinkDialog();
}

void PlatformComponents::MessageBox(const std::string& text) {
  std::cerr << text << std::endl;
  if (HostWindows* windows = InstalledHostWindows()) windows->MessageBox(text);
}

void PlatformComponents::Beep() {
  if (HostWindows* windows = InstalledHostWindows()) {
    windows->Beep();
  } else {
    std::cerr << '\a' << std::flush;
  }
}

}  // namespace platform
