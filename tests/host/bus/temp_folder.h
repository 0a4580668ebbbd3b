// A folder of its own for one test, removed with all in it at the end.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

class TempFolder {
 public:
  explicit TempFolder(const std::filesystem::path &parent = std::filesystem::temp_directory_path()) {
    std::string name = (parent / "opal-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = name;
  }
  TempFolder(const TempFolder &) = delete;
  TempFolder &operator=(const TempFolder &) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path &path() const { return path_; }

 private:
  std::filesystem::path path_;
};
