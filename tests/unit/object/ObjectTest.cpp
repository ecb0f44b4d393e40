#include <gtest/gtest.h>

#include "BBoolean.h"
#include "BHashTable.h"
#include "BInteger.h"
#include "BPointer.h"
#include "BString.h"

// The type test compares text prefixes, not class boundaries: the
// containers and the client rely on it to tell keys and values apart.
TEST(Object, InstanceOfIsAPlainPrefixTest) {
  BString s("x");
  BHashTable table;
  BObject root;
  EXPECT_TRUE(s.instanceOf(static_cast<const char*>(nullptr)));
  EXPECT_TRUE(s.instanceOf("BObject:BStr"));
  EXPECT_TRUE(table.instanceOf("BObject:BMap"));
  EXPECT_FALSE(root.instanceOf("BObject:BString"));
  EXPECT_FALSE(s.instanceOf(static_cast<BObject*>(nullptr)));
  EXPECT_TRUE(s.instanceOf(&root));
  EXPECT_FALSE(root.instanceOf(&s));
}

TEST(ValueBoxes, CompareByStoredValueWithinTheirOwnClass) {
  BInteger a(7), b(7);
  EXPECT_TRUE(a.equals(&b));
  EXPECT_EQ(a.hashCode(), b.hashCode());
  BString seven("7");
  BBoolean yes(1), two(2), copy(&two);
  EXPECT_FALSE(a.equals(&seven) || a.equals(&yes) || a.equals(static_cast<BObject*>(nullptr)));
  EXPECT_FALSE(yes.equals(&two)) << "both true, but different bytes";
  EXPECT_TRUE(copy.equals(&two));
  BPointer null1(nullptr), null2(nullptr), some(&a);
  EXPECT_TRUE(null1.equals(&null2));
  EXPECT_FALSE(null1.equals(&some));
}
