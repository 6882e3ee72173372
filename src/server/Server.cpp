// The in-process server: opens the door when the library is loaded, and creates the public classes.
#include "CreatableClasses.h"
#include "EmbeddedPlatform.h"
#include "EntryPoints.h"
#include "Lasting.h"
#include "PublicOperations.h"
#include "PublicQueue.h"
#include "PublicQueues.h"
#include "PublicUtility.h"
#include "SqliteStore.h"

#include <algorithm>

namespace CorvaneQueue {

namespace {

// The door is open from the first creation of an object on, as long as the library is loaded.
struct OpenDoor {
  platform_layer::EmbeddedPlatform embedded{store::sqliteStore()};
  ScopedPlatform installed{embedded.door()};
};
Lasting<OpenDoor> door;

// An entry into the library: counts as alive, so that it is not unloaded meanwhile.
struct Entered {
  Entered() { ++liveObjects(); }
  ~Entered() { --liveObjects(); }
  Entered(const Entered&) = delete;
  Entered& operator=(const Entered&) = delete;
};

template <class T>
Ref<IDispatch> createObject() {
  return asDispatch(make<T>());
}

const CreatableClass ourClasses[] = {
    {queueClass, u"CorvaneQueue.Queue", createObject<PublicQueue>},
    {queuesClass, u"CorvaneQueue.Queues", createObject<PublicQueues>},
    {utilityClass, u"CorvaneQueue.Utility", createObject<PublicUtility>},
    {operationsClass, u"CorvaneQueue.Operations", createObject<PublicOperations>},
    {processTraceClass, u"CorvaneSYS.ProcessTrace",
     [] { return Ref<IDispatch>(platform().host->createProcessTrace()); }},
    {msmqQueueInfoClass, u"MSMQ.MSMQQueueInfo",
     [] { return Ref<IDispatch>(platform().messageQueuing->createQueueInfo()); }},
    {msmqMessageClass, u"MSMQ.MSMQMessage",
     [] { return Ref<IDispatch>(platform().messageQueuing->createMessage()); }},
    {msmqEventClass, u"MSMQ.MSMQEvent",
     [] { return Ref<IDispatch>(platform().messageQueuing->createEvent()); }},
    {msmqDispenserClass, u"MSMQ.MSMQCoordinatedTransactionDispenser",
     [] { return Ref<IDispatch>(platform().messageQueuing->createTransactionDispenser()); }},
};

}  // namespace

std::span<const CreatableClass> creatableClasses() noexcept { return ourClasses; }
void openDoor() { static_cast<void>(*door); }
platform_layer::EmbeddedPlatform& embeddedPlatform() { return door->embedded; }

HRESULT classObject(REFCLSID identity, REFIID iid, void** object) noexcept {
  SetErrorInfo(0, nullptr);  // a failure leaves its own error information or none
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  const auto* found = std::ranges::find(ourClasses, identity, &CreatableClass::identity);
  if (found == std::end(ourClasses)) return CLASS_E_CLASSNOTAVAILABLE;
  HRESULT answered = S_OK;
  const HRESULT made = answer([&] {
    const Entered entered;
    openDoor();
    answered = make<ClassObject>(*found)->QueryInterface(iid, object);
  });
  return FAILED(made) ? made : answered;
}

HRESULT canUnload() noexcept {
  if (!isIdle()) return S_FALSE;
  releaseLasting();
  return S_OK;
}

}  // namespace CorvaneQueue
