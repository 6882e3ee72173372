// A client that is not linked with the library: it loads the file that the registry names, creates objects
// by registered name and knows nothing of them but the names of their members.
#include "Installation.h"

#include <CorvaneQueue/automation.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <regex>
#include <set>

namespace {

struct Library {
  explicit Library(const std::string& file) : handle(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) throw std::runtime_error(dlerror());
  }
  ~Library() {
    EXPECT_EQ(canUnloadNow(), S_OK);
    dlclose(handle);
  }
  template <class Function>
  Function* find(const char* name) const {
    auto* found = reinterpret_cast<Function*>(dlsym(handle, name));
    if (found == nullptr) throw std::runtime_error(std::string("not exported: ") + name);
    return found;
  }
  void* handle;
  decltype(&::SysAllocStringLen) sysAllocStringLen = find<decltype(::SysAllocStringLen)>("SysAllocStringLen");
  decltype(&::SysFreeString) sysFreeString = find<decltype(::SysFreeString)>("SysFreeString");
  decltype(&::SysStringLen) sysStringLen = find<decltype(::SysStringLen)>("SysStringLen");
  decltype(&::VariantClear) variantClear = find<decltype(::VariantClear)>("VariantClear");
  decltype(&::CLSIDFromProgID) classOf = find<decltype(::CLSIDFromProgID)>("CLSIDFromProgID");
  decltype(&::CoCreateInstance) createInstance = find<decltype(::CoCreateInstance)>("CoCreateInstance");
  decltype(&::SafeArrayCreateVector) makeArray =
      find<decltype(::SafeArrayCreateVector)>("SafeArrayCreateVector");
  HRESULT (*registerServer)() = find<HRESULT()>("DllRegisterServer");
  HRESULT (*unregisterServer)() = find<HRESULT()>("DllUnregisterServer");
  HRESULT (*canUnloadNow)() = find<HRESULT()>("DllCanUnloadNow");
};
std::unique_ptr<Library> library;

// A variant that ends itself.
struct Value {
  VARIANT raw{};
  Value() = default;
  Value(int number) { raw.vt = VT_I4, raw.lVal = number; }
  Value(bool truth) { raw.vt = VT_BOOL, raw.boolVal = truth ? VARIANT_TRUE : VARIANT_FALSE; }
  Value(const char16_t* text) : Value(std::u16string(text)) {}
  Value(const std::u16string& text) {
    raw.vt = VT_BSTR;
    raw.bstrVal = library->sysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
  }
  Value(Value&& other) noexcept : raw(std::exchange(other.raw, VARIANT{})) {}
  Value& operator=(Value&& other) noexcept {
    std::swap(raw, other.raw);
    return *this;
  }
  ~Value() { library->variantClear(&raw); }
  std::u16string text() const {
    EXPECT_EQ(raw.vt, VT_BSTR);
    return raw.vt == VT_BSTR ? std::u16string(raw.bstrVal, library->sysStringLen(raw.bstrVal)) : u"?";
  }
};

std::set<std::string> driven;  // "_Queue get Name"

struct Failure {
  HRESULT result = S_OK;
  std::u16string source;
  UINT argument = 99;
};

// An object, and the name of its published interface for the account of what has been driven.
class Object {
 public:
  Object(const char* interface, IDispatch* object) : interface_(interface), object_(object) {}
  Object(Object&& other) noexcept
      : interface_(other.interface_), object_(std::exchange(other.object_, nullptr)) {}
  ~Object() {
    if (object_ != nullptr) object_->Release();
  }
  static Object create(const char* interface, const char16_t* name) {
    CLSID identity{};
    EXPECT_EQ(library->classOf(name, &identity), S_OK);
    void* object = nullptr;
    EXPECT_EQ(library->createInstance(identity, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, &object), S_OK);
    return {interface, static_cast<IDispatch*>(object)};
  }
  static Object in(const char* interface, Value value) {
    EXPECT_EQ(value.raw.vt, VT_DISPATCH);
    return {interface, std::exchange(value.raw, VARIANT{}).pdispVal};
  }
  explicit operator bool() const { return object_ != nullptr; }
  Value value() const {
    Value result;
    result.raw.vt = VT_DISPATCH;
    result.raw.pdispVal = object_;
    object_->AddRef();
    return result;
  }

