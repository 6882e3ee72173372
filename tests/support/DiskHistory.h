// What processes do to the files below a directory, in order, and what a power cut leaves of it.
#pragma once

#include "Faults.h"

#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace disk {

// The mark after which everything so far is on the disk.
inline constexpr std::string_view settled = "settled";

struct Record {
  enum Kind { Write, Resize, Make, MakeDirectory, Move, Sync, FailedSync, Mark };
  Kind kind;
  ino_t file;
  std::size_t number;     // Write: where; Resize: the size; of a sync: how many records there were before it
  std::string_view text;  // Write: the bytes; Mark: the text; else the path
  std::string_view to;    // Move: the new path, or nothing
};

// Records what this process and those that it forks do, in memory that they share.
class History final : public faults::Observer {
 public:
  explicit History(std::string root)
      : root_(std::move(root)),
        shared_(static_cast<Shared*>(::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                                            MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))) {
    faults::observer = this;
  }
  ~History() override {
    end();
    ::munmap(shared_, sizeof(Shared));
  }
  History(const History&) = delete;
  void end() { faults::observer = nullptr; }
  void mark(std::string_view text) {
    const Turn turn(*shared_);
    add(Record::Mark, 0, 0, text);
  }
  // That sync of what was written to a log fails, for each process that has the log open then.
  void failLogSync(int which) { shared_->untilFailure = which; }
  std::span<const Record> records() const { return {shared_->records, shared_->count}; }

  long during(const faults::Call& call, const std::function<long()>& perform) override {
    using faults::Call;
    const std::string path = call.path != nullptr ? call.path : pathOf(call.descriptor);
    if (!path.starts_with(root_)) return perform();
    struct stat before {
    }, after{};
    const auto look = [&](struct stat& status) {
      return call.path != nullptr ? ::stat(call.path, &status) : ::fstat(call.descriptor, &status);
    };
    std::optional<Turn> turn(*shared_);
    look(before);
    if (call.kind == Call::Sync) {
      const std::size_t begun = shared_->count;
      const bool isLog = path.ends_with("-wal");
      if (isLog && isUnsynced(before.st_ino) && --shared_->untilFailure == 0) {
        add(Record::FailedSync, before.st_ino, begun, path);
        ++shared_->failures;
      }
      turn.reset();  // what others write meanwhile is not in it
      ::usleep(100);
      if (perform() != 0) return -1;
      turn.emplace(*shared_);
      if (isLog && std::exchange(failuresSeen_, shared_->failures) != shared_->failures)
        return errno = EIO, -1;
      add(Record::Sync, before.st_ino, begun, path);
      return 0;
    }
    const long result = perform();
    const int reason = errno;
    look(after);
    if (call.kind == Call::Open && path.ends_with("-wal")) failuresSeen_ = shared_->failures;
    if (call.kind == Call::Write && result > 0) {
      const long place = call.offset >= 0 ? call.offset : ::lseek(call.descriptor, 0, SEEK_CUR) - result;
      add(Record::Write, after.st_ino, static_cast<std::size_t>(place),
          {static_cast<const char*>(call.bytes), static_cast<std::size_t>(result)});
    } else if ((call.kind == Call::Rename || call.kind == Call::Remove) && result == 0) {
      add(Record::Move, before.st_ino, 0, path, call.newPath != nullptr ? call.newPath : "");
    } else if (before.st_ino != after.st_ino) {
      add(call.kind == Call::Open ? Record::Make : Record::MakeDirectory, after.st_ino, 0, path);
    } else if (before.st_size != after.st_size) {
      add(Record::Resize, after.st_ino, static_cast<std::size_t>(after.st_size), path);
    }
    errno = reason;
    return result;
  }

 private:
  struct Shared {
    std::atomic_flag isTaken;
    int untilFailure, failures;
    std::size_t count, used;
    Record records[1 << 18];
    char bytes[1 << 29];
  };
  struct Turn {
    explicit Turn(Shared& shared) : isTaken(shared.isTaken) {
      while (isTaken.test_and_set()) ::sched_yield();
    }
    ~Turn() { isTaken.clear(); }
    std::atomic_flag& isTaken;
  };
  bool isUnsynced(ino_t file) const {
    for (std::size_t i = shared_->count; i-- > 0;)
      if (const Record& record = shared_->records[i]; record.file == file)
        return record.kind == Record::Write;
    return false;
  }
  void add(Record::Kind kind, ino_t file, std::size_t number, std::string_view text,
           std::string_view to = {}) {
    if (shared_->count == std::size(shared_->records) ||
        shared_->used + text.size() + to.size() > sizeof shared_->bytes)
      std::abort();
    shared_->records[shared_->count++] = {kind, file, number, kept(text), kept(to)};
  }
  std::string_view kept(std::string_view text) {
    char* const copy = shared_->bytes + shared_->used;
    shared_->used += text.copy(copy, text.size());
    return {copy, text.size()};
  }
  static std::string pathOf(int descriptor) {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), ignored);
  }

  std::string root_;
  Shared* shared_;
  int failuresSeen_ = 0;  // by this process
};

