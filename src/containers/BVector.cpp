#include "BVector.h"

#include <cstdio>
#include <cstring>

#include "BString.h"
#include "memTrack.h"

BVector::BVector()
    : m_size(0), m_capacity(0), m_growBy(30), m_objects(nullptr), m_manage(nullptr) {}

BVector::~BVector() { free(); }

int BVector::size() { return m_size; }

void BVector::destroyElement(int i) {
  if (m_manage[i]) trackDelete(m_objects[i]);
}

void BVector::checkSize(int n) {
  int shortfall = m_size + n - m_capacity;
  if (shortfall <= 0) return;
  int capacity = m_capacity + (m_growBy >= shortfall ? m_growBy : shortfall);
  BObject** objects = trackNew(new BObject*[capacity](), "vector object array");
  unsigned char* flags = trackNew(new unsigned char[capacity](), "vector management array");
  if (m_size > 0) {
    memcpy(objects, m_objects, sizeof(BObject*) * m_size);
    memcpy(flags, m_manage, m_size);
  }
  trackDeleteArray(m_objects);
  trackDeleteArray(m_manage);
  m_objects = objects;
  m_manage = flags;
  m_capacity = capacity;
}

int BVector::add(BObject* o, unsigned char manage) {
  checkSize(1);
  m_objects[m_size] = o;
  m_manage[m_size] = manage;
  return m_size++;
}

int BVector::insert(int i, BObject* o, unsigned char manage) {
  int pos = i < 0 ? 0 : (i > m_size ? m_size : i);
  checkSize(1);
  memmove(m_objects + pos + 1, m_objects + pos, sizeof(BObject*) * (m_size - pos));
  memmove(m_manage + pos + 1, m_manage + pos, m_size - pos);
  m_objects[pos] = o;
  m_manage[pos] = manage;
  m_size++;
  return pos;
}

int BVector::set(int i, BObject* o, unsigned char manage) {
  if (i < 0 || i >= m_size) return add(o, manage);
  if (m_objects[i] != o) destroyElement(i);
  m_objects[i] = o;
  m_manage[i] = manage;
  return i;
}

BObject* BVector::get(int i, unsigned char release) {
  if (i < 0 || i >= m_size) return nullptr;
  if (release) m_manage[i] = 0;
  return m_objects[i];
}

unsigned char BVector::manage(int i, unsigned char flag) {
  if (i < 0 || i >= m_size) return 0;
  unsigned char previous = m_manage[i];
  m_manage[i] = flag;
  return previous;
}

int BVector::find(BObject* o, int from) {
  if (o == nullptr) return -1;
  for (int i = from; i < m_size; i++) {
    if (o->equals(m_objects[i])) return i;
  }
  return -1;
}

int BVector::remove(int i) {
  if (i < 0 || i >= m_size) return m_size;
  destroyElement(i);
  memmove(m_objects + i, m_objects + i + 1, sizeof(BObject*) * (m_size - i - 1));
  memmove(m_manage + i, m_manage + i + 1, m_size - i - 1);
  return --m_size;
}

int BVector::remove(BObject* o) {
  int i = find(o, 0);
  if (i >= 0) remove(i);
  return i;
}

int BVector::clear() {
  for (int i = 0; i < m_size; i++) {
    if (!m_manage[i]) continue;
    // Every managed slot reports its release, null or not; only real
    // objects are deleted.
    BMemoryTable::destroyEvent(m_objects[i]);
    delete m_objects[i];
  }
  int old = m_size;
  m_size = 0;
  return old;
}

int BVector::free() {
  int old = clear();
  if (m_capacity >= 1) {
    trackDeleteArray(m_objects);
    trackDeleteArray(m_manage);
    m_objects = nullptr;
    m_manage = nullptr;
    m_capacity = 0;
  }
  return old;
}

int BVector::addAll(BVector* other) {
  if (other == nullptr) return m_size;
  int n = other->size();
  for (int i = 0; i < n; i++) add(other->get(i, 0), 0);
  return m_size;
}

int64_t BVector::hashCode() {
  uint64_t h = 1;
  for (int i = 0; i < m_size; i++) {
    h = h * 31 + static_cast<uint64_t>(m_objects[i] ? m_objects[i]->hashCode() : 0);
  }
  return static_cast<int64_t>(h);
}

bool BVector::equals(BObject* other) {
  if (other == this) return true;
  if (other == nullptr || !other->instanceOf(this)) return false;
  BVector* vector = static_cast<BVector*>(other);
  if (vector->size() != m_size) return false;
  for (int i = 0; i < m_size; i++) {
    BObject* theirs = vector->get(i, 0);
    if (m_objects[i] != nullptr ? !m_objects[i]->equals(theirs) : theirs != nullptr) return false;
  }
  return true;
}

BString* BVector::toString() {
  BString* text = new BString(300);
  char line[96];
  if (m_size > 1) {
    snprintf(line, sizeof line, "Vector containing the following %d elements...\r\n", m_size);
    text->append(line);
  } else if (m_size == 1) {
    text->append("Vector containing the following single element...\r\n");
  } else {
    text->append("Vector containing 0 elements");
  }
  for (int i = 0; i < m_size; i++) {
    if (i > 0) text->append("\r\n");
    snprintf(line, sizeof line, "\tElement %d : ", i + 1);
    text->append(line);
    if (m_objects[i] == nullptr) {
      text->append("Null element");
    } else {
      BString* element = m_objects[i]->toString();
      text->append(element);
      delete element;
    }
  }
  return text;
}

const char* BVector::classType() { return staticType(); }

const char* BVector::staticType() { return "BObject:BVector"; }
