// Documents to files and back.
#include "DocumentFile.h"
#include "PublicOperations.h"
#include "StoredText.h"

namespace CorvaneQueue {

std::int32_t PublicOperations::Export(StringRef Queue, bool IsJournal, const Ref<_Filter>& Filter,
                                      StringRef File) {
  const DocumentList list = store().list(Queue, IsJournal);
  const DocumentFilter chosen = PublicFilter::of(Filter);
  begin();
  const bool isNamed = chosen.named() != nullptr;
  ExportFile file(fileNamed(File),
                  checksumText(toUtf8(std::u16string(list.queue.view()) + (IsJournal ? u" journal " : u" ") +
                                      chosen.text())),
                  isNamed ? ExportFile::Begin::Anew : ExportFile::Begin::WhereItEnded);
  forEachBatch(list, chosen, StoreOperations::Bodies::Read, {file.position(), {}},
               [&](std::span<const StoredDocument> documents, std::int64_t) {
                 for (const StoredDocument& document : documents) file.add(Queue, *store_, document);
                 return std::int64_t{0};
               });
  if (!isCancelled_) file.finish();
  return asLong(file.count());
}

std::int32_t PublicOperations::Import(StringRef File, StringRef ToQueue) {
  const DocumentList to = store().list(ToQueue, false);
  StoreOperations& session = store_->session();
  session.content(to.queue);  // it must be there
  begin();
  ImportFile file(fileNamed(File));
  // The same file is that which begins with what was imported of it, whatever it is called by now.
  ResumableRun run(store_, "import", checksumText(file.firstLine()), to.queue);
  const auto earlier = run.earlier();
  std::vector<std::pair<std::int64_t, std::string>> places;
  for (const auto& place : earlier) places.emplace_back(place.position, place.mark);
  if (const auto last = file.goOn(places)) {
    run.takeUp(earlier[*last]);
    if (startsAnew_) file = ImportFile(fileNamed(File));
  }
  before_ = file.line();
  std::int64_t done = 0;
  std::vector<StoredDocument> documents;
  while (!isCancelled_ && file.next(batchCount, ToQueue, *store_, documents)) {
    session.store(to.queue, documents, run.noteAt(file.position(), file.checksum()));
    done += std::ssize(documents);
    progress(done, 0);
  }
  end(std::move(run));
  return asLong(done);
}

}  // namespace CorvaneQueue
