/* The fixture of every unit test: a clean daemon on a fresh platform.
 *
 * A test starts as the process does, with all globals at their initial values and nothing allocated, and
 * ends with the checks of the stand-in. Between the two it calls the daemon's functions directly, or runs
 * the whole of main. A fixture derived from this one brings the daemon to the state that its tests are
 * about and forgets how it got there. */
#pragma once

#include <gtest/gtest.h>

#include "tests/standin/standin.h"

int tesk_main(int argc, char **argv);

using namespace standin;  // NOLINT: the language of the tests

class DaemonTest : public testing::Test {
 protected:
  DaemonTest();
  ~DaemonTest() override;

  /** Runs main until it ends, or waits for good in its loop. */
  static Ending start();

  /** Starts the port layer, the VLAN table and the MAC table, with a bound queue and an open device. */
  static void bring_up_tables();

  /** A message reaches the queue and the loop serves it. */
  static void receive(Message message);
};
