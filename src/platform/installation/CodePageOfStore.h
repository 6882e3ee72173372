// Which code page the bodies of an installation are in that are held as bytes.
#pragma once

#include <cstdint>
#include <filesystem>

namespace CorvaneQueue::platform_layer {

// The setting [Platform] CodePage says so; this is for an installation without it: what was written down
// beside the queue store when that was created, 1252 for a store from before that was done, and UTF-8 for one
// that is not there yet.
std::int32_t codePageOfStore(const std::filesystem::path& installation);

// Writes the code page down, in the settings and beside the store, as far as it is not there: before the
// store is created, and when it is opened. A store that is there is opened also where that cannot be written.
void recordCodePage(const std::filesystem::path& installation);

}  // namespace CorvaneQueue::platform_layer
