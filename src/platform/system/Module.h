// Parts of the library that are loaded only when they are needed.
#pragma once

namespace CorvaneQueue::platform_layer {

// The function of that name in a module that lies beside the library. Throws an Error that names the module.
// It stays loaded.
void* functionOfModule(const char* module, const char* function);

}  // namespace CorvaneQueue::platform_layer
