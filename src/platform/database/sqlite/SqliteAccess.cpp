#include "SqliteAccess.h"

#include "SqliteConnection.h"
#include "SqliteOperations.h"
#include "StoreCheck.h"
#include "StoredText.h"

namespace CorvaneQueue::platform_layer {

std::filesystem::path SqliteAccess::fileIn(const TomlFile::Content& settings) {
  auto set = settings.at({u"Platform", u"MessageStore"});
  if (!set) set = settings.at({u"Platform", u"MessageStore", u"File"});
  if (set && set->type() != VT_BSTR)
    throw Error(ErrorNumber::TypeMismatch, {},
                u"The setting MessageStore must be a text: the name of the store's file.");
  const auto directory = installationDirectory();
  return set ? directory / std::filesystem::path(toString(set->get()).view()) : directory / "messages.db";
}

std::shared_ptr<StoreSession> SqliteAccess::connect() {
  return std::make_shared<SqliteConnection>(file(), definition_);
}

std::unique_ptr<StoreOperations> SqliteAccess::operations() {
  return std::make_unique<SqliteOperations>(file(), definition_);
}

StoreReport SqliteAccess::check(StoreCheck how) {
  Database database(file(), definition_.migrations, Database::IfMissing::ReadEmpty);
  StoreReport report = reportOf(database, how);
  const auto number = [&](std::string_view sql) {
    Statement row = database.prepare(sql);
    return row.step() ? row.integer(0) : 0;
  };
  try {
    report.unchecked = number(definition_.unchecked);
    if (how == StoreCheck::Quick) return report;
    report.documents = number(definition_.documents);
    Statement row = database.prepare(definition_.damaged);
    while (row.step())
      report.findings.push_back(u"The document " + decimal(row.integer(0)) +
                                u" is damaged: it is not what was sent, and is not handed out.");
  } catch (const Error& error) {
    report.findings.push_back(error.description());
  }
  return report;
}

}  // namespace CorvaneQueue::platform_layer
