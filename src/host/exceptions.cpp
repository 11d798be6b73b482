// The exception translator. The text is kept in a fixed per-thread buffer: the translator is
// called for std::bad_alloc, when allocating a string could fail again.
#include <cstring>
#include <new>

#include "host/host_test.h"
#include "host/hs.h"

namespace {
constexpr size_t kTextCapacity = 512;  // longer texts are cut; they are for reports only
thread_local char t_lastText[kTextCapacity] = "";
}  // namespace

int32_t HS_TranslateAndReportException(const std::exception& error) {
  const char* what = error.what();
  if (what == nullptr) what = "";
  std::strncpy(t_lastText, what, kTextCapacity - 1);
  t_lastText[kTextCapacity - 1] = '\0';
  return dynamic_cast<const std::bad_alloc*>(&error) != nullptr ? HS_ERR_BAD_ALLOC
                                                                 : HS_ERR_EXCEPTION;
}

const char* HOST_LastReportedException(void) { return t_lastText; }
