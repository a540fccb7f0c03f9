// Tag references inside templates: "%TAG(" [field ","] tagname ")", with the closing
// parenthesis the one that balances the marker's.
#pragma once

#include <string>
#include <vector>

namespace common {

// Finds the references of `text` in order of appearance: the exact reference texts, the
// trimmed tag names and the trimmed fields ("Value" when none). False, and the arrays
// untouched, when there is none.
bool GetTagArrays(const std::string& text, std::vector<std::string>& tokens,
                  std::vector<std::string>& tagNames, std::vector<std::string>& fields);

// True when a marker of `text` has no ")" that balances it: GetTagArrays passes it over, and
// the tag it seems to name with it.
bool HasUnbalancedMarker(const std::string& text);

}  // namespace common
