/* What happens in a daemon's life, as a table of named stories. Each has what it takes for granted, and what
 * happens then; every step comes from outside. Other tests run them under conditions of their own. */
#pragma once

#include <ostream>
#include <span>

#include "tests/platform/system.h"

struct Scenario {
  const char *name;
  void (*given)();              /**< up to here all is well */
  standin::Ending (*happens)(); /**< how the daemon came out of it; waiting in its loop is alive */
  bool is_start = false;        /**< the daemon may end in it */
};

std::span<const Scenario> scenarios();

/** Started with CIN VLANs 100 and 200, the relay open, blades up on ports 3 and 4, port 3 blocked in 200. */
void running_with_blades();

std::ostream &operator<<(std::ostream &stream, const Scenario &scenario);
