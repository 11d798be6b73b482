// Counts heap allocations made by the calling thread, to show that a routine allocates nothing.
#ifndef CRV_TESTS_SUPPORT_ALLOC_COUNTER_H
#define CRV_TESTS_SUPPORT_ALLOC_COUNTER_H

#include <cstdint>

namespace crvtest {

// Allocations (operator new in every build; malloc, calloc and realloc too where no sanitizer
// owns them) made by this thread since construction.
class AllocCounter {
 public:
  AllocCounter();
  int64_t count() const;

 private:
  int64_t start_;
};

}  // namespace crvtest

#endif
