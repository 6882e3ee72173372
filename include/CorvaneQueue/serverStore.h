// The message store on a database server, for its administrators. Which server it is say the settings of
// [Platform.MessageStore]; the library changes nothing of a server's tables and procedures but by
// installServerStore.
#pragma once

#include <CorvaneQueue/String.h>

#include <string_view>
#include <vector>

namespace CorvaneQueue {

enum class ServerStoreScript {
  Install,  // for a database that has none of it
  Upgrade,  // for one that an older version of the library has made: documents stay
};
// The SQL for an engine, "postgresql" or "sqlserver"; an empty name is the one of the settings. Throws 5 for
// an engine without such a script.
CORVANE_API String serverStoreScript(std::u16string_view engine, ServerStoreScript which);

// Runs it on the server, as a whole or not at all. Throws an Error with the server's reason.
CORVANE_API void installServerStore(ServerStoreScript which);

// What is missing or different there, and which rights the user of the connection lacks: a sentence each,
// none when all is well. Changes nothing. Throws an Error when the server cannot be reached.
CORVANE_API std::vector<String> checkServerStore();

}  // namespace CorvaneQueue
