// A door that records every outward call in order, answers what a test has prepared, and fails where
// a test wants it to.
#pragma once

#include "Object.h"
#include "Platform.h"
#include "RecordingQueuing.h"

#include <memory>
#include <string>
#include <vector>

namespace CorvaneQueue {

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
    return CorvaneQueue::answer(result, [&] {
      recorder_.note("trace " + toUtf8(StringRef(library)) + " " + toUtf8(StringRef(className)));
      return Variant(asDispatch(Ref<RecordingTrace>(this)));
    });
  }
  HRESULT STDMETHODCALLTYPE get_ExceptionHandler(_ExceptionHandler** result) noexcept final {
    return CorvaneQueue::answer(result, [&] { return make<RecordingHandler>(recorder_, "traced"); });
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
  void Root(RegistryRoot root) override { recorder_.note("root " + std::to_string(static_cast<int>(root))); }
  Variant Read(std::u16string_view key, const Variant& byDefault) override {
    recorder_.note("read " + toUtf8(key) + " " + shown(byDefault.get()));
    const auto found = recorder_.settings.find(toUtf8(key));
    return found == recorder_.settings.end() ? byDefault : found->second;
  }
  void Write(std::u16string_view key, const Variant& value) override {
    recorder_.note("write " + toUtf8(key) + " " + shown(value.get()));
    recorder_.settings[toUtf8(key)] = value;
  }
  String Read(std::u16string_view key, std::u16string_view name, std::u16string_view byDefault) override {
    recorder_.note("registry " + toUtf8(key) + " " + toUtf8(name) + " \"" + toUtf8(byDefault) + "\"");
    return recorder_.text("registry").value_or(String(byDefault));
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
    return make<RecordingQueueInfo>(recorder, "");
  }
  Ref<IMSMQMessage> createMessage() override {
    recorder.note("new MSMQMessage");
    return make<RecordingMessage>(recorder);
  }
  Ref<IMSMQEvent> createEvent() override {
    recorder.note("new MSMQEvent");
    return make<RecordingEvent>(recorder);
  }
  Ref<IMSMQCoordinatedTransactionDispenser> createTransactionDispenser() override {
    recorder.note("new MSMQCoordinatedTransactionDispenser");
    return make<RecordingDispenser>(recorder);
  }
  std::unique_ptr<Command> createCommand() override { return std::make_unique<RecordingCommand>(recorder); }
  bool GetVersionEx(OSVersion& record) override {
    record = recorder.version;
    return true;
  }
  SystemTime GetSystemTime() override { return recorder.now; }
  std::optional<String> readRegistry(std::u16string_view key, std::u16string_view name,
                                     bool is64BitView) override {
    recorder.note("registry " + toUtf8(key) + " " + toUtf8(name) + (is64BitView ? " 64" : ""));
    return recorder.text("registry");
  }
  String environmentVariable(std::u16string_view name) override {
    return recorder.text(toUtf8(name)).value_or(String());
  }
  String systemDirectory() override { return recorder.text("system directory").value_or(u"S:\\"); }
  String windowsDirectory() override { return u"W:"; }
  std::vector<String> listFiles(std::u16string_view pattern) override {
    recorder.note("list " + toUtf8(pattern));
    return recorder.files;
  }
  String readInitialisationFile(std::u16string_view file, std::u16string_view section,
                                std::u16string_view key) override {
    recorder.note("key " + toUtf8(file) + " " + toUtf8(section) + " " + toUtf8(key));
    const std::string path = toUtf8(file);
    return recorder.text(path.substr(path.rfind('\\') + 1) + " " + toUtf8(key)).value_or(String());
  }
  std::optional<String> readClassesValue(std::u16string_view, std::u16string_view) override { return {}; }
  void setClassesValues(std::span<const ClassesValue>) override {}
  void deleteClassesValues(std::span<const ClassesValue>) override {}
  TimeZoneId GetTimeZoneInformation(std::int32_t& bias) override {
    bias = recorder.bias;
    return recorder.zone;
  }
  AnsiText toAnsi(std::u16string_view text) override {
    recorder.note("toAnsi");
    return {Variant::bytes(std::vector<std::uint8_t>(text.begin(), text.end())), std::nullopt};
  }
  String fromAnsi(std::span<const std::uint8_t> bytes) override {
    recorder.note("fromAnsi");
    return String(std::u16string(bytes.begin(), bytes.end()));
  }

  ScopedPlatform scope_;
};

}  // namespace CorvaneQueue
