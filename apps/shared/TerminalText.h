// Text from a configuration or a database on its way to a terminal. A configuration is
// plain text anyone may hand over: an escape sequence in it (ESC ] 0; to retitle the
// window, ESC [ 2 J to clear the screen) must show as characters, never act.
#pragma once

#include <string>
#include <string_view>

namespace apps {

// `text` with every control character but tab and line feed written as \xNN (C1 controls
// as \u0080 to \u009F), and every byte that is not part of valid UTF-8 as \xNN. Anything
// else, backslashes included, stays as it is.
std::string Printable(std::string_view text);

}  // namespace apps
