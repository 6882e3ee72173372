// Contracts that both stores build on: slot order, labels, SQL text, body compression.
#include "Expect.h"
#include "IUtility.h"
#include "Label.h"
#include "modCompress.h"
#include "MSMQQueueInterface.h"
#include "Platform.h"
#include "QueueForm.h"
#include "QueuesForm.h"
#include "UtilityForm.h"
#include "ZstdCompression.h"

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
  EXPECT_EQ(iQueueMembers.size(), 34u);
  EXPECT_EQ(iUtilityMembers.size(), 13u);
}

TEST(Labels, AreReadInFieldOrderOnly) {
  const auto read = [](std::u16string_view label) {
    RoutingFields found{u"-", u"-", u"-", u"-"};
    const auto number = errorNumber([&] { ParseLabel(label, found); });
    std::string text;
    for (const String& each : {found.MsgType, found.MsgID, found.Object, found.ObjectID})
      text += toUtf8(each) + " ";
    return text + std::to_string(number);
  };
  EXPECT_EQ(read(CreateLabel({u"A", u"", u"O", u"5"})), "A - O 5 0");
  EXPECT_EQ(read(u"MsgID: <7> Msg Type: <T> "), "T - - - 0");
  EXPECT_EQ(read(u"ObjectID: <5> "), "- - - 5 0");
  EXPECT_EQ(read(u"msg type: <x> "), "- - - - 0");
  EXPECT_EQ(read(u"Msg Type: <a> b> MsgID: <9> "), "a 9 - - 0");
  EXPECT_EQ(read(u"Msg Type: <N> MsgID: <A"), "N - - - 5");  // what was read before the failure stays
}

class CompressionTest : public ::testing::Test {
 protected:
  platform_layer::ZstdCompression zstd;
  ScopedPlatform door{{nullptr, nullptr, nullptr, &zstd, nullptr}};
};

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
  expectError(100, u"Decompress", "Decompression failed",
              [] { modCompress::Decompress(Variant::bytes({}).get()); });
  EXPECT_EQ(errorNumber([] { modCompress::Decompress(Variant(u"text").get()); }), ErrorNumber::TypeMismatch);
}

}  // namespace

}  // namespace CorvaneQueue
