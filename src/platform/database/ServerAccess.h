// The message store on a database server.
#pragma once

#include "InstallationFile.h"
#include "ServerDriver.h"

namespace CorvaneQueue::platform_layer {

// Its place is that of the settings at the moment of each call: Connection, and PasswordFile, a file in the
// installation that nobody else may read.
class ServerAccess final : public StoreAccess {
 public:
  ServerAccess(InstallationFile& settings, ServerEngine engine) noexcept
      : settings_(settings), engine_(engine) {}
  std::shared_ptr<StoreSession> connect() override;
  StoreReport check(StoreCheck how) override;
  std::unique_ptr<StoreOperations> operations() override;
  // What tells of new documents; nothing where nobody does.
  std::unique_ptr<QueueSignal> signal();
  ServerEngine engine() const noexcept { return engine_; }
  // Runs a script, as a whole or not at all.
  void run(std::u16string_view script);
  // The first column of the rows of a text that is made for the server.
  std::vector<String> ask(std::u16string_view sql);

 private:
  ServerPlace place();
  InstallationFile& settings_;
  ServerEngine engine_;
};

}  // namespace CorvaneQueue::platform_layer
