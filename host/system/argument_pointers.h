// The words of a command as the exec functions want them.
#pragma once

#include <string>
#include <vector>

namespace host {

/// @return pointers to the words' texts, and the null pointer that ends them; valid while `words` is
/// untouched. The exec functions take writable texts and write none.
inline std::vector<char *> argument_pointers(const std::vector<std::string> &words) {
  std::vector<char *> pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string &word : words) pointers.push_back(const_cast<char *>(word.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace host
