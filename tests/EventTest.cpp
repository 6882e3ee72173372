#include "ConnectionPoint.h"
#include "Expect.h"

#include <CorvaneQueue/Apartment.h>
#include <CorvaneQueue/Subscription.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace CorvaneQueue {

struct __Sample : IDispatch {};
template <>
struct InterfaceTraits<__Sample> {
  static constexpr IID iid = {5, 5, 5, {5}};
};

namespace {

TEST(Events, ReachASnapshotOfTheSinksByReference) {
  const auto point = make<ConnectionPoint>(iidOf<__Sample>, nullptr);
  DWORD first = 0;
  DWORD second = 0;
  int secondCalls = 0;
  const EventKind sample{iidOf<__Sample>, 7, 1};
  const auto sinkOf = [&](EventHandler handler) {
    return Ref<IDispatch>::adopt(new detail::EventSink(sample, std::move(handler)));
  };
  const auto changing = sinkOf([&](std::span<VARIANT> arguments) {
    SysFreeString(*arguments[0].pbstrVal);
    *arguments[0].pbstrVal = SysAllocString(u"changed");
    point->Unadvise(second);  // still called this time: the snapshot has it
    throw Error(1, {}, {});   // and a failing sink stops nobody
  });
  const auto counting = sinkOf([&](std::span<VARIANT> arguments) {
    EXPECT_EQ(StringRef(*arguments[0].pbstrVal).view(), u"changed");
    ++secondCalls;
  });
  EXPECT_EQ(point->Advise(changing.get(), &first), S_OK);
  EXPECT_EQ(point->Advise(counting.get(), &second), S_OK);
  EXPECT_NE(first, second);
  BSTR text = SysAllocString(u"text");
  VARIANT argument = Variant::reference(&text).detach();
  point->fire(7, {&argument, 1});
  point->fire(7, {&argument, 1});
  EXPECT_EQ(secondCalls, 1);
  SysFreeString(text);
  EXPECT_EQ(point->Unadvise(second), CONNECT_E_NOCONNECTION);
  EXPECT_EQ(point->Advise(static_cast<IConnectionPoint*>(point.get()), &second), CONNECT_E_CANNOTCONNECT);
  EXPECT_EQ(point->Advise(nullptr, &second), E_POINTER);
}

TEST(Apartments, DeliverOnlyInsidePumpAndOnlyWhatIsArmed) {
  const int descriptor = eventfd(0, 0);
  int delivered = 0;
  auto& apartment = Apartment::current();
  Apartment::Armed armed = apartment.arm({descriptor, [&] {
                                            eventfd_t count;
                                            eventfd_read(descriptor, &count);
                                            ++delivered;
                                          }});
  using namespace std::chrono_literals;
  EXPECT_EQ(apartment.pump(0ms), 0);
  eventfd_write(descriptor, 1);
  EXPECT_EQ(delivered, 0);
  EXPECT_EQ(apartment.pump(1000ms), 1);
  EXPECT_EQ(delivered, 1);
  eventfd_write(descriptor, 1);
  armed = {};
  EXPECT_EQ(apartment.pump(0ms), 0);
  close(descriptor);
}

}  // namespace

}  // namespace CorvaneQueue
