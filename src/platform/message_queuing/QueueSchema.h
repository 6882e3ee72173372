// The tables of the queue service.
#pragma once

#include <span>
#include <string_view>

namespace CorvaneQueue::platform_layer {

// Number i + 1 is the version that statement list i leads to.
std::span<const std::string_view> queueMigrations() noexcept;

}  // namespace CorvaneQueue::platform_layer
