#include "OwnedDescriptor.h"

#include <unistd.h>

OwnedDescriptor& OwnedDescriptor::operator=(OwnedDescriptor&& other) noexcept {
  if (this != &other) reset(other.release());
  return *this;
}

int OwnedDescriptor::release() {
  int fd = fd_;
  fd_ = -1;
  return fd;
}

void OwnedDescriptor::reset(int fd) {
  if (fd_ != -1) ::close(fd_);
  fd_ = fd;
}
