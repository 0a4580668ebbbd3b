/* What happens in a daemon's life, as a table of named stories. Each has a starting state and what happens
 * then; every step comes from outside. Other tests run the stories under conditions of their own. */
#pragma once

#include <ostream>
#include <span>

#include "tests/standin/system.h"

struct Scenario {
  const char *name;
  void (*given)();              /**< reaches the starting state, without any failure */
  standin::Ending (*happens)(); /**< returns how the daemon ended; `waiting` in its loop means alive */
  bool is_start = false;        /**< the daemon may end during it */
};

std::span<const Scenario> scenarios();

/** Starts with CIN VLANs 100 and 200, the relay open, blades up on ports 3 and 4, port 3 blocked in 200. */
void running_with_blades();

std::ostream &operator<<(std::ostream &stream, const Scenario &scenario);
