// Database access over the embedded engine.
#pragma once

#include "DatabaseAccess.h"
#include "StoreDefinition.h"

#include <CorvaneQueue/storeCheck.h>

#include <filesystem>

namespace CorvaneQueue::platform_layer {

class SqliteAccess final : public DatabaseAccess {
 public:
  explicit SqliteAccess(StoreDefinition definition) noexcept : definition_(definition) {}
  std::unique_ptr<Command> createCommand() override;
  // An open session with the store in that file. `this` must outlive it.
  std::shared_ptr<Connection> connect(const std::filesystem::path& file);
  // Whether the store in that file is sound.
  StoreReport check(const std::filesystem::path& file, StoreCheck how) const;
  // The rows of a query text.
  static std::unique_ptr<Recordset> query(const std::shared_ptr<Connection>& connection,
                                          std::u16string_view text);

 private:
  StoreDefinition definition_;
};

}  // namespace CorvaneQueue::platform_layer
