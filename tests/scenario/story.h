/* One long story of the daemon's life that covers normal operation: every message handler, every shell
 * command, both directions of frames, the timer, the save request, and every trace of normal operation. Then
 * come malformed messages, and for each operation of the platform one start and one later run in which it
 * fails. The story has chapters, each in a world of its own; each step has a name. */
#pragma once

#include <functional>
#include <string>

/** Callbacks for the steps of the story. */
struct Listener {
  std::function<void(const std::string &name)> step;    /**< called before each step */
  std::function<void(const std::string &name)> chapter; /**< called after the last step of each chapter */
};

void tell_story(const Listener &listener);
