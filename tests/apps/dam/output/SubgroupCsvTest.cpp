// Saved subgroups as CSV: one row per subgroup, a column per characteristic sample as the
// subgroups bring them, numbers with every digit of their double, and fields quoted as
// RFC 4180 asks.
#include <gtest/gtest.h>

#include "apps/dam/output/JsonOutput.h"
#include "apps/dam/output/SubgroupCsv.h"

namespace {

using platform::SpcSubgroupData;

TEST(SubgroupCsv, OneRowPerSubgroupAndAColumnPerSampleQuotedAsRfc4180Asks) {
  SpcSubgroupData first, second;
  // Identifiers past 32 bits, as in a database that took 2^31 subgroups, printed whole.
  first.id = 2147483651;
  first.time = runtime::MakeDate({2026, 11, 23, 9, 15, 2});
  first.size = 2;
  first.configuration = "Line 1";
  first.part = platform::SpcName{"Parts", "P,1"};
  first.shift = platform::SpcName{"Shifts", "Day \"A\""};
  first.lot = "L1";
  first.descriptors = {{"Operators", "Anna"}};
  first.readings = {{"Fill", "Weight", 1, 501.25, "SN-1", ""},
                    {"Fill", "Weight", 2, 0.1 + 0.2, "SN-1", ""},
                    {"Fill", "Width", 1, 9007199254740992.0, "SN-1", ""}};
  second.id = 4294967297;
  second.time = runtime::MakeDate({2026, 11, 23, 9, 16, 2});
  second.size = 1;
  second.part = platform::SpcName{"Parts", "P\n2"};
  second.descriptors = {{"Machines", "M1"}};
  second.readings = {{"Fill", "Width", 1, 0, "", "D7"},
                     {"Visual", "Scratches", 1, 1.7976931348623157e308, "", ""}};

  EXPECT_EQ(dam::SubgroupsCsv({first, second}),
            "id,time,size,configuration,part group,part,process group,process,job group,job,"
            "shift group,shift,lot,serial,Operators,Machines,Fill/Weight#1,Fill/Weight#2,"
            "Fill/Width#1,Fill/Width#1 defect,Visual/Scratches#1\r\n"
            "2147483651," +
                dam::IsoTime(first.time) +
                ",2,Line 1,Parts,\"P,1\",,,,,Shifts,\"Day \"\"A\"\"\",L1,SN-1,Anna,,501.25,"
                "0.30000000000000004,9007199254740992,,\r\n"
                "4294967297," +
                dam::IsoTime(second.time) +
                ",1,,Parts,\"P\n2\",,,,,,,,,,M1,,,0,D7,1.7976931348623157e+308\r\n");
  EXPECT_EQ(dam::SubgroupsCsv({}),
            "id,time,size,configuration,part group,part,process group,process,job group,job,"
            "shift group,shift,lot,serial\r\n");
  EXPECT_EQ(dam::CsvField("a\rb"), "\"a\rb\"");
}

}  // namespace
