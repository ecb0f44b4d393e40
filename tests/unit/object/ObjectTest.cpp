#include <gtest/gtest.h>

#include <memory>

#include "BBoolean.h"
#include "BHashTable.h"
#include "BInteger.h"
#include "BObject.h"
#include "BPointer.h"
#include "BString.h"

TEST(Object, InstanceOfIsAPlainPrefixTest) {
  BString s("x");
  BHashTable table;
  BObject root;
  EXPECT_TRUE(s.instanceOf(static_cast<const char*>(nullptr)));
  EXPECT_TRUE(s.instanceOf(""));
  EXPECT_TRUE(s.instanceOf("BObject:BStr"));
  EXPECT_TRUE(table.instanceOf("BObject:BMap"));
  EXPECT_FALSE(root.instanceOf("BObject:BString"));
  EXPECT_FALSE(s.instanceOf(static_cast<BObject*>(nullptr)));
  EXPECT_TRUE(s.instanceOf(&root));
  EXPECT_FALSE(root.instanceOf(&s));
}

TEST(Object, RootEqualityAndHashAreDegenerate) {
  BObject o;
  EXPECT_FALSE(o.equals(&o));
  EXPECT_EQ(o.hashCode(), 0);
  EXPECT_EQ(o.setVerbose(1), 0);
  EXPECT_EQ(o.setVerbose(0), 1);
  std::unique_ptr<BString> textForm(BInteger(3).toString());
  EXPECT_STREQ(textForm->buffer(), "class of type 'BObject:BInteger'");
}

TEST(ValueBoxes, HashAndCompareByValue) {
  BInteger minusOne(-1), a(7), b(7);
  EXPECT_EQ(minusOne.hashCode(), -1);
  EXPECT_TRUE(a.equals(&b));
  EXPECT_EQ(a.hashCode(), b.hashCode());
  BString seven("7");
  BBoolean yes(1), two(2), no(false);
  EXPECT_FALSE(a.equals(&seven));
  EXPECT_FALSE(a.equals(&yes));
  EXPECT_FALSE(a.equals(static_cast<BObject*>(nullptr)));

  EXPECT_EQ(yes.hashCode(), 26);
  EXPECT_EQ(two.hashCode(), 26);
  EXPECT_EQ(no.hashCode(), 52);
  EXPECT_FALSE(yes.equals(&two));
  BBoolean copy(&two);
  EXPECT_TRUE(copy.equals(&two));

  BPointer null1(nullptr), null2(nullptr), some(&a);
  EXPECT_EQ(null1.hashCode(), 0);
  EXPECT_TRUE(null1.equals(&null2));
  EXPECT_FALSE(null1.equals(&some));
  EXPECT_EQ(some.hashCode(), reinterpret_cast<intptr_t>(&a));
}
