// The list of the Message Queuing store against a recording door: which queue files, found where.
#include "MSMQQueues.h"
#include "RecordingTest.h"

namespace CorvaneQueue {

namespace {

class QueueFiles : public RecordingTest {
 protected:
  void file(const char16_t* name, const char16_t* queueName, const char16_t* systemQueue = u"00") {
    recorder.files.push_back(name);
    const std::string file = toUtf8(name);
    recorder.texts[file + " QueueName"] = queueName;
    recorder.texts[file + " PathName"] = String(u"HOST\\" + std::u16string(queueName));
    recorder.texts[file + " SystemQueue"] = systemQueue;
  }
  void lists() {
    queues->Refresh();
    for (std::int32_t i = 1; i <= queues->Count(); ++i)
      step("listed: " + toUtf8(queues->Item(Variant(i).get())->Name()));
  }
  void looksAnew(const std::string& where) {
    step(where);
    queues = stepwise<MSMQQueues>();
    lists();
  }
  Stepwise<MSMQQueues> queues = stepwise<MSMQQueues>();
};

TEST_F(QueueFiles, AreFilteredByKindAndCut) {
  file(u"1", u"orders");
  file(u"2", u"\\private$\\hidden");
  file(u"3", u"system", u"01");
  file(u"4", u"seven", u"7");  // one character says nothing
  file(u"5", u"x mqping response x");
  file(u"6", u"");
  lists();
  recorder.settings["UsesPublicQueues"] = false;
  lists();
  step("found:", queues->Item(Variant(u"HIDDEN").get())->Name());
  queues->Remove(Variant(u"hidden").get());
  step("left without a call:", queues->Count());
  // Two queues of one name, and a number that is none: the list has what stands before them.
  recorder.settings["UsesPublicQueues"] = true;
  file(u"7", u"ORDERS");
  fails([&] { queues->Refresh(); });
  step("left:", queues->Count());
  recorder.files = {u"3"};
  recorder.texts["3 SystemQueue"] = u"no number";
  fails([&] { queues->Refresh(); });
}

TEST_F(QueueFiles, StandInTheDirectoryThatTheSystemNames) {
  looksAnew("the system's directory");
  recorder.texts["registry"] = String(std::u16string(u"D:\\store\\\0rest", 14));
  looksAnew("the registry's");
  recorder.texts["PROCESSOR_ARCHITEW6432"] = u"AMD64";
  recorder.texts["system directory"] = u"S:\\system";
  recorder.texts["registry"] = u"s:\\SYSTEM\\msmq";
  looksAnew("a 32-bit process on a 64-bit system");
  recorder.texts.erase("registry");
  looksAnew("the same without the registry");
  recorder.version.majorVersion = 4;
  fails([&] { looksAnew("an old system without the registry"); });
  recorder.texts["registry"] = u"D:\\msmq";
  file(u"1", u"orders");
  looksAnew("an old system, whose queues are called by their path names");
  for (const auto& [platformId, majorVersion] : {std::pair(2, 3), std::pair(1, 4), std::pair(1, 10)}) {
    recorder.version.platformId = platformId;
    recorder.version.majorVersion = majorVersion;
    queues = stepwise<MSMQQueues>();
    queues->Add(String(u"before"));
    fails([&] { queues->Refresh(); });
    step("left:", queues->Count());
  }
  // A queue of platform 1.
  make<MSMQUtility>()->OpenQueue(String(u"Q"), MQ_PEEK_ACCESS, false);
}

TEST_F(QueueFiles, QueuesAreLookedForAndAddedInMessageQueuing) {
  step("exists:", queues->Exists(String(u"Orders")));
  queues->Add(String(u"Orders"));
  fails([&] { queues->Add(String(u"ORDERS")); });
  recorder.failing = "Open";
  step("exists:", queues->Exists(String(u"Orders")));
  queues->Add(String(u"New"));
  step("two:", queues->Count());
  recorder.version.majorVersion = 4;
  make<MSMQQueues>()->Exists(String(u"Orders"));
}

}  // namespace

}  // namespace CorvaneQueue
