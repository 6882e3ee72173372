// Database access over the embedded engine.
#pragma once

#include "StoreAccess.h"
#include "StoreDefinition.h"

namespace CorvaneQueue::platform_layer {

class SqliteAccess final : public StoreAccess {
 public:
  explicit SqliteAccess(StoreDefinition definition) noexcept : definition_(definition) {}
  std::unique_ptr<Command> createCommand() override;
  std::shared_ptr<Connection> connect(const std::filesystem::path& file) override;
  std::unique_ptr<Recordset> query(const std::shared_ptr<Connection>& connection,
                                   std::u16string_view text) override;
  StoreReport check(const std::filesystem::path& file, StoreCheck how) const override;

 private:
  StoreDefinition definition_;
};

}  // namespace CorvaneQueue::platform_layer
