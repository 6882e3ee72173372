// How what is committed comes onto the disk: syncs that cover each other's commits, and what is done when one
// fails.
#pragma once

#include "LogFile.h"
#include "StoreSharing.h"

struct sqlite3;

namespace CorvaneQueue::platform_layer {

// The engine commits into the log without a sync; the log is synced after the turn of the writers has been
// passed on, so that the next one works while the disk does. A sync serves everybody who has committed by its
// beginning. Belongs to one session.
class Durability {
 public:
  // The last three must outlive it.
  Durability(sqlite3* handle, const StoreFile& file, StoreSharing& sharing) noexcept
      : handle_(handle), file_(&file), sharing_(&sharing), log_(file.path) {}

  // Around each commit, inside the turn of the writers: the number of the commit.
  std::uint64_t committing() noexcept;
  void committed(std::uint64_t commit) noexcept;

  // The commit is on the disk when it returns. Throws SyncFailed.
  void sync(std::uint64_t commit);
  // Until no sync goes on that began before this session had the log open: the system would not tell it of a
  // failure. Throws an Error after half a minute.
  void awaitSyncs();
  // Should a sync have failed before, in whatever process: writes the log anew first. Throws an Error when
  // that fails: nothing that is stored from now on would be durable.
  void mustBeTrusted();
  // Writes and syncs everything that the log holds. For the first session of a store.
  void writeAnew();
  // Moves the log into the store's file, so that its room is used again: most of it while others write, and
  // what they write meanwhile in the turn of the writers, should that be had by the deadline. As far as
  // nobody reads it. A long log is cut off, or kept to be written over.
  enum class Shorten { Yes, No };
  void moveLog(Turn::Deadline deadline, Shorten shorten) noexcept;
  bool isMoveDue() noexcept;

 private:
  Turn* freeTurn();
  void syncInTurn(Turn& turn) noexcept;
  bool syncLog() noexcept;
  // Whether all of the log is in the file.
  bool checkpoint(int mode) noexcept;
  void writeLogAnew();

  sqlite3* handle_;
  const StoreFile* file_;
  StoreSharing* sharing_;
  LogFile log_;
};

}  // namespace CorvaneQueue::platform_layer
