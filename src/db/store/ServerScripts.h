// The SQL of the message store for database servers.
#pragma once

#include <string_view>

namespace CorvaneQueue::store {

struct ServerScripts {
  std::string_view tables;      // of the first version
  std::string_view upgrade;     // what later ones have besides; changes nothing that is there
  std::string_view procedures;  // also over older ones
  std::string_view check;       // its rows are sentences: what is missing, different or not permitted
};
ServerScripts postgreSqlScripts() noexcept;
ServerScripts sqlServerScripts() noexcept;

}  // namespace CorvaneQueue::store
