// Any byte string, read as the driver manager reads it: its pairs written back with
// AppendConnectionKey read as the same pairs, the pairs the driver manager keeps have each
// key once, and the check answers or refuses without crashing.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/odbc/OdbcConnectionString.h"
#include "platform/odbc/OdbcDriverLists.h"
#include "platform/odbc/OdbcSafety.h"
#include "runtime/Error.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::vector<platform::ConnectionKey> pairs = platform::ParseConnectionString(text);
  std::string written;
  for (const platform::ConnectionKey& pair : pairs) {
    platform::AppendConnectionKey(written, pair.key, pair.value);
  }
  if (platform::ParseConnectionString(written) != pairs) abort();

  const std::vector<platform::ConnectionKey> kept = platform::KeptConnectionKeys(text);
  for (size_t i = 0; i < kept.size(); ++i) {
    for (size_t j = i + 1; j < kept.size(); ++j) {
      if (platform::SameOdbcName(kept[i].key, kept[j].key)) abort();
    }
  }

  static const platform::OdbcDriverLists lists(
      {{"SQLite3", "libsqlite3odbc.so"}, {"PostgreSQL Unicode", "psqlodbcw.so"}},
      {{"Historian", "PostgreSQL Unicode"}});
  try {
    platform::RefuseUnsafeConnectionString(text, lists);
  } catch (const runtime::Error&) {
  }
  return 0;
}
