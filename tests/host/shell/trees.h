// The shell's own command trees.
#pragma once

#include "host/shell/command_tree.h"

namespace shell {

inline const CommandTree &tree() {
  static const CommandTree loaded = load_trees(TREES_FOLDER).value();
  return loaded;
}

}  // namespace shell
