// Contracts that both stores build on: slot order, labels, SQL text, body compression.
#include "Expect.h"
#include "IUtility.h"
#include "Label.h"
#include "modCompress.h"
#include "modQueueUtils.h"
#include "MSMQQueueInterface.h"
#include "Platform.h"
#include "QueueForm.h"
#include "QueuesForm.h"
#include "UtilityForm.h"
#include "ZstdCompression.h"

#include <random>

namespace CorvaneQueue {

namespace {

// An object whose members tell which slot of the vtable was called.
std::size_t calledSlot;
template <std::size_t slot>
HRESULT tellSlot(void*) {
  calledSlot = slot;
  return E_NOTIMPL;
}
struct SlotTeller {
  static constexpr std::size_t slots = 64;
  HRESULT (*vtable[slots])(void*);
  const void* object = vtable;
  SlotTeller() {
    [this]<std::size_t... slot>(std::index_sequence<slot...>) {
      ((vtable[slot] = tellSlot<slot>), ...);
    }(std::make_index_sequence<slots>());
  }
};

template <class... Interface>
void expectSlots() {
  SlotTeller teller;
  const auto check = [&](const char16_t* name, std::span<const Member> members) {
    for (std::size_t row = 0; row < members.size(); ++row) {
      VARIANT* const arguments[maximumParameters] = {};
      Variant result;
      UINT position = 0;
      calledSlot = 0;
      members[row].invoke(&teller.object, arguments, result.address(), &position);
      constexpr std::size_t ofDispatch = 7;
      EXPECT_EQ(calledSlot, ofDispatch + row) << toUtf8(name) << "::" << toUtf8(members[row].name);
    }
  };
  (check(InterfaceTraits<Interface>::name, InterfaceTraits<Interface>::members), ...);
}

// Late binding and vtable agree: the tables stand in interface order.
TEST(Interfaces, HaveTheirMembersInTheOrderOfTheTables) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizers take an object that is a bare table for damaged";
#endif
  expectSlots<_Queue, _Queues, _Messages, _Message, _Journal, _Utility, IQueue, IQueues, IMessages, IMessage,
              IJournal, IUtility, _MSMQQueue, _ExceptionHandler, _ClassTrace, _ProcessTrace, IMSMQQueueInfo,
              IMSMQQueue, IMSMQMessage, IMSMQTransaction, IMSMQCoordinatedTransactionDispenser, IMSMQEvent>();
  EXPECT_EQ(queueMembers.size(), 39u);
  EXPECT_EQ(iQueueMembers.size(), 34u);
  EXPECT_EQ(utilityMembers.size(), 12u);
  EXPECT_EQ(iUtilityMembers.size(), 13u);
  EXPECT_EQ(queueMembers[30].optionalCount, 1);
}

RoutingFields fields(const char16_t* type, const char16_t* id, const char16_t* object,
                     const char16_t* objectID) {
  return {type, id, object, objectID};
}

TEST(Labels, AreBuiltFromNonEmptyFieldsAndReadBack) {
  EXPECT_EQ(CreateLabel(fields(u"A", u"17", u"", u"X9")), u"Msg Type: <A> MsgID: <17> ObjectID: <X9> ");
  EXPECT_EQ(CreateLabel({}), u"");
  RoutingFields read = fields(u"old", u"old", u"old", u"old");
  ParseLabel(CreateLabel(fields(u"A", u"", u"O", u"5")), read);
  EXPECT_EQ(read.MsgType, u"A");
  EXPECT_EQ(read.MsgID, u"old");
  EXPECT_EQ(read.Object, u"O");
  EXPECT_EQ(read.ObjectID, u"5");
}

TEST(Labels, AreReadInFieldOrderOnly) {
  RoutingFields read = fields(u"", u"old", u"old", u"");
  ParseLabel(u"MsgID: <7> Msg Type: <T> ", read);
  EXPECT_EQ(read.MsgType, u"T");
  EXPECT_EQ(read.MsgID, u"old");
  ParseLabel(u"ObjectID: <5> ", read);
  EXPECT_EQ(read.Object, u"old");
  EXPECT_EQ(read.ObjectID, u"5");
  ParseLabel(u"msg type: <x> ", read);
  EXPECT_EQ(read.MsgType, u"T");
  ParseLabel(u"Msg Type: <a> b> MsgID: <9> ", read);
  EXPECT_EQ(read.MsgType, u"a");
  EXPECT_EQ(read.MsgID, u"9");
  EXPECT_EQ(errorNumber([&] { ParseLabel(u"Msg Type: <N> MsgID: <A", read); }), ErrorNumber::InvalidArgument);
  EXPECT_EQ(read.MsgType, u"N");  // what was read before the failure stays
  EXPECT_EQ(read.MsgID, u"9");
}

TEST(SqlText, DoublesApostrophesOnly) {
  EXPECT_EQ(modQueueUtils::QuoteSQLString(u""), u"''");
  EXPECT_EQ(modQueueUtils::QuoteSQLString(u"O'Brien"), u"'O''Brien'");
  EXPECT_EQ(modQueueUtils::EscapeSQLQuotes(u"'''"), u"''''''");
  EXPECT_EQ(modQueueUtils::EscapeSQLQuotes(u"\"[a]%_"), u"\"[a]%_");
}

class CompressionTest : public ::testing::Test {
 protected:
  platform_layer::ZstdCompression zstd;
  ScopedPlatform door{{nullptr, nullptr, nullptr, &zstd, nullptr}};
};

TEST_F(CompressionTest, GivesEveryDocumentBack) {
  const std::u16string documents[] = {
      u"", u"plain", u"Grüße €  😀", {u'x', 0, 0xD800, 0xDC01, 0xDC00}, std::u16string(300000, u'a')};
  for (const auto& document : documents) {
    BSTR text = String(document).detach();
    const Variant compressed = modCompress::Compress(Variant::reference(&text).get());
    SysFreeString(text);
    EXPECT_EQ(toString(modCompress::Decompress(compressed.get()).get()).view(), document);
  }
}

TEST_F(CompressionTest, RefusesEveryOtherSequenceOfBytes) {
  const Variant compressed =
      modCompress::Compress(Variant(u"a document that is long enough to be damaged").get());
  const auto bytes = bytesOf(compressed.get());
  const std::vector<std::uint8_t> good(bytes.begin(), bytes.end());
  const auto refuses = [](std::vector<std::uint8_t> changed) {
    return errorNumber([&] { modCompress::Decompress(Variant::bytes(changed).get()); }) == 100;
  };
  for (std::size_t i = 0; i < good.size(); ++i) {
    auto damaged = good;
    damaged[i] ^= 0x10;
    EXPECT_TRUE(refuses(damaged)) << "byte " << i;
    EXPECT_TRUE(refuses({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(i)})) << "cut at " << i;
  }
  auto longer = good;
  longer.insert(longer.end(), good.begin(), good.end());
  EXPECT_TRUE(refuses(longer));
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    std::vector<std::uint8_t> noise(random() % 64);
    for (auto& byte : noise) byte = static_cast<std::uint8_t>(random());
    EXPECT_TRUE(refuses(noise));
  }
  expectError(100, u"Decompress", "Decompression failed",
              [] { modCompress::Decompress(Variant::bytes({}).get()); });
  EXPECT_EQ(errorNumber([] { modCompress::Decompress(Variant(u"text").get()); }), ErrorNumber::TypeMismatch);
}

}  // namespace

}  // namespace CorvaneQueue
