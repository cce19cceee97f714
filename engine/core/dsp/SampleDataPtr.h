//===- engine/core/dsp/SampleDataPtr.h - Counted holder of a SampleData ----===//
//
// Holds one engine::SampleData and keeps the store's count: every non-null holder adds
// one, and the holder whose release brings the count to zero deletes the store. The count
// is changed by barriered atomic adds, so holders on different threads may let go of one
// store; the samples themselves have no protection.
//
// Copying a holder is not offered: a store changes hands by `reset`.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_DSP_SAMPLEDATAPTR_H
#define ENGINE_CORE_DSP_SAMPLEDATAPTR_H

#include "engine/core/dsp/SampleData.h"

namespace engine {

class SampleDataPtr {
public:
  SampleDataPtr() = default;
  /// Holds `p` and, if it is not null, counts this holder.
  explicit SampleDataPtr(SampleData *p);
  /// As release().
  ~SampleDataPtr();

  SampleDataPtr(const SampleDataPtr &) = delete;
  SampleDataPtr &operator=(const SampleDataPtr &) = delete;

  /// Holds `p` instead of the store held now, which is released. Holding the same
  /// store again changes nothing.
  void reset(SampleData *p);
  /// Lets go of the store, deleting it if this was its last holder; then holds null.
  void release();
  /// Deletes the store whatever its count says: for an owner that knows it is the only
  /// holder. Then holds null.
  void freeData();

  [[nodiscard]] SampleData *get() const { return _p; }
  SampleData *operator->() const { return _p; }
  explicit operator bool() const { return _p != nullptr; }

private:
  SampleData *_p = nullptr;
};

} // namespace engine

#endif // ENGINE_CORE_DSP_SAMPLEDATAPTR_H
