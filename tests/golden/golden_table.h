// The golden table: every export called a few hundred times on fixed inputs drawn from a seeded
// generator, its result code and outputs written as hex bit patterns, once on the scalar path
// and once on the paired path that word 3 of the capability record selects. Builds by other
// compilers and at other optimisation levels must reproduce it bit for bit.
#ifndef CRV_TESTS_GOLDEN_GOLDEN_TABLE_H
#define CRV_TESTS_GOLDEN_GOLDEN_TABLE_H

#include <string>
#include <vector>

namespace crvgolden {

// The table's lines, comments first. Each call gives one line
//   <export> <case> <code and outputs on the scalar path>[ | <the same on the paired path>]
// the second part only where the paths differ. Outputs are 16 hex digits each (the bits of the
// double; every NaN is written "nan", since compilers may swap the operands that decide which
// NaN travels on). Arrays of more than kShownValues values are summarised as their length and
// an FNV-1a hash of their bits, unless `full` is set.
std::vector<std::string> GoldenTable(bool full);

constexpr int kShownValues = 4;

// Whether the machine can take the paired path (the table needs both paths).
bool HasPairedPath();

}  // namespace crvgolden

#endif