  template <class... A>
  Value get(const char16_t* name, A&&... arguments) const {
    return invoke(DISPATCH_PROPERTYGET, "get", name, {&arguments.raw...});
  }
  template <class... A>
  Value call(const char16_t* name, A&&... arguments) const {
    return invoke(DISPATCH_METHOD, "call", name, {&arguments.raw...});
  }
  void let(const char16_t* name, Value value) const {
    invoke(DISPATCH_PROPERTYPUT, "let", name, {&value.raw});
  }
  void set(const char16_t* name, Value value) const {
    invoke(DISPATCH_PROPERTYPUTREF, "set", name, {&value.raw});
  }
  // What the call fails with.
  template <class... A>
  Failure failure(WORD flags, const char* kind, const char16_t* name, A&&... arguments) const {
    Failure failed;
    invoke(flags, kind, name, {&arguments.raw...}, &failed);
    return failed;
  }

 private:
  Value invoke(WORD flags, const char* kind, const char16_t* name, std::initializer_list<VARIANT*> arguments,
               Failure* failure = nullptr) const {
    std::u16string spelled(name);
    driven.insert(std::string(interface_) + " " + kind + " " + std::string(spelled.begin(), spelled.end()));
    for (std::size_t i = 1; i < spelled.size(); i += 2)  // letter case does not count
      if (spelled[i] >= u'a' && spelled[i] <= u'z') spelled[i] = static_cast<char16_t>(spelled[i] - 32);
    LPOLESTR names[] = {spelled.data()};
    DISPID id = DISPID_UNKNOWN;
    const HRESULT found = object_->GetIDsOfNames(IID_NULL, names, 1, 1033, &id);
    if (found != S_OK && failure != nullptr) {
      failure->result = found;
      return {};
    }
    EXPECT_EQ(found, S_OK) << interface_ << ' ' << std::string(spelled.begin(), spelled.end());
    std::vector<VARIANT> reversed;
    for (const VARIANT* argument : arguments) reversed.insert(reversed.begin(), *argument);
    DISPID putId = DISPID_PROPERTYPUT;
    const bool isPut = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    DISPPARAMS parameters{reversed.data(), isPut ? &putId : nullptr, static_cast<UINT>(reversed.size()),
                          isPut ? 1u : 0u};
    Value result;
    EXCEPINFO exception{};
    UINT argumentInError = 99;
    const HRESULT status =
        object_->Invoke(id, IID_NULL, 1033, flags, &parameters, &result.raw, &exception, &argumentInError);
    const std::u16string source =
        exception.bstrSource == nullptr ? u"" : std::u16string(exception.bstrSource);
    const std::u16string description =
        exception.bstrDescription == nullptr ? u"" : std::u16string(exception.bstrDescription);
    for (BSTR text : {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile})
      library->sysFreeString(text);
    if (failure != nullptr)
      *failure = {status == DISP_E_EXCEPTION ? exception.scode : status, source, argumentInError};
    else
      EXPECT_EQ(status, S_OK) << interface_ << ' ' << kind << ' '
                              << std::string(spelled.begin(), spelled.end()) << ": "
                              << std::string(description.begin(), description.end());
    return result;
  }

  const char* interface_;
  IDispatch* object_;
};

constexpr HRESULT numbered(int number) { return static_cast<HRESULT>(0x800A0000u + unsigned(number)); }

// The bodies of a collection, by For Each.
std::vector<std::u16string> bodies(const Object& messages) {
  std::vector<std::u16string> found;
  Value unknown = messages.get(u"NewEnum");
  EXPECT_EQ(unknown.raw.vt, VT_UNKNOWN);
  void* raw = nullptr;
  EXPECT_EQ(unknown.raw.punkVal->QueryInterface(IID_IEnumVARIANT, &raw), S_OK);
  auto* enumerator = static_cast<IEnumVARIANT*>(raw);
  Value element;
  while (enumerator->Next(1, &element.raw, nullptr) == S_OK)
    found.push_back(Object::in("_Message", std::exchange(element, Value())).get(u"Body").text());
  enumerator->Release();
  return found;
}
using Texts = std::vector<std::u16string>;

