// What the driver of a database engine offers.
#pragma once

#include "DatabaseAccess.h"
#include "StoreOperations.h"

#include <CorvaneQueue/storeCheck.h>

#include <memory>
#include <span>
#include <vector>

namespace CorvaneQueue::platform_layer {

// A time limit of 0 seconds is none.
class StoreSession : public Connection {
 public:
  // The rows of a query text.
  virtual std::unique_ptr<Recordset> query(std::u16string_view text, std::int32_t seconds) = 0;
  // Calls a procedure by its bracketed name, with parameters by position. Outputs have their values then.
  virtual std::unique_ptr<Recordset> call(std::u16string_view procedure, std::span<Parameter> parameters,
                                          std::int32_t seconds) = 0;
  // The same with parameters that live until the end of the transaction at least, or have gone then: a driver
  // may use them once more.
  virtual std::unique_ptr<Recordset> call(std::u16string_view procedure,
                                          const std::shared_ptr<std::vector<Parameter>>& parameters,
                                          std::int32_t seconds) {
    return call(procedure, std::span(*parameters), seconds);
  }
};

class StoreAccess {
 public:
  virtual ~StoreAccess() = default;
  // An open session with the store of the installation. `this` must outlive it.
  virtual std::shared_ptr<StoreSession> connect() = 0;
  // Whether the store is sound.
  virtual StoreReport check(StoreCheck how) = 0;
  // A session for those who operate it. Throws an Error when that is not done through this library.
  virtual std::unique_ptr<StoreOperations> operations() = 0;
};

}  // namespace CorvaneQueue::platform_layer
