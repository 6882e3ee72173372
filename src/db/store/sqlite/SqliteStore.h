// The message store for the embedded engine.
#pragma once

#include "StoreDefinition.h"

namespace CorvaneQueue::store {

// The schema is described in docs/stores-and-formats.md.
StoreDefinition sqliteStore() noexcept;
std::span<const std::string_view> storeMigrations() noexcept;
OperationStatements operationStatements() noexcept;

}  // namespace CorvaneQueue::store