// The disk after the first records of a history. What was synced is on it; of each sector written since, any
// state may be, as may each new size, and each change of a directory that was not synced.
class Disk {
 public:
  void take(const Record& record) {
    ++now_;
    auto& file = files_[record.file];
    switch (record.kind) {
      case Record::Write: write(*file, record.number, record.text); break;
      case Record::Resize:
        if (const auto old = file->sizes.rbegin()->second; record.number < old)
          write(*file, record.number, std::string(old - record.number, '\0'));
        file->sizes[now_] = record.number;
        break;
      case Record::Make:
      case Record::MakeDirectory:  // the number may have been another file's before
        file = std::make_shared<File>();
        file->isDirectory = record.kind == Record::MakeDirectory;
        changes_.push_back({now_, file, {}, record.text});
        break;
      case Record::Move: changes_.push_back({now_, file, record.text, record.to}); break;
      case Record::Sync:
        if (file) sync(*file, record.number);
        settleChanges([&](const Change& change) {
          return change.at <= record.number &&
                 (change.from.parent_path() == record.text || change.to.parent_path() == record.text);
        });
        break;
      case Record::FailedSync: file->lostUpTo = record.number; break;
      case Record::Mark:
        if (record.text != settled) break;
        for (auto& [number, other] : files_)
          if (other) sync(*other, now_);
        settleChanges([](const Change&) { return true; });
        break;
    }
  }
  // Makes the files as a cut may leave them. `newest`: how likely each part is as it was written last.
  void writeFiles(double newest, std::mt19937& random) const {
    const auto choose = [&](const auto& versions, std::size_t before) {
      std::size_t count = 1;
      while (count < versions.size() && std::next(versions.begin(), static_cast<long>(count))->first < before)
        ++count;
      const bool isNewest = count == 1 || std::bernoulli_distribution(newest)(random);
      return std::next(versions.begin(), static_cast<long>(isNewest ? count - 1 : random() % count));
    };
    auto entries = entries_;
    for (const Change& change : changes_)
      if (std::bernoulli_distribution(newest)(random)) change.apply(entries);
    for (const auto& [path, file] : entries) {  // a directory comes before what is in it
      if (!std::filesystem::exists(path.parent_path())) continue;
      if (file->isDirectory) {
        std::filesystem::create_directory(path);
        continue;
      }
      std::string content;
      const auto chosen = choose(file->sizes, now_ + 1);
      const std::size_t size = chosen->second;
      // As long as it is not cut off on the disk, a file has its bytes there.
      const auto cut = std::adjacent_find(chosen, file->sizes.cend(), [](const auto& one, const auto& next) {
        return next.second < one.second;
      });
      const std::size_t before = cut == file->sizes.cend() ? now_ + 1 : std::next(cut)->first;
      for (const auto& [at, versions] : file->sectors)
        content.resize(at, '\0'), content += choose(versions, before)->second;
      content.resize(std::min(size, content.size()));
      if (path.native().ends_with("-shm") || path.filename() == "generation")  // shared memory: anything
        for (char& byte : content) byte = static_cast<char>(random());
      std::ofstream(path, std::ios::binary) << content;
      std::filesystem::resize_file(path, size);
    }
  }

 private:
  static constexpr std::size_t sectorSize = 512;
  template <class Value>
  using Versions = std::map<std::size_t, Value>;  // by the time when written; the first one is on the disk
  struct File {
    bool isDirectory = false;
    Versions<std::size_t> sizes{{0, 0}};
    std::map<std::size_t, Versions<std::string>> sectors;  // by their place
    std::size_t lostUpTo = 0;
  };
  using Entries = std::map<std::filesystem::path, std::shared_ptr<File>>;
  struct Change {
    std::size_t at;
    std::shared_ptr<File> file;
    std::filesystem::path from, to;  // nothing: it is made, or removed
    void apply(Entries& entries) const {
      entries.erase(from);
      if (!to.empty()) entries[to] = file;
    }
  };

  void write(File& file, std::size_t at, std::string_view bytes) {
    if (at + bytes.size() > file.sizes.rbegin()->second) file.sizes[now_] = at + bytes.size();
    for (std::size_t count; !bytes.empty(); bytes.remove_prefix(count), at += count) {
      auto& versions = file.sectors[at - at % sectorSize];
      if (versions.empty()) versions[0] = std::string(sectorSize, '\0');
      std::string& sector = versions[now_] = versions.rbegin()->second;
      count = bytes.copy(sector.data() + at % sectorSize, sectorSize - at % sectorSize);
    }
  }
  // What was taken for clean after a failed sync is written only when it has been changed again.
  static void sync(File& file, std::size_t time) {
    const auto settle = [&](auto& versions, std::size_t lostUpTo) {
      const auto changed = versions.upper_bound(lostUpTo), end = versions.upper_bound(time);
      if (changed != end) versions.erase(versions.begin(), std::prev(end));
    };
    settle(file.sizes, 0);
    for (auto& [at, versions] : file.sectors) settle(versions, file.lostUpTo);
  }
  template <class Condition>
  void settleChanges(Condition&& isSynced) {
    std::erase_if(changes_, [&](const Change& change) {
      const bool is = isSynced(change);
      if (is) change.apply(entries_);
      return is;
    });
  }

  std::size_t now_ = 0;
  std::map<ino_t, std::shared_ptr<File>> files_;
  Entries entries_;
  std::vector<Change> changes_;
};

}  // namespace disk
