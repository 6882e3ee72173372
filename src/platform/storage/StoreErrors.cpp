#include "StoreErrors.h"

#include "File.h"
#include "StoredText.h"
#include "StoreState.h"

#include <sqlite3.h>
#include <new>

namespace CorvaneQueue::platform_layer {

namespace {
std::u16string widened(std::string_view text) { return {text.begin(), text.end()}; }
}  // namespace

void StoreFile::fail(std::int32_t number, std::u16string_view what) const {
  const std::u16string text = u"The store \"" + shownPath(path) + u"\": " + std::u16string(what);
  if (number == StoreError::permissionDenied) throw NotPermitted(number, storeSource, text);
  throw Error(number, storeSource, text);
}

void StoreFile::failFor(sqlite3* handle, int code, std::string_view tried) const {
  const std::u16string message =
      handle == nullptr ? u"out of memory" : std::u16string(fromUtf8(sqlite3_errmsg(handle)).view());
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      fail(StoreError::timeoutExpired,
           u"timeout expired: another transaction has been open all the time. Try again, or commit or abort "
           u"that one.");
    case SQLITE_FULL:
      throw DiskFull(E_FAIL, storeSource,
                     u"The store \"" + shownPath(path) +
                         u"\": the disk is full; nothing was stored. Free some space and try again.");
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      fail(StoreError::permissionDenied,
           u"the file cannot be written (" + message + u"); check its permissions.");
    case SQLITE_CORRUPT:
      if (state != nullptr) state->isDamaged = 1;
      fail(E_FAIL, u"the file is damaged (" + message +
                       u"). Nothing more is sent into it. Restore it from a copy." + lossNote(state));
    case SQLITE_NOTADB:
      fail(E_FAIL, u"the file is not a message store (" + message + u"). Move it away or restore a copy.");
    case SQLITE_CANTOPEN:
      fail(E_FAIL, u"the file cannot be opened (" + message + u"); check the directory and its permissions.");
    case SQLITE_CONSTRAINT: fail(StoreError::integrity, message + u".");
    case SQLITE_NOMEM: throw std::bad_alloc();
    case SQLITE_TOOBIG:
      fail(ErrorNumber::InvalidArgument,
           u"the text is longer than the store can take (1,000,000,000 bytes).");
    case SQLITE_IOERR:
    case SQLITE_PROTOCOL: fail(E_FAIL, widened(tried) + u" failed: " + message + u". Check the disk.");
    default: fail(StoreError::statement, widened(tried) + u" failed: " + message + u".");
  }
}

}  // namespace CorvaneQueue::platform_layer
