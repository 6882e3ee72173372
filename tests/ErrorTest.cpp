// Every error a client can cause carries number, source and a sentence, and changes nothing.
#include "Expect.h"
#include "Stores.h"

#include <CorvaneQueue/server.h>

namespace {

using namespace stores;

Queue openQueue(const char* name) { return stores::openQueue(Store::Database, name); }

TEST(Errors, OfIdentifiersTellWhatWasWrong) {
  const Installation home;
  const auto queue = openQueue("Orders");
  queue->SendDocument("x");
  const std::tuple<const char16_t*, std::int32_t, const char*> rows[] = {
      {u"", 13, "whole number"},
      {u"1.4", 13, "\"1.4\""},
      {u"$1", 13, "whole number"},
      {u"9223372036854775808", 6, "out of range"},
      {u"2", 5, "never stored, or it has been purged"},
      {u"-1", 5, "-1"}};
  for (const auto& [id, number, part] : rows)
    expectError(number, u"AcknowledgeDocument", part, [&, &id = id] { queue->AcknowledgeDocument(id); });
  EXPECT_EQ(waiting("Orders").size(), 1u);
  EXPECT_EQ(Error::fromResult(listed("Orders")->Messages().object()->raw_Remove(nullptr)).number(), 91);
  queue->Purge();
  expectError(5, u"AcknowledgeDocument", "purged", [&] { queue->AcknowledgeDocument("1"); });
}

TEST(Errors, OfLongTextsNameTheLimitAndStoreNothing) {
  const Installation home;
  const auto queue = openQueue("Orders");
  queue->MsgType(std::string(251, 't'));
  expectError(5, u"SendDocument", "\"Description\" is too long: 264 characters, and at most 250",
              [&] { queue->SendDocument("x"); });
  expectError(5, u"SendDocument", "\"Queue\" is too long",
              [&] { openQueue(std::string(251, 'n').c_str())->SendDocument("x"); });
  EXPECT_EQ(create<Queues>()->Count(), 0);
  queue->MsgType(std::string(250 - 13, 't'));  // 250 with its tag: fits
  queue->SendDocument("x");
}

TEST(Errors, OfMissingInterfacesArePlainAndCarryNoOldText) {
  const Installation home;
  CLSID queue{};
  ASSERT_EQ(CLSIDFromProgID(u"CorvaneQueue.Queue", &queue), S_OK);
  void* object = nullptr;
  ASSERT_EQ(DllGetClassObject(queue, IID_IClassFactory, &object), S_OK);
  const auto factory = Ref<IClassFactory>::adopt(static_cast<IClassFactory*>(object));
  const auto expectPlain = [&](HRESULT expected, auto&& create) {
    CLSID none{};
    CLSIDFromProgID(u"CorvaneQueue.Nothing", &none);  // leaves a text of its own
    EXPECT_EQ(create(), expected);
    IErrorInfo* information = nullptr;
    EXPECT_EQ(GetErrorInfo(0, &information), S_FALSE);
  };
  expectPlain(E_NOINTERFACE, [&] { return DllGetClassObject(queue, IID_IEnumVARIANT, &object); });
  expectPlain(E_NOINTERFACE, [&] { return factory->CreateInstance(nullptr, IID_IEnumVARIANT, &object); });
  expectPlain(E_NOINTERFACE, [&] { return CoCreateInstance(queue, nullptr, 1, IID_IEnumVARIANT, &object); });
  expectPlain(CLASS_E_NOAGGREGATION,
              [&] { return factory->CreateInstance(factory.get(), IID_IUnknown, &object); });
  expectPlain(CLASS_E_CLASSNOTAVAILABLE,
              [&] { return DllGetClassObject(IID_NULL, IID_IClassFactory, &object); });
  EXPECT_EQ(errorNumber([] { CorvaneQueue::create<IEnumVARIANT>(u"CorvaneQueue.Queue"); }), 13);
  expectError(CO_E_CLASSSTRING, nullptr, "CorvaneQueue.Nothing",
              [] { CorvaneQueue::create<_Queue>(u"CorvaneQueue.Nothing"); });
}

}  // namespace
