// Text helpers. "Without regard to case" means Unicode simple case folding of UTF-8 text
// ("Füll" matches "FÜLL", "Straße" does not match "STRASSE"); text that is not valid UTF-8
// folds A-Z only and compares byte by byte otherwise. Every other comparison is byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace runtime {

// Removes leading and trailing space characters only (tabs, CR and LF stay).
std::string_view TrimSpaces(std::string_view text);

// A-Z to a-z and back only, for texts the system itself writes.
std::string ToUpper(std::string_view text);
std::string ToLower(std::string_view text);
// The text every spelling of it without regard to case folds to.
std::string FoldCase(std::string_view text);
bool EqualsNoCase(std::string_view a, std::string_view b);


// Splits at every occurrence of a non-empty separator; an empty text gives one empty piece.
std::vector<std::string> Split(std::string_view text, std::string_view separator);
std::string Join(const std::vector<std::string>& pieces, std::string_view separator);

// Replaces every occurrence of `find`, compared without regard to case, scanning left to
// right from the start; replaced text is not scanned again.
std::string ReplaceNoCase(std::string_view text, std::string_view find, std::string_view with);

// FNV-1a, 64 bits: a hash that is the same on every machine and in every version, fed a
// byte at a time.
class Fnv1a {
 public:
  void Add(unsigned char byte) { hash_ = (hash_ ^ byte) * 1099511628211ULL; }
  void Add(std::string_view text) {
    for (const unsigned char byte : text) Add(byte);
  }
  uint64_t Value() const { return hash_; }

 private:
  uint64_t hash_ = 14695981039346656037ULL;
};

// Hash and equality for containers keyed without regard to case.
struct NoCaseHash {
  using is_transparent = void;
  size_t operator()(std::string_view text) const;
};
struct NoCaseEqual {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const { return EqualsNoCase(a, b); }
};

}  // namespace runtime
