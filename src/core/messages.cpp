// The localised message table. Its layout is shared with the host's string service, which may
// write the three host words of each entry, so it lives in writable data.
#include <cstddef>

#include "crv/crv.h"

namespace {

constexpr uint64_t kAllBits = ~uint64_t{0};

CRV_LStrEntry g_entries[9] = {
    {"$$$/ZT/CRV/LStr/0000=damaged CRV structure.", {0, 0, 0}},
    {"$$$/ZT/CRV/LStr/0001=temporary vectors in arclength calculation", {0, 0, 0}},
    {"$$$/ZT/CRV/LStr/0002=invalid ease/influence values", {0, 0, 0}},
    {"$$$/ZT/CRV/LStr/0003=invalid time-remapping control points", {0, 0, 0}},
    {"$$$/ZT/CRV/LStr/0004=invalid time-remapping domain", {0, 0, 0}},
    {"$$$/ZT/CRV/LStr/0005=unsupported CRV data type", {0, 0, 0}},
    {"$$$/ZT/CRV/LStr/0006=Bezier Curve", {0, 0, 0}},
    {"$$$/ZT/CRV/LStr/0007=List of parameter values", {0, 0, 0}},
    {nullptr, {kAllBits, kAllBits, 0}},  // end mark
};

CRV_LStrTable g_table = {"CRV", 9, g_entries, 0};

// The host reads these records by offset.
static_assert(sizeof(CRV_LStrEntry) == 32, "message entries are four 64-bit words");
static_assert(sizeof(CRV_LStrTable) == 32, "the table descriptor is four 64-bit words");
static_assert(offsetof(CRV_LStrTable, entries) == 16, "entries pointer is the third word");

}  // namespace

CRV_LStrTable* const CRV_G_zref = &g_table;
