#include "common/TypeTables.h"
#include "engine/Engine1.h"
#include "runtime/Error.h"

namespace engine {

bool Engine1::GetRecordset(std::unique_ptr<host::Recordset>& rs) {
  return Trapped("GetRecordset", [&] {
    const config::Configuration1& configuration = Configuration();
    if (configuration.TagItems().Count() == 0) return false;
    if (configuration.DataLink().empty()) {
      LogError("Unable to Access Database", "No Database Connection Specified", "");
      return false;
    }

    std::unique_ptr<host::Connection> connection;
    try {
      connection = components_.CreateConnection();
      connection->Open(configuration.DataLink(), "", "", -1);
    } catch (...) {
      LogError("Unable to Access Database",
               runtime::ToError(std::current_exception()).Description(),
               "Unable to make the Database Connection");
      return false;
    }

    const std::string where = GetWHEREClause();
    if (where.empty()) return false;
    const std::string sql = std::string("SELECT ") + common::kTagnameField + ", " +
                            common::kTimeStampField + ", " + common::kValueField + " FROM " +
                            common::kRawDataTable + " " + where;

    std::unique_ptr<host::Recordset> records;
    try {
      records = connection->Execute(sql, -1);
    } catch (...) {
      LogError("Unable to get record set", runtime::ToError(std::current_exception()).Description(),
               sql);
      return false;
    }
    if (records->Eof()) {
      LogError("Unable to get record set.", "No records were returned by the query.", sql);
      return false;
    }
    rs = std::move(records);
    return true;
  });
}

std::string Engine1::GetWHEREClause() {
  return Trapped("GetWHEREClause", [&] {
    const config::TagItems& tags = Configuration().TagItems();
    if (tags.Count() == 0) return std::string();
    std::vector<std::string> tagNames;
    tagNames.reserve(tags.Count());
    for (const auto& tag : tags) tagNames.push_back(tag->TagName);
    return "WHERE (SamplingMode='CurrentValue') AND (" + GetORClause(tagNames) + ")";
  });
}

// Names go in exactly as stored: a quote inside a name breaks the statement, and the
// historian reports it.
std::string Engine1::GetORClause(const std::vector<std::string>& tagNames) {
  if (tagNames.empty()) throw runtime::Error(runtime::kSubscriptOutOfRange);
  std::string clause = std::string(common::kTagnameField) + "='" + tagNames[0] + "'";
  for (size_t i = 1; i < tagNames.size(); ++i) {
    clause += std::string(" OR ") + common::kTagnameField + "='" + tagNames[i] + "'";
  }
  return clause;
}

}  // namespace engine
