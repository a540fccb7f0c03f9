#include "runtime/Text.h"

#include <gtest/gtest.h>

#include "runtime/Event.h"

using namespace runtime;

TEST(Text, TrimCaseAndSplit) {
  EXPECT_EQ(TrimSpaces("  a b\t "), "a b\t");
  EXPECT_EQ(TrimSpaces("   "), "");
  EXPECT_EQ(ToUpper("abc-Zä"), "ABC-Zä");
  EXPECT_EQ(Split("", "\r\n"), std::vector<std::string>{""});
  EXPECT_EQ(Split("a\r\n", "\r\n"), (std::vector<std::string>{"a", ""}));
  EXPECT_EQ(Split("a\r\n\r\nb\n", "\r\n"), (std::vector<std::string>{"a", "", "b\n"}));
  EXPECT_EQ(Join(Split("x;;y", ";"), ";"), "x;;y");
}

// Simple case folding in every alphabet: one code point to one, so "ß" stays apart from
// "SS"; text that is no UTF-8 folds A-Z only and never throws. Replacing scans once, left
// to right.
TEST(Text, CaseIsFoldedInEveryAlphabet) {
  const struct {
    const char *a, *b;
    bool equal;
  } cases[] = {{"Füll.Gewicht", "FÜLL.GEWICHT", true},
               {"ΣΊΣΥΦΟΣ", "σίσυφος", true},
               {"\u212A", "k", true},  // Kelvin sign
               {"Straße", "STRASSE", false},
               {"Tag", "Tags", false},
               {"Ǆ", "ǆ", true},
               {"\xff\xfe\x41", "\xff\xfe\x61", true},
               {"\xff\x41", "\xfe\x61", false},
               {"Füll", "F\xfcll", false}};
  for (const auto& c : cases) {
    EXPECT_EQ(EqualsNoCase(c.a, c.b), c.equal) << c.a << " " << c.b;
    if (c.equal) {
      EXPECT_EQ(NoCaseHash{}(c.a), NoCaseHash{}(c.b)) << c.a;
    }
  }
  EXPECT_EQ(ReplaceNoCase("%TAG(FÜLL) und %tag(füll)", "%tag(Füll)", "1"), "1 und 1");
  EXPECT_EQ(ReplaceNoCase("5 \u212Am", "km", "k"), "5 k");
  EXPECT_EQ(ReplaceNoCase("a\xff\x41", "a", "b"), "b\xff\x62");
  EXPECT_EQ(ReplaceNoCase("aaa", "aa", "b"), "ba");
  EXPECT_EQ(ReplaceNoCase("ab", "A", "aA"), "aAb");
  EXPECT_EQ(ReplaceNoCase("abc", "", "x"), "abc");
  EXPECT_EQ(ReplaceNoCase("abc", "abcd", "x"), "abc");
}

TEST(Event, SubscribeRaiseAndUnsubscribeDuringRaise) {
  Event<int> event;
  std::vector<std::string> calls;
  Subscription second, late;
  Subscription first = event.Subscribe([&](int v) {
    calls.push_back("first " + std::to_string(v));
    second.Reset();  // unsubscribes a handler whose turn has not come yet
    late = event.Subscribe([&](int w) { calls.push_back("late " + std::to_string(w)); });
  });
  second = event.Subscribe([&](int) { calls.push_back("second"); });
  event.Raise(1);
  first.Reset();
  event.Raise(2);
  Subscription moved = std::move(late);
  event.Raise(3);
  { Subscription dropped = std::move(moved); }
  event.Raise(4);
  EXPECT_EQ(calls, (std::vector<std::string>{"first 1", "late 2", "late 3"}));

  // A subscription that outlives its event is harmless.
  {
    Event<> gone;
    moved = gone.Subscribe([] {});
  }
  moved.Reset();
}
