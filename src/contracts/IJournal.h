// Back-end interface of the journal of one queue.
#pragma once

#include "IMessages.h"

namespace CorvaneQueue {

struct IJournal : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_Messages(IMessages** result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE putref_Messages(IMessages* value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Purge() noexcept = 0;
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

// The members of IJournal written once for every class that presents it: each vtable member calls the
// form IJournal_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class IJournalForm : public DispatchForm<IJournal> {
 public:
  HRESULT STDMETHODCALLTYPE get_Messages(IMessages** result) noexcept final {
    return answer(result, [&] { return self().IJournal_Messages_Get(); });
  }
  HRESULT STDMETHODCALLTYPE putref_Messages(IMessages* value) noexcept final {
    return answer([&] { return self().IJournal_Messages_Set(Ref<IMessages>(value)); });
  }
  HRESULT STDMETHODCALLTYPE raw_Purge() noexcept final {
    return answer([&] { return self().IJournal_Purge(); });
  }

  auto IJournal_Messages_Get() {
    return self().reportedForm(u"IJournal_Messages Get", [&] { return self().Messages(); });
  }
  auto IJournal_Messages_Set(const Ref<IMessages>& value) {
    return self().reportedForm(u"IJournal_Messages Set", [&] { return self().Messages_Set(value); });
  }
  auto IJournal_Purge() {
    return self().reportedForm(u"IJournal_Purge", [&] { return self().Purge(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
