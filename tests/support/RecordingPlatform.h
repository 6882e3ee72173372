// A door that records every outward call in order, answers what a test has prepared, and fails where
// a test wants it to.
#pragma once

#include "Object.h"
#include "Platform.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace CorvaneQueue {

inline std::string shown(const VARIANT& value) {
  const auto type = static_cast<VARTYPE>(value.vt & ~VT_BYREF);
  if (value.vt == (VT_ERROR)) return "omitted";
  if (type == VT_DISPATCH) return "object";
  if (type == VT_EMPTY) return "empty";
  if ((type & VT_ARRAY) != 0) return "bytes";
  const std::string text = toUtf8(toString(value));
  const std::string reference = (value.vt & VT_BYREF) != 0 ? "&" : "";
  switch (type) {
    case VT_BSTR: return reference + "\"" + text + "\"";
    case VT_I2: return reference + "int16 " + text;
    case VT_I4: return reference + "int32 " + text;
    case VT_DATE: return reference + "date " + text;
    default: return reference + text;
  }
}

struct Recorder {
  std::vector<std::string> calls;
  std::map<std::string, Variant> settings;             // by key
  std::string failing;                                 // the call that starts with this fails with 4711
  std::deque<std::vector<std::vector<Variant>>> rows;  // answers of the database, one a statement
  bool answersNoRecordset = false;
  bool raises = true;  // whether reports raise as asked
  OSVersion version{148, 10, 0, 0, 2, {}};
  SystemTime now{2026, 11, 22, 23, 59, 59, 999};
  std::int32_t bias = 0;
  TimeZoneId zone = zoneUnknown;
  ObjectStateEnum connectionState = adStateOpen;

  std::function<void()> onReport;

  void note(const std::string& call) {
    calls.push_back(call);
    if (!failing.empty() && call.starts_with(failing)) throw Error(4711, u"door", u"The door failed.");
  }
  // The calls so far, forgotten.
  std::vector<std::string> take() { return std::exchange(calls, {}); }
  std::vector<std::string> take(const std::string& part) {
    std::vector<std::string> found;
    for (const auto& call : std::exchange(calls, {}))
      if (call.find(part) != std::string::npos) found.push_back(call);
    return found;
  }
};

class RecordingHandler final : public Object<RecordingHandler, DispatchForm<_ExceptionHandler>> {
 public:
  RecordingHandler(Recorder& recorder, std::string name) : recorder_(recorder), name_(std::move(name)) {}
  HRESULT STDMETHODCALLTYPE put_ComponentName(BSTR value) noexcept final { return note("component", value); }
  HRESULT STDMETHODCALLTYPE put_ClassName(BSTR value) noexcept final { return note("class", value); }
  HRESULT STDMETHODCALLTYPE raw_SetNames(BSTR component, BSTR className) noexcept final {
    return answer([&] {
      recorder_.note(name_ + " names " + toUtf8(StringRef(component)) + " " + toUtf8(StringRef(className)));
    });
  }
  HRESULT STDMETHODCALLTYPE put_Description(BSTR value) noexcept final {
    description_ = String(StringRef(value));
    return note("description", value);
  }
  HRESULT STDMETHODCALLTYPE raw_TakeError(LONG number, BSTR source, BSTR description) noexcept final {
    return answer([&] {
      description_ = String(StringRef(description));
      recorder_.note(name_ + " take " + std::to_string(number) + " " + toUtf8(StringRef(source)));
    });
  }
  HRESULT STDMETHODCALLTYPE raw_Report(VARIANT_BOOL raise, LONG level, LONG number,
                                       BSTR procedure) noexcept final {
    return answer([&] {
      recorder_.note(name_ + " report " + (raise ? "raise " : "keep ") + std::to_string(level) + " " +
                     std::to_string(number) + " " + toUtf8(StringRef(procedure)));
      if (recorder_.onReport) recorder_.onReport();
      if (raise && recorder_.raises) throw Error(number, String(StringRef(procedure)), description_);
    });
  }

 private:
  HRESULT note(const char* what, BSTR value) {
    return answer([&] { recorder_.note(name_ + " " + what + " " + toUtf8(StringRef(value))); });
  }
  Recorder& recorder_;
  std::string name_;
  String description_;
};

