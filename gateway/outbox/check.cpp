// Whether the database is whole and keeps our own rules. The numbers of states and verdicts are those of their
// enumerations.

#include "gateway/outbox/store.h"

namespace orvix::gateway {
namespace {

// Each yields the name of what breaks the rule.
// States: 0 queued, 1 attempting, 2 sent, 3 failed, 4 uncertain, 5 expired, 6 cancelled. Verdicts: 0 sent, 1 refused, 2
// notSent, 3 uncertain.
constexpr char kRules[] = R"(
SELECT 'no message for its attempt, note or batch: ' || "table" FROM pragma_foreign_key_check
UNION ALL
SELECT 'attempts and state disagree: ' || id FROM message WHERE (state = 1) !=
  (SELECT count(*) FROM attempt WHERE message = sequence AND ended IS NULL)
UNION ALL
SELECT 'attempts are not numbered through: ' || id FROM message WHERE
  (SELECT coalesce(max(number), 0) FROM attempt WHERE message = sequence) !=
  (SELECT count(*) FROM attempt WHERE message = sequence)
UNION ALL
SELECT 'doubt and attempts disagree: ' || id FROM message WHERE doubt !=
  EXISTS(SELECT 1 FROM attempt WHERE message = sequence AND verdict = 3)
UNION ALL
SELECT 'ended by itself in doubt: ' || id FROM message WHERE doubt AND state IN (5, 6)
UNION ALL
SELECT 'sent without an attempt that was: ' || id FROM message WHERE state = 2 AND NOT doubt AND
  NOT EXISTS(SELECT 1 FROM attempt WHERE message = sequence AND verdict = 0)
UNION ALL
SELECT 'end and state disagree: ' || id FROM message WHERE (ended IS NULL) != (state IN (0, 1, 4))
UNION ALL
SELECT 'a time to wait for outside the queue: ' || id FROM message WHERE due IS NOT NULL AND state != 0
UNION ALL
SELECT 'a budget counts wrongly: ' || (SELECT id FROM message WHERE sequence = message) FROM attempt WHERE weight IS NOT
  CASE WHEN ended IS NULL THEN 9223372036854775807 WHEN verdict IN (0, 3) THEN ended END
UNION ALL
SELECT 'a batch without messages: ' || id FROM batch WHERE NOT EXISTS(SELECT 1 FROM message WHERE batch = batch.id)
UNION ALL
SELECT 'the counts do not add up: ' || state FROM tally WHERE count !=
  (SELECT count(*) FROM message WHERE message.state = tally.state)
UNION ALL
SELECT 'a day is counted wrongly: ' || owner FROM lately WHERE count !=
  (SELECT count(*) FROM message WHERE message.owner = lately.owner AND accepted > since)
UNION ALL
SELECT 'nobody would take it: ' || id FROM message WHERE state = 0 AND due IS NOT NULL AND
  sequence NOT IN (SELECT sequence FROM turn)
UNION ALL
SELECT 'nobody would take it: ' || id FROM (SELECT min(sequence) AS sequence, id FROM message WHERE state = 0 AND
  due IS NULL GROUP BY recipient, priority, wanted, charsets) WHERE sequence NOT IN (SELECT sequence FROM turn)
UNION ALL
SELECT 'in the queue without being queued: ' || sequence FROM turn WHERE
  NOT EXISTS(SELECT 1 FROM message WHERE message.sequence = turn.sequence AND state = 0)
)";

}  // namespace

std::string Outbox::check() {
  {
    Rows rows = store->database->rows("PRAGMA integrity_check(1)");
    if (!rows.next() || rows.text(0) != "ok") {
      return rows.text(0);
    }
  }
  Rows rows = store->database->rows(kRules);
  return rows.next() ? rows.text(0) : "";
}

}  // namespace orvix::gateway
