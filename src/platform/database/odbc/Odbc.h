// The handles of the driver manager, and its failures.
#pragma once

#include "DatabaseAccess.h"

#include <sql.h>
#include <sqlext.h>

#include <string>
#include <string_view>
#include <utility>

namespace CorvaneQueue::platform_layer {

// What the server or its driver says of a failure.
struct Diagnosis {
  std::string state;  // five characters
  std::int32_t native = 0;
  std::u16string text;
  bool is(std::string_view beginning) const noexcept { return state.starts_with(beginning); }
};

class OdbcFailure : public std::exception {
 public:
  explicit OdbcFailure(Diagnosis diagnosis) : diagnosis_(std::move(diagnosis)) {}
  const Diagnosis& diagnosis() const noexcept { return diagnosis_; }
  const char* what() const noexcept override { return "a failure of the database server"; }

 private:
  Diagnosis diagnosis_;
};

// An environment, a connection or a statement.
class OdbcHandle {
 public:
  OdbcHandle() = default;
  // Throws when there is none.
  OdbcHandle(SQLSMALLINT type, SQLHANDLE parent);
  OdbcHandle(OdbcHandle&& other) noexcept
      : type_(other.type_), handle_(std::exchange(other.handle_, nullptr)) {}
  OdbcHandle& operator=(OdbcHandle&& other) noexcept {
    std::swap(type_, other.type_);
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~OdbcHandle();

  SQLHANDLE get() const noexcept { return handle_; }
  // Throws the failure of a call on this handle. True when there is data.
  bool check(SQLRETURN result) const;
  // In a forked process: what the parent owns is not ended.
  void forget() noexcept { handle_ = nullptr; }

 private:
  SQLSMALLINT type_ = 0;
  SQLHANDLE handle_ = nullptr;
};

// The driver manager's characters are those of the library.
static_assert(sizeof(SQLWCHAR) == sizeof(char16_t));
inline SQLWCHAR* wide(std::u16string_view text) noexcept {
  return reinterpret_cast<SQLWCHAR*>(const_cast<char16_t*>(text.data()));
}

}  // namespace CorvaneQueue::platform_layer
