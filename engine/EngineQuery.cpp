#include "common/TypeTables.h"
#include "engine/Engine1.h"
#include "engine/RecordsetChain.h"
#include "runtime/Error.h"

namespace engine {
namespace {

// PostgreSQL plans a long IN-list per statement and scans the table for each part; one
// array parameter reads every tag in one statement, whatever the count.
bool TakesArrayParameter(const host::Connection& connection) {
  return connection.DbmsName() == "PostgreSQL";
}

// An array value as PostgreSQL reads it: every element quoted, so that no name is taken
// for NULL, and a quote or backslash inside a name escaped with a backslash.
std::string ArrayText(const config::TagItems& tags) {
  size_t size = 2;
  for (const auto& tag : tags) size += tag->TagName.size() + 4;
  std::string text;
  text.reserve(size);
  text += '{';
  for (const auto& tag : tags) {
    if (text.size() > 1) text += ',';
    text += '"';
    for (char c : tag->TagName) {
      if (c == '"' || c == '\\') text += '\\';
      text += c;
    }
    text += '"';
  }
  return text + "}";
}

struct Statement {
  std::string tagTest;
  std::vector<runtime::Variant> parameters;
};

// Built from the items themselves: 50,000 names copied into one list first would need a
// block of megabytes for a moment.
std::vector<Statement> Statements(const host::Connection& connection,
                                  const config::TagItems& tags) {
  std::vector<Statement> statements;
  if (static_cast<size_t>(tags.Count()) > common::kTagsPerStatement &&
      TakesArrayParameter(connection)) {
    statements.push_back({std::string(common::kTagnameField) + " = ANY(CAST(? AS TEXT[]))",
                          {runtime::Variant(ArrayText(tags))}});
    return statements;
  }
  for (const auto& tag : tags) {
    if (statements.empty() || statements.back().parameters.size() == common::kTagsPerStatement) {
      statements.emplace_back().parameters.reserve(common::kTagsPerStatement);
    }
    statements.back().parameters.emplace_back(tag->TagName);
  }
  return statements;
}

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
    std::vector<Statement> statements;
    try {
      connection = components_.CreateConnection();
      connection->Open(configuration.DataLink(), "", "", -1);
      statements = Statements(*connection, tags);
    } catch (...) {
      LogError("Unable to Access Database",
               runtime::ToError(std::current_exception()).Description(),
               "Unable to make the Database Connection");
      return false;
    }

    std::vector<std::unique_ptr<host::Recordset>> parts;
    std::string firstSql;
    for (const Statement& statement : statements) {
      const std::string where = GetWHEREClause(
          statement.tagTest.empty() ? GetINClause(statement.parameters.size()) : statement.tagTest);
      if (where.empty()) return false;
      const std::string sql = std::string("SELECT ") + common::kTagnameField + ", " +
                              common::kTimeStampField + ", " + common::kValueField + " FROM " +
                              common::kRawDataTable + " " + where;
      if (firstSql.empty()) firstSql = sql;
      try {
        parts.push_back(connection->Execute(sql, statement.parameters));
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

std::string Engine1::GetWHEREClause(const std::string& tagTest) {
  return Trapped("GetWHEREClause", [&] {
    if (tagTest.empty()) return std::string();
    return "WHERE (SamplingMode='CurrentValue') AND (" + tagTest + ")";
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
