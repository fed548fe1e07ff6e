// One access to a database element, given back when it goes out of scope.
#ifndef VX_SRC_PLATFORM_PINNED_H
#define VX_SRC_PLATFORM_PINNED_H

#include "src/platform/renderer.h"

// Holds the pin of `tag`, which must name an element: the renderer ends a render that asks for any
// other. T is the record that the caller knows to be there.
template <class T>
class CPinned {
  public:
    explicit CPinned(miTag tag) : m_tag(tag), m_record(static_cast<T*>(mi_db_access(tag))) {}
    ~CPinned() { mi_db_unpin(m_tag); }
    CPinned(const CPinned&) = delete;
    CPinned& operator=(const CPinned&) = delete;

    T* Get() const { return m_record; }
    T* operator->() const { return m_record; }

  private:
    miTag m_tag;
    T* m_record;
};

#endif
