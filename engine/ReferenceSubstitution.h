// Putting tag values in place of the tag references of a template, in time linear in the
// text and the references.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace engine {

// Replaces every occurrence in `text` of a reference text of `references` (compared
// without regard to case) by the value at the same index of `values`, in one pass from
// the left: a value is never scanned again, so a value holding "%TAG(...)" stays as it is.
// An occurrence is a "%TAG(" in any case with its text up to the balancing ")", as
// common::GetTagArrays finds references; of equal references the first one's value counts.
std::string SubstituteReferences(std::string_view text, const std::vector<std::string>& references,
                                 const std::vector<std::string>& values);

}  // namespace engine
