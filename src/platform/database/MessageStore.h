// The message store that the settings of the installation choose.
#pragma once

#include "InstallationFile.h"
#include "StoreAccess.h"

#include <vector>

namespace CorvaneQueue::platform_layer {

class MessageStore final : public DatabaseAccess {
 public:
  // An engine by its name in the settings. The first one is the default.
  struct Engine {
    std::u16string_view name;
    StoreAccess& access;
  };
  MessageStore(InstallationFile& settings, std::vector<Engine> engines)
      : settings_(settings), engines_(std::move(engines)) {}

  // The engine that is set now. Throws 5 when it is not one of them.
  StoreAccess& access();
  // Serves the connections of every engine.
  std::unique_ptr<Command> createCommand() override;

 private:
  InstallationFile& settings_;
  std::vector<Engine> engines_;
};

}  // namespace CorvaneQueue::platform_layer
