// Descriptor type codes (DescriptorItem.DescriptorType). A configuration keeps any other code
// as it was read: it names no type, so nothing is resolved or saved for it, and it hides no
// group.
#pragma once

#include <cstdint>

namespace common {

enum DescriptorType : int32_t {
  kPart = 1,
  kProcess = 2,
  kJob = 3,
  kLot = 4,
  kShift = 5,
  kSerialNumber = 6,
  kUserDefined = 7,
  kSize = 8,
  kTime = 9,
};
inline constexpr DescriptorType kFirstDescriptorType = kPart;
inline constexpr DescriptorType kLastDescriptorType = kTime;

constexpr bool IsDescriptorType(int32_t code) {
  return code >= kFirstDescriptorType && code <= kLastDescriptorType;
}

// Part, Process, Job, Shift and User-Defined name a group besides their item.
constexpr bool HasGroup(int32_t code) {
  return code == kPart || code == kProcess || code == kJob || code == kShift ||
         code == kUserDefined;
}

// Lot, Serial Number, Size and Time: a group stored with them is not theirs. Not the opposite
// of HasGroup: a code outside the table is neither.
constexpr bool IsGroupless(int32_t code) {
  return code == kLot || code == kSerialNumber || code == kSize || code == kTime;
}

}  // namespace common
