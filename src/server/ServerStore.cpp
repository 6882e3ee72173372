#include "CreatableClasses.h"
#include "EmbeddedPlatform.h"
#include "ServerScripts.h"

#include <CorvaneQueue/serverStore.h>

namespace CorvaneQueue {

namespace {

platform_layer::ServerAccess& server() {
  openDoor();
  auto* const found = embeddedPlatform().server();
  if (found == nullptr)
    throw Error(
        ErrorNumber::InvalidArgument, storeSource,
        u"The settings name no database server: set Engine of [Platform.MessageStore] to \"postgresql\" or "
        u"\"sqlserver\", and Connection.");
  return *found;
}

store::ServerScripts scriptsOf(platform_layer::ServerEngine engine) {
  return engine == platform_layer::ServerEngine::PostgreSql ? store::postgreSqlScripts()
                                                            : store::sqlServerScripts();
}

platform_layer::ServerEngine engineNamed(std::u16string_view name) {
  if (name.empty()) return server().engine();
  if (name == u"postgresql") return platform_layer::ServerEngine::PostgreSql;
  if (name == u"sqlserver") return platform_layer::ServerEngine::SqlServer;
  throw Error(ErrorNumber::InvalidArgument, storeSource,
              u"There is no script for the engine \"" + std::u16string(name) +
                  u"\": known are \"postgresql\" and \"sqlserver\".");
}

}  // namespace

String serverStoreScript(std::u16string_view engine, ServerStoreScript which) {
  const auto scripts = scriptsOf(engineNamed(engine));
  std::string text;
  if (which == ServerStoreScript::Install) text += scripts.tables;
  text += scripts.upgrade;
  return fromUtf8(text += scripts.procedures);
}

void installServerStore(ServerStoreScript which) { server().run(serverStoreScript({}, which).view()); }

std::vector<String> checkServerStore() {
  auto& access = server();
  return access.ask(fromUtf8(scriptsOf(access.engine()).check).view());
}

}  // namespace CorvaneQueue
