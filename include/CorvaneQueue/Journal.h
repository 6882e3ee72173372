// The journal of a queue: its acknowledged documents.

#pragma once

#include <CorvaneQueue/Messages.h>

namespace CorvaneQueue {

struct _Journal : IDispatch {
  virtual HRESULT CORVANE_CALL get_Messages(_Messages** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL putref_Messages(_Messages* value) noexcept = 0;
  // Deletes every acknowledged document; the waiting ones stay.
  virtual HRESULT CORVANE_CALL raw_Purge() noexcept = 0;
};

inline constexpr std::array journalMembers{
    get<&_Journal::get_Messages>(0x0, u"Messages",
                                 "The Messages Property refers to the messages in a journal.", {u"Messages"}),
    set<&_Journal::putref_Messages>(
        0x0, u"Messages", "The Messages Property refers to the messages in a journal.", {u"Messages"}),
    method<&_Journal::raw_Purge>(0x60030000, u"Purge"),
};

template <>
struct InterfaceTraits<_Journal> {
  static constexpr IID iid = {0xeab222c2, 0xdbc3, 0x4466, {0x96, 0x20, 0xc1, 0x64, 0x7e, 0x34, 0x38, 0x1b}};
  static constexpr const char16_t* name = u"_Journal";
  static constexpr std::span<const Member> members = journalMembers;
};

}  // namespace CorvaneQueue
