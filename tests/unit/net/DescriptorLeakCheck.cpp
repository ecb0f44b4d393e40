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

// Every socket the tests open must be closed again by the objects that
// own it: the process ends with the descriptors it started with.
class DescriptorLeakCheck : public testing::Environment {
 public:
  void SetUp() override { before_ = openDescriptors(); }
  void TearDown() override { EXPECT_EQ(openDescriptors(), before_) << "descriptors leaked"; }

 private:
  int before_ = 0;
};

testing::Environment* const kLeakCheck =
    testing::AddGlobalTestEnvironment(new DescriptorLeakCheck);

}  // namespace
