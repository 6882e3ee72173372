// Message stores on the database server of the tests.
#pragma once

#include "Installation.h"

#include <CorvaneQueue/serverStore.h>

#include <unistd.h>
#include <cstdlib>

namespace stores {

using namespace CorvaneQueue;

inline std::string lastDatabase;
inline std::string settingsThrough(const std::string& server) {
  return "[Configuration.Global]\nQueueStoreType = \"db\"\n[Platform.MessageStore]\nEngine = \"postgresql\"\nConnection = \"Driver=PostgreSQL Unicode;Server=" +
         server + ";UID=corvane;Database=" + lastDatabase + "\"\n";
}

// A database of its own for each one, with the store in it.
inline std::string newServerStore() {
  static int made = 0;
  lastDatabase = "test_" + std::to_string(getpid()) + "_" + std::to_string(made++);
  const std::string create = "createdb -h " DATABASE_SERVER " -U corvane " + lastDatabase;
  if (std::system(create.c_str()) != 0) throw std::runtime_error("no database");
  const std::string settings = settingsThrough(DATABASE_SERVER);
  const char* const home = std::getenv("CORVANE_HOME");
  const std::string before = home == nullptr ? "" : home;
  {
    const Installation administrator(settings);
    installServerStore(ServerStoreScript::Install);
  }
  setenv("CORVANE_HOME", before.c_str(), 1);
  return settings;
}

}  // namespace stores
