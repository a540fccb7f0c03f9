// The host's registry of driver modules: a text file with one line per registered class,
// "class name<TAB>module path". Modules add themselves (DllRegisterServer) and remove
// themselves (DllUnregisterServer); the host reads it to find the module of a class.
// The file is $DAM_REGISTRY_FILE, else drivers.registry in the oxaDAM folder of the XDG
// configuration base folder (host/Folders.h).
#pragma once

#include <string>
#include <vector>

namespace host {

struct RegisteredDriver {
  std::string className;
  std::string modulePath;
};

std::string DriverRegistryPath();
// An absent file is an empty registry; blank lines are skipped and a CR before a line's end
// is dropped. A file that cannot be read (no permission, a folder, a FIFO) or a line that is
// not "class<TAB>path" is error 75 naming it, so that nothing rewrites the file without it.
std::vector<RegisteredDriver> ReadDriverRegistry();
// Adds or replaces the entry of `entry.className`. Fails with error 75 when the file
// cannot be written.
void RegisterDriver(const RegisteredDriver& entry);
// Removes the entry of `className`; true when there was one.
bool UnregisterDriver(const std::string& className);

}  // namespace host
