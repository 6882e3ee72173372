// What the processes that use a store tell each other about it: a small file that all of them map.
#pragma once

#include "SharedEvent.h"
#include "StoreErrors.h"
#include "Turn.h"

namespace CorvaneQueue::platform_layer {

// All zeros is a good beginning.
struct StoreState {
  TurnState writers;
  TurnState syncers;
  // Commits that have begun, that are in the log, and that are on the disk.
  std::atomic<std::uint64_t> begun;
  std::atomic<std::uint64_t> done;
  std::atomic<std::uint64_t> synced;
  // A sync of the log has failed: what it holds is not on the disk until it has been written anew.
  std::atomic<std::uint32_t> isLogSuspect;
  std::atomic<std::uint32_t> framesInLog;
  std::atomic<std::int64_t> indexBytes;  // of the engine's shared index, which processes have mapped
  // All of the log has been moved into the store's file: the next commit begins a new one.
  std::atomic<std::uint32_t> isLogMoved;
  std::atomic<std::uint32_t> hasReserve;
  // The engine has come upon damage: nothing more may be sent into the store.
  std::atomic<std::uint32_t> isDamaged;
  // Transactions behind a damaged place of the log, which are lost.
  std::atomic<std::uint32_t> lostTransactions;
  // The start of the machine that all of this is of (bootNumber).
  std::atomic<std::uint64_t> boot;
  // Frames in the log at which moving it is tried again.
  std::atomic<std::uint32_t> moveAt;
  TurnQueue writersQueue;
  TurnQueue syncersQueue;
  TurnState moreSyncers;
  TurnQueue moreSyncersQueue;
  SharedEvent syncEnds;
  // For what is stored, where it has numbers: the last one given, and up to which the store counts them as
  // given. Nothing from before the first session is there.
  std::atomic<std::int64_t> lastNumber;
  std::atomic<std::int64_t> numbersTo;
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

// For errors that may follow from a loss: what was lost, else nothing.
inline std::u16string lossNote(const StoreState* state) {
  if (state == nullptr || state->lostTransactions == 0) return {};
  return u" The store's log was damaged, and some of what had been stored is lost: see \"corvaneq check\".";
}

}  // namespace CorvaneQueue::platform_layer
