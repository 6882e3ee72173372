// The driver for database servers, as a module that is loaded when an engine on a server is set.
#include "OdbcSession.h"
#include "PostgreSqlSignal.h"

#include <cstring>

namespace CorvaneQueue::platform_layer {

namespace {

class OdbcDriver final : public ServerDriver {
  std::shared_ptr<StoreSession> connect(const ServerPlace& place) override {
    return std::make_shared<OdbcSession>(place);
  }
  void run(const ServerPlace& place, std::u16string_view script) override {
    OdbcSession session(place);
    session.BeginTrans();
    for (std::size_t at = 0; at < script.size();) {
      constexpr std::u16string_view end = u"\nGO\n";
      const auto found = std::min(script.find(end, at), script.size());
      session.execute(script.substr(at, found - at));
      at = found + end.size();
    }
    session.CommitTrans();
  }
  std::vector<String> ask(const ServerPlace& place, std::u16string_view sql) override {
    OdbcSession session(place);
    std::vector<String> answers;
    for (const auto rows = session.execute(sql); rows && !rows->EndOfFile(); rows->MoveNext())
      answers.push_back(toString(rows->Field(0).get()));
    return answers;
  }
  std::unique_ptr<QueueSignal> signal(const ServerPlace& place) override {
    return place.engine == ServerEngine::PostgreSql ? postgreSqlSignal(place) : nullptr;
  }
};

}  // namespace

extern "C" CORVANE_API ServerDriver* corvaneServerDriver(const char* version) {
  static OdbcDriver driver;
  return std::strcmp(version, serverDriverVersion) == 0 ? &driver : nullptr;
}

}  // namespace CorvaneQueue::platform_layer
