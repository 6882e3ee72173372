// What the class Operations does not do on every database server: lists, copies and deletions there,
// of all documents or of those that are named.
#pragma once

#include "Selection.h"

namespace corvaneq {

// Whether the store is on one. Throws for conditions that cannot be served there.
bool isOnServer(const Selection& selection);
void listOnServer(const Selection& selection);
void copyOnServer(const Selection& selection, const std::string& to);
// Of waiting documents.
void deleteOnServer(const Selection& selection);

}  // namespace corvaneq