class RecordingTrace final
    : public Object<RecordingTrace, DispatchForm<_ProcessTrace>, DispatchForm<_ClassTrace>> {
 public:
  explicit RecordingTrace(Recorder& recorder) : recorder_(recorder) {}
  HRESULT STDMETHODCALLTYPE raw_ClassTrace(BSTR library, BSTR className, VARIANT* result) noexcept final {
    return answer(result, [&] {
      recorder_.note("trace " + toUtf8(StringRef(library)) + " " + toUtf8(StringRef(className)));
      return Variant(asDispatch(Ref<RecordingTrace>(this)));
    });
  }
  HRESULT STDMETHODCALLTYPE get_ExceptionHandler(_ExceptionHandler** result) noexcept final {
    return answer(result, [&] { return make<RecordingHandler>(recorder_, "traced"); });
  }

 private:
  Recorder& recorder_;
};

class RecordingSettings final : public ConfigurationSettings,
                                public ComponentSettings,
                                public RegistryAccess {
 public:
  explicit RecordingSettings(Recorder& recorder) : recorder_(recorder) {}
  void Application(std::u16string_view name) override { note("application ", name); }
  void Section(std::u16string_view name) override { note("section ", name); }
  void FirstLevel(std::u16string_view name) override { note("first ", name); }
  void SecondLevel(std::u16string_view name) override { note("second ", name); }
  void Root(RegistryRoot) override { recorder_.note("root"); }
  Variant Read(std::u16string_view key, const Variant& byDefault) override {
    recorder_.note("read " + toUtf8(key) + " " + shown(byDefault.get()));
    const auto found = recorder_.settings.find(toUtf8(key));
    return found == recorder_.settings.end() ? byDefault : found->second;
  }
  void Write(std::u16string_view key, const Variant& value) override {
    recorder_.note("write " + toUtf8(key) + " " + shown(value.get()));
    recorder_.settings[toUtf8(key)] = value;
  }
  String Read(std::u16string_view, std::u16string_view, std::u16string_view byDefault) override {
    return String(byDefault);
  }

 private:
  void note(const char* what, std::u16string_view name) { recorder_.note(what + toUtf8(name)); }
  Recorder& recorder_;
};

class PreparedRows final : public Recordset {
 public:
  explicit PreparedRows(std::vector<std::vector<Variant>> rows) : rows_(std::move(rows)) {}
  std::int32_t RecordCount() const override { return static_cast<std::int32_t>(rows_.size()); }
  void MoveFirst() override { current_ = 0; }
  void MoveNext() override { ++current_; }
  bool EndOfFile() const override { return current_ >= rows_.size(); }
  Variant Field(std::int32_t position) override {
    return rows_.at(current_).at(static_cast<std::size_t>(position));
  }

 private:
  std::vector<std::vector<Variant>> rows_;
  std::size_t current_ = 0;
};

class RecordingConnection final : public Connection {
 public:
  explicit RecordingConnection(Recorder& recorder) : recorder_(recorder) {}
  ObjectStateEnum State() const override { return recorder_.connectionState; }
  std::int32_t BeginTrans() override {
    recorder_.note("BeginTrans");
    return ++level_;
  }
  void CommitTrans() override {
    recorder_.note("CommitTrans");
    --level_;
  }
  void RollbackTrans() override {
    recorder_.note("RollbackTrans");
    --level_;
  }

 private:
  Recorder& recorder_;
  std::int32_t level_ = 0;
};

inline std::unique_ptr<Recordset> nextRows(Recorder& recorder) {
  if (recorder.answersNoRecordset) return nullptr;
  std::vector<std::vector<Variant>> rows;
  if (!recorder.rows.empty()) {
    rows = std::move(recorder.rows.front());
    recorder.rows.pop_front();
  }
  return std::make_unique<PreparedRows>(std::move(rows));
}

