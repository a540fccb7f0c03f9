// The shipped example configurations check clean and collect from the simulated historian as
// they stand: only their historian's path is changed.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "tests/dam/DamProcesses.h"

namespace {

class Examples : public damtest::DamProcesses {
 protected:
  // The example with its historian moved to historian_.
  QString Copy(const std::string& name) {
    return WriteFile(name,
                     std::regex_replace(Read(std::string(DAM_EXAMPLES_DIR) + "/" + name),
                                        std::regex("(DATALINK=Driver=SQLite3;Database=)[^;\n]*"),
                                        "$1" + historian_));
  }
};

TEST_F(Examples, EachCollectsEveryReadingItNames) {
  const struct {
    const char* file;
    size_t readings;
    int32_t size;
    bool job, serial;
  } cases[] = {
      {"demo.cfg", 5, 2, false, false},
      {"line1.cfg", 5, 2, true, true},
  };
  size_t shipped = 0;
  for (const auto& entry : std::filesystem::directory_iterator(DAM_EXAMPLES_DIR))
    shipped += entry.path().extension() == ".cfg";
  EXPECT_EQ(shipped, std::size(cases)) << "an example without a case here";

  StartHistorian();
  for (const auto& test : cases) {
    const QString config = Copy(test.file);
    const auto [clean, warnings] = Dam({"check", config});
    EXPECT_EQ(clean, 0) << warnings;
    EXPECT_EQ(warnings, "");
    const auto [checked, shown] = Dam({"config", "show", config});
    EXPECT_EQ(checked, 0) << shown;
    EXPECT_NE(shown.find("Data link: Connection Ready"), std::string::npos) << shown;

    std::filesystem::remove(work_.File("data/spc.db"));
    const auto [status, output] = Dam({"run", config, "--subgroups", "1", "--for", "40"});
    ASSERT_EQ(status, 0) << test.file << ": " << output << Log();
    const auto saved = Saved(Spc());
    ASSERT_EQ(saved.size(), 1u) << test.file << ": " << output << Log();
    const platform::SpcSubgroupData& subgroup = saved.front();
    EXPECT_EQ(subgroup.readings.size(), test.readings) << test.file;
    EXPECT_EQ(subgroup.size, test.size) << test.file;
    EXPECT_TRUE(subgroup.part && subgroup.process && subgroup.shift && subgroup.lot) << test.file;
    EXPECT_EQ(subgroup.job.has_value(), test.job) << test.file;
    EXPECT_EQ(subgroup.descriptors.size(), 1u) << test.file;
    for (const auto& reading : subgroup.readings) {
      EXPECT_EQ(reading.serialNumber.starts_with("SN-"), test.serial) << test.file;
    }
  }
}

}  // namespace
