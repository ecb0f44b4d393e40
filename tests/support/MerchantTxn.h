#ifndef ZELVAN_TESTS_MERCHANTTXN_H_
#define ZELVAN_TESTS_MERCHANTTXN_H_

#include <string>

#include "zelvanclient.h"

class TestCertificates;

// A transaction as a merchant application runs it through the exported C
// API, for end-to-end tests against GatewaySim: one handle, cleaned up
// by the destructor.
class MerchantTxn {
 public:
  // The card numbers, expiry date and CVC2 that purchase() puts.
  static constexpr const char* kApprovedCard = "4111111111111111";
  static constexpr const char* kExpiry = "1230";
  static constexpr const char* kCvc2 = "7319";

  MerchantTxn();
  // A purchase() with settings(certs, port), logging to logPath when given.
  MerchantTxn(const TestCertificates& certs, int port, const std::string& logPath = "");
  ~MerchantTxn();
  MerchantTxn(const MerchantTxn&) = delete;
  MerchantTxn& operator=(const MerchantTxn&) = delete;

  txn* handle() const { return m_txn; }

  // Switches the debug log on, into the file at path ("stdout" for
  // standard output).
  void logTo(const std::string& path);
  // The settings that reach 127.0.0.1:port with certs' PKCS#12 client
  // certificate, its password and certs' CA.
  void settings(const TestCertificates& certs, int port);
  // A PURCHASE (or the given type) of 12.50 with card, kExpiry and kCvc2.
  void purchase(const char* card = kApprovedCard, const char* type = "PURCHASE");

  // execute(); its result.
  int execute();
  // Field name, or "" when the bundle has none.
  std::string field(const char* name) const;
  bool has(const char* name) const;
  // get("THEWORKS"), released.
  std::string theWorks() const;
  // flushBundle(): every field goes, the log stays.
  void flush();

 private:
  txn* m_txn;
};

#endif  // ZELVAN_TESTS_MERCHANTTXN_H_
