#include "Reserve.h"

#include "Files.h"

#include <CorvaneQueue/Error.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace CorvaneQueue::platform_layer {

namespace {
constexpr off_t reserveSize = 16 << 20;
}  // namespace

bool Reserve::make() const noexcept {
  struct stat status {};
  if (::stat(file_.c_str(), &status) == 0 && status.st_size >= reserveSize) return true;
  try {
    const FileDescriptor file(file_, O_WRONLY | O_CREAT);
    if (::posix_fallocate(file.get(), 0, reserveSize) == 0) return true;
  } catch (const Error&) {  // no room even for its name
  }
  ::unlink(file_.c_str());
  return false;
}

void Reserve::giveUp() const noexcept { ::unlink(file_.c_str()); }

bool Reserve::isNeeded() const noexcept {
  struct statvfs disk {};
  return ::statvfs(file_.parent_path().c_str(), &disk) == 0 &&
         static_cast<unsigned long long>(disk.f_bavail) * disk.f_frsize <
             static_cast<unsigned long long>(reserveSize);
}

}  // namespace CorvaneQueue::platform_layer
