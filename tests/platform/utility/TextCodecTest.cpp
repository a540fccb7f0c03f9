#include "platform/utility/TextCodec.h"

#include <gtest/gtest.h>

#include <random>

#include "runtime/Error.h"
#include "tests/runtime/ErrorOf.h"

namespace {

TEST(TextCodec, RoundTripsAnyBytesAsOneLineAndRefusesWhatIsNotAnEncoding) {
  platform::TextCodec codec;
  std::mt19937 random(11);
  std::vector<std::string> samples = {
      "", "a", "ab", "abc", "NAME=x\r\nACTIVE=1", std::string("\0\r\n\xff~", 5), "Grüße ~ %TAG(A)"};
  for (int i = 0; i < 500; ++i) {
    std::string bytes(random() % 64, '\0');
    for (char& c : bytes) c = static_cast<char>(random());
    samples.push_back(bytes);
  }
  for (const std::string& text : samples) {
    std::string encoded = codec.EncodeText("QZ", text);
    EXPECT_EQ(encoded.find_first_of("\r\n"), std::string::npos);
    EXPECT_EQ(codec.DecodeText("QZ", encoded), text);
  }

  // Stored configurations keep decoding: texts encoded by the first version of the codec.
  const std::pair<const char*, std::string> stored[] = {
      {"~TkFNRT1MaW5lIDMNCkFDVElWRT0xDQpURVNUPUZpbGwJV2VpZ2h0CSVUQUcoQSkJ~e8cb43b5",
       "NAME=Line 3\r\nACTIVE=1\r\nTEST=Fill\tWeight\t%TAG(A)\t"},
      {"~R3LDvMOfZSB+IP8ADQ==~3eb2c201", std::string("Grüße ~ \xff\x00\r\n", 13)},
      {"~~69c7c600", ""}};
  for (const auto& [encoded, text] : stored) {
    EXPECT_EQ(codec.DecodeText("QZ", encoded), text);
    EXPECT_EQ(codec.EncodeText("QZ", text), encoded);
  }

  const std::string good = codec.EncodeText("QZ", "NAME=Line 3");
  std::string damaged = good;
  damaged[3] = damaged[3] == 'A' ? 'B' : 'A';
  for (const std::string& bad :
       {std::string("NAME=Line 3"), std::string(""), std::string("~~"),
        std::string("~abc~00000000"), damaged, good + "x", codec.EncodeText("XY", "NAME=Line 3")}) {
    const runtime::Error e = ErrorFrom([&] { codec.DecodeText("QZ", bad); });
    EXPECT_EQ(e.Number(), 5) << bad;
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "not an encoded configuration", e.Description());
  }
}

}  // namespace
