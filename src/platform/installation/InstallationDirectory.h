// Where everything of an installation lies.
#pragma once

#include "File.h"

namespace CorvaneQueue::platform_layer {

// The installation directory: CORVANE_HOME, else $XDG_DATA_HOME/corvane, else ~/.local/share/corvane. It
// need not be there: who writes makes it (makeDirectory). What others than its owner may do in it is taken
// from them, and told in the log. Throws an Error that names what stands there instead of a directory. The
// reference is good until the thread's next call.
const std::filesystem::path& installationDirectory();

}  // namespace CorvaneQueue::platform_layer