void driveUtility() {
  const auto utility = Object::create("_Utility", u"corvanequeue.UTILITY");
  const auto trace = Object::create("_ProcessTrace", u"CorvaneSYS.ProcessTrace");
  utility.call(u"Initialize", trace.value());
  utility.let(u"QueueStoreType", u"DB");
  EXPECT_EQ(utility.get(u"QueueStoreType").text(), u"db");
  utility.let(u"UsesPublicQueues", 0);
  EXPECT_EQ(utility.get(u"UsesPublicQueues").raw.boolVal, VARIANT_FALSE);
  EXPECT_EQ(utility.call(u"FormatQueuePathName", Value(u"Orders")).text(), u".\\PRIVATE$\\Orders");
  EXPECT_EQ(utility.call(u"ParseQueuePathName", Value(u"HOST\\Orders")).text(), u"Orders");
  utility.call(u"CreateQueue", Value(u"Made"));
  for (const char16_t* name : {u"SupportsPublicQueues", u"SupportsPrivateQueues"})
    EXPECT_EQ(utility.get(name).raw.boolVal, VARIANT_TRUE);
  Value id;
  id.raw.vt = VT_ARRAY | VT_UI1;
  id.raw.parray = library->makeArray(VT_UI1, 0, 4);
  std::memcpy(id.raw.parray->pvData, "\x39\x30\x00\x00", 4);
  EXPECT_EQ(utility.call(u"IDToString", id).text(), u"0000012345");
  // An object of the library where a Message Queuing message belongs.
  EXPECT_EQ(utility.failure(DISPATCH_METHOD, "call", u"GetBody", trace.value()).result, DISP_E_TYPEMISMATCH);
}

void driveMessage(const Object& message) {
  EXPECT_EQ(message.get(u"Label").text(), u"Msg Type: <ORDER> MsgID: <1> Object: <Order> ObjectID: <9> ");
  EXPECT_EQ(message.get(u"BodyLength").raw.lVal, 5);
  EXPECT_EQ(message.get(u"SentTime").raw.vt, VT_DATE);
  for (const char16_t* name : {u"AppSpecific", u"ArrivedTime", u"TimeToAcknowledge"})
    EXPECT_EQ(message.failure(DISPATCH_PROPERTYGET, "get", name).result, numbered(91));
}

void driveQueue() {
  const auto queue = Object::create("_Queue", u"CorvaneQueue.Queue");
  queue.call(u"Initialize", Value(u"Orders"), Value(false));
  queue.set(u"ProcessTrace", Object::create("_ProcessTrace", u"CorvaneSYS.ProcessTrace").value());
  const char16_t* fields[][2] = {
      {u"MsgType", u"ORDER"}, {u"MsgID", u"1"}, {u"Object", u"Order"}, {u"ObjectID", u"9"}};
  for (const auto& [name, value] : fields) {
    queue.let(name, value);
    EXPECT_EQ(queue.get(name).text(), value);
  }
  queue.let(u"MsgID", 1);  // a number where text belongs is converted
  EXPECT_EQ(queue.get(u"Name").text(), u"Orders");
  EXPECT_EQ(queue.get(u"CompressMessages").raw.boolVal, VARIANT_FALSE);
  EXPECT_EQ(queue.call(u"IsEmpty").raw.boolVal, VARIANT_TRUE);
  queue.call(u"SendDocument", Value(u"first"));
  queue.call(u"SendDocument", Value(u"second"));
  EXPECT_EQ(queue.get(u"LastDocument").raw.vt, VT_BSTR);

  EXPECT_EQ(queue.call(u"BeginTransaction").raw.vt, VT_I4);
  auto message = Object::in("_Message", queue.call(u"ReceiveNext"));
  driveMessage(message);
  EXPECT_EQ(message.get(u"ID").text(), u"1");
  queue.call(u"AcknowledgeDocument", message.get(u"ID"));
  queue.call(u"Abort");
  queue.call(u"BeginTransaction");
  queue.call(u"SendMessage", message.value());
  queue.call(u"AcknowledgeMessage", message.value());
  queue.call(u"Commit");

  for (const char16_t* name : {u"ReceiveEnable", u"ReceiveDisable"})
    EXPECT_EQ(queue.failure(DISPATCH_METHOD, "call", name).result, E_NOTIMPL);
  EXPECT_EQ(queue.failure(DISPATCH_PROPERTYGET, "get", u"Transaction").source, u"Transaction Get");
  EXPECT_EQ(queue.failure(DISPATCH_PROPERTYPUTREF, "set", u"Transaction", queue.value()).result, E_NOTIMPL);
  for (const char16_t* name : {u"QueueSize", u"JournalQuota", u"Quota", u"JournalEnabled"}) {
    EXPECT_EQ(queue.failure(DISPATCH_PROPERTYGET, "get", name).result, numbered(100));
    EXPECT_EQ(queue.failure(DISPATCH_PROPERTYPUT, "let", name, Value(1)).result, numbered(100));
  }
  EXPECT_EQ(queue.get(u"Journal").raw.pdispVal, nullptr);
  EXPECT_EQ(queue.get(u"Messages").raw.pdispVal, nullptr);
}

