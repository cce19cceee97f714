//===- base/core/Object.cpp - Counted objects -----------------------------===//
#include "base/core/Object.h"

#include "base/core/String.h"
#include "base/core/StringBuilder.h"

#include <cstdio>
#include <typeinfo>

namespace base::core {

String Object::asString() const {
  char address[32];
  std::snprintf(address, sizeof address, "%llx",
                static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(this)));
  StringBuilder text(getClassName());
  return text + "@" + address;
}

const char *Object::getClassName() const { return typeid(*this).name(); }

int32_t Object::decrementRefCount() const {
  const int32_t previous = _refCount.fetch_sub(1, std::memory_order_seq_cst);
  if (previous != 1)
    return previous - 1;
  // The count is part of no logical value, so the protocol may run on a const object.
  if (const_cast<Object *>(this)->beforeDestruction())
    deleteObject();
  return 0;
}

} // namespace base::core