class RecordingCommand final : public Command {
 public:
  explicit RecordingCommand(Recorder& recorder) : recorder_(recorder) {}
  void ActiveConnection(std::shared_ptr<Connection> connection) override {
    recorder_.note(connection ? "ActiveConnection" : "ActiveConnection none");
  }
  void CommandType(CommandTypeEnum type) override { recorder_.note("CommandType " + std::to_string(type)); }
  void CommandText(std::u16string_view text) override { recorder_.note("CommandText " + toUtf8(text)); }
  void CommandTimeout(std::int32_t seconds) override {
    recorder_.note("CommandTimeout " + std::to_string(seconds));
  }
  void Append(Parameter parameter) override {
    recorder_.note("Append " + toUtf8(parameter.Name) + " " + std::to_string(parameter.Type) + " " +
                   std::to_string(parameter.Direction) + " " + std::to_string(parameter.Size) + " " +
                   shown(parameter.Value.get()));
    parameters_.push_back(std::move(parameter));
  }
  const Parameter& At(std::size_t position) const override { return parameters_.at(position); }
  std::unique_ptr<Recordset> Execute(std::int32_t options) override {
    recorder_.note("Execute " + std::to_string(options));
    for (Parameter& parameter : parameters_)
      if (parameter.Direction == adParamOutput) parameter.Value = std::int64_t{42};
    return nextRows(recorder_);
  }

 private:
  Recorder& recorder_;
  std::vector<Parameter> parameters_;
};

class RecordingDatabase final : public DatabaseConnection {
 public:
  explicit RecordingDatabase(Recorder& recorder)
      : recorder_(recorder), connection_(std::make_shared<RecordingConnection>(recorder)) {}
  std::shared_ptr<CorvaneQueue::Connection> Connection() override { return connection_; }
  std::unique_ptr<Recordset> OpenRecordset(std::u16string_view query, std::int32_t& cursorType) override {
    recorder_.note("OpenRecordset " + std::to_string(cursorType) + " " + toUtf8(query));
    return nextRows(recorder_);
  }

 private:
  Recorder& recorder_;
  std::shared_ptr<RecordingConnection> connection_;
};

// A queue of Message Queuing that notes what is done with it.
class RecordingQueueInfo final : public Object<RecordingQueueInfo, DispatchForm<IMSMQQueueInfo>> {
 public:
  explicit RecordingQueueInfo(Recorder& recorder) : recorder_(recorder) {}
  HRESULT STDMETHODCALLTYPE get_PathName(BSTR* r) noexcept final {
    return answer(r, [&] { return name_; });
  }
  HRESULT STDMETHODCALLTYPE put_PathName(BSTR value) noexcept final { return named("PathName ", value); }
  HRESULT STDMETHODCALLTYPE get_FormatName(BSTR* r) noexcept final {
    return answer(r, [&] { return name_; });
  }
  HRESULT STDMETHODCALLTYPE put_FormatName(BSTR value) noexcept final { return named("FormatName ", value); }
  HRESULT STDMETHODCALLTYPE get_IsTransactional(VARIANT_BOOL*) noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Quota(LONG*) noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_Quota(LONG) noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Journal(LONG*) noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_Journal(LONG) noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_JournalQuota(LONG*) noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_JournalQuota(LONG) noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE raw_Create(VARIANT* isTransactional, VARIANT* isWorldReadable) noexcept final {
    return answer(
        [&] { recorder_.note("Create " + shown(*isTransactional) + " " + shown(*isWorldReadable)); });
  }
  HRESULT STDMETHODCALLTYPE raw_Delete() noexcept final {
    return answer([&] { recorder_.note("Delete"); });
  }
  HRESULT STDMETHODCALLTYPE raw_Open(LONG access, LONG share, IDispatch** result) noexcept final;
  HRESULT STDMETHODCALLTYPE raw_Update() noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE raw_Refresh() noexcept final { return E_NOTIMPL; }

 private:
  HRESULT named(const char* what, BSTR value) {
    return answer([&] {
      name_ = String(StringRef(value));
      recorder_.note(what + toUtf8(name_));
    });
  }
  Recorder& recorder_;
  String name_;
};

