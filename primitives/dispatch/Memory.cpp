//===- primitives/dispatch/Memory.cpp - 64-byte aligned allocation ---------===//
#include "primitives/dispatch/dispatch.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

extern "C" {

void *(*i_malloc)(size_t) = std::malloc;
void *(*i_calloc)(size_t, size_t) = std::calloc;
void *(*i_realloc)(void *, size_t) = std::realloc;
void (*i_free)(void *) = std::free;
long long i_version = 1;

void *ippMalloc(int size) {
  if (size < 1)
    return nullptr;
  // 64 bytes of room to align in, and 8 in front of the payload for the raw pointer.
  void *raw = i_malloc(static_cast<size_t>(size) + 72);
  if (!raw)
    return nullptr;
  const uintptr_t aligned = (reinterpret_cast<uintptr_t>(raw) + 71) & ~uintptr_t{63};
  void *payload = reinterpret_cast<void *>(aligned);
  std::memcpy(static_cast<unsigned char *>(payload) - sizeof raw, &raw, sizeof raw);
  return payload;
}

void ippFree(void *ptr) {
  if (!ptr)
    return;
  void *raw;
  std::memcpy(&raw, static_cast<unsigned char *>(ptr) - sizeof raw, sizeof raw);
  i_free(raw);
}

unsigned char *mx_ippsMalloc_8u(int len) {
  if (len < 1)
    return nullptr;
  return static_cast<unsigned char *>(ippMalloc(len));
}

void mx_ippsFree(void *ptr) { ippFree(ptr); }

} // extern "C"
