// The shipped example configurations check clean and collect from the simulated historian as
// they stand: only their historian's path is changed.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSession.h"
#include "tests/dam/DamProcesses.h"

namespace {

class Examples : public damtest::DamProcesses {
 protected:
  // The example with its historian moved to `historian`.
  std::string Copy(const std::string& name, const std::string& historian) {
    std::ifstream in(std::string(DAM_EXAMPLES_DIR) + "/" + name, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    const std::string moved = std::regex_replace(
        text.str(), std::regex("(DATALINK=Driver=SQLite3;Database=)[^;\n]*"), "$1" + historian);
    const std::string path = work_.File(name);
    std::ofstream(path, std::ios::binary) << moved;
    return path;
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

  const std::string historian = work_.File("historian.db");
  auto histsim =
      Start(HISTSIM_PROGRAM, {QString::fromStdString(historian), "--period", "0.5", "--for", "90"});
  ASSERT_TRUE(WaitFor([&] { return std::ifstream(historian).good(); }, 10));
  for (const auto& test : cases) {
    const std::string config = Copy(test.file, historian);
    const auto [clean, warnings] = Run(DAM_PROGRAM, {"check", config.c_str()});
    EXPECT_EQ(clean, 0) << warnings;
    const auto [checked, shown] = Run(DAM_PROGRAM, {"config", "show", config.c_str()});
    EXPECT_EQ(checked, 0) << shown;
    EXPECT_NE(shown.find("Data link: Connection Ready"), std::string::npos) << shown;

    std::filesystem::remove(work_.File("data/spc.db"));
    const auto [status, output] =
        Run(DAM_PROGRAM, {"run", config.c_str(), "--subgroups", "1", "--for", "40"});
    ASSERT_EQ(status, 0) << test.file << ": " << output << Log();
    platform::SpcSession spc;
    spc.Settings().SetConnection("Driver=SQLite3;Database=" + work_.File("data/spc.db"));
    spc.Open(1, 0);
    const auto saved = platform::ReadSubgroups(spc, 10);
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
  histsim->kill();
  histsim->waitForFinished();
}

}  // namespace
