#ifndef ZELVAN_OWNEDDESCRIPTOR_H_
#define ZELVAN_OWNEDDESCRIPTOR_H_

// Owns one file descriptor and closes it when it goes, unless it has been
// handed over with release(). Movable, not copyable. -1 means none.
class OwnedDescriptor {
 public:
  explicit OwnedDescriptor(int fd = -1) : fd_(fd) {}
  OwnedDescriptor(OwnedDescriptor&& other) noexcept : fd_(other.release()) {}
  OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept;
  OwnedDescriptor(const OwnedDescriptor&) = delete;
  OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
  ~OwnedDescriptor() { reset(); }

  int get() const { return fd_; }
  bool valid() const { return fd_ != -1; }

  // Hands the descriptor to the caller, who closes it; this holder then
  // owns none.
  int release();

  // Closes the descriptor held, if any, and takes fd.
  void reset(int fd = -1);

 private:
  int fd_;
};

#endif  // ZELVAN_OWNEDDESCRIPTOR_H_
