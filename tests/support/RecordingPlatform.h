// A door that records every outward call in order, answers what a test has prepared, and fails where
// a test wants it to.
#pragma once

#include "Expect.h"
#include "Object.h"
#include "Platform.h"
#include "RecordingQueuing.h"
#include "ZstdCompression.h"

#include <CorvaneQueue/Queue.h>

#include <fstream>

namespace CorvaneQueue {

class RecordingHandler final : public Object<RecordingHandler, DispatchForm<_ExceptionHandler>>, Recording {
 public:
  explicit RecordingHandler(Recorder& noting, std::string name = "default") : Recording(noting, name) {}
  HRESULT put_ComponentName(BSTR value) noexcept final { return noted(" component", value); }
  HRESULT put_ClassName(BSTR value) noexcept final { return noted(" class", value); }
  HRESULT raw_SetNames(BSTR component, BSTR name) noexcept final { return noted(" names", component, name); }
  HRESULT put_Description(BSTR value) noexcept final {
    description_ = String(StringRef(value));
    return noted(" description", value);
  }
  HRESULT raw_TakeError(LONG number, BSTR source, BSTR description) noexcept final {
    description_ = String(StringRef(description));
    return noted(" take", number, shown(source) + ":", description);
  }
  HRESULT raw_Report(VARIANT_BOOL raise, LONG level, LONG number, BSTR procedure) noexcept final {
    return CorvaneQueue::answer([&] {
      recorder.note(name_ + " report", raise ? "raise" : "keep", level, number, procedure);
      if (recorder.onReport) recorder.onReport();
      if (raise && recorder.raises) throw Error(number, String(StringRef(procedure)), description_);
    });
  }

 private:
  String description_;
};

class RecordingTrace final
    : public Object<RecordingTrace, DispatchForm<_ProcessTrace>, DispatchForm<_ClassTrace>>,
      Recording {
 public:
  using Recording::Recording;
  HRESULT raw_ClassTrace(BSTR library, BSTR name, VARIANT* result) noexcept final {
    return notes(result, Variant(asDispatch(Ref<RecordingTrace>(this))), "trace", library, name);
  }
  MEMBER(get_ExceptionHandler(_ExceptionHandler** result),
         gives(result, make<RecordingHandler>(recorder, "traced")))
};

class RecordingSettings final : public ConfigurationSettings,
                                public ComponentSettings,
                                public RegistryAccess,
                                Recording {
 public:
  using Recording::Recording;
  void Application(std::u16string_view name) override { recorder.note("application", name); }
  void Section(std::u16string_view name) override { recorder.note("section", name); }
  void FirstLevel(std::u16string_view name) override { recorder.note("first", name); }
  void SecondLevel(std::u16string_view name) override { recorder.note("second", name); }
  void Root(RegistryRoot root) override { recorder.note("root", static_cast<int>(root)); }
  Variant Read(std::u16string_view key, const Variant& byDefault) override {
    recorder.note("read", key, byDefault.get());
    const auto found = recorder.settings.find(toUtf8(key));
    return found == recorder.settings.end() ? byDefault : found->second;
  }
  void Write(std::u16string_view key, const Variant& value) override {
    recorder.note("write", key, value.get());
    recorder.settings[toUtf8(key)] = value;
  }
  String Read(std::u16string_view key, std::u16string_view name, std::u16string_view byDefault) override {
    recorder.note("registry", key, name, "\"" + toUtf8(byDefault) + "\"");
    return recorder.text("registry", byDefault);
  }
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
  Variant TakeField(std::int32_t position) override { return Field(position); }
  static std::unique_ptr<Recordset> next(Recorder& recorder) {
    if (recorder.answersNoRecordset) return nullptr;
    if (recorder.rows.empty()) recorder.rows.emplace_back();
    auto rows = std::make_unique<PreparedRows>(std::move(recorder.rows.front()));
    recorder.rows.pop_front();
    return rows;
  }

 private:
  std::vector<std::vector<Variant>> rows_;
  std::size_t current_ = 0;
};

class RecordingConnection final : public Connection, Recording {
 public:
  using Recording::Recording;
  ObjectStateEnum State() const override { return recorder.connectionState; }
  std::int32_t BeginTrans() override { return changed("BeginTrans", 1); }
  void CommitTrans() override { changed("CommitTrans", -1); }
  void RollbackTrans() override { changed("RollbackTrans", -1); }

 private:
  std::int32_t changed(const char* call, int by) { return recorder.note(call), level_ += by; }
  std::int32_t level_ = 0;
};

class RecordingCommand final : public Command, Recording {
 public:
  using Recording::Recording;
  void ActiveConnection(std::shared_ptr<Connection> connection) override {
    recorder.note(connection ? "ActiveConnection" : "ActiveConnection none");
  }
  void CommandType(CommandTypeEnum type) override { recorder.note("CommandType", type); }
  void CommandText(std::u16string_view text) override { recorder.note("CommandText", text); }
  void CommandTimeout(std::int32_t seconds) override { recorder.note("CommandTimeout", seconds); }
  void Append(Parameter one) override {
    recorder.note("Append", one.Name, one.Type, one.Direction, one.Size, one.Value.get());
    parameters_.push_back(std::move(one));
  }
  const Parameter& At(std::size_t position) const override { return parameters_.at(position); }
  std::unique_ptr<Recordset> Execute(std::int32_t options) override {
    recorder.note("Execute", options);
    for (Parameter& parameter : parameters_)
      if (parameter.Direction == adParamOutput) parameter.Value = std::int64_t{42};
    return PreparedRows::next(recorder);
  }

