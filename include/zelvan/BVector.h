#ifndef ZELVAN_BVECTOR_H_
#define ZELVAN_BVECTOR_H_

#include "BObject.h"

// A growable array of BObject pointers with a manage flag per element: the
// vector deletes exactly the elements whose flag is set, whenever they
// leave it. A reader can take an element's ownership away as it reads it.
// Grows by 30 slots at a time. Elements may be null. Not thread-safe.
class BVector : public BObject {
 public:
  BVector();
  // free(): managed elements are deleted.
  ~BVector() override;

  int size();

  // Appends o, owned by the vector when manage is set. Returns its index.
  int add(BObject* o, unsigned char manage);

  // Inserts o at i, clamped to 0..size(); later elements move up.
  // Returns the position used.
  int insert(int i, BObject* o, unsigned char manage);

  // Replaces element i (0 <= i < size()); a managed old element other than
  // o itself is deleted. Any other i appends as add(). Returns the index.
  int set(int i, BObject* o, unsigned char manage);

  // Element i, or null outside the vector. With release set, a managed
  // element becomes the caller's: the vector will not delete it.
  BObject* get(int i, unsigned char release);

  // Sets the manage flag of element i and returns the old one (0 outside).
  unsigned char manage(int i, unsigned char flag);

  // First index from 'from' up whose element o->equals() accepts, or -1.
  // -1 for a null o. from must not be negative.
  int find(BObject* o, int from);

  // Removes element i (deleting it if managed). Returns the new size;
  // outside the vector nothing changes.
  int remove(int i);
  // Removes the first element equal to o; returns its index or -1.
  int remove(BObject* o);

  // Deletes the managed elements and empties the vector, keeping its
  // capacity. Returns the old size.
  int clear();
  // clear(), then releases the arrays. Returns what clear() returned.
  int free();

  // Appends other's elements unmanaged (other keeps ownership). A null
  // other changes nothing. Returns the new size.
  int addAll(BVector* other);

  // Grows the arrays so that n more elements fit: by 30 slots when that
  // covers the shortfall, else by exactly the shortfall.
  void checkSize(int n);

  // h = h * 31 + element hash (0 for null), from 1.
  int64_t hashCode() override;
  // Same class, same size and element-wise equal (null matches null).
  bool equals(BObject* other) override;
  // A new text listing the elements; the caller deletes the result.
  BString* toString() override;
  const char* classType() override;
  static const char* staticType();

 protected:
  int m_size;
  int m_capacity;
  int m_growBy;
  BObject** m_objects;
  unsigned char* m_manage;

 private:
  BVector(const BVector&) = delete;
  BVector& operator=(const BVector&) = delete;
  void destroyElement(int i);
};

#endif  // ZELVAN_BVECTOR_H_
