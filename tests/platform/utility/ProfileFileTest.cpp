#include "platform/utility/ProfileFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>

#include "runtime/Error.h"
#include "tests/runtime/ErrorOf.h"
#include "tests/support/TempFolder.h"

namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteAll(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

TEST(ProfileFile, ReadsCaseBlindAndTakesTheLeadingWholeNumberOrTheDefault) {
  testsupport::TempFolder folder;
  std::string path = folder.File("oxaGEPDAD.INI");
  WriteAll(path,
           "\xEF\xBB\xBFtop=ignored\r\n"
           "[ TABLE DEFINITIONS ]\r\n"
           "; RealDateField=9\r\n"
           "  RealDateField =  1  \r\n"
           "Name= some text \r\n"
           "[Other]\r\n"
           "RealDateField=2\r\n"
           "[table definitions]\r\n"
           "Late=3\r\n"
           "[N]\r\nsuffix=12abc\r\nsigned=-8\r\nplus=+9\r\ntext=abc\r\nempty=\r\nfraction=3.9\r\n"
           "huge=2147483648\r\nlowest=-2147483648\r\nlong=99999999999999999999\r\n");
  platform::ProfileFile file(path);
  EXPECT_EQ(file.ReadInteger("table definitions", "realdatefield", 0), 1);
  EXPECT_EQ(file.ReadString("Table Definitions", "NAME", "-"), "some text");
  EXPECT_EQ(file.ReadInteger("OTHER", "RealDateField", 0), 2);
  EXPECT_EQ(file.ReadString("Other", "top", "fallback"), "fallback");
  EXPECT_EQ(file.ReadString("Missing", "Name", "fallback"), "fallback");
  EXPECT_EQ(platform::ProfileFile(folder.File("none.ini")).ReadInteger("S", "K", 7), 7);

  // -1 is the default: no whole number, or one beyond 32 bits.
  const std::pair<const char*, int32_t> numbers[] = {
      {"suffix", 12}, {"signed", -8},  {"plus", 9},  {"text", -1},
      {"empty", -1},  {"fraction", 3}, {"huge", -1}, {"lowest", -2147483647 - 1},
      {"long", -1},   {"absent", -1}};
  for (const auto& [key, number] : numbers)
    EXPECT_EQ(file.ReadInteger("N", key, -1), number) << key;
}

TEST(ProfileFile, WritesKeepEveryOtherLineOrCreateTheFileAndBadOnesAreClearErrors) {
  testsupport::TempFolder folder;
  WriteAll(folder.File("plain"), "x");
  // A missing folder; a file where the folder should be, which fails creating the
  // temporary file; a folder where the file should be, which fails replacing the file.
  for (const std::string& path :
       {folder.File("missing/folder/x.ini"), folder.File("plain/x.ini"), folder.Subfolder("sub")}) {
    const runtime::Error e =
        ErrorFrom([&] { platform::ProfileFile(path).WriteString("S", "K", "V"); });
    EXPECT_EQ(e.Number(), runtime::kPathFileAccessError) << path;
    EXPECT_TRUE(e.Description().starts_with("Path/File access error")) << e.Description();
    EXPECT_PRED_FORMAT2(testing::IsSubstring, path, e.Description());
  }
  // No temporary file is left behind.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()),
                          std::filesystem::directory_iterator()),
            2);
  // A file that is there but cannot be read is no missing file: its defaults would be wrong.
  // A FIFO is refused without waiting for a writer.
  ASSERT_EQ(mkfifo(folder.File("fifo.ini").c_str(), 0600), 0);
  for (const std::string& path : {folder.Subfolder("sub"), folder.File("fifo.ini")}) {
    const runtime::Error e =
        ErrorFrom([&] { platform::ProfileFile(path).ReadString("S", "K", "default"); });
    EXPECT_EQ(e.Number(), runtime::kPathFileAccessError) << path;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "cannot read " + path, e.Description());
  }

  platform::ProfileFile file(folder.File("ok.ini"));
  for (auto [section, key, value] : {std::tuple{"S", "a=b", "v"},
                                     {"S", "", "v"},
                                     {"S", ";k", "v"},
                                     {"a]b", "k", "v"},
                                     {"S", "k", "two\nlines"}}) {
    EXPECT_EQ(ErrorOf([&] { file.WriteString(section, key, value); }),
              runtime::kInvalidProcedureCall)
        << section << "/" << key;
  }
  EXPECT_EQ(file.ReadString("S", "k", "nothing written"), "nothing written");

  // Good writes keep every other line, or create the file with CR LF.
  std::string path = folder.File("tags.ini");
  WriteAll(path,
           "; settings\n[TagSelect]\nLeft=10\ntop = 20\n; trailing comment\n\n[Other]\nWidth=5");
  platform::ProfileFile written(path);
  written.WriteString("tagselect", "TOP", "25");
  written.WriteString(" TagSelect ", " Height", "300");
  written.WriteString("Other", "Width", "6");
  written.WriteString("New Section", "Key", "v=1");
  EXPECT_EQ(ReadAll(path),
            "; settings\n[TagSelect]\nLeft=10\nTOP=25\nHeight=300\n; trailing comment\n\n"
            "[Other]\nWidth=6\n\n[New Section]\nKey=v=1");
  EXPECT_EQ(written.ReadString("new section", "key", ""), "v=1");

  platform::ProfileFile created(folder.File("new.ini"));
  created.WriteString("TagSelect", "Left", "1");
  created.WriteString("TagSelect", "Top", "2");
  EXPECT_EQ(ReadAll(folder.File("new.ini")), "[TagSelect]\r\nLeft=1\r\nTop=2\r\n");
}

}  // namespace
