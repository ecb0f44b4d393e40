#include "SessionStoreGuard.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <filesystem>

#include "TestCertificates.h"
#include "sessionStore.h"

SessionStoreGuard::SessionStoreGuard(const TestCertificates& certs) : m_dir(certs.dir()) {
  dropStore();
}

SessionStoreGuard::~SessionStoreGuard() {
  dropStore();
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(m_dir, ignored)) {
    int id = segmentOf(entry.path().string());
    if (id != -1) shmctl(id, IPC_RMID, nullptr);
  }
}

int SessionStoreGuard::segmentOf(const std::string& certificatePath) {
  key_t key = ftok(certificatePath.c_str(), kSessionProjectId);
  return key == -1 ? -1 : shmget(key, 0, 0);
}

void SessionStoreGuard::dropStore() {
  // Contexts that outlive the test attach their store again when they
  // next need it.
  detachSessionStore();
  mSharedContainer = nullptr;
}
