// The command about the message store on a database server.
#include "Commands.h"
#include "Output.h"

#include <CorvaneQueue/serverStore.h>
#include <iostream>

namespace corvaneq {

using namespace CorvaneQueue;

bool database(const std::string& job, const std::string& engine) {
  const auto which = job.starts_with("upgrade") ? ServerStoreScript::Upgrade : ServerStoreScript::Install;
  if (job.ends_with("script")) {
    const std::string script = toUtf8(serverStoreScript(argument("engine", engine).view(), which));
    usesJson() ? print({{"script", script}}) : static_cast<void>(std::cout << script);
    return true;
  }
  if (job != "check") {
    installServerStore(which);
    print({{"action", job + "ed"}});
  }
  const auto findings = checkServerStore();
  for (const String& finding : findings) tell("finding", toUtf8(finding));
  tell("complete", findings.empty());
  return findings.empty();
}

}  // namespace corvaneq
