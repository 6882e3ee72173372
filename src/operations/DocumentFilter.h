// Which documents are meant: conditions that all must hold.
#pragma once

#include "StoreOperations.h"

#include <set>

namespace CorvaneQueue {

class DocumentFilter {
 public:
  // A condition by its three words. Throws 5 for a field, test or value that there is not, with those that
  // there are.
  void add(std::u16string_view field, std::u16string_view test, std::u16string_view value);
  // All conditions as one text, and back: FIELD TEST "VALUE" and ..., a quote in a value written twice.
  std::u16string text() const;
  static DocumentFilter parse(std::u16string_view text);

  // Whether the document meets all conditions but those on its body. `shown` is its identifier as a number in
  // lists.
  bool matchesHeader(const StoredDocument& document, std::int64_t shown) const;
  bool asksForBody() const noexcept;
  bool matchesBody(std::u16string_view text) const;
  // What every document that meets the conditions passes.
  Sieve sieve() const;
  // The identifiers that were named one by one, if they were; as lists show them.
  const std::set<std::int64_t>* named() const noexcept;

 private:
  // The routing fields first, in the order of their signs.
  enum class Field { MsgType, MsgID, Object, ObjectID, Label, Body, ID, Sent, Acknowledged, Length };
  enum class Test { Equal, BeginsWith, OneOf, Contains, ContainsAnyCase, From, To };
  struct Condition {
    Field field;
    Test test;
    std::u16string value;  // as it was given
    std::set<std::u16string, std::less<>> texts;
    std::set<std::int64_t> numbers;
    bool holds(std::u16string_view text) const;
    bool holds(std::int64_t number) const;
  };
  struct FieldWord;
  struct TestWord;
  static const FieldWord fieldWords[];
  static const TestWord testWords[];
  static const FieldWord& fieldNamed(std::u16string_view name);
  std::vector<Condition> conditions_;
};

}  // namespace CorvaneQueue
