#include "engine/ReferenceSubstitution.h"

#include <cstdint>
#include <unordered_map>

#include "runtime/Text.h"

namespace engine {
namespace {

constexpr std::string_view kFoldedMarker = "%tag(";

// Polynomial hashes modulo the prime 2^61 - 1. Equal hashes are confirmed by comparing the
// texts, so a collision costs time, never a wrong result.
constexpr uint64_t kModulus = (uint64_t{1} << 61) - 1;
constexpr uint64_t kBase = 1'000'003;

uint64_t Add(uint64_t a, uint64_t b) {
  const uint64_t sum = a + b;
  return sum >= kModulus ? sum - kModulus : sum;
}

uint64_t Multiply(uint64_t a, uint64_t b) {
  const unsigned __int128 product = static_cast<unsigned __int128>(a) * b;
  uint64_t folded =
      static_cast<uint64_t>(product & kModulus) + static_cast<uint64_t>(product >> 61);
  folded = (folded & kModulus) + (folded >> 61);
  return folded >= kModulus ? folded - kModulus : folded;
}

uint64_t Power(uint64_t exponent) {
  uint64_t result = 1;
  for (uint64_t base = kBase; exponent > 0; exponent >>= 1, base = Multiply(base, base)) {
    if (exponent & 1) result = Multiply(result, base);
  }
  return result;
}

// Extends the hash of a text by one character of it, already folded.
uint64_t Extend(uint64_t hash, char folded) {
  return Add(Multiply(hash, kBase), static_cast<unsigned char>(folded) + 1u);
}

uint64_t HashOf(std::string_view folded) {
  uint64_t hash = 0;
  for (char c : folded) hash = Extend(hash, c);
  return hash;
}

// A "%TAG(" of any case with the ")" that balances it: [begin, end) and the hash of its
// folded text.
struct Candidate {
  size_t begin = 0, end = 0;
  uint64_t hash = 0;
};

// Every candidate of `folded`, in order of their beginnings, found in one pass: the hash of
// a candidate is that of the text up to its end less that of the text before it.
std::vector<Candidate> Candidates(std::string_view folded) {
  std::vector<Candidate> found;
  struct Open {
    size_t candidate;  // index in `found`, or npos for a "(" of no marker
    uint64_t hashBefore;
  };
  std::vector<Open> open;
  uint64_t hash = 0;        // of folded[0, i)
  uint64_t markerHash = 0;  // of the text before the latest marker
  size_t markerAt = std::string_view::npos;
  for (size_t i = 0; i < folded.size(); ++i) {
    if (folded.compare(i, kFoldedMarker.size(), kFoldedMarker) == 0) {
      markerAt = i;
      markerHash = hash;
    }
    hash = Extend(hash, folded[i]);
    if (folded[i] == '(') {
      if (markerAt != std::string_view::npos && markerAt + kFoldedMarker.size() == i + 1) {
        open.push_back({found.size(), markerHash});
        found.push_back({markerAt, 0, 0});
      } else {
        open.push_back({std::string_view::npos, 0});
      }
    } else if (folded[i] == ')' && !open.empty()) {
      if (open.back().candidate != std::string_view::npos) {
        Candidate& candidate = found[open.back().candidate];
        candidate.end = i + 1;
        candidate.hash = Add(hash, kModulus - Multiply(open.back().hashBefore,
                                                       Power(candidate.end - candidate.begin)));
      }
      open.pop_back();
    }
  }
  return found;
}

}  // namespace

std::string SubstituteReferences(std::string_view text, const std::vector<std::string>& references,
                                 const std::vector<std::string>& values) {
  std::unordered_map<uint64_t, std::vector<size_t>> byHash;
  for (size_t r = 0; r < references.size(); ++r) {
    byHash[HashOf(runtime::ToLower(references[r]))].push_back(r);
  }
  // Folding A-Z only keeps every position of the text; a reference is always met in its
  // own spelling, and EqualsNoCase confirms each match.
  const std::string folded = runtime::ToLower(text);

  std::string result;
  result.reserve(text.size());
  size_t copied = 0;
  for (const Candidate& candidate : Candidates(folded)) {
    // A candidate without its ")" or inside a replaced one is no occurrence.
    if (candidate.end == 0 || candidate.begin < copied) continue;
    const auto found = byHash.find(candidate.hash);
    if (found == byHash.end()) continue;
    const std::string_view piece = text.substr(candidate.begin, candidate.end - candidate.begin);
    // The first of equal references is met first, so its value is the one taken.
    for (size_t r : found->second) {
      if (runtime::EqualsNoCase(references[r], piece)) {
        result.append(text, copied, candidate.begin - copied);
        result += values[r];
        copied = candidate.end;
        break;
      }
    }
  }
  result.append(text, copied);
  return result;
}

}  // namespace engine
