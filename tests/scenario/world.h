/* One daemon in its platform, from start to end, driven from outside only. main runs until it waits in its
 * loop. Then messages and frames reach the loop, which serves them and waits again.
 *
 * Each run has its own world. It begins with the daemon's memory as at the start of a process; its end fails
 * the test for every block, message or request that is left. */
#pragma once

#include "tests/scenario/events.h"
#include "tests/unit/daemon_test.h"

class World : private DaemonTest {
 public:
  World();

 private:
  void TestBody() override {}
};

/** Runs main until it ends or would wait forever. Its output is discarded. */
Ending start_up();

/** Delivers a message and lets the loop serve it. */
Ending serve(Message message);

/** Delivers a frame on one of the relay's sockets, if it is open. */
Ending relay_from_asic(const Bytes &frame);
Ending relay_from_management(const Bytes &frame);

/** Lets the supervisor ask the daemon to save its configuration. */
void save();

/** Serves what a failed receive or read has left waiting. Opens the relay and switches it on first. */
void serve_what_waits();

/** Fails the test unless a port that comes up now is served: frames pass both ways, and the shell lists the
 * CIN VLANs (chassis internal network) of the table. The port leaves again at the end. */
void expect_service();
