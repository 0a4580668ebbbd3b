/* The fixture of every unit test: a clean daemon on a fresh platform.
 *
 * A test starts like the process, with all globals at their initial values and nothing allocated. It ends
 * with the checks of the stand-in. In between it calls the daemon's functions directly, or runs the whole
 * of main. A derived fixture brings the daemon to the state that its tests need and then forgets the record
 * of that. */
#pragma once

#include <gtest/gtest.h>

#include "tests/standin/standin.h"

int tesk_main(int argc, char **argv);

using namespace standin;  // NOLINT: the language of the tests

class DaemonTest : public testing::Test {
 protected:
  DaemonTest();
  ~DaemonTest() override;

  /** Runs main until it ends or would wait forever in its loop. */
  static Ending start();

  /** Starts the port layer, the VLAN table and the MAC table, with a bound queue and an open device. */
  static void bring_up_tables();

  /** Puts a message into the queue and lets the loop serve it. */
  static void receive(Message message);
};
