// Prints the golden table: `golden_gen > tests/golden/golden.txt` regenerates it, after a change
// that means to alter results. `golden_gen --full` prints every output value in place of the
// hashes of long arrays, for finding the value behind a mismatch: run it from the two builds
// that disagree and compare the outputs.
#include <cstdio>
#include <cstring>

#include "golden/golden_table.h"

int main(int argc, char** argv) {
  const bool full = argc > 1 && std::strcmp(argv[1], "--full") == 0;
  if (!crvgolden::HasPairedPath()) {
    std::fprintf(stderr, "golden_gen: this processor has no paired (SSE3) path to record\n");
    return 2;
  }
  for (const std::string& line : crvgolden::GoldenTable(full)) std::printf("%s\n", line.c_str());
  return 0;
}