 private:
  std::vector<Parameter> parameters_;
};

class RecordingDatabase final : public DatabaseConnection, Recording {
 public:
  using Recording::Recording;
  std::shared_ptr<CorvaneQueue::Connection> Connection() override { return connection_; }
  std::unique_ptr<Recordset> OpenRecordset(std::u16string_view query, std::int32_t& cursorType) override {
    recorder.note("OpenRecordset", cursorType, query);
    return PreparedRows::next(recorder);
  }

 private:
  std::shared_ptr<RecordingConnection> connection_ = std::make_shared<RecordingConnection>(recorder);
};

class RecordingPlatform final : HostServices, QueuingServices, DatabaseAccess, OperatingSystem {
 public:
  // Compression is the installed one's.
  explicit RecordingPlatform(Compression* compression) : scope_({this, this, this, compression, this}) {}
  Recorder recorder;

 private:
  template <class Made>
  Ref<Made> noted(const char* name) {
    recorder.note(name);
    return make<Made>(recorder);
  }
  std::unique_ptr<RecordingSettings> settings() { return std::make_unique<RecordingSettings>(recorder); }
  Ref<_ExceptionHandler> createExceptionHandler() override { return make<RecordingHandler>(recorder); }
  Ref<_ProcessTrace> createProcessTrace() override { return make<RecordingTrace>(recorder); }
  std::unique_ptr<ConfigurationSettings> createConfigurationSettings() override { return settings(); }
  std::unique_ptr<ComponentSettings> createComponentSettings() override { return settings(); }
  std::unique_ptr<RegistryAccess> createRegistryAccess() override { return settings(); }
  std::unique_ptr<DatabaseConnection> createDatabaseConnection() override {
    recorder.note("new DatabaseConnection");
    return std::make_unique<RecordingDatabase>(recorder);
  }
  Ref<IMSMQQueueInfo> createQueueInfo() override { return noted<RecordingQueueInfo>("new MSMQQueueInfo"); }
  Ref<IMSMQMessage> createMessage() override { return noted<RecordingMessage>("new MSMQMessage"); }
  Ref<IMSMQEvent> createEvent() override { return noted<RecordingEvent>("new MSMQEvent"); }
  Ref<IMSMQCoordinatedTransactionDispenser> createTransactionDispenser() override {
    return noted<RecordingDispenser>("new MSMQCoordinatedTransactionDispenser");
  }
  std::unique_ptr<Command> createCommand() override { return std::make_unique<RecordingCommand>(recorder); }
  bool GetVersionEx(OSVersion& record) override { return record = recorder.version, true; }
  SystemTime GetSystemTime() override { return recorder.now; }
  std::optional<String> readRegistry(std::u16string_view key, std::u16string_view name,
                                     bool is64BitView) override {
    recorder.note("registry", key, toUtf8(name) + (is64BitView ? " 64" : ""));
    return recorder.texts.contains("registry") ? std::optional(recorder.text("registry")) : std::nullopt;
  }
  String environmentVariable(std::u16string_view name) override { return recorder.text(toUtf8(name)); }
  String systemDirectory() override { return recorder.text("system directory", u"S:\\"); }
  String windowsDirectory() override { return u"W:"; }
  std::vector<String> listFiles(std::u16string_view pattern) override {
    recorder.note("list", pattern);
    return recorder.files;
  }
  String readInitialisationFile(std::u16string_view file, std::u16string_view section,
                                std::u16string_view key) override {
    recorder.note("key", file, section, key);
    const std::string path = toUtf8(file);
    return recorder.text(path.substr(path.rfind('\\') + 1) + " " + toUtf8(key));
  }
  std::optional<String> readClassesValue(std::u16string_view, std::u16string_view) override { return {}; }
  void setClassesValues(std::span<const ClassesValue>) override {}
  void deleteClassesValues(std::span<const ClassesValue>) override {}
  TimeZoneId GetTimeZoneInformation(std::int32_t& bias) override {
    return bias = recorder.bias, recorder.zone;
  }
  AnsiText toAnsi(std::u16string_view text) override {
    recorder.note("toAnsi", text);
    return {Variant::bytes(std::vector<std::uint8_t>(text.begin(), text.end())), std::nullopt};
  }
  String fromAnsi(std::span<const std::uint8_t> bytes) override {
    const std::u16string text(bytes.begin(), bytes.end());
    recorder.note("fromAnsi", text);
    return String(text);
  }

  ScopedPlatform scope_;
};

}  // namespace CorvaneQueue
