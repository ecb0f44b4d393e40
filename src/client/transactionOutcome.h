#ifndef ZELVAN_TRANSACTIONOUTCOME_H_
#define ZELVAN_TRANSACTIONOUTCOME_H_

// The one place where what an execute() came to is turned into the
// merchant's outcome (ZELVAN_OUTCOME_* of zelvanclient.h).

class EngineStatus;

// What execute() knows when its last exchange is over.
struct ExecutionFacts {
  // The last exchange ran to its end (EngineStatus::completed()).
  bool lastExchangeCompleted;
  // The gateway opened the transaction: it gave a TXNREFERENCE in this
  // execute(), or the application asked for a status by reference.
  bool opened;
  // The last exchange's replies carried ERROR (the gateway's own refusal
  // or answer).
  bool gatewayError;
  // The last exchange's replies carried RESULT, and the last RESULT they
  // gave is "0".
  bool resultGiven;
  bool resultApproved;
};

// The facts of an execute() whose last exchange ended with last (and
// what the gateway answered in it), the gateway having opened the
// transaction or not.
ExecutionFacts factsOf(const EngineStatus& last, bool opened);

// The outcome the facts give. A completed exchange with RESULT and no
// ERROR is a final decision; everything else is no decision before the
// gateway opened the transaction and unknown after.
int decideOutcome(const ExecutionFacts& facts);

#endif  // ZELVAN_TRANSACTIONOUTCOME_H_
