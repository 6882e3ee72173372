#include "PostgreSqlSignal.h"

#include "ConnectionPool.h"
#include "StoredText.h"

#ifdef CORVANE_WITH_LIBPQ
#include <libpq-fe.h>
#include <poll.h>
#include <unistd.h>
#endif

namespace CorvaneQueue::platform_layer {

#ifndef CORVANE_WITH_LIBPQ

std::unique_ptr<QueueSignal> postgreSqlSignal(const ServerPlace&) { return nullptr; }

#else

namespace {

using Clock = std::chrono::steady_clock;

class PostgreSqlSignal final : public QueueSignal {
 public:
  explicit PostgreSqlSignal(ServerPlace place) : place_(std::move(place)) {}

  Change wait(const String& queue, std::chrono::milliseconds longest) override {
    if (!isListening_) return listen(queue);
    pollfd socket{PQsocket(connection_.get()), POLLIN, 0};
    bool isTold = takeTold();
    if (!isTold && poll(&socket, 1, static_cast<int>(longest.count())) > 0) isTold = takeTold();
    if (PQstatus(connection_.get()) != CONNECTION_OK) {
      isListening_ = false;
      return listen(queue);
    }
    if (!isTold) return Change::None;
    work();
    return Change::Perhaps;
  }

  void work() noexcept override {
    if (!std::exchange(isListening_, false) || isInherited()) return;
    const Answer done(PQexec(connection_.get(), "SELECT dbo.\"mdqWork\"()"));
  }

 private:
  struct Finish {
    void operator()(PGconn* connection) const noexcept { PQfinish(connection); }
    void operator()(PGresult* answer) const noexcept { PQclear(answer); }
  };
  using Answer = std::unique_ptr<PGresult, Finish>;

  bool takeTold() noexcept {
    bool isTold = false;
    PQconsumeInput(connection_.get());
    while (PGnotify* const told = PQnotifies(connection_.get())) {
      PQfreemem(told);
      isTold = true;
    }
    return isTold;
  }

  Change listen(const String& queue) {
    constexpr auto pause = std::chrono::seconds(1);
    const auto now = Clock::now();
    if (now < nextTry_) return Change::CannotBeTold;
    nextTry_ = now + pause;
    if (isInherited()) static_cast<void>(connection_.release());  // its server process is the parent's
    if (!connection_ || PQstatus(connection_.get()) != CONNECTION_OK) connect();
    takeTold();  // of earlier
    const std::string name = toUtf8(queue);
    const char* const values[] = {name.c_str()};
    const Answer answer(PQexecParams(connection_.get(), "SELECT dbo.\"mdqListen\"($1)", 1, nullptr, values,
                                     nullptr, nullptr, 0));
    isListening_ = PQresultStatus(answer.get()) == PGRES_TUPLES_OK && *PQgetvalue(answer.get(), 0, 0) == 't';
    if (!isListening_) return Change::CannotBeTold;
    nextTry_ = {};
    return Change::Perhaps;
  }

  // To where the driver went, whatever its settings are.
  void connect() {
    std::string values[7] = {{}, {}, {}, {}, {}, "15", "UTF8"};
    try {
      auto connection = takeConnection(place_);
      const std::u16string& completed = connection->completed();
      for (std::size_t i = 0; i < 4; ++i) {
        constexpr std::u16string_view keywords[] = {u"SERVER", u"PORT", u"DATABASE", u"UID"};
        values[i] = toUtf8(valueOfKeyword(completed, keywords[i]));
      }
      if (values[0].empty()) values[0] = toUtf8(valueOfKeyword(completed, u"SERVERNAME"));
      giveBack(std::move(connection));
    } catch (const OdbcFailure&) {
      return;  // the next call of the store tells
    }
    values[4] = toUtf8(place_.password);
    constexpr const char* names[] = {
        "host", "port", "dbname", "user", "password", "connect_timeout", "client_encoding", nullptr};
    const char* texts[8] = {};
    for (std::size_t i = 0; i < 7; ++i) texts[i] = values[i].c_str();  // an empty one is as good as none
    connection_.reset(PQconnectdbParams(names, texts, 0));
    PQsetNoticeReceiver(
        connection_.get(), [](void*, const PGresult*) {}, nullptr);
    process_ = getpid();
  }
  bool isInherited() const noexcept { return connection_ && process_ != getpid(); }

  ServerPlace place_;
  std::unique_ptr<PGconn, Finish> connection_;
  int process_ = 0;
  bool isListening_ = false;
  Clock::time_point nextTry_;
};

}  // namespace

std::unique_ptr<QueueSignal> postgreSqlSignal(const ServerPlace& place) {
  return std::make_unique<PostgreSqlSignal>(place);
}

#endif

}  // namespace CorvaneQueue::platform_layer
