#include "MSMQQueues.h"

#include "modQueueUtils.h"
#include "Platform.h"
#include "StoredText.h"

#include <algorithm>

namespace CorvaneQueue {

namespace {

constexpr std::u16string_view parametersKey = u"SOFTWARE\\Microsoft\\MSMQ\\Parameters";

std::u16string withoutTrailingBackslash(std::u16string path) {
  if (!path.empty() && path.back() == u'\\') path.pop_back();
  return path;
}

bool isPrivateName(std::u16string_view name) {
  return foldCase(name).find(foldCase(u"\\PRIVATE$\\")) != std::u16string::npos;
}

}  // namespace

MSMQQueues::MSMQQueues() : utility_(make<MSMQUtility>()), osVersion_(modQueueUtils::GetOSVersionInfo()) {}

bool MSMQQueues::isAtLeastVersion5() const noexcept {
  return osVersion_.platformId == 2 && osVersion_.majorVersion >= 5;
}

void MSMQQueues::Refresh() {
  queues_ = {};
  const std::u16string directory = queueStoreDirectory();
  for (const String& file : platform().system->listFiles(directory + u"\\*")) {
    const String name = GetQueueNameFromFile(directory + u"\\" + std::u16string(file.view()));
    const bool isPublicWanted = utility_->UsesPublicQueues() && !isPrivateName(name);
    const bool isPrivateWanted = !utility_->UsesPublicQueues() && isPrivateName(name);
    if (name.empty() || !(isPublicWanted || isPrivateWanted)) continue;
    const String cut = utility_->ParseQueuePathName(name);
    const auto queue = make<MSMQQueue>();
    queue->Initialize(cut, false);
    queues_.add(queue, cut);
  }
}

std::u16string MSMQQueues::queueStoreDirectory() const {
  if (isAtLeastVersion5()) {
    const std::u16string path = GetStorePersistentPath({});
    return path.empty() ? GetSystemPath() + u"\\msmq\\storage\\lqs" : path + u"\\lqs";
  }
  if (osVersion_.platformId != 2 || osVersion_.majorVersion != 4)
    throw Error(1, u"Refresh", u"Unexpected version of OS.");
  const auto registry = platform().host->createRegistryAccess();
  registry->Root(RegistryRoot::LocalMachine);
  const String path = registry->Read(std::u16string(parametersKey) + u"\\OCMSetup", u"Directory", u"");
  if (path.empty()) throw Error(1, u"Refresh", u"Cannot find MSMQ in registry");
  return std::u16string(path.view()) + u"\\storage\\lqs";
}

String MSMQQueues::GetQueueNameFromFile(const std::u16string& file) const {
  OperatingSystem& system = *platform().system;
  const String systemQueue = system.readInitialisationFile(file, u"Properties", u"SystemQueue");
  try {
    if (systemQueue.size() >= 2 && toInt32(Variant(systemQueue).get()) > 0) return {};
  } catch (const Error& error) {
    throw Error(error.number(), error.source(),
                u"The queue file \"" + file + u"\" has the SystemQueue \"" +
                    std::u16string(systemQueue.view()) +
                    u"\", which is not a whole number; correct it or remove the file.");
  }
  String name =
      system.readInitialisationFile(file, u"Properties", isAtLeastVersion5() ? u"QueueName" : u"PathName");
  if (name.view().find(u"mqping response") != std::u16string_view::npos) return {};
  return name;
}

std::u16string MSMQQueues::GetStorePersistentPath(std::u16string byDefault) {
  const bool isWow64 = IsRunningOnWow64();
  const auto read = platform().system->readRegistry(parametersKey, u"StorePersistentPath", isWow64);
  if (!read) return byDefault;
  std::u16string path(read->view().substr(0, read->view().find(u'\0')));
  if (isWow64) {
    const String system = platform().system->systemDirectory();
    const auto at = system.empty() ? std::u16string::npos : foldCase(path).find(foldCase(system));
    if (at != std::u16string::npos) path.replace(at, system.size(), GetSystemPath());
  }
  return withoutTrailingBackslash(std::move(path));
}

std::u16string MSMQQueues::GetSystemPath() {
  OperatingSystem& system = *platform().system;
  if (!IsRunningOnWow64()) return withoutTrailingBackslash(std::u16string(system.systemDirectory().view()));
  return withoutTrailingBackslash(std::u16string(system.windowsDirectory().view()) + u"\\Sysnative");
}

bool MSMQQueues::IsRunningOnWow64() {
  const String architecture = platform().system->environmentVariable(u"PROCESSOR_ARCHITEW6432");
  return std::ranges::any_of(architecture.view(), [](char16_t c) { return c != u' '; });
}

bool MSMQQueues::Exists(StringRef Name) {
  try {
    const auto information = platform().messageQueuing->createQueueInfo();
    if (isAtLeastVersion5())
      call<&IMSMQQueueInfo::put_FormatName>(information, utility_->FormatQueueFormatName(Name));
    else
      call<&IMSMQQueueInfo::put_PathName>(information, utility_->FormatQueuePathName(Name));
    call<&IMSMQQueueInfo::raw_Open>(information, MQ_SEND_ACCESS, MQ_DENY_NONE);
    return true;
  } catch (const Error&) {
    return false;
  }
}

Ref<MSMQQueue> MSMQQueues::Add(StringRef Name) {
  const auto queue = make<MSMQQueue>();
  queue->Initialize(Name, false);
  if (!Exists(Name)) utility_->CreateQueue(Name);
  queues_.add(queue, Name);
  return queue;
}

}  // namespace CorvaneQueue
