#include "MessageStore.h"

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::int32_t defaultTimeout = 30;  // seconds

class StoreCommand final : public Command {
 public:
  void ActiveConnection(std::shared_ptr<Connection> connection) override {
    session_ = std::dynamic_pointer_cast<StoreSession>(std::move(connection));
  }
  void CommandType(CommandTypeEnum type) override { type_ = type; }
  void CommandText(std::u16string_view text) override { text_ = text; }
  void CommandTimeout(std::int32_t seconds) override { timeout_ = seconds; }
  void Append(Parameter parameter) override { parameters_->push_back(std::move(parameter)); }
  const Parameter& At(std::size_t position) const override { return parameters_->at(position); }

  std::unique_ptr<Recordset> Execute(std::int32_t) override {
    if (!session_)
      throw Error(ErrorNumber::ObjectNotSet, storeSource,
                  u"Object not set: the command has no active connection.");
    return type_ == adCmdText ? session_->query(text_, timeout_)
                              : session_->call(text_, parameters_, timeout_);
  }

 private:
  std::shared_ptr<StoreSession> session_;
  CommandTypeEnum type_ = adCmdText;
  std::u16string text_;
  std::int32_t timeout_ = defaultTimeout;
  std::shared_ptr<std::vector<Parameter>> parameters_ = std::make_shared<std::vector<Parameter>>();
};

}  // namespace

std::unique_ptr<Command> MessageStore::createCommand() { return std::make_unique<StoreCommand>(); }

StoreAccess& MessageStore::access() {
  const auto set = settings_.read({u"Platform", u"MessageStore", u"Engine"});
  if (!set) return engines_.front().access;
  const String name = toString(set->get());
  std::u16string known;
  for (const Engine& engine : engines_) {
    if (engine.name == name.view()) return engine.access;
    known += (known.empty() ? u"\"" : u", \"") + std::u16string(engine.name) + u"\"";
  }
  throw Error(ErrorNumber::InvalidArgument, storeSource,
              u"The setting Engine of [Platform.MessageStore] is \"" + std::u16string(name.view()) +
                  u"\"; known are " + known + u". Correct it in settings.toml.");
}

}  // namespace CorvaneQueue::platform_layer