void driveCollections() {
  const auto queues = Object::create("_Queues", u"CorvaneQueue.Queues");
  EXPECT_EQ(queues.get(u"Count").raw.lVal, 2);  // Made and Orders
  EXPECT_EQ(queues.get(u"NewEnum").raw.vt, VT_UNKNOWN);
  EXPECT_EQ(queues.call(u"Exists", Value(u"ORDERS")).raw.boolVal, VARIANT_TRUE);
  Object::in("_Queue", queues.call(u"Add", Value(u"Added")));
  queues.call(u"Remove", Value(u"made"));
  queues.call(u"Refresh");
  EXPECT_EQ(queues.get(u"Count").raw.lVal, 3);
  const auto listed = Object::in("_Queue", queues.get(u"Item", Value(u"orders")));
  const auto messages = Object::in("_Messages", listed.get(u"Messages"));
  messages.call(u"Refresh");
  EXPECT_EQ(messages.get(u"Count").raw.lVal, 2);
  EXPECT_EQ(bodies(messages), (Texts{u"second", u"first"}));
  EXPECT_EQ(Object::in("_Message", messages.get(u"Item", Value(2))).get(u"ID").text(),
            u"0000000000000000003");
  messages.call(u"Remove", Value(u"0000000000000000003"));
  EXPECT_EQ(messages.failure(DISPATCH_PROPERTYGET, "get", u"Item", Value(2)).result, numbered(9));
  const auto journal = Object::in("_Journal", listed.get(u"Journal"));
  const auto acknowledged = Object::in("_Messages", journal.get(u"Messages"));
  acknowledged.call(u"Refresh");
  EXPECT_EQ(bodies(acknowledged), Texts{u"first"});
  journal.set(u"Messages", acknowledged.value());
  journal.call(u"Purge");

  const auto holder = Object::create("_Queue", u"CorvaneQueue.Queue");
  holder.set(u"Journal", journal.value());
  holder.set(u"Messages", messages.value());
  EXPECT_EQ(Object::in("_Journal", holder.get(u"Journal")).value().raw.pdispVal,
            journal.value().raw.pdispVal);
  listed.call(u"Purge");
}

