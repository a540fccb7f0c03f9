// dam and dam-gui as processes. dam-gui runs whatever command dam hands it (`dam run
// --activity` with a plant's lines included), so both set their process up one way.
#pragma once

namespace dam {

class WindowsSide;

// Runs the command line `argv` (see Main) as the whole process. Before it, what the process
// needs before its first thread or connection: the soft limit of open files raised to the
// hard one (systemd and login sessions start processes at 1024, a limit kept for programs
// that use select(), which nothing here does; a plant's lines hold more), a write past the
// file size limit an error instead of the end of the process, and SQLite tuned for many
// connections (SqliteLibrary.h). After it, the pool's connections closed while
// every library is still whole: a driver called from a static destructor may crash.
int RunProcess(int argc, char** argv, WindowsSide* windows);

}  // namespace dam
