// What a store must offer to those who operate it.
#pragma once

#include "Label.h"

#include <CorvaneQueue/storeCheck.h>
#include <CorvaneQueue/Variant.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CorvaneQueue {

// A queue's waiting documents, or its journal.
struct DocumentList {
  String queue;
  bool isJournal = false;
};

// Times are seconds since 1970 in UTC.
struct StoredDocument {
  std::int64_t id = 0;
  std::int64_t position = 0;  // lists are in the order of positions
  String label;
  std::int64_t sent = 0;
  std::optional<std::int64_t> acknowledged;  // nothing when it waits, or when that is not known
  std::int64_t length = 0;                   // bytes of the body as it is stored
  bool isCompressed = false;
  bool isDamaged = false;  // the body was asked for, and is not what was sent
  Variant body;            // a text, or bytes: text in the code page or, compressed, for modCompress
};

// What a document has at least that is looked for; one that has it may still not be meant.
struct Sieve {
  std::string labelPart;  // in the stored form
  std::int64_t sentFrom = std::numeric_limits<std::int64_t>::min();
  std::int64_t sentTo = std::numeric_limits<std::int64_t>::max();
  // Of each routing field: the signs of the values that it may have; none for any.
  std::array<std::vector<std::uint16_t>, 4> signs;
  bool isAny() const noexcept { return *this != Sieve{}; }
  bool operator==(const Sieve&) const = default;
  // Whether it tells documents apart by what summaries of them have.
  bool asksForSummaries() const noexcept {
    Sieve none;
    none.labelPart = labelPart;
    return *this != none;
  }
  bool passes(const LabelSigns& given) const noexcept {
    for (std::size_t i = 0; i < signs.size(); ++i)
      if (!signs[i].empty() && std::find(signs[i].begin(), signs[i].end(), given[i]) == signs[i].end())
        return false;
    return true;
  }
  bool passes(std::int64_t firstSent, std::int64_t lastSent) const noexcept {
    return lastSent >= sentFrom && firstSent <= sentTo;
  }
  bool passes(std::string_view label, std::int64_t sent) const noexcept {
    return sent >= sentFrom && sent <= sentTo && label.find(labelPart) != std::string_view::npos;
  }
};

// How far a reader has come.
struct Looked {
  std::int64_t documents = 0;
  std::int64_t position = 0;  // of the last one
};

// What is in a queue.
struct QueueContent {
  String queue;
  std::int64_t waiting = 0;
  std::int64_t waitingBytes = 0;
  std::int64_t held = 0;  // by receivers, among those that wait
  std::int64_t acknowledged = 0;
  std::int64_t acknowledgedBytes = 0;
  std::optional<std::int64_t> oldestWaiting;  // when the first one was sent
  std::optional<std::int64_t> lastSent;
  std::optional<std::int64_t> lastAcknowledged;
  std::int32_t quota = -1;  // kilobytes, -1 for none
  std::int32_t journalQuota = -1;
};

// How far a piece of work has come that can be taken up again: stored together with what it does.
struct RunNote {
  std::string run;            // names the work; empty for none
  std::int64_t position = 0;  // behind which it goes on
  std::string replaced;       // the name of the note of this work until now, when that was another
  // In front of the queue that it puts documents into, at the end of its name: removing that queue forgets
  // it.
  static constexpr const char* intoQueue = " > ";
};

// What becomes of documents.
enum class Fate {
  Deleted,
  Acknowledged,  // as receiving them would
  Moved,         // to the waiting ones of a queue, in the order of their identifiers, which they keep
  SetAside,      // the same, of damaged ones too, which stay damaged
  Copied,        // as new documents, behind all others
};

struct Changed {
  std::int64_t done = 0;
  std::int64_t held = 0;              // by receivers: left alone
  std::vector<std::int64_t> damaged;  // left alone
};