// Every member of the Message Queuing objects.
void driveMessageQueuing() {
  const auto info = Object::create("IMSMQQueueInfo", u"MSMQ.MSMQQueueInfo");
  info.let(u"FormatName", u"DIRECT=OS:.\\Late");
  EXPECT_EQ(info.get(u"FormatName").text(), u"DIRECT=OS:.\\Late");
  info.let(u"PathName", u".\\Late");
  EXPECT_EQ(info.get(u"PathName").text(), u".\\Late");
  info.call(u"Create", Value(true), Value(true));
  EXPECT_EQ(info.get(u"IsTransactional").raw.boolVal, VARIANT_TRUE);
  for (const char16_t* name : {u"Journal", u"Quota", u"JournalQuota"}) {
    info.let(name, 1);
    EXPECT_EQ(info.get(name).raw.lVal, 1);
  }
  info.call(u"Update");
  info.call(u"Refresh");
  EXPECT_EQ(info.get(u"Quota").raw.lVal, 1);
  const auto sender = Object::in("IMSMQQueue", info.call(u"Open", Value(2), Value(0)));
  const auto receiver = Object::in("IMSMQQueue", info.call(u"Open", Value(1), Value(0)));
  EXPECT_EQ(Object::in("IMSMQQueueInfo", sender.get(u"QueueInfo")).get(u"Journal").raw.lVal, 1);

  const auto message = Object::create("IMSMQMessage", u"MSMQ.MSMQMessage");
  message.let(u"Label", u"label");
  Value body;
  body.raw.vt = VT_ARRAY | VT_UI1;
  body.raw.parray = library->makeArray(VT_UI1, 0, 3);
  std::memcpy(body.raw.parray->pvData, "abc", 3);
  message.let(u"Body", std::move(body));
  message.let(u"AppSpecific", 7);
  message.let(u"Delivery", 1);
  message.call(u"Send", sender.value(), Value(3));
  const auto dispenser =
      Object::create("IMSMQCoordinatedTransactionDispenser", u"MSMQ.MSMQCoordinatedTransactionDispenser");
  const auto first = Object::in("IMSMQTransaction", dispenser.call(u"BeginTransaction"));
  EXPECT_EQ(first.get(u"Transaction").raw.vt, VT_I4);
  const auto unused = [](int time) {  // arguments that are left out, but for the time
    std::vector<Value> values(2);
    for (Value& value : values) value.raw.vt = VT_ERROR, value.raw.scode = DISP_E_PARAMNOTFOUND;
    values.emplace_back(time);
    return values;
  };
  for (const char16_t* name : {u"PeekCurrent", u"Peek"}) {
    auto given = unused(0);
    const auto peeked = Object::in("IMSMQMessage", receiver.call(name, given[0], given[1], given[2]));
    EXPECT_EQ(peeked.get(u"Label").text(), u"label");
    EXPECT_EQ(peeked.get(u"Body").raw.vt, VT_ARRAY | VT_UI1);
    EXPECT_EQ(peeked.get(u"BodyLength").raw.lVal, 3);
    EXPECT_EQ(peeked.get(u"AppSpecific").raw.lVal, 7);
    EXPECT_EQ(peeked.get(u"Delivery").raw.lVal, 1);
    EXPECT_EQ(peeked.get(u"Id").raw.vt, VT_ARRAY | VT_UI1);
    EXPECT_EQ(peeked.get(u"SentTime").raw.vt, VT_DATE);
    EXPECT_EQ(peeked.get(u"ArrivedTime").raw.vt, VT_DATE);
    EXPECT_EQ(peeked.get(u"MaxTimeToReceive").raw.lVal, -1);
  }
  auto given = unused(0);
  EXPECT_EQ(receiver.call(u"PeekNext", given[0], given[1], given[2]).raw.pdispVal, nullptr);
  receiver.call(u"Reset");
  EXPECT_TRUE(Object::in("IMSMQMessage",
                         receiver.call(u"ReceiveCurrent", first.value(), given[0], given[1], given[2])));
  EXPECT_EQ(receiver.call(u"Receive", first.value(), given[0], given[1], given[2]).raw.pdispVal, nullptr);
  first.call(u"Abort");
  const auto second = Object::in("IMSMQTransaction", dispenser.call(u"BeginTransaction"));
  EXPECT_TRUE(
      Object::in("IMSMQMessage", receiver.call(u"Receive", second.value(), given[0], given[1], given[2])));
  second.call(u"Commit");
  receiver.call(u"EnableNotification", Object::create("IMSMQEvent", u"MSMQ.MSMQEvent").value());
  receiver.call(u"Close");
  info.call(u"Delete");
}

