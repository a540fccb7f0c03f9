// How many objects of the module are alive, so the host knows when it may unload it.
#pragma once

namespace driver {

class ObjectCount {
 public:
  static void Created();
  static void Released();
  static bool None();
};

}  // namespace driver
