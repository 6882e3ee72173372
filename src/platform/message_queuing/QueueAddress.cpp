#include "QueueAddress.h"

#include "Process.h"
#include "StoredText.h"

#include <CorvaneQueue/MessageQueuing.h>
#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::u16string_view privateMark = u"private$\\";
constexpr std::u16string_view journalMark = u";journal";
constexpr std::size_t longestName = 240;  // so that it fits the queue files

bool isHere(std::u16string_view host) {
  const std::u16string folded = foldCase(host);
  if (folded == u"." || folded == u"localhost" || folded == u"::1" || folded.starts_with(u"127."))
    return true;
  const std::u16string own = foldCase(fromUtf8(hostName()));
  return !own.empty() && (folded == own || folded == own.substr(0, own.find(u'.')));
}

struct Parts {
  std::u16string_view host;
  QueueKind kind;
  std::u16string_view name;
};
// Nothing when it is not a path name.
bool split(std::u16string_view path, Parts& parts) {
  const auto at = path.find(u'\\');
  if (at == std::u16string_view::npos || at == 0) return false;
  parts.host = path.substr(0, at);
  parts.name = path.substr(at + 1);
  parts.kind = QueueKind::Public;
  if (foldCase(parts.name.substr(0, privateMark.size())) == privateMark) {
    parts.kind = QueueKind::Private;
    parts.name.remove_prefix(privateMark.size());
  }
  const auto isForbidden = [](char16_t c) { return c < 0x20 || c == u'\\' || c == u';'; };
  return !parts.name.empty() && parts.name.size() <= longestName &&
         std::ranges::none_of(parts.name, isForbidden);
}

QueueAddress here(const Parts& parts, std::u16string_view given) {
  if (!isHere(parts.host))
    queuingFailed(MQ_ERROR_REMOTE_MACHINE_NOT_AVAILABLE,
                  u"The machine of \"" + std::u16string(given) +
                      u"\" cannot be reached: only queues of this machine can be used (host \".\").");
  return {parts.kind, std::u16string(parts.name), false};
}

}  // namespace

void queuingFailed(std::int32_t number, std::u16string_view description) {
  throw Error(number, queuingSource, description);
}

QueueAddress parsePathName(std::u16string_view pathName) {
  Parts parts;
  if (!split(pathName, parts))
    queuingFailed(MQ_ERROR_ILLEGAL_QUEUE_PATHNAME,
                  u"\"" + std::u16string(pathName) +
                      u"\" is not a path name: HOST\\NAME or HOST\\PRIVATE$\\NAME, a name of 1 to 240 "
                      u"characters without \"\\\", \";\" and control characters.");
  return here(parts, pathName);
}

QueueAddress parseFormatName(std::u16string_view formatName) {
  std::u16string_view path = formatName;
  const bool isJournal = path.size() >= journalMark.size() &&
                         foldCase(path.substr(path.size() - journalMark.size())) == journalMark;
  if (isJournal) path.remove_suffix(journalMark.size());
  Parts parts;
  bool isDirect = false;
  for (const std::u16string_view protocol : {u"direct=os:", u"direct=tcp:"}) {
    if (foldCase(path.substr(0, protocol.size())) != protocol) continue;
    path.remove_prefix(protocol.size());
    isDirect = true;
    break;
  }
  if (!isDirect || !split(path, parts))
    queuingFailed(
        MQ_ERROR_ILLEGAL_FORMATNAME,
        u"\"" + std::u16string(formatName) +
            u"\" is not a direct format name: DIRECT=OS:HOST\\NAME or DIRECT=OS:HOST\\PRIVATE$\\NAME "
            u"(or DIRECT=TCP:), perhaps with ;JOURNAL.");
  QueueAddress address = here(parts, formatName);
  address.isJournal = isJournal;
  return address;
}

std::u16string pathNameOf(const QueueAddress& address) {
  return (address.kind == QueueKind::Private ? u".\\PRIVATE$\\" : u".\\") + address.name;
}

std::u16string shownName(const QueueAddress& address) {
  return u"\"" + pathNameOf(address) + (address.isJournal ? u"\" (journal)" : u"\"");
}

}  // namespace CorvaneQueue::platform_layer
