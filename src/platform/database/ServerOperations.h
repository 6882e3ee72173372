// The message store on a database server for those who operate it: by procedures beside the six of the store.
#pragma once

#include "ServerAccess.h"

namespace CorvaneQueue::platform_layer {

class ServerOperations final : public StoreOperations {
 public:
  // The access must outlive it.
  explicit ServerOperations(ServerAccess& access) : access_(access), session_(access.connect()) {}
  std::int64_t shownNumber(std::int64_t id) const noexcept override { return id; }
  std::size_t shownDigits() const noexcept override { return 19; }
  std::size_t longestLabel() const noexcept override { return longestText; }
  std::vector<String> queues() override;
  QueueContent content(const String& queue) override;
  Looked read(const DocumentList& list, std::int64_t from, Direction direction, std::size_t count,
              Bodies bodies, std::vector<StoredDocument>& documents, const Sieve& sieve) override;
  std::optional<StoredDocument> find(const DocumentList& list, std::int64_t shown, Bodies bodies) override;
  Changed change(const DocumentList& list, std::span<const StoredDocument> documents, Fate fate,
                 const String& to, const RunNote& note) override;
  std::vector<std::int64_t> store(const String& queue, std::span<const StoredDocument> documents,
                                  const RunNote& note) override;
  std::vector<RunNote> notes(const std::string& work, const String& queue) override;
  void forgetRun(const std::string& run) override;
  std::int32_t beginAttempt(std::int64_t shown) override;
  void endAttempts(std::int64_t shown) override;
  void noteFailure(std::int64_t shown, const String& reason, std::int32_t attempts) override;
  String failure(std::int64_t shown) override;
  bool waitForChange(const String& queue, std::chrono::milliseconds longest) override;
  void removeQueue(const String& queue) override;
  // Throws 100: the server does it by itself.
  std::int64_t compact() override;

 private:
  static constexpr std::int32_t longestText = 250;  // of a label or a name
  StoreSession& session();
  std::unique_ptr<Recordset> call(std::u16string_view procedure, std::vector<Parameter> parameters);
  // The outputs of a procedure are its row.
  std::int64_t number(std::u16string_view procedure, std::vector<Parameter> parameters);
  void note(const RunNote& note);
  template <class Work>
  void asOne(const Work& work);

  ServerAccess& access_;
  std::shared_ptr<StoreSession> session_;
  std::unique_ptr<QueueSignal> signal_;
  bool isAskedForSignal_ = false;
};

}  // namespace CorvaneQueue::platform_layer
