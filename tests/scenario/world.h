/* One daemon in its platform, from start to end, driven from outside only: main runs until it waits in its
 * loop, then messages and frames reach the loop, which serves them and waits again.
 *
 * A world is made for each run: it begins with the daemon's memory as it is at the start of a process, and
 * its end fails the test for every block, message or request that is left over. */
#pragma once

#include "tests/scenario/events.h"
#include "tests/unit/daemon_test.h"

class World : private DaemonTest {
 public:
  World();

 private:
  void TestBody() override {}
};

/** main runs, until it ends or waits for good. What it prints is dropped. */
Ending start_up();

/** A message arrives, and the loop serves what it finds. */
Ending serve(Message message);

/** Frames arrive on a socket of the relay, while it is open. */
Ending relay_from_asic(const Bytes &frame);
Ending relay_from_management(const Bytes &frame);

/** The supervisor asks the program to save its configuration. */
void save();

/** Serves what a failed receive or read left waiting; the relay is opened and switched on for it. */
void serve_what_waits();

/** Fails the test unless a port that comes up now is served: frames pass both ways, and the shell lists the
 * CIN VLANs of the table. The port leaves again. */
void expect_service();
