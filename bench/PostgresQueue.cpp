#include "PostgresQueue.h"

#include <libpq-fe.h>
#include <unistd.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace postgres {

namespace {

struct Finish {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};
using Connection = std::shared_ptr<PGconn>;

Connection connect(const std::string& directory) {
  const Connection connection(PQconnectdb(("host=" + directory + " dbname=postgres user=bench").c_str()),
                              Finish());
  if (PQstatus(connection.get()) != CONNECTION_OK) {
    std::fprintf(stderr, "PostgreSQL: %s\n", PQerrorMessage(connection.get()));
    std::_Exit(1);
  }
  return connection;
}

// Returns the number of affected rows.
int done(const Connection& connection, PGresult* result) {
  const auto status = PQresultStatus(result);
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
    std::fprintf(stderr, "PostgreSQL: %s\n", PQerrorMessage(connection.get()));
    std::_Exit(1);
  }
  const int rows = std::atoi(PQcmdTuples(result));
  PQclear(result);
  return rows;
}
void execute(const Connection& connection, const std::string& sql) {
  done(connection, PQexec(connection.get(), sql.c_str()));
}

// As that user when this runs as root, which the server refuses.
std::string asOwner(const std::string& command) {
  return (getuid() == 0 ? "runuser -u postgres -- " : "") + command + " > /dev/null 2>&1";
}
std::string programs() {
  for (const auto& version : std::filesystem::directory_iterator("/usr/lib/postgresql"))
    if (std::filesystem::exists(version.path() / "bin/initdb"))
      return (version.path() / "bin").string() + "/";
  return {};
}

}  // namespace

