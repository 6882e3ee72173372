// The commands about documents.
#include "Commands.h"

#include "Documents.h"
#include "Output.h"
#include "System.h"

#include <CorvaneQueue/codePage.h>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <thread>
#include <utility>

namespace corvaneq {

using namespace CorvaneQueue;

namespace {

// Refuses a text of which the store would keep "?" in some places.
void mustBeKept(const Queue& queue, const std::string& what, std::u16string_view text) {
  if (!usesMessageQueuing() || queue->CompressMessages()) return;
  const auto lost = firstOutsideCodePage(text);
  if (!lost) return;
  char code[16];
  std::snprintf(code, sizeof code, "U+%04X", static_cast<unsigned>(text[*lost]));
  refuse(what + " is not text in the code page of this installation: character " + std::to_string(*lost + 1) +
         " (" + code + ") does not fit. Nothing was sent.");
}

}  // namespace

void send(const std::string& queueName, const std::vector<std::string>& files, const std::string& encoding,
          const RoutingOptions& routing) {
  std::vector<String> documents;  // all are read before the first is sent: a bad file sends none
  for (const std::string& file : files) documents.push_back(readDocument(file, encoding));
  const auto queue = openQueue(queueName);
  queue->MsgType(argument("message type", routing.msgType));
  queue->MsgID(argument("message identifier", routing.msgID));
  queue->Object(argument("object", routing.object));
  queue->ObjectID(argument("object identifier", routing.objectID));
  for (std::size_t i = 0; i < files.size(); ++i) mustBeKept(queue, '"' + files[i] + '"', documents[i]);
  const auto operations = isStoreOnServer() ? Operations() : create<Operations>();
  Progress progress(files.size());
  for (std::size_t i = 0; i < files.size(); ++i) {
    Row row{{"action", "sent"}, {"file", files[i]}};
    if (operations)
      row.emplace_back("id", toUtf8(operations->Send(queue, documents[i])));
    else
      queue->SendDocument(documents[i]);
    print(row);
    progress.step();
  }
}

namespace {

// The next document of a queue, or nothing: by polling, or by arrival where the store announces them.
class Receiver {
 public:
  struct Document {
    String id, label, body;
  };
  explicit Receiver(const Queue& queue) : queue_(queue), isByArrival_(usesMessageQueuing()) {
    if (!isByArrival_) return;
    arrival_ = queue_->evtArrived([this](String& body, String& id) { arrived_ = Document{id, {}, body}; });
    queue_->ReceiveEnable();
  }
  // Waits a moment, or without end. After a document it must be acknowledged before the next one comes.
  std::optional<Document> next(bool isEndless = false) {
    if (!isByArrival_) {
      auto message = queue_->ReceiveNext();
      for (; isEndless && !message; message = queue_->ReceiveNext())
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
      if (!message) return std::nullopt;
      return Document{message->ID(), message->Label(), message->Body()};
    }
    arrived_.reset();
    using namespace std::chrono;
    const auto end = steady_clock::now() + milliseconds(300);
    while (!arrived_ && (isEndless || steady_clock::now() < end)) {
      Apartment::current().pump(milliseconds(isEndless ? 1000 : 50));
      if (!arrived_) lookForFailure();
    }
    return std::exchange(arrived_, std::nullopt);
  }
  bool isByArrival() const noexcept { return isByArrival_; }

 private:
  // A document that arrives and cannot be read is not announced: it stays in the transaction. Reading it
  // tells why. Somebody else may have taken it, too.
  void lookForFailure() {
    if (queue_->Transaction().get().pdispVal == nullptr) return;
    queue_->Abort();
    const auto messages = listedQueue(toUtf8(queue_->Name()))->Messages();
    messages->Refresh();
    if (messages->Count() > 0) static_cast<void>(messages->Item(1)->Body());
    queue_->ReceiveEnable();
  }

