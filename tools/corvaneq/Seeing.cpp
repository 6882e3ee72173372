#include "Documents.h"
#include "OnServers.h"
#include "Operating.h"
#include "Output.h"

#include <chrono>
#include <cmath>
#include <ctime>
#include <iostream>
#include <thread>

namespace corvaneq {

using namespace CorvaneQueue;

namespace {

std::string utc(const std::optional<Date>& time) { return time ? utcText(*time) : ""; }

std::int64_t ageOf(const std::optional<Date>& time) {
  if (!time) return 0;
  constexpr double dayOf1970 = 25569;
  const double sent = (time->value - dayOf1970) * 86400;
  return std::max<std::int64_t>(0, std::time(nullptr) - std::llround(sent));
}

std::vector<std::string> allQueues() {
  std::vector<std::string> names;
  for (const auto& queue : create<Queues>()) names.push_back(toUtf8(queue->Name()));
  return names;
}

Row rowOf(const std::string& queue, const Statistics& statistics) {
  return {{"queue", queue},
          {"waiting", std::int64_t{statistics->Waiting()}},
          {"held", std::int64_t{statistics->Held()}},
          {"journal", std::int64_t{statistics->Acknowledged()}},
          {"waitingBytes", statistics->WaitingBytes()},
          {"journalBytes", statistics->AcknowledgedBytes()},
          {"oldestSeconds", ageOf(statistics->OldestWaiting())},
          {"lastSent", utc(statistics->LastSent())},
          {"lastAcknowledged", utc(statistics->LastAcknowledged())},
          {"quotaKilobytes", std::int64_t{statistics->Quota()}},
          {"journalQuotaKilobytes", std::int64_t{statistics->JournalQuota()}}};
}

Row rowOf(const Document& document) {
  Row row{{"id", toUtf8(document->ID())},
          {"sent", utc(document->SentTime())},
          {"length", std::int64_t{document->Length()}},
          {"label", toUtf8(document->Label())}};
  if (const auto acknowledged = document->AcknowledgedTime())
    row.insert(row.begin() + 2, {"acknowledged", utc(acknowledged)});
  if (!usesJson()) return row;
  row.emplace_back("msgType", toUtf8(document->MsgType()));
  row.emplace_back("msgId", toUtf8(document->MsgID()));
  row.emplace_back("object", toUtf8(document->Object()));
  row.emplace_back("objectId", toUtf8(document->ObjectID()));
  if (const String failure = document->Failure(); !failure.empty())
    row.emplace_back("failure", toUtf8(failure));
  return row;
}

template <class Use>
std::int64_t forEach(const Documents& found, Use use) {
  std::int64_t count = 0;
  while (found->NextPage())
    for (const Document& document : found) {
      ++count;
      if (!use(document)) return count;
    }
  return count;
}

}  // namespace

void statistics(const std::vector<std::string>& named, bool isWatching) {
  for (const std::string& queue : named) mustBeThere(queue);
  const auto operations = create<Operations>();
  bool isFirst = true;
  while (true) {
    for (const std::string& queue : named.empty() ? allQueues() : named) {
      const Row row = rowOf(queue, operations->Statistics(argument("queue name", queue)));
      Row names;
      for (const auto& [name, field] : row) names.emplace_back(name, std::string(name));
      if (std::exchange(isFirst, false) && !usesJson()) print(names);
      print(row);
    }
    if (!isWatching) return;
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
}

void metrics(const std::string& file) {
  if (usesJson())
    throw WrongUsage("metrics prints the text format of Prometheus; \"stat --json\" has the same as JSON.");
  struct Metric {
    const char* name;
    const char* help;
    const char* of;
  };
  constexpr Metric all[] = {
      {"corvane_waiting_documents", "Documents that wait.", "waiting"},
      {"corvane_held_documents", "Documents that receivers hold.", "held"},
      {"corvane_journal_documents", "Documents in the journal.", "journal"},
      {"corvane_waiting_bytes", "Bytes of the documents that wait.", "waitingBytes"},
      {"corvane_journal_bytes", "Bytes of the documents in the journal.", "journalBytes"},
      {"corvane_oldest_waiting_seconds", "Age of the oldest document that waits.", "oldestSeconds"},
  };
  const auto operations = create<Operations>();
  std::vector<Row> rows;
  for (const std::string& queue : allQueues())
    rows.push_back(rowOf(queue, operations->Statistics(argument("queue name", queue))));
  std::string text;
  for (const Metric& metric : all) {
    text += std::string("# HELP ") + metric.name + " " + metric.help + "\n# TYPE " + metric.name + " gauge\n";
    for (const Row& row : rows) {
      std::string queue;
      for (const char c : std::get<std::string>(row.front().second)) {
        if (c == '"' || c == '\\') queue += '\\';
        queue += c;
      }
      for (const auto& [name, field] : row)
        if (std::string_view(name) == metric.of)
          text += std::string(metric.name) + "{queue=\"" + queue + "\"} " +
                  std::to_string(std::get<std::int64_t>(field)) + "\n";
    }
  }
  if (file.empty())
    std::cout << text << std::flush;
  else
    writeFile(file, text);
}

void findDocuments(const Selection& selection, const FindOptions& options) {
  mustBeThere(selection.queue);
  if (isOnServer(selection)) return listOnServer(selection);
  const auto operations = create<Operations>();
  const auto found = operations->Search(argument("queue name", selection.queue), selection.isJournal,
                                        selection.filter(operations));
  found->Backward(options.isBackward);
  std::int64_t left = options.limit;
  forEach(found, [&](const Document& document) {
    Row row = rowOf(document);
    if (options.isWithBodies) row.emplace_back("body", toUtf8(document->Body()));
    print(row);
    return --left != 0;
  });
}

}  // namespace corvaneq
