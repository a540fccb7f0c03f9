// The fixture every SPC database test runs under, once per database: SQLite always,
// PostgreSQL when the test script has started a server. It gives each test a fresh
// database and sessions on it, and builds subgroups through the host interface. It
// includes what the SPC database tests share.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <future>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcErrors.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcRecord.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSpool.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "platform/spcdb/SpcSubgroupData.h"
#include "platform/spcdb/SpcUnavailable.h"
#include "runtime/Conversions.h"
#include "runtime/Error.h"
#include "tests/runtime/ErrorOf.h"
#include "tests/support/FileMode.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestDatabases.h"

namespace spcdbtest {

class SpcDatabaseTest : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override;

  std::shared_ptr<platform::SpcSession> OpenSession(int32_t sessionNumber = 42,
                                                    bool strictTests = false);

  std::unique_ptr<TestDatabase> database_;
};

// A database session of another component than the SPC database.
class ForeignSession : public host::DatabaseSession {
 public:
  void Initialize(int32_t) override {}
  host::DatabaseSettings& Settings() override { throw runtime::Error(runtime::kObjectNotSet); }
  void Open(int32_t, int32_t) override {}
};

// A subgroup with every kind of descriptor and names that need care (quotes, UTF-8,
// SQL), numbered by `n` in its time and values.
platform::SpcSubgroupData SampleSubgroup(int n);

// Saves `subgroup` through a new SpcSubgroup on `session`, handing it over as a driver
// would; gives the stored identifier.
platform::SpcSubgroupId SaveSubgroup(const std::shared_ptr<platform::SpcSession>& session,
                                     const platform::SpcSubgroupData& subgroup);

// The names of the records ListRecords gives.
std::vector<std::string> Names(platform::SpcSession& session, host::RecordKind kind,
                               int32_t groupId = 0);

}  // namespace spcdbtest