// One session with the store that the settings name. Belongs to the thread that opened it. Errors are those
// of the store, with the queue.
class StoreOperations {
 public:
  virtual ~StoreOperations() = default;
  // An identifier as lists of the store show it: a number with so many digits at least.
  virtual std::int64_t shownNumber(std::int64_t id) const noexcept = 0;
  virtual std::size_t shownDigits() const noexcept = 0;
  // In 16-bit units, as those of a queue's name.
  virtual std::size_t longestLabel() const noexcept = 0;
  virtual std::vector<String> queues() = 0;
  // Asks for no document. Throws 5 for a queue that is not there, as do all others.
  virtual QueueContent content(const String& queue) = 0;

  enum class Bodies { Left, Read };
  enum class Direction { Forward, Backward };
  // Looks at the documents behind a position, or before it, at most `count`, and reads those that pass.
  // Disturbs nobody.
  virtual Looked read(const DocumentList& list, std::int64_t from, Direction direction, std::size_t count,
                      Bodies bodies, std::vector<StoredDocument>& documents, const Sieve& sieve = {}) = 0;
  // One by its identifier, as a number that lists show.
  virtual std::optional<StoredDocument> find(const DocumentList& list, std::int64_t shown, Bodies bodies) = 0;

  // All of these are one durable unit each.
  virtual Changed change(const DocumentList& list, std::span<const StoredDocument> documents, Fate fate,
                         const String& to, const RunNote& note) = 0;
  // With label, time and body of each; returns their identifiers, which are new.
  virtual std::vector<std::int64_t> store(const String& queue, std::span<const StoredDocument> documents,
                                          const RunNote& note) = 0;
  // The notes of runs into that queue of which the names begin so, by their positions.
  virtual std::vector<RunNote> notes(const std::string& work, const String& queue) = 0;
  virtual void forgetRun(const std::string& run) = 0;
  // For workers: counts an attempt at a document, and how many there have been; also those that a process has
  // not survived. Forgets them; or keeps why the last one failed. Documents by their numbers in lists.
  virtual std::int32_t beginAttempt(std::int64_t shown) = 0;
  virtual void endAttempts(std::int64_t shown) = 0;
  // The reason of the last failure; as many attempts count from now on.
  virtual void noteFailure(std::int64_t shown, const String& reason, std::int32_t attempts) = 0;
  // Empty for none.
  virtual String failure(std::int64_t shown) = 0;
  // Returns as soon as something may have come into the queue since this was called last; false when that
  // time has passed without a sign of it.
  virtual bool waitForChange(const String& queue, std::chrono::milliseconds longest) = 0;
  // Throws an Error for a queue that holds documents.
  virtual void removeQueue(const String& queue) = 0;

  // Gives a part of the free room back to the disk; what is left of it, in bytes.
  virtual std::int64_t compact() = 0;
};

class OperationsAccess {
 public:
  virtual ~OperationsAccess() = default;
  // Of the store of that type: "db" or "msmq". Throws an Error for a store that cannot be operated from here.
  virtual std::unique_ptr<StoreOperations> open(std::u16string_view storeType) = 0;
  // Whether the store of that type is sound; reads all of it.
  virtual StoreReport verify(std::u16string_view storeType) = 0;
  // Bytes done, of how many, 0 when that is not known. What it throws ends the work.
  using Progress = std::function<void(std::int64_t done, std::int64_t total)>;
  // Makes the directory, a copy of the installation, while others work; and puts one in its place, when
  // nobody does. Throws 5 for a directory that will not do.
  virtual void backUp(const std::filesystem::path& directory, const Progress& progress) = 0;
  virtual void restore(const std::filesystem::path& directory, const Progress& progress) = 0;
  // Settings that no other part writes, by the names of their tables and their own.
  using SettingNames = std::vector<std::u16string_view>;
  virtual void writeSetting(const SettingNames& names, const Variant& value) = 0;
  // Of the bytes that the Message Queuing store keeps. Throws an Error for a number that is none.
  virtual std::int32_t codePage() = 0;
  virtual void setCodePage(std::int32_t number) = 0;
  // What has been written to a file is on the disk.
  virtual void sync(const std::filesystem::path& file) = 0;
  // Gives a file that is whole its name; durable.
  virtual void giveName(const std::filesystem::path& part, const std::filesystem::path& name) = 0;
};

}  // namespace CorvaneQueue
