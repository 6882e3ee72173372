// What tests need of the system around them.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

inline void setVariable(const char* name, const std::filesystem::path& value) {
  setenv(name, value.c_str(), 1);
}

// A directory that was not there before.
inline std::filesystem::path newDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "corvane-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory");
  return pattern;
}
// With all that is in it, as far as possible.
inline void removeDirectory(const std::filesystem::path& directory) {
  std::error_code ignored;
  std::filesystem::remove_all(directory, ignored);
}
