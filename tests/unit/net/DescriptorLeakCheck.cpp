#include <dirent.h>
#include <gtest/gtest.h>

namespace {

int openDescriptors() {
  int count = 0;
  if (DIR* dir = opendir("/proc/self/fd")) {
    while (readdir(dir) != nullptr) ++count;
    closedir(dir);
  }
  return count;
}

// The objects that own the tests' sockets must close them all: the process
// ends with the descriptors it started with.
struct DescriptorLeakCheck : testing::Environment {
  int before = 0;
  void SetUp() override { before = openDescriptors(); }
  void TearDown() override { EXPECT_EQ(openDescriptors(), before) << "descriptors leaked"; }
};

testing::Environment* const kLeakCheck = testing::AddGlobalTestEnvironment(new DescriptorLeakCheck);

}  // namespace
