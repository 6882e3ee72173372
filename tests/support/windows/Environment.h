// What tests need of the system around them.
#pragma once

#include <windows.h>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

inline void setVariable(const char* name, const std::filesystem::path& value) {
  ::SetEnvironmentVariableW(std::filesystem::path(name).c_str(), value.c_str());
}

// A directory that was not there before.
inline std::filesystem::path newDirectory() {
  static std::random_device random;
  std::filesystem::path directory;
  do directory = std::filesystem::temp_directory_path() / ("corvane-test-" + std::to_string(random()));
  while (!std::filesystem::create_directory(directory));
  return directory;
}
// With all that is in it, as far as possible: what is open keeps its name until it is closed, and the
// language's own function would try again for ever.
inline void removeDirectory(const std::filesystem::path& directory) {
  std::error_code ignored;
  std::vector<std::filesystem::path> found;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory, ignored))
    found.push_back(entry.path());
  for (auto each = found.rbegin(); each != found.rend(); ++each) std::filesystem::remove(*each, ignored);
  std::filesystem::remove(directory, ignored);
}
