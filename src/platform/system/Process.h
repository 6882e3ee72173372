// This process and the machine that it runs on.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace CorvaneQueue::platform_layer {

// Another one in a process that was forked off.
std::int32_t processNumber() noexcept;

// Differs between all starts of a machine; 0 when it cannot be told. What processes have left in memory that
// they shared through a file is exact as long as it is the same.
std::uint64_t bootNumber() noexcept;

// A variable of its environment, as names of files are written.
using NativeText = std::filesystem::path::string_type;
std::optional<NativeText> environmentVariable(const char* name);
// Where programs of this user keep what is theirs. Empty when it cannot be told.
NativeText dataDirectory();

// The name of this machine; empty when it has none.
std::string hostName();

// The file that this code was loaded from. Empty when it cannot be told.
std::filesystem::path fileOfCode(const void* code);

// Runs these around each fork of the process: before it, then after it in both processes. Throws
// std::bad_alloc.
void onFork(void (*before)(), void (*inParent)(), void (*inChild)());

}  // namespace CorvaneQueue::platform_layer
