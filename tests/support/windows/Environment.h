// What tests need of the system around them.
#pragma once

#include <windows.h>
#include <filesystem>
#include <random>
#include <string>

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
