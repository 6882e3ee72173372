// A session with a message store on a database server.
#pragma once

#include "OdbcConnection.h"
#include "ServerDriver.h"

#include <functional>

namespace CorvaneQueue::platform_layer {

// The server's transaction begins with the first statement; until then nothing is lost with a connection.
// Errors name server and database.
class OdbcSession final : public StoreSession {
 public:
  explicit OdbcSession(ServerPlace place) : place_(std::move(place)) {}
  ~OdbcSession() override;

  ObjectStateEnum State() const override {
    return isLost_ || (isStarted_ && connection_->isInherited()) ? adStateClosed : adStateOpen;
  }
  std::int32_t BeginTrans() override;
  void CommitTrans() override;
  void RollbackTrans() override;
  std::unique_ptr<Recordset> query(std::u16string_view text, std::int32_t seconds) override;
  std::unique_ptr<Recordset> call(std::u16string_view procedure, std::span<Parameter> parameters,
                                  std::int32_t seconds) override;
  std::unique_ptr<Recordset> call(std::u16string_view procedure,
                                  const std::shared_ptr<std::vector<Parameter>>& parameters,
                                  std::int32_t seconds) override;
  // A text that is made for the server.
  std::unique_ptr<Recordset> execute(std::u16string_view text);

 private:
  // `before` is to be executed first, in the same round trip where that can be.
  using Work =
      std::function<std::unique_ptr<RowsInMemory>(OdbcConnection& connection, std::u16string_view before)>;
  std::unique_ptr<RowsInMemory> run(const Work& work);
  std::unique_ptr<RowsInMemory> runInside(const Work& work);
  OdbcConnection& connection();
  std::u16string begin();
  void drop() noexcept;
  void mustStand() const;
  std::u16string told(const Diagnosis& diagnosis) const;
  FailureKind kindOf(const Diagnosis& diagnosis) const;
  [[noreturn]] void fail(FailureKind kind, const Diagnosis& diagnosis) const;
  [[noreturn]] void lose(const Diagnosis& diagnosis);
  std::u16string shown() const;
  // A document that alone is sent in a transaction, under a key that nobody else has.
  struct Send {
    std::weak_ptr<std::vector<Parameter>> parameters;
    std::u16string key;
    std::int32_t seconds;
  };
  bool takesSenderKeys();
  std::unique_ptr<Recordset> sendOnce(std::vector<Parameter>& parameters, const Send& send);
  bool isSentAgain(const Send& send);

  ServerPlace place_;
  std::unique_ptr<OdbcConnection> connection_;
  std::int32_t level_ = 0;
  bool isStarted_ = false;  // the server's transaction
  // Of the statement before. Two names take turns: going back to one that was not set must fail.
  std::u16string_view mark_;
  bool isLost_ = false;
  std::optional<Send> send_;  // all that the transaction has done
};

}  // namespace CorvaneQueue::platform_layer
