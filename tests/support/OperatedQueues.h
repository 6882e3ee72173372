// Queues full of documents, and the class that operates them, on every store.
#pragma once

#include "Expect.h"
#include "Processes.h"
#include "Stores.h"

#include <gmock/gmock.h>

namespace stores {

inline void fillQueue(Store store, const char* name, int count) {
  auto queue = openQueue(store, name);
  queue->BeginTransaction();
  for (int i = 1; i <= count; ++i) {
    queue->MsgType(i % 2 == 0 ? "EVEN" : "ODD");
    queue->ObjectID(std::to_string(i));
    queue->SendDocument("document " + std::to_string(i));
  }
  queue->Commit();
}

class OperatedQueues : public ::testing::TestWithParam<Store> {
 protected:
  Queue open(const char* name) { return openQueue(GetParam(), name); }
  void fill(const char* name, int count) { fillQueue(GetParam(), name, count); }
  // By another process: this one opens no store before others are at work.
  bool isFilledElsewhere(const char* name, int count) {
    return succeeded(inProcess(
        [](const Arguments& given) {
          fillQueue(storeNamed(given[0]), given[1].c_str(), std::stoi(given[2]));
        },
        {nameOf(GetParam()), name, std::to_string(count)}));
  }
  Filter where(const char* conditions) {
    const auto filter = operations->NewFilter();
    filter->Text(conditions);
    return filter;
  }
  Texts found(const Documents& documents) {
    Texts texts;
    while (documents->NextPage())
      for (const auto& document : documents) texts.push_back(toUtf8(document->ObjectID()));
    return texts;
  }
  void expectContent(const char* queue, int waits, int inJournal) {
    const auto statistics = operations->Statistics(queue);
    EXPECT_EQ(statistics->Waiting(), waits) << queue;
    EXPECT_EQ(statistics->Acknowledged(), inJournal) << queue;
    EXPECT_EQ(waiting(queue).size(), static_cast<std::size_t>(waits)) << queue;
    EXPECT_EQ(journaled(queue).size(), static_cast<std::size_t>(inJournal)) << queue;
  }
  Installation home{settingsOf(GetParam())};
  Operations operations = create<Operations>();
};

}  // namespace stores
