#include "platform/utility/ProfileFile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>

#include "runtime/Error.h"
#include "tests/support/TempFolder.h"

namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteAll(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

TEST(ProfileFile, ReadsSectionsAndKeysWithoutRegardToCase) {
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
           "Late=3\r\n");
  platform::ProfileFile file(path);
  EXPECT_EQ(file.ReadInteger("table definitions", "realdatefield", 0), 1);
  EXPECT_EQ(file.ReadString("Table Definitions", "NAME", "-"), "some text");
  EXPECT_EQ(file.ReadInteger("OTHER", "RealDateField", 0), 2);
  EXPECT_EQ(file.ReadString("Other", "top", "fallback"), "fallback");
  EXPECT_EQ(file.ReadString("Missing", "Name", "fallback"), "fallback");

  platform::ProfileFile missing(folder.File("none.ini"));
  EXPECT_EQ(missing.ReadInteger("TABLE DEFINITIONS", "RealDateField", 7), 7);
}

TEST(ProfileFile, ReadIntegerTakesTheLeadingWholeNumber) {
  testsupport::TempFolder folder;
  std::string path = folder.File("numbers.ini");
  WriteAll(path,
           "[N]\nplain=42\nsuffix=12abc\nsigned=-8\nplus=+9\ntext=abc\nempty=\n"
           "fraction=3.9\nhuge=2147483648\nlowest=-2147483648\nlong=99999999999999999999\n");
  platform::ProfileFile file(path);
  EXPECT_EQ(file.ReadInteger("N", "plain", -1), 42);
  EXPECT_EQ(file.ReadInteger("N", "suffix", -1), 12);
  EXPECT_EQ(file.ReadInteger("N", "signed", -1), -8);
  EXPECT_EQ(file.ReadInteger("N", "plus", -1), 9);
  EXPECT_EQ(file.ReadInteger("N", "text", -1), -1);
  EXPECT_EQ(file.ReadInteger("N", "empty", -1), -1);
  EXPECT_EQ(file.ReadInteger("N", "fraction", -1), 3);
  EXPECT_EQ(file.ReadInteger("N", "huge", -1), -1);
  EXPECT_EQ(file.ReadInteger("N", "lowest", -1), -2147483647 - 1);
  EXPECT_EQ(file.ReadInteger("N", "long", -1), -1);
  EXPECT_EQ(file.ReadInteger("N", "absent", -1), -1);
}

TEST(ProfileFile, WriteKeepsEveryOtherLine) {
  testsupport::TempFolder folder;
  std::string path = folder.File("tags.ini");
  WriteAll(path,
           "; settings\n"
           "[TagSelect]\n"
           "Left=10\n"
           "top = 20\n"
           "; trailing comment\n"
           "\n"
           "[Other]\n"
           "Width=5");
  platform::ProfileFile file(path);
  file.WriteString("tagselect", "TOP", "25");
  file.WriteString(" TagSelect ", " Height", "300");
  file.WriteString("Other", "Width", "6");
  file.WriteString("New Section", "Key", "v=1");
  EXPECT_EQ(ReadAll(path),
            "; settings\n"
            "[TagSelect]\n"
            "Left=10\n"
            "TOP=25\n"
            "Height=300\n"
            "; trailing comment\n"
            "\n"
            "[Other]\n"
            "Width=6\n"
            "\n"
            "[New Section]\n"
            "Key=v=1");
  EXPECT_EQ(file.ReadString("new section", "key", ""), "v=1");
}

TEST(ProfileFile, WriteCreatesTheFileWithCrLf) {
  testsupport::TempFolder folder;
  std::string path = folder.File("new.ini");
  platform::ProfileFile file(path);
  file.WriteString("TagSelect", "Left", "1");
  file.WriteString("TagSelect", "Top", "2");
  EXPECT_EQ(ReadAll(path), "[TagSelect]\r\nLeft=1\r\nTop=2\r\n");
  EXPECT_EQ(file.ReadInteger("TagSelect", "Top", 0), 2);
}

TEST(ProfileFile, BadWritesAreClearErrors) {
  testsupport::TempFolder folder;
  platform::ProfileFile nowhere(folder.File("missing/folder/x.ini"));
  try {
    nowhere.WriteString("S", "K", "V");
    FAIL() << "no error";
  } catch (const runtime::Error& e) {
    EXPECT_EQ(e.Number(), 75);
    EXPECT_NE(e.Description().find("Path/File access error"), std::string::npos);
    EXPECT_NE(e.Description().find("missing/folder/x.ini"), std::string::npos);
  }

  // A file where the folder should be, and a folder where the file should be: the first
  // fails creating the temporary file, the second replacing the file.
  WriteAll(folder.File("plain"), "x");
  std::string subfolder = folder.Subfolder("sub");
  for (const std::string& path : {folder.File("plain/x.ini"), subfolder}) {
    try {
      platform::ProfileFile(path).WriteString("S", "K", "V");
      ADD_FAILURE() << "no error for " << path;
    } catch (const runtime::Error& e) {
      EXPECT_EQ(e.Number(), 75);
    }
  }
  // A folder without write permission (root writes anyway, so only other users check it).
  std::string locked = folder.Subfolder("locked");
  std::filesystem::permissions(
      locked, std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  if (geteuid() != 0) {
    EXPECT_THROW(platform::ProfileFile(locked + "/x.ini").WriteString("S", "K", "V"),
                 runtime::Error);
  }
  std::filesystem::permissions(locked, std::filesystem::perms::owner_all);
  std::filesystem::remove(locked);

  // No temporary file is left behind.
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()),
                          std::filesystem::directory_iterator()),
            2);

  platform::ProfileFile file(folder.File("ok.ini"));
  for (auto [section, key, value] : {std::tuple{"S", "a=b", "v"},
                                     {"S", "", "v"},
                                     {"S", ";k", "v"},
                                     {"a]b", "k", "v"},
                                     {"S", "k", "two\nlines"}}) {
    try {
      file.WriteString(section, key, value);
      ADD_FAILURE() << "no error for " << section << "/" << key;
    } catch (const runtime::Error& e) {
      EXPECT_EQ(e.Number(), 5);
    }
  }
  EXPECT_EQ(file.ReadString("S", "k", "nothing written"), "nothing written");
}

}  // namespace
