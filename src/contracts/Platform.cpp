#include "Platform.h"

namespace CorvaneQueue {

namespace {
Platform& installedPlatform() noexcept {
  static Platform installed;
  return installed;
}
}  // namespace

const Platform& platform() noexcept { return installedPlatform(); }

ScopedPlatform::ScopedPlatform(const Platform& installed) noexcept : before_(installedPlatform()) {
  installedPlatform() = installed;
}
ScopedPlatform::~ScopedPlatform() { installedPlatform() = before_; }

}  // namespace CorvaneQueue
