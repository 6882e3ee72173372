// What the host services need of the driver of a database engine.
#pragma once

#include "DatabaseAccess.h"

#include <CorvaneQueue/storeCheck.h>

#include <filesystem>

namespace CorvaneQueue::platform_layer {

class StoreAccess : public DatabaseAccess {
 public:
  // An open session with the store in that file. `this` must outlive it.
  virtual std::shared_ptr<Connection> connect(const std::filesystem::path& file) = 0;
  // The rows of a query text, on a connection of this driver.
  virtual std::unique_ptr<Recordset> query(const std::shared_ptr<Connection>& connection,
                                           std::u16string_view text) = 0;
  // Whether the store in that file is sound.
  virtual StoreReport check(const std::filesystem::path& file, StoreCheck how) const = 0;
};

}  // namespace CorvaneQueue::platform_layer
