#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/shared/ExitCodes.h"
#include "apps/shared/TerminalText.h"
#include "common/TypeTables.h"
#include "config/Configuration1.h"
#include "config/ConfigurationGrammar.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace dam {
namespace {

QString Text(const std::string& text) {
  return QString::fromStdString(text);
}

// The configuration text with the passwords of its data link masked.
std::string MaskDataLink(const std::string& text) {
  const std::string key = std::string(config::KeyText(config::ConfigurationKey::DataLink)) + "=";
  std::vector<std::string> lines = runtime::Split(text, "\r\n");
  for (std::string& line : lines) {
    if (line.starts_with(key))
      line = key + platform::MaskConnectionSecrets(line.substr(key.size()));
  }
  return runtime::Join(lines, "\r\n");
}

}  // namespace

int ConfigShowCommand(const ConfigShowOptions& options) {
  const bool showSecrets = options.showSecrets;
  DriverHandle handle;
  ReadHostSettings(handle.Components());
  // Read first: a file that is not there is an error, not a configuration of defaults.
  const std::string fileText = ReadConfigurationFile(options.config, options.raw);
  std::optional<runtime::Error> error;
  try {
    handle.Read(fileText);
  } catch (const runtime::Error& e) {
    error = e;
  }
  const config::Configuration1& configuration = handle.Reading();

  const std::string status = common::GetDataLinkStatus(configuration.DataLinkState());
  auto shown = [&](const std::string& text) {
    return showSecrets ? text : platform::MaskConnectionSecrets(text);
  };
  const std::string text =
      showSecrets ? configuration.GetData() : MaskDataLink(configuration.GetData());
  const std::string linkError = shown(configuration.DataLinkError());
  if (options.json) {
    QJsonArray tags;
    for (const auto& tag : configuration.TagItems()) tags.append(Text(tag->TagName));
    QJsonObject out{{"text", Text(text)},
                    {"tags", tags},
                    {"datalink_state", configuration.DataLinkState()},
                    {"datalink_status", Text(status)},
                    {"real_date_field", configuration.RealDateField()}};
    if (error) {
      out["error"] = QJsonObject{{"number", error->Number()},
                                 {"description", Text(shown(error->Description()))},
                                 {"source", Text(error->Source())}};
    }
    std::cout << QJsonDocument(out).toJson(QJsonDocument::Indented).toStdString();
  } else {
    // Items keep their tabs; a CR or an escape sequence inside a line shows as \x0D, \x1B.
    std::cout << apps::Printable(runtime::Join(runtime::Split(text, "\r\n"), "\n")) << "\n\nTags:";
    for (const auto& tag : configuration.TagItems()) {
      std::cout << "\n  " << apps::Printable(tag->TagName);
    }
    std::cout << "\nData link: " << status << '\n';
    if (!linkError.empty()) std::cout << "Data link error: " << apps::Printable(linkError) << '\n';
    if (error) {
      std::cerr << "error: " << apps::Printable(shown(error->Description())) << " ("
                << error->Source() << ")\n";
    }
  }
  return error ? apps::kExitInvalidConfiguration : apps::kExitOk;
}

}  // namespace dam
