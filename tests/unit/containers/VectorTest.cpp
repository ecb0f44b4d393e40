#include <gtest/gtest.h>

#include "BString.h"
#include "BVector.h"
#include "Counted.h"
#include "testText.h"

int Counted::live = 0;

class Vector : public testing::Test {
 protected:
  void SetUp() override { Counted::live = 0; }
};

// Indexes outside the vector: insert clamps, set appends, get and remove
// find nothing.
TEST_F(Vector, IndexesOutsideTheVectorAndFind) {
  BVector v;
  BString a("a"), b("b"), c("c"), d("d"), b2("b"), z("z");
  v.add(&a, 0);
  EXPECT_EQ(v.insert(-5, &b, 0), 0);
  EXPECT_EQ(v.insert(v.size() + 7, &c, 0), 2);
  EXPECT_EQ(v.set(9, &d, 0), 3);
  EXPECT_EQ(v.get(0, 0), &b);
  EXPECT_EQ(v.get(2, 0), &c);
  EXPECT_EQ(v.get(3, 0), &d);
  EXPECT_EQ(v.get(4, 0), nullptr);
  EXPECT_EQ(v.get(-1, 0), nullptr);
  EXPECT_EQ(v.remove(7), 4);

  EXPECT_EQ(v.find(&b2, 0), 0);
  EXPECT_EQ(v.find(&b2, 1), -1);
  EXPECT_EQ(v.find(nullptr, 0), -1);
  EXPECT_EQ(v.remove(&z), -1);
  EXPECT_EQ(v.remove(&b2), 0);
  EXPECT_EQ(v.size(), 3);
  EXPECT_EQ(v.get(0, 0), &a);
}

// Replacing, removing, releasing and clearing destroy managed elements
// only, and never one that is still in the vector or handed out.
TEST_F(Vector, DeletesExactlyWhatItManages) {
  {
    BVector v;
    v.add(new Counted("owned"), 1);
    Counted kept("kept");
    v.add(&kept, 0);
    v.add(nullptr, 1);
    v.set(0, new Counted("replacement"), 1);
    v.remove(1);
    EXPECT_EQ(Counted::live, 2);

    Counted* same = static_cast<Counted*>(v.get(0, 0));
    v.set(0, same, 1);
    EXPECT_EQ(Counted::live, 2) << "setting the element already there keeps it alive";
    EXPECT_EQ(v.manage(0, 1), 1);

    BObject* released = v.get(0, 1);
    EXPECT_EQ(v.clear(), 2);
    EXPECT_EQ(Counted::live, 2) << "a released element survives clear()";
    delete released;
    EXPECT_EQ(v.manage(5, 1), 0);
  }
  EXPECT_EQ(Counted::live, 0);

  BVector* source = new BVector();
  source->add(new Counted("a"), 1);
  source->add(new Counted("b"), 1);
  BVector* copy = new BVector();
  EXPECT_EQ(copy->addAll(source), 2);
  EXPECT_EQ(copy->addAll(nullptr), 2);
  delete copy;
  EXPECT_EQ(Counted::live, 2) << "addAll shares without owning";
  delete source;
  EXPECT_EQ(Counted::live, 0);
}

TEST_F(Vector, EqualVectorsHashAlikeAndPrintTheirElements) {
  BVector a, b, empty, one;
  BString x1("x"), x2("x");
  a.add(&x1, 0);
  a.add(nullptr, 0);
  b.add(&x2, 0);
  b.add(nullptr, 0);
  EXPECT_TRUE(a.equals(&b));
  EXPECT_EQ(a.hashCode(), b.hashCode());
  b.set(1, &x2, 0);
  EXPECT_FALSE(a.equals(&b));

  one.add(&x1, 0);
  EXPECT_EQ(takeText(empty.toString()), "Vector containing 0 elements");
  EXPECT_EQ(takeText(one.toString()), "Vector containing the following single element...\r\n\tElement 1 : x");
  EXPECT_EQ(takeText(a.toString()),
            "Vector containing the following 2 elements...\r\n\tElement 1 : x\r\n\tElement 2 : Null element");
}
