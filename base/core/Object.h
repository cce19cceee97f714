//===- base/core/Object.h - Counted objects and their handle ---------------===//
//
// `Object` is the root of the shared, polymorphic things of base::core (streams,
// exceptions, threads). The count lives in the object, as in LLVM's IntrusiveRefCntPtr:
// a new object is owned by nobody (count 0) and the first `SmartPtr` takes it to 1. When
// the count goes from 1 to 0, `beforeDestruction()` has the last word: true deletes the
// object, false leaves it alive, with a count of 0, to whoever it handed itself to.
//
// There is no flag for objects on the stack. A local calls `allocatedOnStack()` once after
// construction; that extra count keeps every SmartPtr taken to it from deleting it.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_OBJECT_H
#define BASE_CORE_OBJECT_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace base::core {

class String;

class ObjectBase {
public:
  virtual ~ObjectBase() = default;
};

class NonCopyable {
public:
  NonCopyable(const NonCopyable &) = delete;
  NonCopyable &operator=(const NonCopyable &) = delete;

protected:
  NonCopyable() = default;
  ~NonCopyable() = default;
};

class NonMovable {
public:
  NonMovable(NonMovable &&) = delete;
  NonMovable &operator=(NonMovable &&) = delete;

protected:
  NonMovable() = default;
  NonMovable(const NonMovable &) = default;
  ~NonMovable() = default;
};

class Object : public ObjectBase, private NonCopyable, private NonMovable {
public:
  Object() noexcept { _refCount.exchange(0, std::memory_order_seq_cst); }
  /// Does not look at the count.
  ~Object() override = default;

  /// The class name, "@", and the address in lower-case hexadecimal.
  [[nodiscard]] virtual String asString() const;
  [[nodiscard]] virtual const Object *getObject() const { return this; }
  [[nodiscard]] virtual Object *getObject() { return this; }
  /// Runs when the count has gone from 1 to 0; false keeps the object alive.
  virtual bool beforeDestruction() { return true; }
  /// Deletes the object through its most derived destructor.
  virtual void deleteObject() const { delete this; }
  /// deleteObject for a pointer that may be null: a member cannot be called through null.
  static void deleteObject(const Object *object) {
    if (object != nullptr)
      object->deleteObject();
  }

  /// The type's name as the run-time type information holds it, mangled
  /// ("N4base4core6ObjectE").
  [[nodiscard]] const char *getClassName() const;
  /// A plain load: another thread may have changed it by the time it is used.
  [[nodiscard]] int32_t getRefCount() const noexcept {
    return _refCount.load(std::memory_order_relaxed);
  }
  /// Returns the new count.
  int32_t incrementRefCount() const noexcept {
    return _refCount.fetch_add(1, std::memory_order_seq_cst) + 1;
  }
  /// Returns the new count; at 0 the destruction protocol has run.
  int32_t decrementRefCount() const;
  void allocatedOnStack() const noexcept { _refCount.fetch_add(1, std::memory_order_seq_cst); }

private:
  mutable std::atomic<int32_t> _refCount;
};

/// An owning handle: one pointer wide, no lock. Handles to one object may live in
/// several threads; one handle variable belongs to one thread at a time.
template <class T> class SmartPtr {
public:
  SmartPtr() noexcept = default;
  SmartPtr(std::nullptr_t) noexcept {}
  SmartPtr(T *pointer) : _ptr(pointer) {
    if (_ptr != nullptr)
      _ptr->incrementRefCount();
  }
  SmartPtr(const SmartPtr &other) : SmartPtr(other._ptr) {}
  template <class U> SmartPtr(const SmartPtr<U> &other) : SmartPtr(other.get()) {}
  SmartPtr(SmartPtr &&other) noexcept : _ptr(std::exchange(other._ptr, nullptr)) {}
  ~SmartPtr() {
    if (_ptr != nullptr)
      _ptr->decrementRefCount();
  }

  /// The identity test comes first: it is what makes releasing before retaining safe.
  SmartPtr &operator=(T *pointer) {
    if (pointer == _ptr)
      return *this;
    if (_ptr != nullptr)
      _ptr->decrementRefCount();
    _ptr = pointer;
    if (_ptr != nullptr)
      _ptr->incrementRefCount();
    return *this;
  }
  SmartPtr &operator=(const SmartPtr &other) { return *this = other._ptr; }
  SmartPtr &operator=(SmartPtr &&other) noexcept {
    if (this != &other) {
      T *taken = std::exchange(other._ptr, nullptr);
      if (_ptr != nullptr)
        _ptr->decrementRefCount();
      _ptr = taken;
    }
    return *this;
  }

  [[nodiscard]] T *get() const noexcept { return _ptr; }
  T *operator->() const noexcept { return _ptr; }
  T &operator*() const noexcept { return *_ptr; }
  explicit operator bool() const noexcept { return _ptr != nullptr; }

  friend bool operator==(const SmartPtr &a, const T *b) noexcept { return a._ptr == b; }
  friend bool operator!=(const SmartPtr &a, const T *b) noexcept { return a._ptr != b; }
  friend bool operator==(const SmartPtr &a, std::nullptr_t) noexcept { return !a._ptr; }
  friend bool operator!=(const SmartPtr &a, std::nullptr_t) noexcept { return a._ptr != nullptr; }
  friend bool operator==(const SmartPtr &a, const SmartPtr &b) noexcept {
    return a._ptr == b._ptr;
  }
  friend bool operator!=(const SmartPtr &a, const SmartPtr &b) noexcept {
    return a._ptr != b._ptr;
  }

private:
  T *_ptr = nullptr;
};

} // namespace base::core

#endif // BASE_CORE_OBJECT_H
