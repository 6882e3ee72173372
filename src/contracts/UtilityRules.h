// The rules that every utility follows: the queue settings of the installation, names of queues,
// identifiers as text, bodies, and opening Message Queuing queues.
#pragma once

#include "ErrorReports.h"
#include "OperatingSystem.h"

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue {

class UtilityRules {
 public:
  void Initialize(const Ref<_ProcessTrace>& ProcessTrace);

  bool UsesPublicQueues();
  void UsesPublicQueues_Let(bool value);
  // "db" or "msmq", or whatever else is stored, in lower case.
  String QueueStoreType();
  // Throws 100 "Unsupported queue storage type" with source "DbUtility".
  void QueueStoreType_Let(StringRef value);

  // The last four bytes of a message identifier as a decimal of at least ten digits.
  String IDToString(const VARIANT& ID);
  String ParseQueuePathName(StringRef QueueName);
  String FormatQueuePathName(StringRef QueueName);
  String FormatQueueFormatName(StringRef QueueName);

  void CreateQueue(StringRef QueueName);
  bool SupportsPublicQueues();
  bool SupportsPrivateQueues();

  // The text of a message, decompressed when its AppSpecific says so.
  Variant GetBody(IMSMQMessage* objMessage);
  // Opens a queue or its journal with a Message Queuing access value; creates a missing queue. That
  // somebody else is faster to create it is no failure.
  Ref<IMSMQQueue> OpenQueue(StringRef QueueName, std::int32_t access, bool isJournal);

 protected:
  explicit UtilityRules(const char16_t* className);
  ~UtilityRules();

  // CreateQueue without its report.
  virtual void create(StringRef QueueName) = 0;
  // Creates a transactional, world-readable queue on this computer.
  void createMessageQueue(StringRef QueueName);
  static Variant bodyOf(std::int32_t appSpecific, const Variant& body);
  void storeQueueStoreType(StringRef value, std::u16string_view errorSource);

 private:
  String FormatNamePrefix();
  static String FormatNameHost(std::u16string_view prefix);
  bool supports(std::u16string_view procedure, std::u16string_view probeName);
  bool addressesByFormatName() const noexcept;

  Ref<_ProcessTrace> processTrace_;
  ErrorReports errors_;
  OSVersion osVersion_;
};

}  // namespace CorvaneQueue