  Queue queue_;
  bool isByArrival_;
  std::optional<Document> arrived_;
  Subscription arrival_;
};

}  // namespace

int receive(const std::string& queueName, const ReceiveOptions& options) {
  mustBeThere(queueName);
  const auto queue = openQueue(queueName);
  const std::filesystem::path directory = fileNamed(options.directory);
  // Files are written at once, so that a transaction can keep other receivers off the document. A
  // reader of standard output may take its time: nobody waits for it.
  Receiver receiver(queue);
  const bool isShared = options.acknowledge && !directory.empty() && !receiver.isByArrival();
  const int count = options.count.value_or(1);
  Progress progress(static_cast<std::size_t>(count));
  int received = 0;
  for (; count == 0 || received < count; ++received) {
    if (isShared) queue->BeginTransaction();
    const auto document = receiver.next(options.isWatching);
    if (!document) break;
    const auto& [identifier, label, body] = *document;
    const auto file = directory / (shownID(identifier) + ".txt");
    if (!directory.empty()) {
      writeDocument(file, body);
    } else if (options.isWatching || (usesJson() && receiver.isByArrival())) {
      print({{"id", shownID(identifier)}, {"body", toUtf8(body)}});  // an arrival tells no label
    } else if (usesJson()) {
      print({{"id", shownID(identifier)}, {"label", toUtf8(label)}, {"body", toUtf8(body)}});
    } else {
      std::cout << toUtf8(body) << std::flush;
      if (!std::cout) refuse("Standard output cannot be written; the document stays in the queue.");
    }
    if (options.acknowledge) queue->AcknowledgeDocument(identifier);
    if (isShared) queue->Commit();
    if (!directory.empty()) print({{"id", shownID(identifier)}, {"file", nameOf(file)}});
    progress.step();
  }
  return received;
}

void acknowledge(const std::string& queue, const std::string& identifier) {
  mustBeThere(queue);
  if (usesMessageQueuing()) {  // which knows no other way to acknowledge one chosen document
    const auto chosen = listedQueue(queue);
    chosen->AcknowledgeMessage(find(queue, identifier, Among::Waiting));
    print({{"action", "acknowledged"}, {"id", identifier}});
    return;
  }
  try {
    openQueue(queue)->AcknowledgeDocument(argument("identifier", identifier));
  } catch (const Error& error) {
    if (error.number() == ErrorNumber::InvalidArgument) throw NotThere(error.what());
    if (error.number() == ErrorNumber::TypeMismatch || error.number() == ErrorNumber::Overflow)
      throw NotThere("There is no document \"" + identifier + "\": identifiers are whole numbers.");
    throw;
  }
  print({{"action", "acknowledged"}, {"id", identifier}});
}

namespace {
Row rowOf(const Message& message) {
  return {{"id", shownID(message->ID())},
          {"sent", utcOfLocal(message->SentTime())},
          {"length", std::int64_t{message->BodyLength()}},
          {"label", toUtf8(message->Label())}};
}
}  // namespace

void show(const std::string& queue, const std::string& identifier, Among among) {
  const auto message = find(queue, identifier, among);
  const std::string body = toUtf8(message->Body());
  if (!usesJson()) {
    std::cout << body;
    return;
  }
  Row row = rowOf(message);
  row.emplace_back("body", body);
  print(row);
}

void purge(const std::string& queueName, Among among, bool isConfirmed) {
  const auto queue = listedQueue(queueName);
  const std::int32_t count = messagesOf(queue, among)->Count();
  const char* const kind = among == Among::Waiting ? "waiting" : "acknowledged";
  if (!isConfirmed && count > 0)
    confirm("All " + std::to_string(count) + " " + kind + " documents of \"" + queueName +
            "\" are about to be deleted.");
  if (among == Among::Waiting)
    queue->Purge();
  else
    queue->Journal()->Purge();
  print({{"action", "purged"}, {"queue", queueName}, {"documents", kind}});
}

}  // namespace corvaneq
