/* One long story of the daemon's life that reaches everything that normal life reaches: every message
 * handler, every shell command, both directions of frames, the timer, the save request, and on the way every
 * trace of normal life. After that come strange messages, and for each operation of the platform a start and
 * a day on which it fails. It is told in chapters, each a world of its own, and each step has a name. */
#pragma once

#include <functional>
#include <string>

/** What a listener does with the steps. */
struct Listener {
  std::function<void(const std::string &name)> step;    /**< before it happens */
  std::function<void(const std::string &name)> chapter; /**< after the last of its steps */
};

void tell_story(const Listener &listener);
