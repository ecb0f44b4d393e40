#include "ClientSession.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

ClientSession::ClientSession(const TestCertificates& certs, int port, const std::string& servers)
    : t_(newBundle()), certificate_(certs.clientPem()) {
  setServers(t_, servers.c_str());
  setPort(t_, std::to_string(port).c_str());
  put_CertificatePath(t_, certificate_.c_str());
  put_CertificatePassword(t_, certs.password().c_str());
  ::put(t_, "_CAFILE", certs.caCert().c_str());
  put_ClientID(t_, "10000001");
  logPath_ = certs.dir() + "/debug.log";
}

ClientSession::~ClientSession() {
  cleanup(t_);
  unlink(logPath_.c_str());
  removeSessionSegment(certificate_);
}

std::string ClientSession::field(const char* name) {
  const char* value = ::get(t_, name);
  return value ? value : "";
}

void ClientSession::fillPurchase(const char* type) {
  ::put(t_, "TRANSACTIONTYPE", type);
  ::put(t_, "CARDDATA", "4111111111111111");
  ::put(t_, "CARDEXPIRYDATE", "1230");
  ::put(t_, "CVC2", "123");
  ::put(t_, "AMOUNT", "12.50");
}

void ClientSession::logToFile() {
  ::put(t_, "DEBUG", "ON");
  ::put(t_, "LOGFILE", logPath_.c_str());
}

std::string ClientSession::logText() const {
  std::ifstream in(logPath_, std::ios::binary);
  std::stringstream all;
  all << in.rdbuf();
  return all.str();
}

void removeSessionSegment(const std::string& certificatePath) {
  key_t key = ftok(certificatePath.c_str(), 82);
  if (key == -1) return;
  int id = shmget(key, 0, 0);
  if (id != -1) shmctl(id, IPC_RMID, nullptr);
}
