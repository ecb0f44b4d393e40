#include "MerchantTxn.h"

#include <cstdlib>
#include <string>

#include "TestCertificates.h"

MerchantTxn::MerchantTxn() : m_txn(newBundle()) {}

MerchantTxn::MerchantTxn(const TestCertificates& certs, int port, const std::string& logPath) : MerchantTxn() {
  if (!logPath.empty()) logTo(logPath);
  settings(certs, port);
  purchase();
}

MerchantTxn::~MerchantTxn() { cleanup(m_txn); }

void MerchantTxn::logTo(const std::string& path) {
  put(m_txn, "DEBUG", "ON");
  put(m_txn, "LOGFILE", path.c_str());
}

void MerchantTxn::settings(const TestCertificates& certs, int port) {
  setServers(m_txn, "127.0.0.1");
  setPort(m_txn, std::to_string(port).c_str());
  put_ClientID(m_txn, "10000001");
  put_CertificatePath(m_txn, certs.clientP12().c_str());
  put_CertificatePassword(m_txn, certs.password().c_str());
  put(m_txn, "_CAFILE", certs.caCert().c_str());
}

void MerchantTxn::purchase(const char* card, const char* type) {
  put(m_txn, "TRANSACTIONTYPE", type);
  put(m_txn, "CARDDATA", card);
  put(m_txn, "CARDEXPIRYDATE", kExpiry);
  put(m_txn, "CVC2", kCvc2);
  put(m_txn, "AMOUNT", "12.50");
}

int MerchantTxn::execute() { return ::execute(m_txn); }

std::string MerchantTxn::field(const char* name) const {
  const char* value = get(m_txn, name);
  return value ? value : "";
}

bool MerchantTxn::has(const char* name) const { return get(m_txn, name) != nullptr; }

std::string MerchantTxn::theWorks() const {
  char* text = get(m_txn, "THEWORKS");
  std::string copy = text ? text : "";
  std::free(text);
  return copy;
}

void MerchantTxn::flush() { flushBundle(m_txn); }
