#include "ConnectionPoint.h"
#include "Expect.h"

#include <CorvaneQueue/Subscription.h>

namespace CorvaneQueue {

struct __Sample : IDispatch {};
template <>
struct InterfaceTraits<__Sample> {
  static constexpr IID iid = {5, 5, 5, {5}};
};

namespace {

TEST(Events, ReachASnapshotOfTheSinksByReference) {
  const auto point = make<ConnectionPoint>(iidOf<__Sample>, nullptr);
  DWORD first = 0, second = 0;
  int secondCalls = 0;
  const auto advise = [&](EventHandler handler, DWORD& cookie) {
    const EventKind kind{iidOf<__Sample>, 7, 1};
    const auto sink = Ref<IDispatch>::adopt(new detail::EventSink(kind, std::move(handler)));
    EXPECT_EQ(point->Advise(sink.get(), &cookie), S_OK);
  };
  const auto changing = [&](std::span<VARIANT> arguments) {
    SysFreeString(std::exchange(*arguments[0].pbstrVal, SysAllocString(u"changed")));
    point->Unadvise(second);  // still called this time: the snapshot has it
    throw Error(1, {}, {});   // and a failing sink stops nobody
  };
  advise(changing, first);
  advise(
      [&](std::span<VARIANT> arguments) {
        EXPECT_EQ(StringRef(*arguments[0].pbstrVal).view(), u"changed");
        ++secondCalls;
      },
      second);
  EXPECT_NE(first, second);
  String text(u"text");
  VARIANT argument = Variant::reference(text.address()).detach();
  for (int i = 0; i < 2; ++i) point->fire(7, {&argument, 1});
  EXPECT_EQ(secondCalls, 1);
  EXPECT_EQ(point->Unadvise(second), CONNECT_E_NOCONNECTION);
  EXPECT_EQ(point->Advise(static_cast<IConnectionPoint*>(point.get()), &second), CONNECT_E_CANNOTCONNECT);
  EXPECT_EQ(point->Advise(nullptr, &second), E_POINTER);
}

}  // namespace

}  // namespace CorvaneQueue
