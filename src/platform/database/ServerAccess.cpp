#include "ServerAccess.h"

#include "File.h"
#include "Module.h"
#include "ServerOperations.h"
#include "StoredText.h"

namespace CorvaneQueue::platform_layer {

namespace {

ServerDriver& driver() {
  static ServerDriver* const loaded = [] {
    const auto function =
        reinterpret_cast<ServerDriverFunction*>(functionOfModule(serverDriverModule, serverDriverFunction));
    ServerDriver* const found = function(serverDriverVersion);
    if (found == nullptr)
      throw Error(
          E_FAIL, storeSource,
          u"The part of the library for database servers is of another version. Install both of one.");
    return found;
  }();
  return *loaded;
}

[[noreturn]] void badSetting(std::u16string_view what) {
  throw Error(ErrorNumber::InvalidArgument, storeSource,
              u"The settings of [Platform.MessageStore]: " + std::u16string(what));
}

std::u16string passwordIn(const std::filesystem::path& file) {
  const FileState state = FileState::of(file);
  if (!state.isThere()) badSetting(u"there is no PasswordFile \"" + shownPath(file) + u"\".");
  if (state.isOpenToOthers)
    badSetting(u"others may read the PasswordFile \"" + shownPath(file) +
               u"\". Take that from them: mode 0600.");
  std::array<std::uint8_t, 4096> content;
  const std::size_t size = File(file, File::Use::Read).readAt(content, 0);
  std::string text(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(size));
  while (text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
  return std::u16string(fromUtf8(text).view());
}

bool hasPassword(std::u16string_view connection) {
  for (std::size_t at = 0; at < connection.size();) {
    const auto end = std::min(connection.find(u';', at), connection.size());
    std::u16string keyword = foldCase(connection.substr(at, end - at));
    keyword.resize(std::min(keyword.find(u'='), keyword.size()));
    std::erase(keyword, u' ');
    if (keyword == u"pwd" || keyword == u"password") return true;
    at = end + 1;
  }
  return false;
}

}  // namespace

ServerPlace ServerAccess::place() {
  const auto content = settings_.content();
  const auto text = [&](const char16_t* key) {
    const auto set = content->at({u"Platform", u"MessageStore", key});
    return set ? std::u16string(toString(set->get()).view()) : std::u16string();
  };
  ServerPlace place{engine_, text(u"Connection"), {}};
  if (place.connection.empty())
    badSetting(
        u"Connection is missing: the driver, server, database and user, for example "
        u"\"Driver=PostgreSQL Unicode;Server=db.example;Database=corvane;UID=corvane\".");
  if (hasPassword(place.connection))
    badSetting(
        u"a password does not belong into Connection. Write it into a file and name that as PasswordFile.");
  if (const auto file = text(u"PasswordFile"); !file.empty())
    place.password = passwordIn(installationDirectory() / std::filesystem::path(file));
  return place;
}

std::shared_ptr<StoreSession> ServerAccess::connect() { return driver().connect(place()); }

void ServerAccess::run(std::u16string_view script) { driver().run(place(), script); }

std::vector<String> ServerAccess::ask(std::u16string_view sql) { return driver().ask(place(), sql); }

std::unique_ptr<QueueSignal> ServerAccess::signal() { return driver().signal(place()); }

std::unique_ptr<StoreOperations> ServerAccess::operations() {
  return std::make_unique<ServerOperations>(*this);
}

StoreReport ServerAccess::check(StoreCheck how) {
  StoreReport report;
  const auto session = connect();
  report.file = String(place().connection);
  report.isThere = true;
  if (how == StoreCheck::Quick) return report;
  for (const char16_t* table : {u"mdqMessage", u"mdqMessageAck"}) {
    const auto rows = session->query(u"SELECT COUNT(*) FROM [dbo].[" + std::u16string(table) + u"]", 0);
    report.documents += rows ? toInt64(rows->Field(0).get()) : 0;
  }
  return report;
}

}  // namespace CorvaneQueue::platform_layer
