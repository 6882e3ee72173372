// Back-end interface of the journal of one queue.
#pragma once

#include "IMessages.h"

namespace CorvaneQueue {

struct IJournal : IDispatch {
  virtual HRESULT CORVANE_CALL get_Messages(IMessages** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL putref_Messages(IMessages* value) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Purge() noexcept = 0;
};

inline constexpr std::array iJournalMembers{
    get<&IJournal::get_Messages>(0, u"Messages"),
    set<&IJournal::putref_Messages>(0, u"Messages"),
    method<&IJournal::raw_Purge>(1, u"Purge"),
};

template <>
struct InterfaceTraits<IJournal> {
  static constexpr IID iid = {0x7d9250fc, 0x2bbe, 0x4c2d, {0xbf, 0x33, 0x3a, 0x1b, 0xd6, 0x29, 0xc2, 0x57}};
  static constexpr const char16_t* name = u"IJournal";
  static constexpr std::span<const Member> members = iJournalMembers;
};

template <class Self>
class IJournalForm : public DispatchForm<IJournal> {
  FORM_SELF

 public:
  FORM_GET(IJournal, Messages)
  FORM_SET(IJournal, Messages)
  FORM_METHOD(IJournal, Purge)
};

}  // namespace CorvaneQueue
