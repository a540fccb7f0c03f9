#include "platform/components/PlatformComponents.h"

#include <QApplication>
#include <QMessageBox>
#include <algorithm>
#include <iostream>

#include "platform/components/ConsoleError.h"
#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcRecord.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "platform/utility/ProfileFile.h"
#include "platform/utility/QtHostTimer.h"
#include "runtime/Error.h"

namespace platform {

OdbcPolicy PlatformComponents::ReadOdbcPolicy() {
  const ProfileFile settings(fileSystem_.JoinPath(fileSystem_.SettingsFolder(), "dam.ini"));
  OdbcPolicy policy;
  policy.allowDriverPaths = settings.ReadInteger("Security", "AllowDriverPaths", 0) != 0;
  policy.loginTimeout =
      std::max(0, settings.ReadInteger("Connections", "LoginTimeout", policy.loginTimeout));
  policy.queryTimeout =
      std::max(0, settings.ReadInteger("Connections", "QueryTimeout", policy.queryTimeout));
  policy.poolIdleSeconds =
      std::max(0, settings.ReadInteger("Connections", "PoolIdleSeconds", policy.poolIdleSeconds));
  return policy;
}

std::unique_ptr<host::Connection> PlatformComponents::CreateConnection() {
  return std::make_unique<OdbcConnection>(ReadOdbcPolicy());
}

std::unique_ptr<host::HostTimer> PlatformComponents::CreateTimer() {
  return std::make_unique<QtHostTimer>();
}

std::unique_ptr<host::HostError> PlatformComponents::CreateError() {
  return std::make_unique<ConsoleError>();
}

std::unique_ptr<host::SettingsFile> PlatformComponents::OpenSettingsFile(const std::string& path) {
  return std::make_unique<ProfileFile>(path);
}

std::shared_ptr<host::DatabaseSession> PlatformComponents::CreateDatabaseSession() {
  // Drivers copy only the connection from the host's session, so the host settings that
  // make unknown tests an error and bound the connection are applied to every session.
  auto session = std::make_shared<SpcSession>();
  session->CountSavesIn(saves_);
  session->Settings().SetOdbcPolicy(ReadOdbcPolicy());
  const std::string settings = fileSystem_.JoinPath(fileSystem_.SettingsFolder(), "dam.ini");
  session->Settings().SetStrictTests(
      ProfileFile(settings).ReadInteger("Database", "StrictTests", 0) != 0);
  return session;
}

std::unique_ptr<host::HostRecord> PlatformComponents::CreateRecord(host::RecordKind kind) {
  return std::make_unique<SpcRecord>(kind);
}

std::unique_ptr<host::HostSubgroup> PlatformComponents::CreateSubgroup() {
  return std::make_unique<SpcSubgroup>();
}

std::unique_ptr<host::SelectionDialog> PlatformComponents::CreateSelectionDialog(
    host::SelectionKind) {
  throw runtime::Error(429, "The selection dialogs of the SPC database need windows");
}

void PlatformComponents::MessageBox(const std::string& text) {
  std::cerr << text << std::endl;
  if (WindowsAreUp()) QMessageBox::information(nullptr, QString(), QString::fromStdString(text));
}

void PlatformComponents::Beep() {
  if (WindowsAreUp()) {
    QApplication::beep();
  } else {
    std::cerr << '\a' << std::flush;
  }
}

}  // namespace platform
