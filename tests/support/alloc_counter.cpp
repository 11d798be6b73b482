#include "support/alloc_counter.h"

#include <cstdlib>
#include <new>

namespace {
thread_local int64_t g_allocations = 0;
}

namespace crvtest {
AllocCounter::AllocCounter() : start_(g_allocations) {}
int64_t AllocCounter::count() const { return g_allocations - start_; }
}  // namespace crvtest

// Replacing the global operator new family is allowed by the language and works under every
// sanitizer. The replacements forward to malloc.
void* operator new(std::size_t size) {
  ++g_allocations;
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return ::operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++g_allocations;
  return std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return ::operator new(size, tag);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// glibc's own entry points, so that C allocations by the code under test count as well.
extern "C" void* __libc_malloc(std::size_t);
extern "C" void* __libc_calloc(std::size_t, std::size_t);
extern "C" void* __libc_realloc(void*, std::size_t);
extern "C" void* malloc(std::size_t size) {
  ++g_allocations;
  return __libc_malloc(size);
}
extern "C" void* calloc(std::size_t n, std::size_t size) {
  ++g_allocations;
  return __libc_calloc(n, size);
}
extern "C" void* realloc(void* p, std::size_t size) {
  ++g_allocations;
  return __libc_realloc(p, size);
}
#endif
