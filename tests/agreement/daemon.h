/* The real daemon, driven with the events of a sequence.
 *
 * A daemon lives from construction to destruction on a fresh stand-in; nothing of the previous daemon is
 * left. An event becomes what reaches a process: a message on its queue, frames on its sockets, a refusal by
 * its platform. Then the daemon's own loop makes one pass. */
#pragma once

#include "tests/model/event.h"
#include "tests/model/model.h"
#include "tests/unit/daemon_test.h"

namespace model {

class Daemon : private DaemonTest {
 public:
  Daemon(uint16_t board, const std::vector<int32_t> &stored_vlans);
  ~Daemon() override;

  /** Plays one event on the daemon and on the model, and compares the two.
   * @return what differs; empty if nothing does */
  std::string play(const Event &event, Model &model);

 private:
  void TestBody() override {}
};

}  // namespace model
