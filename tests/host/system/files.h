// Files that tests write and read.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// Writes a program of one shell command. @return its path
inline std::filesystem::path write_program(const std::filesystem::path &file, const std::string &command) {
  std::ofstream(file) << "#!/bin/sh\n" << command << '\n';
  std::filesystem::permissions(file, std::filesystem::perms::owner_all);
  return file;
}

/// The whole text of a file; "" when there is none.
inline std::string read_file(const std::filesystem::path &file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}
