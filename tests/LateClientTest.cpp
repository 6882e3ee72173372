// A client that is not linked with the library: it loads the file that the registry names, creates objects
// by registered name and knows nothing of them but the names of their members.
#include "Installation.h"
#include "LateClient.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <iterator>
#include <map>
#include <regex>
#include <vector>

namespace {

using namespace late_client;

constexpr HRESULT numbered(int number) { return static_cast<HRESULT>(0x800A0000u + unsigned(number)); }

// The bodies of a collection, by For Each.
using Texts = std::vector<std::u16string>;
Texts bodies(const Value& messages) {
  const Value unknown = messages.get(u"NewEnum");
  EXPECT_EQ(unknown.raw.vt, VT_UNKNOWN);
  IEnumVARIANT* enumerator = nullptr;
  EXPECT_EQ(unknown.raw.punkVal->QueryInterface(IID_IEnumVARIANT, reinterpret_cast<void**>(&enumerator)),
            S_OK);
  Texts found;
  for (bool isMore = true; isMore;) {
    Value element;
    isMore = enumerator->Next(1, &element.raw, nullptr) == S_OK;
    if (isMore) found.push_back(element.get(u"Body").text());
  }
  enumerator->Release();
  return found;
}

struct Described {
  std::string interface, name;
  WORD flags;
  DISPID id;
  std::ptrdiff_t parameters;
};
std::string textOf(const std::string& file) {
  std::ifstream stream(file);
  return {std::istreambuf_iterator<char>(stream), {}};
}
// Every member that the type description publishes.
std::vector<Described> describedMembers() {
  const std::string idl = textOf(GOLDEN_FILE);
  const std::regex line(R"( interface (\w+) :|\[id\((0x\w+)\)([^\]]*)\]\s+HRESULT (\w+)\(([^;]*)\);)");
  const std::regex given(R"(\[in)");
  std::vector<Described> members;
  std::string interface;
  for (std::sregex_iterator at(idl.begin(), idl.end(), line), end; at != end; ++at) {
    const auto& match = *at;
    if (match[1].matched) {
      interface = match[1];
      continue;
    }
    const std::string attributes = match[3], parameters = match[5];
    const auto has = [&](const char* word) { return attributes.find(word) != std::string::npos; };
    const WORD flags = has("propputref") ? DISPATCH_PROPERTYPUTREF
                       : has("propput")  ? DISPATCH_PROPERTYPUT
                       : has("propget")  ? DISPATCH_PROPERTYGET
                                         : DISPATCH_METHOD;
    members.push_back({interface, match[4], flags, static_cast<DISPID>(std::stoul(match[2], nullptr, 16)),
                       std::distance(std::sregex_iterator(parameters.begin(), parameters.end(), given), {})});
  }
  return members;
}

// The text that the registry has for the key that ends like that.
std::string registered(const Installation& home, const std::string& key) {
  const std::string registry = home.read("registry.toml");
  const std::string assigned = "\n\"\" = \"";
  const auto at = registry.find(assigned, registry.find(key + "\"]"));
  if (at == std::string::npos) throw std::runtime_error("not registered: " + key);
  const auto begin = at + assigned.size();
  return registry.substr(begin, registry.find('"', begin) - begin);
}

TEST(LateClient, FindsEveryDescribedMemberByNameAndKind) {
  const Installation home;
  with(CORVANE_LIBRARY, [] { EXPECT_EQ(library->registerServer(), S_OK); });
  const std::string identity = registered(home, "[ClassesRoot.\"CorvaneQueue.Queue\\\\Clsid");
  with(registered(home, "CLSID\\\\" + identity + "\\\\InprocServer32"), [] {
    std::map<std::string, Value> objects;
    const auto keep = [&](const char* interface, Value object) -> const Value& {
      return objects.emplace(interface, std::move(object)).first->second;
    };
    const auto& trace = keep("_ProcessTrace", Value::create(u"corvanesys.PROCESSTRACE"));
    const auto& traced = keep("_ClassTrace", trace.call(u"ClassTrace", u"Library", u"Class"));
    keep("_ExceptionHandler", traced.get(u"ExceptionHandler"));
    keep("IMSMQMessage", Value::create(u"MSMQ.MSMQMessage"));
    keep("_Utility", Value::create(u"CorvaneQueue.Utility"));
    const auto& queues = keep("_Queues", Value::create(u"CorvaneQueue.Queues"));
    const auto& queue = keep("_Queue", queues.call(u"Add", u"Orders"));
    queue.call(u"SendDocument", u"text");
    keep("_Journal", queue.get(u"Journal"));
    const auto& messages = keep("_Messages", queue.get(u"Messages"));
    messages.call(u"Refresh");
    keep("_Message", messages.get(u"Item", 1));
    const auto& operations = keep("_Operations", Value::create(u"CorvaneQueue.Operations"));
    keep("_Filter", operations.call(u"NewFilter"));
    keep("_Statistics", operations.call(u"Statistics", u"Orders"));
    const auto& documents = keep("_Documents", operations.call(u"Search", u"Orders", 0, Value()));
    documents.call(u"NextPage");
    keep("_Document", documents.get(u"Item", 1));

    const auto members = describedMembers();
    EXPECT_GT(members.size(), 80u);
    for (const auto& [interface, name, flags, id, parameters] : members) {
      SCOPED_TRACE(interface + "." + name);
      const Value& object = objects.at(interface);
      EXPECT_EQ(object.idOf({name.begin(), name.end()}), id);
      if (flags == DISPATCH_PROPERTYGET && parameters == 0) {
        Value value;
        object.invoke(flags, id, {}, &value);
        if (value.raw.vt == VT_DISPATCH) continue;  // arguments are for its default member
      }
      const std::vector<VARIANT> oneTooMany(static_cast<std::size_t>(parameters + 1));
      EXPECT_EQ(object.invoke(flags, id, oneTooMany), DISP_E_BADPARAMCOUNT);
    }
  });
}

TEST(LateClient, CallsMembersOfEveryShape) {
  const Installation home;
  with(CORVANE_LIBRARY, [] {
    const auto utility = Value::create(u"CorvaneQueue.Utility");
    utility.let(u"UsesPublicQueues", 0);  // a number where a truth belongs
    EXPECT_EQ(utility.get(u"UsesPublicQueues").raw.boolVal, VARIANT_FALSE);
    EXPECT_EQ(utility.call(u"FormatQueuePathName", u"Orders").text(), u".\\PRIVATE$\\Orders");
    EXPECT_EQ(utility.call(u"IDToString", std::string_view("\x39\x30\0\0", 4)).text(), u"0000012345");
    const auto trace = Value::create(u"CorvaneSYS.ProcessTrace");
    utility.call(u"Initialize", trace);
    // An object of the library where a Message Queuing message belongs.
    EXPECT_EQ(utility.tried(DISPATCH_METHOD, u"GetBody", trace), DISP_E_TYPEMISMATCH);

    const auto queue = Value::create(u"CorvaneQueue.Queue");
    // An object where text belongs; one with a default member would stand for that.
    EXPECT_EQ(queue.tried(DISPATCH_METHOD, u"Initialize", trace, false), DISP_E_TYPEMISMATCH);
    queue.call(u"Initialize", u"Orders", false);
    EXPECT_EQ(queue.get(u"Journal").raw.pdispVal, nullptr);
    queue.let(u"MsgID", 1);
    for (const char16_t* text : {u"first", u"second"}) queue.call(u"SendDocument", text);
    EXPECT_EQ(queue.call(u"BeginTransaction").raw.vt, VT_I4);
    const auto message = queue.call(u"ReceiveNext");
    EXPECT_EQ(message.get(u"Label").text(), u"MsgID: <1> ");
    EXPECT_EQ(message.get(u"BodyLength").raw.lVal, 5);
    EXPECT_EQ(message.get(u"SentTime").raw.vt, VT_DATE);
    queue.call(u"AcknowledgeMessage", message);
    queue.call(u"Commit");
    std::u16string source;
    const Value one(1);
    EXPECT_EQ(queue.invoke(DISPATCH_PROPERTYPUT, queue.idOf(u"Quota"), {one.raw}, nullptr, &source),
              numbered(100));
    EXPECT_EQ(source, u"Quota Let");
    EXPECT_EQ(queue.tried(DISPATCH_PROPERTYPUTREF, u"Transaction", queue), E_NOTIMPL);

    const auto listed = Value::create(u"CorvaneQueue.Queues").get(u"Item", u"orders");
    const auto messages = listed.get(u"Messages");
    messages.call(u"Refresh");
    EXPECT_EQ(bodies(messages), Texts{u"second"});
    EXPECT_EQ(listed.get(u"Messages", 1).get(u"Body").text(), u"second");
    EXPECT_EQ(listed.tried(DISPATCH_PROPERTYGET, u"Messages", 1, 1), DISP_E_BADPARAMCOUNT);
    messages.call(u"Remove", u"0000000000000000002");
    EXPECT_EQ(messages.get(u"Count").raw.lVal, 0);
    queue.set(u"Messages", messages);
    EXPECT_EQ(queue.get(u"Messages").raw.pdispVal, messages.raw.pdispVal);
  });
}

// Their members are not in the type description; the numbers count from 1 in this order.
TEST(LateClient, DrivesMessageQueuingByName) {
  const Installation home("");
  with(CORVANE_LIBRARY, [] {
    const auto info = Value::create(u"MSMQ.MSMQQueueInfo");
    info.let(u"PathName", u".\\Late");
    info.call(u"Create", true, true);
    EXPECT_EQ(info.get(u"IsTransactional").raw.boolVal, VARIANT_TRUE);
    const auto queue = info.call(u"Open", 1, 0);
    const auto dispenser = Value::create(u"MSMQ.MSMQCoordinatedTransactionDispenser");
    const auto work = dispenser.call(u"BeginTransaction");
    const std::pair<const Value*, std::vector<const char16_t*>> published[] = {
        {&info,
         {u"PathName", u"FormatName", u"IsTransactional", u"Quota", u"Journal", u"JournalQuota", u"Create",
          u"Delete", u"Open", u"Update", u"Refresh"}},
        {&queue,
         {u"QueueInfo", u"Reset", u"Close", u"PeekCurrent", u"PeekNext", u"Peek", u"Receive",
          u"ReceiveCurrent", u"EnableNotification"}},
        {&work, {u"Commit", u"Abort", u"Transaction"}}};
    for (const auto& [object, names] : published)
      for (std::size_t i = 0; i < names.size(); ++i)
        EXPECT_EQ(object->idOf(names[i]), static_cast<DISPID>(i + 1));

    const auto message = Value::create(u"MSMQ.MSMQMessage");
    message.let(u"Body", std::string_view("abc"));
    message.call(u"Send", info.call(u"Open", 2, 0), 3);
    const auto receive = [&] {
      const auto leftOut = Value::omitted();
      return queue.call(u"Receive", work, leftOut, leftOut, 0);
    };
    EXPECT_EQ(receive().get(u"Body").raw.vt, VT_ARRAY | VT_UI1);
    EXPECT_EQ(receive().raw.pdispVal, nullptr);
    work.call(u"Commit");
    queue.call(u"EnableNotification", Value::create(u"MSMQ.MSMQEvent"));
  });
}

TEST(LateClient, RegistersAndRemovesItsOwnAlone) {
  const Installation home("");
  const std::filesystem::path original = CORVANE_LIBRARY;
  const std::filesystem::path copy = home.file("libCopy.so");
  std::filesystem::copy_file(original, copy);
  const auto registry = [&] { return home.read("registry.toml"); };
  const auto has = [&](const std::string& part) { return registry().find(part) != std::string::npos; };
  // Of another server, under a name that this library knows too.
  std::ofstream(home.file("registry.toml")) << "[ClassesRoot.\"MSMQ.MSMQQueueInfo\"]\n\"\" = \"kept\"\n";
  const std::string before = registry();

  with(original, [&] {
    EXPECT_EQ(library->registerServer(), S_OK);
    EXPECT_FALSE(has("MSMQ.MSMQEvent") || has("CorvaneSYS."));
    EXPECT_TRUE(has("\"\" = \"__Queue\""));
    EXPECT_EQ(library->unregisterServer(), S_OK);
    EXPECT_EQ(library->unregisterServer(), S_OK);
    EXPECT_EQ(registry(), before);
    EXPECT_EQ(library->registerServer(), S_OK);
  });
  const std::string ofTheOriginal = registry();
  const std::string types = registered(home, "linux64");
  EXPECT_EQ(textOf(types), textOf(GOLDEN_FILE));
  with(copy, [&] {
    EXPECT_EQ(library->registerServer(), E_FAIL);  // no type library beside it
    EXPECT_EQ(library->unregisterServer(), S_OK);
    EXPECT_EQ(registry(), ofTheOriginal);
    std::filesystem::copy_file(types, home.file("CorvaneQueue.idl"));
    EXPECT_EQ(library->registerServer(), S_OK);
  });
  const std::string ofTheCopy = registry();
  EXPECT_EQ(ofTheCopy.find(original.string()), std::string::npos);
  with(original, [&] { EXPECT_EQ(library->unregisterServer(), S_OK); });
  EXPECT_EQ(registry(), ofTheCopy);
  with(copy, [&] { EXPECT_EQ(library->unregisterServer(), S_OK); });
  EXPECT_EQ(registry(), before);
}

std::size_t entries(const char* directory) {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator()));
}

