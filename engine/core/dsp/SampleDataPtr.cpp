//===- engine/core/dsp/SampleDataPtr.cpp - Counted holder of a SampleData --===//
#include "engine/core/dsp/SampleDataPtr.h"

#include "base/core/Atomic.h"

namespace engine {

SampleDataPtr::SampleDataPtr(SampleData *p) : _p(p) {
  if (_p)
    base::core::atomicAdd32Barrier(1, _p->refCount());
}

SampleDataPtr::~SampleDataPtr() { release(); }

void SampleDataPtr::reset(SampleData *p) {
  if (p == _p)
    return;
  release();
  _p = p;
  if (_p)
    base::core::atomicAdd32Barrier(1, _p->refCount());
}

void SampleDataPtr::release() {
  if (_p && base::core::atomicAdd32Barrier(-1, _p->refCount()) == 0)
    delete _p;
  _p = nullptr;
}

void SampleDataPtr::freeData() {
  delete _p;
  // Keeping the freed pointer would have the destructor free it a second time.
  _p = nullptr;
}

} // namespace engine
