// Message lookup in a plug-in's message table. The layout is shared with the plug-in; it is
// mirrored here rather than included so that the host layer never depends on the library.
#include <cstring>

#include "host/hs.h"

namespace {

struct MessageEntry {
  const char* text;        // "key=display text", or null for the end mark
  uint64_t hostWords[3];   // the host's cache; this stand-in never writes it
};

struct MessageTable {
  const char* shortName;
  uint64_t count;          // includes the end mark
  const MessageEntry* entries;
  uint64_t zero;
};

static_assert(sizeof(MessageEntry) == 32, "message entries are 32 bytes in the shared layout");
static_assert(sizeof(MessageTable) == 32, "the table header is 32 bytes in the shared layout");

}  // namespace

const char* HS_ZLookupLStrCache(const void* table, int32_t index, int32_t /*reserved1*/,
                                int32_t /*reserved2*/) {
  if (table == nullptr || index < 0) return "";
  auto t = static_cast<const MessageTable*>(table);
  if (t->entries == nullptr || static_cast<uint64_t>(index) >= t->count) return "";
  const char* text = t->entries[index].text;
  if (text == nullptr) return "";
  const char* eq = std::strchr(text, '=');
  return eq != nullptr ? eq + 1 : text;
}
