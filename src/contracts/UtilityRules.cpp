#include "UtilityRules.h"

#include "modCompress.h"
#include "modQueueUtils.h"
#include "Platform.h"
#include "StoredText.h"

namespace CorvaneQueue {

namespace {

constexpr const char16_t* privateSeparator = u"\\PRIVATE$\\";
constexpr const char16_t* publicSeparator = u"\\";
constexpr const char16_t* separatorFor(bool isPublic) {
  return isPublic ? publicSeparator : privateSeparator;
}

std::unique_ptr<ConfigurationSettings> globalSettings() {
  auto settings = platform().host->createConfigurationSettings();
  settings->Application(u"Configuration");
  settings->Section(u"Global");
  return settings;
}

// The capitals of ASCII: all that the separators are made of.
std::u16string upperCased(std::u16string_view text) {
  std::u16string changed(text);
  for (char16_t& c : changed)
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
  return changed;
}

// Creates the queue that the information names: transactional, world-readable.
void createNamed(const Ref<IMSMQQueueInfo>& information) {
  Variant isTransactional(true);
  Variant isWorldReadable(true);
  call<&IMSMQQueueInfo::raw_Create>(information, isTransactional, isWorldReadable);
}

Ref<IMSMQQueue> openShared(const Ref<IMSMQQueueInfo>& information, std::int32_t access) {
  return query<IMSMQQueue>(call<&IMSMQQueueInfo::raw_Open>(information, access, MQ_DENY_NONE).get());
}

}  // namespace

UtilityRules::UtilityRules(const char16_t* className)
    : errors_(className, ErrorReports::Naming::OneByOne), osVersion_(modQueueUtils::GetOSVersionInfo()) {}
UtilityRules::~UtilityRules() = default;

void UtilityRules::Initialize(const Ref<_ProcessTrace>& ProcessTrace) {
  errors_.reported(u"Initialize", [&] {
    processTrace_ = ProcessTrace;
    errors_.traceBy(ProcessTrace);
  });
}

bool UtilityRules::UsesPublicQueues() {
  return errors_.reported(u"UsesPublicQueues", [] {
    const Variant value = globalSettings()->Read(u"UsesPublicQueues", std::int16_t{VARIANT_TRUE});
    try {
      return toBoolean(value.get());
    } catch (const Error& error) {
      throw Error(error.number(), error.source(),
                  std::u16string(error.description().view()) +
                      u" The setting UsesPublicQueues must be true or false.");
    }
  });
}

void UtilityRules::UsesPublicQueues_Let(bool value) {
  errors_.reported(u"UsesPublicQueues",
                   [&] { globalSettings()->Write(u"UsesPublicQueues", std::int32_t{value ? -1 : 0}); });
}

String UtilityRules::QueueStoreType() {
  return String(lowerCase(toString(globalSettings()->Read(u"QueueStoreType", u"msmq").get())));
}

void UtilityRules::QueueStoreType_Let(StringRef value) { storeQueueStoreType(value, u"DbUtility"); }

void UtilityRules::storeQueueStoreType(StringRef value, std::u16string_view errorSource) {
  const auto settings = globalSettings();
  const std::u16string type = lowerCase(value);
  if (type != u"db" && type != u"msmq") throw Error(100, errorSource, u"Unsupported queue storage type");
  settings->Write(u"QueueStoreType", String(type));
}

String UtilityRules::IDToString(const VARIANT& ID) {
  return errors_.reported(u"IDToString", [&] {
    const auto bytes = bytesOf(ID);
    if (bytes.size() < 4)
      throw Error(ErrorNumber::BadIndex, {},
                  u"The identifier has " + decimal(bytes.size()) + u" bytes; at least 4 are needed.");
    std::uint32_t bits = 0;
    for (std::size_t i = bytes.size(); i-- > bytes.size() - 4;) bits = bits << 8 | bytes[i];
    const auto number = static_cast<std::int32_t>(bits);
    char16_t text[] = u"-0000000000";
    auto left = static_cast<std::uint32_t>(number < 0 ? -std::int64_t{number} : number);
    for (std::size_t digit = 10; left > 0; left /= 10)
      text[digit--] = static_cast<char16_t>(u'0' + left % 10);
    return String(std::u16string_view(number < 0 ? text : text + 1));
  });
}

String UtilityRules::ParseQueuePathName(StringRef QueueName) {
  return errors_.reported(u"ParseQueuePathName", [&] {
    const std::u16string_view name = QueueName;
    const std::u16string_view separator = privateSeparator;
    if (const auto at = upperCased(name).find(separator); at != std::u16string::npos)
      return String(name.substr(at + separator.size()));
    if (const auto at = name.rfind(u'\\'); at != std::u16string_view::npos)
      return String(name.substr(at + 1));
    return String(name);
  });
}

String UtilityRules::FormatNamePrefix() {
  return errors_.reported(u"FormatNamePrefix", [] {
    return toString(globalSettings()->Read(u"queueFormatNamePrefix", u"DIRECT=OS:.").get());
  });
}

String UtilityRules::FormatNameHost(std::u16string_view prefix) {
  const auto colon = prefix.find(u':');
  if (colon == std::u16string_view::npos) return {};
  const auto backslash = prefix.find(u'\\', colon);
  return String(
      prefix.substr(colon + 1, backslash == std::u16string_view::npos ? backslash : backslash - colon - 1));
}

String UtilityRules::FormatQueuePathName(StringRef QueueName) {
  return errors_.reported(u"FormatQueuePathName", [&] {
    const String prefix = FormatNamePrefix();
    const bool isPublic = UsesPublicQueues();
    std::u16string name(FormatNameHost(prefix).view());
    name += separatorFor(isPublic);
    name += QueueName.view();
    return String(name);
  });
}

String UtilityRules::FormatQueueFormatName(StringRef QueueName) {
  return errors_.reported(u"FormatQueueFormatName", [&] {
    const bool isPublic = UsesPublicQueues();
    std::u16string name(FormatNamePrefix().view());
    name += separatorFor(isPublic);
    name += QueueName.view();
    return String(name);
  });
}

void UtilityRules::CreateQueue(StringRef QueueName) {
  errors_.reported(u"CreateQueue", [&] { create(QueueName); });
}

void UtilityRules::createMessageQueue(StringRef QueueName) {
  const auto information = platform().messageQueuing->createQueueInfo();
  call<&IMSMQQueueInfo::put_PathName>(information, FormatQueuePathName(QueueName));
  createNamed(information);
}

bool UtilityRules::SupportsPublicQueues() {
  return supports(u"SupportsPublicQueues", u".\\ZedGarbageQueueName");
}
bool UtilityRules::SupportsPrivateQueues() {
  return supports(u"SupportsPrivateQueues", u".\\PRIVATE$\\ZedGarbageQueueName");
}

// Whether a queue of the kind can be created just now: a probe queue is, and goes again.
bool UtilityRules::supports(std::u16string_view procedure, std::u16string_view probeName) {
  return errors_.reported(procedure, [&] {
    const auto information = platform().messageQueuing->createQueueInfo();
    call<&IMSMQQueueInfo::put_PathName>(information, probeName);
    const auto succeeds = [](auto&& step) {
      try {
        step();
        return true;
      } catch (const Error&) {
        return false;
      }
    };
    succeeds([&] { call<&IMSMQQueueInfo::raw_Delete>(information); });  // left over from an earlier probe
    if (!succeeds([&] { createNamed(information); })) return false;
    succeeds([&] { call<&IMSMQQueueInfo::raw_Delete>(information); });
    return true;
  });
}

Variant UtilityRules::bodyOf(std::int32_t appSpecific, const Variant& body) {
  if (appSpecific == 1) return modCompress::Decompress(body.get());
  return platform().system->fromAnsi(bytesOf(body.get()));
}

Variant UtilityRules::GetBody(IMSMQMessage* objMessage) {
  const std::int32_t appSpecific = call<&IMSMQMessage::get_AppSpecific>(objMessage);
  return bodyOf(appSpecific, call<&IMSMQMessage::get_Body>(objMessage));
}

bool UtilityRules::addressesByFormatName() const noexcept {
  return osVersion_.platformId == 2 && osVersion_.majorVersion >= 5;
}

Ref<IMSMQQueue> UtilityRules::OpenQueue(StringRef QueueName, std::int32_t access, bool isJournal) {
  return errors_.reported(u"OpenQueue", [&] {
    Ref<IMSMQQueueInfo> information;
    Ref<IMSMQQueue> queue;
    try {
      information = platform().messageQueuing->createQueueInfo();
      if (addressesByFormatName())
        call<&IMSMQQueueInfo::put_FormatName>(information, FormatQueueFormatName(QueueName));
      else
        call<&IMSMQQueueInfo::put_PathName>(information, FormatQueuePathName(QueueName));
      queue = openShared(information, access);
    } catch (const Error&) {
      errors_.reported(u"CreateQueue", [&] {
        try {
          create(QueueName);
        } catch (const Error& error) {
          if (error.number() != MQ_ERROR_QUEUE_EXISTS) throw;  // else somebody else was faster
        }
      });
      queue = openShared(information, access);
    }
    if (!isJournal) return queue;
    std::u16string name(
        call<&IMSMQQueueInfo::get_FormatName>(call<&IMSMQQueue::get_QueueInfo>(queue)).view());
    name += u";JOURNAL";
    const auto journal = platform().messageQueuing->createQueueInfo();
    call<&IMSMQQueueInfo::put_FormatName>(journal, name);
    return openShared(journal, access);
  });
}

}  // namespace CorvaneQueue
