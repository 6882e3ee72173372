#include "Odbc.h"

#include <array>

namespace CorvaneQueue::platform_layer {

namespace {

Diagnosis diagnosisOf(SQLSMALLINT type, SQLHANDLE handle) {
  Diagnosis diagnosis{"HY000", 0, u""};
  for (SQLSMALLINT record = 1;; ++record) {
    std::array<char16_t, 6> state{};
    std::array<char16_t, 2048> text{};
    SQLINTEGER native = 0;
    SQLSMALLINT length = 0;
    if (!SQL_SUCCEEDED(SQLGetDiagRecW(type, handle, record, reinterpret_cast<SQLWCHAR*>(state.data()),
                                      &native, reinterpret_cast<SQLWCHAR*>(text.data()), text.size(),
                                      &length)))
      break;
    if (record == 1) {
      diagnosis.state.assign(state.begin(), state.begin() + 5);
      diagnosis.native = native;
    }
    if (!diagnosis.text.empty()) diagnosis.text += u' ';
    diagnosis.text += text.data();
  }
  for (char16_t& c : diagnosis.text)
    if (c < u' ') c = u' ';
  for (auto at = diagnosis.text.find(u"  "); at != diagnosis.text.npos; at = diagnosis.text.find(u"  ", at))
    diagnosis.text.erase(at, 1);
  while (diagnosis.text.ends_with(u' ') || diagnosis.text.ends_with(u'.')) diagnosis.text.pop_back();
  return diagnosis;
}

}  // namespace

OdbcHandle::OdbcHandle(SQLSMALLINT type, SQLHANDLE parent) : type_(type) {
  if (SQL_SUCCEEDED(SQLAllocHandle(type, parent, &handle_))) return;
  handle_ = nullptr;
  const SQLSMALLINT parentType = type == SQL_HANDLE_STMT ? SQL_HANDLE_DBC : SQL_HANDLE_ENV;
  throw OdbcFailure(parent == nullptr ? Diagnosis{"HY001", 0, u"out of memory"}
                                      : diagnosisOf(parentType, parent));
}

OdbcHandle::~OdbcHandle() {
  if (handle_ == nullptr) return;
  if (type_ == SQL_HANDLE_DBC) SQLDisconnect(handle_);
  SQLFreeHandle(type_, handle_);
}

bool OdbcHandle::check(SQLRETURN result) const {
  if (SQL_SUCCEEDED(result)) return true;
  if (result == SQL_NO_DATA) return false;
  throw OdbcFailure(diagnosisOf(type_, handle_));
}

}  // namespace CorvaneQueue::platform_layer