std::unique_ptr<Server> Server::start(std::string& why) {
  std::error_code error;
  if (!std::filesystem::exists("/usr/lib/postgresql", error) || programs().empty()) {
    why = "PostgreSQL's server is not installed (Debian package postgresql)";
    return nullptr;
  }
  std::string pattern = (std::filesystem::current_path() / "bench-postgres-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) std::exit(1);
  std::filesystem::permissions(pattern, std::filesystem::perms::all);
  const std::string data = pattern + "/data";
  const std::string create = programs() + "initdb -D " + data + " -A trust -U bench";
  const std::string run = programs() + "pg_ctl -D " + data + " -w -l " + pattern + "/log -o \"-k " + pattern +
                          " -c listen_addresses=''\" start";
  if (std::system(asOwner(create).c_str()) != 0 || std::system(asOwner(run).c_str()) != 0) {
    why = "PostgreSQL's server does not start in " + pattern;
    return nullptr;
  }
  return std::unique_ptr<Server>(new Server(pattern));
}

Server::~Server() {
  static_cast<void>(
      std::system(asOwner(programs() + "pg_ctl -D " + directory_ + "/data -m immediate stop").c_str()));
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

void Server::prepare(int count, std::size_t size) {
  const auto connection = connect(directory_);
  execute(connection, "SET client_min_messages = warning");
  execute(connection, "DROP TABLE IF EXISTS message");
  execute(connection, "CREATE TABLE message (id bigserial PRIMARY KEY, body bytea NOT NULL)");
  execute(connection, "INSERT INTO message (body) SELECT decode(repeat('78', " + std::to_string(size) +
                          "), 'hex') FROM generate_series(1, " + std::to_string(count) + ")");
  execute(connection, "VACUUM ANALYZE message");
  execute(connection, "CHECKPOINT");
}

workers::Step Server::sender(std::size_t size) const {
  const auto connection = connect(directory_);
  done(connection, PQprepare(connection.get(), "send", "INSERT INTO message (body) VALUES ($1)", 1, nullptr));
  return [connection, body = std::string(size, 'x')] {
    const char* const values[] = {body.data()};
    const int lengths[] = {static_cast<int>(body.size())};
    constexpr int binary[] = {1};
    return done(connection, PQexecPrepared(connection.get(), "send", 1, values, lengths, binary, 1)) == 1;
  };
}

workers::Step Server::receiver() const {
  const auto connection = connect(directory_);
  done(connection, PQprepare(connection.get(), "receive",
                             "DELETE FROM message WHERE id = (SELECT id FROM message ORDER BY id LIMIT 1"
                             " FOR UPDATE SKIP LOCKED) RETURNING body",
                             0, nullptr));
  return [connection] {
    return done(connection, PQexecPrepared(connection.get(), "receive", 0, nullptr, nullptr, nullptr, 1)) ==
           1;
  };
}

std::string Server::storeSettings() const {
  return "[Platform.MessageStore]\nEngine = \"postgresql\"\nConnection = \"Driver=PostgreSQL Unicode;Server=" +
         directory_ + ";Database=postgres;UID=bench\"\n";
}

namespace {
// Before each call but the first of a transaction, as the library does it.
void mark(const Connection& connection, bool hasSavepoints, int call) {
  if (hasSavepoints && call > 0)
    execute(connection, call > 1 ? "RELEASE SAVEPOINT s; SAVEPOINT s" : "SAVEPOINT s");
}
}  // namespace

workers::Step Server::storeSender(std::size_t size, int documents, bool hasSavepoints) const {
  const auto connection = connect(directory_);
  done(connection, PQprepare(connection.get(), "send",
                             "SELECT * FROM dbo.\"mdqCreateMessageOnce\"('idoc', 'Orders', '', "
                             "date_trunc('second', now() AT TIME ZONE 'UTC')::timestamp, $1, $2)",
                             2, nullptr));
  return [=, body = std::string(size, 'x')] {
    // A key for the first document of a transaction, as the library gives one.
    char key[40];
    const auto now = std::chrono::system_clock::now().time_since_epoch().count();
    std::snprintf(key, sizeof key, "%016lx%016x", static_cast<unsigned long>(now), getpid());
    execute(connection, "BEGIN");
    for (int i = 0; i < documents; ++i) {
      mark(connection, hasSavepoints, i);
      const char* const values[] = {body.c_str(), i == 0 ? key : nullptr};
      done(connection, PQexecPrepared(connection.get(), "send", 2, values, nullptr, nullptr, 0));
    }
    execute(connection, "COMMIT");
    return true;
  };
}

workers::Step Server::storeReceiver(int documents, bool hasSavepoints) const {
  const auto connection = connect(directory_);
  done(connection,
       PQprepare(connection.get(), "receive",
                 "SELECT * FROM dbo.\"mdqGetMessagesTrans\"('Orders', 1, '1899-12-31')", 0, nullptr));
  done(connection, PQprepare(connection.get(), "acknowledge", "SELECT dbo.\"mdqAckReceive\"($1, 2::smallint)",
                             1, nullptr));
  return [=] {
    execute(connection, "BEGIN");
    bool isThere = true;
    for (int i = 0; isThere && i < documents; ++i) {
      mark(connection, hasSavepoints, 2 * i);
      PGresult* const found = PQexecPrepared(connection.get(), "receive", 0, nullptr, nullptr, nullptr, 0);
      isThere = PQntuples(found) > 0;
      if (isThere) {
        const char* const values[] = {PQgetvalue(found, 0, 0)};
        mark(connection, hasSavepoints, 2 * i + 1);
        done(connection, PQexecPrepared(connection.get(), "acknowledge", 1, values, nullptr, nullptr, 0));
      }
      done(connection, found);
    }
    execute(connection, "COMMIT");
    return isThere;
  };
}

int Server::storeListing() const {
  const auto connection = connect(directory_);
  PGresult* const found = PQexec(
      connection.get(),
      "SELECT m.\"MessageID\", m.\"Description\", m.\"CreateTimestamp\", t.\"Name\", m.\"Body\""
      "  FROM dbo.\"mdqMessage\" m JOIN dbo.\"mdqMessageType\" t ON t.\"MessageTypeID\" = m.\"MessageTypeID\""
      " WHERE t.\"Name\" = 'idoc' AND t.\"Queue\" = 'Orders' ORDER BY m.\"MessageID\"");
  const int count = PQntuples(found);
  done(connection, found);
  return count;
}

void Server::settle() const {
  const auto connection = connect(directory_);
  execute(connection, "VACUUM ANALYZE");
  execute(connection, "CHECKPOINT");
}

}  // namespace postgres