void mistakes() {
  const auto queue = Object::create("_Queue", u"CorvaneQueue.Queue");
  EXPECT_EQ(queue.failure(DISPATCH_METHOD, "call", u"Explode").result, DISP_E_UNKNOWNNAME);
  EXPECT_EQ(queue.failure(DISPATCH_METHOD, "call", u"Purge", Value(1)).result, DISP_E_BADPARAMCOUNT);
  // An object where text belongs; one with a default member would stand for that.
  const auto trace = Object::create("_ProcessTrace", u"CorvaneSYS.ProcessTrace");
  const auto mismatch = queue.failure(DISPATCH_METHOD, "call", u"Initialize", trace.value(), Value(false));
  EXPECT_EQ(mismatch.result, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(mismatch.argument, 1u);  // arguments stand last first
}

// Every member that the type description publishes, as "_Queue get Name".
std::set<std::string> publishedMembers() {
  std::ifstream stream(GOLDEN_FILE);
  const std::string idl(std::istreambuf_iterator<char>(stream), {});
  std::set<std::string> members;
  const std::regex line(R"(interface (_[A-Z]\w+) :|\[id\(\S+\)([^\]]*)\]\s+HRESULT (\w+)\()");
  std::string interface;
  for (std::sregex_iterator at(idl.begin(), idl.end(), line), end; at != end; ++at) {
    if ((*at)[1].matched) {
      interface = (*at)[1];
      continue;
    }
    const std::string attributes = (*at)[2];
    const auto has = [&](const char* word) { return attributes.find(word) != std::string::npos; };
    const char* kind = has("propputref") ? "set" : has("propput") ? "let" : has("propget") ? "get" : "call";
    members.insert(interface + " " + kind + " " + (*at)[3].str());
  }
  return members;
}

// The server file that the registry names for a class.
std::string registeredServer(const Installation& home) {
  const std::string registry = home.read("registry.toml");
  std::smatch found;
  const std::regex name(R"(\[ClassesRoot\."CorvaneQueue\.Queue\\\\Clsid"\]\n"" = "(\{[-0-9A-F]+\})\")");
  if (!std::regex_search(registry, found, name)) return "the name is not registered";
  const std::string key = "[ClassesRoot.\"CLSID\\\\" + found[1].str() + "\\\\InprocServer32\"]";
  const auto at = registry.find(key);
  if (at == std::string::npos) return "the class is not registered";
  const std::string rest = registry.substr(at + key.size());
  return std::regex_search(rest, found, std::regex(R"(\n"" = "([^"]*)\")")) ? found[1].str() : rest;
}

TEST(LateClient, DrivesEveryMemberByName) {
  const Installation home("");
  library = std::make_unique<Library>(CORVANE_LIBRARY);
  EXPECT_EQ(library->registerServer(), S_OK);
  library = nullptr;
  library = std::make_unique<Library>(registeredServer(home));

  driven.clear();
  driveUtility();
  driveQueue();
  driveCollections();
  driveMessageQueuing();
  std::set<std::string> missed;
  for (const std::string& member : publishedMembers())
    if (!driven.contains(member) && member.find("_ProcessTrace") == std::string::npos &&
        member.find("_ClassTrace") == std::string::npos &&
        member.find("_ExceptionHandler") == std::string::npos)
      missed.insert(member);
  EXPECT_EQ(missed, std::set<std::string>{});
  EXPECT_GT(driven.size(), 100u);
  mistakes();

  library = nullptr;
}

TEST(LateClient, RegistersAndRemovesItsOwnAlone) {
  const Installation home("");
  const std::filesystem::path original = CORVANE_LIBRARY;
  const std::filesystem::path copy = home.file("libCopy.so");
  std::filesystem::copy_file(original, copy);
  const auto with = [](const std::filesystem::path& file, auto&& use) {
    library = std::make_unique<Library>(file);
    use();
    library = nullptr;
  };
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
  std::smatch found;
  ASSERT_TRUE(std::regex_search(ofTheOriginal, found, std::regex(R"(linux64"\]\n"" = "([^"]*)\")")));
  const std::string types = found[1];
  std::ifstream stream(types);
  std::ifstream golden(GOLDEN_FILE);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}),
            std::string(std::istreambuf_iterator<char>(golden), {}));
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
    library = std::make_unique<Library>(CORVANE_LIBRARY);
    {
      const auto queue = Object::create("_Queue", u"CorvaneQueue.Queue");
      queue.call(u"Initialize", Value(u"Orders"), Value(false));
      queue.call(u"SendDocument", Value(u"text"));
      const auto message = Object::in("_Message", queue.call(u"ReceiveNext"));
      queue.call(u"AcknowledgeDocument", message.get(u"ID"));
      EXPECT_EQ(queue.failure(DISPATCH_PROPERTYGET, "get", u"Quota").result, numbered(100));
      EXPECT_EQ(library->canUnloadNow(), S_FALSE);
    }
    EXPECT_EQ(library->canUnloadNow(), S_OK);
    library = nullptr;
    EXPECT_EQ(dlopen(CORVANE_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
  };
  constexpr int warmUp = 50;
  for (int i = 0; i < warmUp; ++i) useOnce();
  const std::size_t bytes = mallinfo2().uordblks;
  const std::size_t descriptors = entries("/proc/self/fd");
  constexpr int rounds = 1000;
  for (int i = 0; i < rounds; ++i) useOnce();
  EXPECT_EQ(entries("/proc/self/fd"), descriptors);
  const auto grown = static_cast<std::ptrdiff_t>(mallinfo2().uordblks) - static_cast<std::ptrdiff_t>(bytes);
  EXPECT_LT(grown, 32 * rounds) << "bytes not given back";  // a smallest piece each
}

}  // namespace
