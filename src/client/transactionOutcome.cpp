#include "transactionOutcome.h"

#include "EngineStatus.h"
#include "zelvanclient.h"

ExecutionFacts factsOf(const EngineStatus& last, bool opened) {
  const GatewayAnswer& answer = last.answer();
  return {last.completed(), opened, answer.gaveError, answer.gaveResult, answer.approved};
}

int decideOutcome(const ExecutionFacts& facts) {
  if (facts.lastExchangeCompleted && !facts.gatewayError && facts.resultGiven) {
    return facts.resultApproved ? ZELVAN_OUTCOME_APPROVED : ZELVAN_OUTCOME_DECLINED;
  }
  // A refusal in the first reply, before any reference, charged nothing.
  // Once the gateway holds a reference, an answer without a final
  // decision (an error, a status not completed, a response without
  // RESULT) or a failure on this side leaves the payment unknown.
  return facts.opened ? ZELVAN_OUTCOME_UNKNOWN : ZELVAN_OUTCOME_NO_DECISION;
}
