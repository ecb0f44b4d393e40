#include "SessionSegment.h"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <random>
#include <stdexcept>

#include "SessionStoreGuard.h"

SessionSegment::SessionSegment(const std::string& certificatePath) : m_segment(nullptr) {
  int id = SessionStoreGuard::segmentOf(certificatePath);
  void* address = id == -1 ? reinterpret_cast<void*>(-1) : shmat(id, nullptr, 0);
  if (address == reinterpret_cast<void*>(-1))
    throw std::runtime_error("no session store segment for " + certificatePath);
  m_segment = static_cast<SharedSessionSegment*>(address);
}

SessionSegment::~SessionSegment() { shmdt(m_segment); }

void SessionSegment::scribble(unsigned seed, int length) {
  std::mt19937 random(seed);
  for (unsigned char& byte : m_segment->sessionData) byte = static_cast<unsigned char>(random());
  m_segment->sessionLength = length;
}
