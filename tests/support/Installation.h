// A fresh installation directory for one test.
#pragma once

#include "Environment.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

class Installation {
 public:
  explicit Installation(const std::string& settings = "[Configuration.Global]\nQueueStoreType = \"db\"\n") {
    directory_ = newDirectory();
    setVariable("CORVANE_HOME", directory_);
    if (!settings.empty()) writeSettings(settings);
  }
  ~Installation() { removeDirectory(directory_); }
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

  const std::filesystem::path& directory() const { return directory_; }
  std::filesystem::path file(const char* name) const { return directory_ / name; }
  void writeSettings(const std::string& content) const { std::ofstream(file("settings.toml")) << content; }
  std::string read(const char* name) const {
    std::ifstream stream(file(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

 private:
  std::filesystem::path directory_;
};
