#include <gtest/gtest.h>

#include <string>

#include "BByteArray.h"
#include "codecTestSupport.h"

namespace {

std::string bytesOf(BByteArray& a) {
  return std::string(reinterpret_cast<char*>(a.data(0)), static_cast<size_t>(a.size()));
}

}  // namespace

TEST(ByteArray, ModesDecideSharingAndOwnership) {
  unsigned char block[] = {1, 2, 3};
  BByteArray reference(block, 3, BByteArray::kReference), copy(block, 3, BByteArray::kCopy);
  BByteArray adopted(new unsigned char[3]{1, 2, 3}, 3, BByteArray::kAdopt);
  block[0] = 9;
  adopted.data(0)[0] = 9;
  EXPECT_EQ(bytesOf(reference), "\x09\x02\x03");
  EXPECT_EQ(bytesOf(copy), "\x01\x02\x03");
  EXPECT_EQ(bytesOf(adopted), "\x09\x02\x03");
  EXPECT_FALSE(reference.ownsBuffer());
  EXPECT_TRUE(copy.ownsBuffer() && adopted.ownsBuffer());
  for (int mode : {1, 2, 3}) {
    BByteArray empty(block, 0, mode);
    EXPECT_TRUE(empty.size() == 0 && empty.data(0) == nullptr);
    EXPECT_EQ(empty.ownsBuffer(), mode != 1);
  }
  BByteArray* owner = new BByteArray(new unsigned char[2]{7, 8}, 2, BByteArray::kAdopt);
  unsigned char* released = owner->data(1);
  EXPECT_FALSE(owner->ownsBuffer());
  delete owner;
  EXPECT_EQ(released[1], 8);
  delete[] released;
}

TEST(ByteArray, TextIsReadAsHexWhateverTheSelector) {
  for (int encoding : {1, 2, 3}) {
    BByteArray parsed("0A1F", encoding);
    EXPECT_EQ(bytesOf(parsed), "\x0A\x1F") << encoding;
    EXPECT_FALSE(parsed.ownsBuffer());
    delete[] parsed.data(0);
  }
  BByteArray none("xyz", BByteArray::kHex);
  EXPECT_TRUE(none.size() == 0 && none.data(0) == nullptr && none.ownsBuffer());
}

TEST(ByteArray, ConvertsToText) {
  unsigned char block[] = {0x00, 0x10};
  BByteArray a(block, 2, BByteArray::kReference), empty(nullptr, 0, BByteArray::kCopy);
  EXPECT_EQ(takeText(a.toHexString()), "0010");
  EXPECT_EQ(takeText(a.toString()), "000016");
  EXPECT_EQ(takeText(a.toBase64String()), "ABA=");
  EXPECT_TRUE(empty.toHexString() == nullptr && empty.toString() == nullptr);
  EXPECT_EQ(takeText(empty.toBase64String()), "(null)");
}

TEST(ByteArray, EqualityAndHashFollowTheBytes) {
  unsigned char ab[] = {'a', 'b'}, ac[] = {'a', 'c'};
  BByteArray x(ab, 2, BByteArray::kReference), y(ab, 2, BByteArray::kCopy);
  BByteArray z(ac, 2, BByteArray::kReference), shorter(ab, 1, BByteArray::kReference);
  BString text("ab");
  EXPECT_TRUE(x.equals(&y) && x.hashCode() == y.hashCode());
  EXPECT_FALSE(x.equals(&z) || x.equals(&shorter) || x.equals(&text) || x.equals(nullptr));
  }