class RecordingMessageQueue final : public Object<RecordingMessageQueue, DispatchForm<IMSMQQueue>> {
 public:
  explicit RecordingMessageQueue(Ref<IMSMQQueueInfo> information) : information_(std::move(information)) {}
  HRESULT STDMETHODCALLTYPE get_QueueInfo(IMSMQQueueInfo** r) noexcept final {
    return answer(r, [&] { return information_; });
  }
  HRESULT STDMETHODCALLTYPE raw_Reset() noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE raw_Close() noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE raw_PeekCurrent(VARIANT*, VARIANT*, VARIANT*, IMSMQMessage**) noexcept final {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE raw_PeekNext(VARIANT*, VARIANT*, VARIANT*, IMSMQMessage**) noexcept final {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE raw_Peek(VARIANT*, VARIANT*, VARIANT*, IMSMQMessage**) noexcept final {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE raw_Receive(VARIANT*, VARIANT*, VARIANT*, VARIANT*,
                                        IMSMQMessage**) noexcept final {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE raw_ReceiveCurrent(VARIANT*, VARIANT*, VARIANT*, VARIANT*,
                                               IMSMQMessage**) noexcept final {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE raw_EnableNotification(IMSMQEvent*, VARIANT*, VARIANT*) noexcept final {
    return E_NOTIMPL;
  }

 private:
  Ref<IMSMQQueueInfo> information_;
};

inline HRESULT RecordingQueueInfo::raw_Open(LONG access, LONG share, IDispatch** result) noexcept {
  return answer(result, [&] {
    recorder_.note("Open " + std::to_string(access) + " " + std::to_string(share));
    return asDispatch(make<RecordingMessageQueue>(Ref<IMSMQQueueInfo>(this)));
  });
}

class RecordingPlatform final : HostServices, MessageQueuing, DatabaseAccess, OperatingSystem {
 public:
  // Compression is the installed one's: nothing when there is none.
  explicit RecordingPlatform(Compression* compression = nullptr)
      : scope_({this, this, this, compression, this}) {}
  Recorder recorder;

 private:
  Ref<_ExceptionHandler> createExceptionHandler() override {
    return make<RecordingHandler>(recorder, "default");
  }
  Ref<_ProcessTrace> createProcessTrace() override { return make<RecordingTrace>(recorder); }
  std::unique_ptr<ConfigurationSettings> createConfigurationSettings() override {
    return std::make_unique<RecordingSettings>(recorder);
  }
  std::unique_ptr<ComponentSettings> createComponentSettings() override {
    return std::make_unique<RecordingSettings>(recorder);
  }
  std::unique_ptr<RegistryAccess> createRegistryAccess() override {
    return std::make_unique<RecordingSettings>(recorder);
  }
  std::unique_ptr<DatabaseConnection> createDatabaseConnection() override {
    recorder.note("new DatabaseConnection");
    return std::make_unique<RecordingDatabase>(recorder);
  }
  Ref<IMSMQQueueInfo> createQueueInfo() override {
    recorder.note("new MSMQQueueInfo");
    return make<RecordingQueueInfo>(recorder);
  }
  Ref<IMSMQMessage> createMessage() override { return {}; }
  Ref<IMSMQEvent> createEvent() override { return {}; }
  Ref<IMSMQCoordinatedTransactionDispenser> createTransactionDispenser() override { return {}; }
  std::unique_ptr<Command> createCommand() override { return std::make_unique<RecordingCommand>(recorder); }
  bool GetVersionEx(OSVersion& record) override {
    record = recorder.version;
    return true;
  }
  SystemTime GetSystemTime() override { return recorder.now; }
  std::optional<String> readRegistry(std::u16string_view, std::u16string_view, bool) override { return {}; }
  String environmentVariable(std::u16string_view) override { return {}; }
  String systemDirectory() override { return u"S:"; }
  String windowsDirectory() override { return u"W:"; }
  std::vector<String> listFiles(std::u16string_view) override { return {}; }
  String readInitialisationFile(std::u16string_view, std::u16string_view, std::u16string_view) override {
    return {};
  }
  void setClassesValues(std::span<const ClassesValue>) override {}
  void deleteClassesValues(std::span<const ClassesValue>) override {}
  TimeZoneId GetTimeZoneInformation(std::int32_t& bias) override {
    bias = recorder.bias;
    return recorder.zone;
  }
  Variant toAnsi(std::u16string_view) override { return {}; }
  String fromAnsi(std::span<const std::uint8_t> bytes) override {
    recorder.note("fromAnsi");
    return String(std::u16string(bytes.begin(), bytes.end()));
  }

  ScopedPlatform scope_;
};

}  // namespace CorvaneQueue
