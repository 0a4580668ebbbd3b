// The words of a command in the form that the exec functions take.
#pragma once

#include <string>
#include <vector>

namespace host {

/// @return a pointer to each word, then a null pointer; valid while `words` does not change. The exec
/// functions take pointers to writable text but do not write to it.
inline std::vector<char *> argument_pointers(const std::vector<std::string> &words) {
  std::vector<char *> pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string &word : words) pointers.push_back(const_cast<char *>(word.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace host
