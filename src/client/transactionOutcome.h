#ifndef ZELVAN_TRANSACTIONOUTCOME_H_
#define ZELVAN_TRANSACTIONOUTCOME_H_

// The one place where what an execute() came to is turned into the
// merchant's outcome (ZELVAN_OUTCOME_* of zelvanclient.h).

// What execute() knows when its last exchange is over.
struct ExecutionFacts {
  // The last exchange ran to its end (DoTransaction() returned true).
  bool lastExchangeCompleted;
  // The gateway opened the transaction: it gave a TXNREFERENCE in this
  // execute(), or the application asked for a status by reference.
  bool opened;
  // The last reply carried ERROR (the gateway's own refusal or answer).
  bool gatewayError;
  // The last reply carried RESULT, and RESULT is "0".
  bool resultGiven;
  bool resultApproved;
};

// The outcome the facts give. A completed exchange with RESULT and no
// ERROR is a final decision; everything else is no decision before the
// gateway opened the transaction and unknown after.
int decideOutcome(const ExecutionFacts& facts);

#endif  // ZELVAN_TRANSACTIONOUTCOME_H_
