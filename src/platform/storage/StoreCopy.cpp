#include "StoreCopy.h"

#include "Schema.h"

#include <sqlite3.h>

namespace CorvaneQueue::platform_layer {

StoreCopy::StoreCopy(Database& store) : store_(store) {
  run(store_.handle(), store_.file(), "BEGIN", "copying");
  numberOf(store_.handle(), store_.file(), "SELECT count(*) FROM dbo.sqlite_schema");  // it is this state now
}
StoreCopy::~StoreCopy() { sqlite3_exec(store_.handle(), "ROLLBACK", nullptr, nullptr, nullptr); }

void StoreCopy::write(const std::filesystem::path& file, const Progress& progress) {
  struct CloseHandle {
    void operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }
  };
  struct Finish {
    void operator()(sqlite3_backup* backup) const noexcept { sqlite3_backup_finish(backup); }
  };
  const StoreFile target{file};
  { const File made(file, File::Use::Create); }  // for its owner alone
  sqlite3* opened = nullptr;
  const int code =
      sqlite3_open_v2(nameBytes(file).c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  const std::unique_ptr<sqlite3, CloseHandle> handle(opened);
  if (code != SQLITE_OK) target.failFor(opened, code, "copying");
  const std::unique_ptr<sqlite3_backup, Finish> backup(
      sqlite3_backup_init(opened, "main", store_.handle(), "dbo"));
  if (!backup) target.failFor(opened, sqlite3_errcode(opened), "copying");
  const std::int64_t pageSize = numberOf(store_.handle(), store_.file(), "PRAGMA dbo.page_size");
  constexpr int pagesAtATime = 1024;
  const File written(file, File::Use::Read);
  for (int result = SQLITE_OK; result != SQLITE_DONE;) {
    result = sqlite3_backup_step(backup.get(), pagesAtATime);
    written.sync();  // all of it at the end would keep the syncs of others waiting
    if (result != SQLITE_OK && result != SQLITE_DONE) target.failFor(opened, result, "copying");
    const std::int64_t total = sqlite3_backup_pagecount(backup.get());
    progress((total - sqlite3_backup_remaining(backup.get())) * pageSize, total * pageSize);
  }
}

}  // namespace CorvaneQueue::platform_layer
