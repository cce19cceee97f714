//===- engine/core/dsp/Array.h - Owning arrays with rounded allocation -----===//
//
// engine::float_array and engine::double_array own one malloc block of length elements,
// its size rounded up to a multiple of 32 bytes, so that group-wise loops may run past
// the length into the rounding: zero() writes whole 16-byte groups, and the last one may
// reach beyond `length()`. Contents start undefined. Not copyable; movable.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_DSP_ARRAY_H
#define ENGINE_CORE_DSP_ARRAY_H

#include <cstdlib>
#include <cstring>
#include <new>

namespace engine {

template <class T> class aligned_array {
public:
  aligned_array() = default;
  explicit aligned_array(unsigned int length) { allocate(length); }
  ~aligned_array() { std::free(_data); }
  aligned_array(const aligned_array &) = delete;
  aligned_array &operator=(const aligned_array &) = delete;
  aligned_array(aligned_array &&other) noexcept : _data(other._data), _length(other._length) {
    other._data = nullptr;
    other._length = 0;
  }
  aligned_array &operator=(aligned_array &&other) noexcept {
    std::free(_data);
    _data = other._data;
    _length = other._length;
    other._data = nullptr;
    other._length = 0;
    return *this;
  }

  /// Allocates a new block of `length` elements and returns it. A block held before is
  /// released first.
  T *allocate(unsigned int length) {
    std::free(_data);
    _length = length;
    _data = static_cast<T *>(std::malloc(allocatedBytes(length)));
    if (!_data && length)
      throw std::bad_alloc();
    return _data;
  }

  /// Zeroes whole 16-byte groups from index 0 while the index is below length(): up to
  /// the end of the last group, inside the rounded block.
  void zero() {
    constexpr unsigned int group = 16 / sizeof(T);
    const unsigned int groups = (_length + group - 1) / group;
    std::memset(_data, 0, groups * 16u);
  }
  /// Stores `value` in every element.
  void set(T value) {
    for (unsigned int i = 0; i < _length; ++i)
      _data[i] = value;
  }

  [[nodiscard]] T *data() const { return _data; }
  [[nodiscard]] unsigned int length() const { return _length; }
  T &operator[](unsigned int i) const { return _data[i]; }

  /// Bytes of the block for `length` elements: rounded up to a multiple of 32.
  [[nodiscard]] static std::size_t allocatedBytes(unsigned int length) {
    return (std::size_t{length} * sizeof(T) + 31) & ~std::size_t{31};
  }

private:
  T *_data = nullptr;
  unsigned int _length = 0;
};

using float_array = aligned_array<float>;
using double_array = aligned_array<double>;

} // namespace engine

#endif // ENGINE_CORE_DSP_ARRAY_H
