#ifndef ZELVAN_GATEWAYSIM_GATEWAY_H_
#define ZELVAN_GATEWAYSIM_GATEWAY_H_

#include <chrono>
#include <map>
#include <mutex>
#include <string>

#include "Message.h"

// RESULT codes of the simulator's replies.
constexpr const char kResultApproved[] = "0";
constexpr const char kResultDeclined[] = "1";
constexpr const char kResultError[] = "2";

// The simulated gateway's book of transactions: opens references, decides
// and stores outcomes, and answers status checks. Safe to use from many
// connections at once.
class Gateway {
 public:
  Gateway();

  // Answers the first message of a transaction: a reply with a new
  // TXNREFERENCE (also stored in *reference), or an ERROR reply when the
  // request lacks CLIENTID or TRANSACTIONTYPE (*reference is then cleared).
  ReplyFields open(const Fields& request, std::string* reference);

  // Decides the outcome of the transaction opened under reference from its
  // second message, stores it, and returns the final response. The outcome
  // is stored before this returns, so a status check finds it even when
  // the response never reaches the client. A message whose TXNREFERENCE
  // differs from reference gets an ERROR reply and decides nothing.
  // settleAfterMs above 0 records the decision that much later instead: a
  // gateway that lost the client and settles the payment afterwards.
  ReplyFields complete(const std::string& reference, const Fields& request, long settleAfterMs = 0);

  // Answers a STATUS request: the stored outcome of its TXNREFERENCE, or
  // an ERROR reply when the reference is missing, unknown, opened by
  // another CLIENTID, or not yet decided.
  ReplyFields status(const Fields& request);

  // An ERROR reply with RESULT kResultError.
  static ReplyFields errorReply(const char* error, const char* detail);

 protected:
  struct Outcome {
    std::string result;
    std::string authCode;  // empty unless approved
    std::string responseCode;
    std::string responseText;
    long long wireTimeMs = 0;
  };
  struct Transaction {
    std::string clientId;
    std::chrono::steady_clock::time_point opened;
    bool decided = false;
    std::chrono::steady_clock::time_point settles;  // the decision counts from then on
    Outcome outcome;
  };

  // Applies the approval rules to a request; leaves authCode and wireTimeMs to the caller.
  static Outcome decide(const Fields& request);
  static ReplyFields outcomeReply(const std::string& reference, const Outcome& outcome);

  std::mutex m_mutex;
  std::map<std::string, Transaction> m_transactions;
  unsigned m_runId;
  unsigned m_sequence = 0;   // references issued
  unsigned m_approvals = 0;  // authorisation codes issued
};

#endif  // ZELVAN_GATEWAYSIM_GATEWAY_H_
