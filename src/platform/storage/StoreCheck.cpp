#include "StoreCheck.h"

#include "StoredText.h"
#include "StoreState.h"

namespace CorvaneQueue::platform_layer {

StoreReport reportOf(Database& database, StoreCheck how) {
  StoreReport report;
  report.file = shownPath(database.file().path);
  report.isThere = !database.isStandIn();
  if (!report.isThere) return report;
  std::filesystem::path log = database.file().path;
  log += "-wal";
  report.logBytes = FileState::ifThere(log).size;
  if (const StoreState* const state = database.file().state) {
    if (state->lostTransactions != 0)
      report.findings.push_back(decimal(std::int64_t{state->lostTransactions}) +
                                u" transactions behind a damaged place of the log are lost; the log of the "
                                u"installation names the copy of the damaged log that is kept.");
    if (state->isLogSuspect != 0)
      report.findings.push_back(
          u"A sync of the log has failed: nothing is stored until the log can be written anew. Check the "
          u"disk.");
    if (state->isDamaged != 0)
      report.findings.push_back(
          u"The file has been found damaged: nothing is sent into it. Restore it from a copy.");
  }
  if (how == StoreCheck::Quick) return report;
  try {
    Statement result = database.prepare("PRAGMA dbo.integrity_check(20)");
    while (result.step())
      if (result.text(0) != "ok") report.findings.push_back(fromUtf8(result.text(0)));
  } catch (const Error& error) {
    report.findings.push_back(error.description());
  }
  return report;
}

}  // namespace CorvaneQueue::platform_layer