TEST(LateClient, ReloadsWithoutLeaking) {
  const Installation home;
  const auto useOnce = [] {
    with(CORVANE_LIBRARY, [] {
      {
        const auto queue = Value::create(u"CorvaneQueue.Queue");
        queue.call(u"Initialize", u"Orders", false);
        queue.call(u"SendDocument", u"text");
        const auto message = queue.call(u"ReceiveNext");
        queue.call(u"AcknowledgeDocument", message.get(u"ID"));
        EXPECT_EQ(queue.tried(DISPATCH_PROPERTYGET, u"Quota"), numbered(100));
        EXPECT_EQ(library->canUnloadNow(), S_FALSE);
      }
      EXPECT_EQ(library->canUnloadNow(), S_OK);
    });
    EXPECT_EQ(dlopen(CORVANE_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
  };
  constexpr int warmUp = 50;
  for (int i = 0; i < warmUp; ++i) useOnce();
  const std::size_t bytes = mallinfo2().uordblks;
  const std::size_t descriptors = entries("/proc/self/fd");
#ifdef __SANITIZE_ADDRESS__
  constexpr int rounds = 50;  // it looks for itself
#else
  constexpr int rounds = 1000;
#endif
  for (int i = 0; i < rounds; ++i) useOnce();
  EXPECT_EQ(entries("/proc/self/fd"), descriptors);
  const auto grown = static_cast<std::ptrdiff_t>(mallinfo2().uordblks) - static_cast<std::ptrdiff_t>(bytes);
  EXPECT_LT(grown, 32 * rounds) << "bytes not given back";  // a smallest piece each
}

}  // namespace
