#include "Gateway.h"

#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <ctime>

namespace {

// Card numbers that are valid but declined, for testing the decline paths.
struct TestCard {
  const char* number;
  const char* responseCode;
  const char* responseText;
};

constexpr TestCard kDeclinedCards[] = {
    {"4000000000000002", "05", "DO NOT HONOUR"},
    {"4000000000009995", "51", "INSUFFICIENT FUNDS"},
    {"4000000000000069", "54", "EXPIRED CARD"},
    {"4000000000000119", "91", "ISSUER UNAVAILABLE"},
    {"4000000000000127", "43", "STOLEN CARD"},
};

bool allDigits(const std::string& text) {
  for (char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  }
  return !text.empty();
}

// 12 to 19 digits whose Luhn checksum is 0.
bool validCardNumber(const std::string& number) {
  if (number.size() < 12 || number.size() > 19 || !allDigits(number)) return false;
  int sum = 0;
  bool doubled = false;
  for (auto it = number.rbegin(); it != number.rend(); ++it) {
    int digit = *it - '0';
    if (doubled) digit = digit * 2 > 9 ? digit * 2 - 9 : digit * 2;
    sum += digit;
    doubled = !doubled;
  }
  return sum % 10 == 0;
}

// Digits with an optional decimal point and one or two decimals, above zero.
bool validAmount(const std::string& amount) {
  size_t point = amount.find('.');
  std::string units = amount.substr(0, point);
  std::string cents = point == std::string::npos ? "" : amount.substr(point + 1);
  if (!allDigits(units) || (point != std::string::npos && (cents.empty() || cents.size() > 2 || !allDigits(cents)))) {
    return false;
  }
  return amount.find_first_of("123456789") != std::string::npos;
}

}  // namespace

Gateway::Gateway() : m_runId(static_cast<unsigned>(std::time(nullptr) ^ (getpid() << 8)) & 0xffffffu) {}

ReplyFields Gateway::errorReply(const char* error, const char* detail) {
  return {{"ERROR", error}, {"ERROR_DETAIL", detail}, {"RESULT", kResultError}};
}

Gateway::Outcome Gateway::decide(const Fields& request) {
  Outcome outcome;
  outcome.result = kResultDeclined;
  std::string card = fieldOf(request, "CARDDATA");
  std::string amount = fieldOf(request, "AMOUNT");
  if (!card.empty() && !validCardNumber(card)) {
    outcome.responseCode = "14";
    outcome.responseText = "INVALID CARD NUMBER";
    return outcome;
  }
  for (const TestCard& declined : kDeclinedCards) {
    if (card == declined.number) {
      outcome.responseCode = declined.responseCode;
      outcome.responseText = declined.responseText;
      return outcome;
    }
  }
  if (!amount.empty() && !validAmount(amount)) {
    outcome.responseCode = "13";
    outcome.responseText = "INVALID AMOUNT";
    return outcome;
  }
  outcome.result = kResultApproved;
  outcome.responseCode = "00";
  outcome.responseText = "APPROVED";
  return outcome;
}

ReplyFields Gateway::open(const Fields& request, std::string* reference) {
  reference->clear();
  if (fieldOf(request, "CLIENTID").empty()) {
    return errorReply("MISSING CLIENTID", "The request carries no CLIENTID.");
  }
  if (fieldOf(request, "TRANSACTIONTYPE").empty()) {
    return errorReply("MISSING TRANSACTIONTYPE", "The request carries no TRANSACTIONTYPE.");
  }
  std::lock_guard<std::mutex> lock(m_mutex);
  char text[32];
  std::snprintf(text, sizeof(text), "ZS%06X%06u", m_runId, ++m_sequence);
  *reference = text;
  Transaction& transaction = m_transactions[*reference];
  transaction.clientId = fieldOf(request, "CLIENTID");
  transaction.opened = std::chrono::steady_clock::now();
  return {{"TXNREFERENCE", *reference}};
}

ReplyFields Gateway::complete(const std::string& reference, const Fields& request, long settleAfterMs) {
  if (fieldOf(request, "TXNREFERENCE") != reference) {
    return errorReply("TXNREFERENCE MISMATCH", "The reply does not carry the reference the gateway issued.");
  }
  Outcome outcome = decide(request);
  std::lock_guard<std::mutex> lock(m_mutex);
  Transaction& transaction = m_transactions[reference];
  if (outcome.result == kResultApproved) {
    char code[8];
    std::snprintf(code, sizeof(code), "A%05u", ++m_approvals % 100000u);
    outcome.authCode = code;
  }
  outcome.wireTimeMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                           std::chrono::steady_clock::now() - transaction.opened).count();
  transaction.decided = true;
  transaction.settles = std::chrono::steady_clock::now() + std::chrono::milliseconds(settleAfterMs);
  transaction.outcome = outcome;
  return outcomeReply(reference, outcome);
}

ReplyFields Gateway::status(const Fields& request) {
  std::string reference = fieldOf(request, "TXNREFERENCE");
  if (reference.empty()) {
    return errorReply("MISSING TXNREFERENCE", "A status check needs the TXNREFERENCE of the transaction.");
  }
  std::lock_guard<std::mutex> lock(m_mutex);
  auto found = m_transactions.find(reference);
  if (found == m_transactions.end() || found->second.clientId != fieldOf(request, "CLIENTID")) {
    return errorReply("UNKNOWN TXNREFERENCE", "No transaction of this client has this reference.");
  }
  if (!found->second.decided || std::chrono::steady_clock::now() < found->second.settles) {
    return errorReply("TRANSACTION NOT COMPLETED", "The transaction was opened but never confirmed.");
  }
  return outcomeReply(reference, found->second.outcome);
}

ReplyFields Gateway::outcomeReply(const std::string& reference, const Outcome& outcome) {
  ReplyFields reply = {{"TXNREFERENCE", reference}, {"RESULT", outcome.result}};
  if (!outcome.authCode.empty()) reply.emplace_back("AUTHCODE", outcome.authCode);
  reply.emplace_back("RESPONSECODE", outcome.responseCode);
  reply.emplace_back("RESPONSETEXT", outcome.responseText);
  reply.emplace_back("WIRE_TIME", std::to_string(outcome.wireTimeMs));
  return reply;
}
