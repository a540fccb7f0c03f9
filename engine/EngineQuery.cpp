#include <algorithm>

#include "common/TypeTables.h"
#include "engine/Engine1.h"
#include "engine/RecordsetChain.h"
#include "runtime/Error.h"

namespace engine {
namespace {

// Tag names one statement binds at most. Every driver a historian is reached through
// takes this many: SQLite builds before 3.32 allow 999 parameters, Oracle 1000 items in an
// IN-list, SQL Server 2100 parameters. More tags run the statement once per part.
constexpr size_t kTagsPerStatement = 999;

}  // namespace

bool Engine1::GetRecordset(std::unique_ptr<host::Recordset>& rs) {
  return Trapped("GetRecordset", [&] {
    const config::Configuration1& configuration = Configuration();
    const config::TagItems& tags = configuration.TagItems();
    if (tags.Count() == 0) return false;
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

    std::vector<runtime::Variant> tagNames;
    tagNames.reserve(tags.Count());
    for (const auto& tag : tags) tagNames.emplace_back(tag->TagName);

    std::vector<std::unique_ptr<host::Recordset>> parts;
    std::string firstSql;
    for (size_t start = 0; start < tagNames.size(); start += kTagsPerStatement) {
      const size_t count = std::min(kTagsPerStatement, tagNames.size() - start);
      const std::string where = GetWHEREClause(count);
      if (where.empty()) return false;
      const std::string sql = std::string("SELECT ") + common::kTagnameField + ", " +
                              common::kTimeStampField + ", " + common::kValueField + " FROM " +
                              common::kRawDataTable + " " + where;
      if (firstSql.empty()) firstSql = sql;
      try {
        parts.push_back(connection->Execute(
            sql, std::vector<runtime::Variant>(tagNames.begin() + start,
                                               tagNames.begin() + start + count)));
      } catch (...) {
        LogError("Unable to get record set",
                 runtime::ToError(std::current_exception()).Description(), sql);
        return false;
      }
    }
    auto records = std::make_unique<RecordsetChain>(std::move(parts));
    if (records->Eof()) {
      LogError("Unable to get record set.", "No records were returned by the query.", firstSql);
      return false;
    }
    rs = std::move(records);
    return true;
  });
}

std::string Engine1::GetWHEREClause(size_t tagCount) {
  return Trapped("GetWHEREClause", [&] {
    if (tagCount == 0) return std::string();
    return "WHERE (SamplingMode='CurrentValue') AND (" + GetINClause(tagCount) + ")";
  });
}

std::string Engine1::GetINClause(size_t tagCount) {
  if (tagCount == 0) throw runtime::Error(runtime::kSubscriptOutOfRange);
  std::string clause = std::string(common::kTagnameField) + " IN (?";
  clause.reserve(clause.size() + 3 * tagCount);
  for (size_t i = 1; i < tagCount; ++i) clause += ", ?";
  return clause + ")";
}

}  // namespace engine
