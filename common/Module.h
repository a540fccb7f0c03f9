// The driver module's own names.
#pragma once

namespace common {

// The module's file name without extension; it also names the log and settings files.
inline constexpr char kModuleName[] = "oxaGEPDAD6";

}  // namespace common
