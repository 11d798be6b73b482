// Checks that this build reproduces the golden table bit for bit on both capability paths:
// `golden_check tests/golden/golden.txt`. Prints the first lines that differ (expected, then
// what this build gives) and exits 1 on any difference.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "golden/golden_table.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: golden_check GOLDEN_TABLE\n");
    return 2;
  }
  if (!crvgolden::HasPairedPath()) {
    std::fprintf(stderr, "golden_check: this processor has no paired (SSE3) path to check\n");
    return 2;
  }
  std::ifstream file(argv[1]);
  if (!file) {
    std::fprintf(stderr, "golden_check: cannot read %s\n", argv[1]);
    return 2;
  }
  std::vector<std::string> expected;
  for (std::string line; std::getline(file, line);)
    if (!line.empty() && line[0] != '#') expected.push_back(line);

  std::vector<std::string> actual;
  for (const std::string& line : crvgolden::GoldenTable(false))
    if (line[0] != '#') actual.push_back(line);

  int mismatches = 0;
  const size_t n = expected.size() > actual.size() ? expected.size() : actual.size();
  for (size_t i = 0; i < n; ++i) {
    const std::string& want = i < expected.size() ? expected[i] : "(no line)";
    const std::string& got = i < actual.size() ? actual[i] : "(no line)";
    if (want == got) continue;
    if (++mismatches <= 10)
      std::printf("call %zu differs:\n  golden: %s\n  build:  %s\n", i, want.c_str(), got.c_str());
  }
  if (mismatches > 0) {
    std::printf("golden_check: %d of %zu calls differ from %s\n", mismatches, n, argv[1]);
    return 1;
  }
  size_t differing = 0;
  for (const std::string& line : actual) differing += line.find(" | ") != std::string::npos;
  std::printf(
      "golden_check: %zu calls reproduced bit for bit on both paths (%zu differ between the "
      "paths)\n",
      actual.size(), differing);
  return 0;
}
