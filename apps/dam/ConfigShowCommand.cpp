#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/ConfigFile.h"
#include "common/TypeTables.h"
#include "config/Configuration1.h"
#include "platform/components/PlatformComponents.h"
#include "runtime/Error.h"

namespace dam {
namespace {

QString Text(const std::string& text) {
  return QString::fromStdString(text);
}

}  // namespace

int ConfigShowCommand(const Arguments& args) {
  bool raw = false, json = false;
  std::string path;
  for (const std::string& arg : args) {
    if (arg == "--raw") {
      raw = true;
    } else if (arg == "--json") {
      json = true;
    } else if (path.empty() && !arg.starts_with("--")) {
      path = arg;
    } else {
      path.clear();
      break;
    }
  }
  if (path.empty()) {
    std::cerr << "usage: dam config show [--raw] [--json] CONFIG\n";
    return 2;
  }

  platform::PlatformComponents components;
  config::Configuration1 configuration(components);
  std::optional<runtime::Error> error;
  try {
    configuration.SetData(ReadConfigurationFile(path, raw));
  } catch (const runtime::Error& e) {
    error = e;
  }

  const std::string status = common::GetDataLinkStatus(configuration.DataLinkState());
  if (json) {
    QJsonArray tags;
    for (const auto& tag : configuration.TagItems()) tags.append(Text(tag->TagName));
    QJsonObject out{{"text", Text(configuration.GetData())},
                    {"tags", tags},
                    {"datalink_state", configuration.DataLinkState()},
                    {"datalink_status", Text(status)},
                    {"real_date_field", configuration.RealDateField()}};
    if (error) {
      out["error"] = QJsonObject{{"number", error->Number()},
                                 {"description", Text(error->Description())},
                                 {"source", Text(error->Source())}};
    }
    std::cout << QJsonDocument(out).toJson(QJsonDocument::Indented).toStdString();
  } else {
    std::string text = configuration.GetData();
    for (size_t at = text.find('\r'); at != std::string::npos; at = text.find('\r', at)) {
      text.erase(at, 1);
    }
    std::cout << text << "\n\nTags:";
    for (const auto& tag : configuration.TagItems()) std::cout << "\n  " << tag->TagName;
    std::cout << "\nData link: " << status << '\n';
    if (!configuration.DataLinkError().empty()) {
      std::cout << "Data link error: " << configuration.DataLinkError() << '\n';
    }
    if (error) {
      std::cerr << "error: " << error->Number() << " - " << error->Description() << " ("
                << error->Source() << ")\n";
    }
  }
  return error ? 2 : 0;
}

}  // namespace dam
