// Scoped access to a database element.
#pragma once

#include "src/platform/renderer.h"

// Pins the element `tag` and unpins it on destruction. The element must exist: the renderer aborts
// the render otherwise. T is the type of its record.
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
