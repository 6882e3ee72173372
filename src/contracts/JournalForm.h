#pragma once

#include "Form.h"

#include <CorvaneQueue/Journal.h>

namespace CorvaneQueue {

// The members of _Journal written once for every class that presents it: each vtable member calls the
// form Journal_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class JournalForm : public DispatchForm<_Journal> {
 public:
  HRESULT STDMETHODCALLTYPE get_Messages(_Messages** result) noexcept final {
    return answer(result, [&] { return self().Journal_Messages_Get(); });
  }
  HRESULT STDMETHODCALLTYPE putref_Messages(_Messages* value) noexcept final {
    return answer([&] { return self().Journal_Messages_Set(Ref<_Messages>(value)); });
  }
  HRESULT STDMETHODCALLTYPE raw_Purge() noexcept final {
    return answer([&] { return self().Journal_Purge(); });
  }

  auto Journal_Messages_Get() {
    return self().reportedForm(u"Journal_Messages Get", [&] { return self().Messages(); });
  }
  auto Journal_Messages_Set(const Ref<_Messages>& value) {
    return self().reportedForm(u"Journal_Messages Set", [&] { return self().Messages_Set(value); });
  }
  auto Journal_Purge() {
    return self().reportedForm(u"Journal_Purge", [&] { return self().Purge(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
