#include <gtest/gtest.h>

#include "BInteger.h"
#include "BString.h"
#include "BVector.h"
#include "Counted.h"

int Counted::live = 0;

class Vector : public testing::Test {
 protected:
  void SetUp() override { Counted::live = 0; }
};

namespace {
struct InspectedVector : BVector {
  int capacity() { return m_capacity; }
};
}  // namespace

TEST_F(Vector, GrowsAdditivelyByThirty) {
  InspectedVector v;
  BInteger x(1);
  for (int i = 0; i < 30; i++) v.add(&x, 0);
  EXPECT_EQ(v.capacity(), 30);
  v.add(&x, 0);
  EXPECT_EQ(v.capacity(), 60);
  v.clear();
  EXPECT_EQ(v.capacity(), 60);
  v.free();
  EXPECT_EQ(v.capacity(), 0);

  InspectedVector big;
  big.checkSize(100);
  EXPECT_EQ(big.capacity(), 100);
}

TEST_F(Vector, InsertClampsAndSetPastTheEndAppends) {
  BVector v;
  BInteger a(1), b(2), c(3), d(4);
  v.add(&a, 0);
  EXPECT_EQ(v.insert(-5, &b, 0), 0);
  EXPECT_EQ(v.insert(v.size() + 7, &c, 0), 2);
  EXPECT_EQ(v.get(0, 0), &b);
  EXPECT_EQ(v.get(2, 0), &c);
  EXPECT_EQ(v.set(9, &d, 0), 3);
  EXPECT_EQ(v.get(3, 0), &d);
  EXPECT_EQ(v.get(4, 0), nullptr);
  EXPECT_EQ(v.get(-1, 0), nullptr);
}

TEST_F(Vector, DeletesExactlyWhatItManages) {
  {
    BVector v;
    v.add(new Counted("owned"), 1);
    Counted kept("kept");
    v.add(&kept, 0);
    v.add(nullptr, 1);
    EXPECT_EQ(Counted::live, 2);
    v.set(0, new Counted("replacement"), 1);
    EXPECT_EQ(Counted::live, 2);
    v.remove(1);
    EXPECT_EQ(Counted::live, 2);
  }
  EXPECT_EQ(Counted::live, 0);
}

TEST_F(Vector, SetWithTheSameObjectKeepsItAlive) {
  BVector v;
  Counted* o = new Counted("same");
  v.add(o, 1);
  v.set(0, o, 1);
  EXPECT_EQ(Counted::live, 1);
  EXPECT_EQ(v.manage(0, 1), 1);
  v.clear();
  EXPECT_EQ(Counted::live, 0);
}

TEST_F(Vector, ReleasedElementsSurviveClear) {
  BVector v;
  v.add(new Counted("a"), 1);
  v.add(new Counted("b"), 1);
  BObject* mine = v.get(0, 1);
  EXPECT_EQ(v.clear(), 2);
  EXPECT_EQ(Counted::live, 1);
  delete mine;
  EXPECT_EQ(v.manage(5, 1), 0);
}

TEST_F(Vector, RemoveOutsideAndFind) {
  BVector v;
  BString a("a"), b("b"), c("c"), b2("b"), z("z");
  v.add(&a, 0);
  v.add(&b, 0);
  v.add(&c, 0);
  EXPECT_EQ(v.remove(7), 3);
  EXPECT_EQ(v.find(&b2, 0), 1);
  EXPECT_EQ(v.find(&b2, 2), -1);
  EXPECT_EQ(v.find(nullptr, 0), -1);
  EXPECT_EQ(v.remove(&z), -1);
  EXPECT_EQ(v.remove(&b2), 1);
  EXPECT_EQ(v.size(), 2);
  EXPECT_EQ(v.get(1, 0), &c);
}

TEST_F(Vector, AddAllSharesWithoutOwning) {
  BVector* source = new BVector();
  source->add(new Counted("a"), 1);
  source->add(new Counted("b"), 1);
  BVector* copy = new BVector();
  EXPECT_EQ(copy->addAll(source), 2);
  EXPECT_EQ(copy->addAll(nullptr), 2);
  delete copy;
  EXPECT_EQ(Counted::live, 2);
  delete source;
  EXPECT_EQ(Counted::live, 0);
}

TEST_F(Vector, HashEqualityAndText) {
  BVector a, b;
  EXPECT_EQ(a.hashCode(), 1);
  BString x1("x"), x2("x");
  a.add(&x1, 0);
  a.add(nullptr, 0);
  b.add(&x2, 0);
  b.add(nullptr, 0);
  EXPECT_TRUE(a.equals(&b));
  EXPECT_EQ(a.hashCode(), (31 + 120) * 31);
  b.set(1, &x2, 0);
  EXPECT_FALSE(a.equals(&b));

  BVector empty;
  BString* text = empty.toString();
  EXPECT_STREQ(text->buffer(), "Vector containing 0 elements");
  delete text;
  BVector one;
  one.add(&x1, 0);
  text = one.toString();
  EXPECT_STREQ(text->buffer(), "Vector containing the following single element...\r\n\tElement 1 : x");
  delete text;
  text = a.toString();
  EXPECT_STREQ(text->buffer(),
               "Vector containing the following 2 elements...\r\n\tElement 1 : x\r\n\tElement 2 : Null element");
  delete text;
}
