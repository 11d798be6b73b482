// Checks that this build reproduces the golden table bit for bit on both capability paths:
// `golden_check tests/golden/golden.txt` prints the first calls that differ (expected, then what
// this build gives) and exits 1 on any difference. `golden_check --print` prints the table, to
// regenerate it after a change that means to alter results; `--print --full` prints every output
// value in place of the hashes of long arrays, to find the value behind a mismatch by comparing
// the output of the two builds that disagree.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "catalogue/catalogue.h"

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::fprintf(stderr, "usage: golden_check GOLDEN_TABLE | --print [--full]\n");
    return 2;
  }
  if (!crvcat::HasPairedPath()) {
    std::fprintf(stderr, "golden_check: this processor has no paired (SSE3) path\n");
    return 2;
  }
  if (std::strcmp(argv[1], "--print") == 0) {
    const bool full = argc == 3 && std::strcmp(argv[2], "--full") == 0;
    for (const std::string& line : crvcat::GoldenTable(full)) std::printf("%s\n", line.c_str());
    return 0;
  }
  std::ifstream file(argv[1]);
  if (!file) {
    std::fprintf(stderr, "golden_check: cannot read %s\n", argv[1]);
    return 2;
  }
  std::vector<std::string> expected, actual;
  for (std::string line; std::getline(file, line);)
    if (!line.empty() && line[0] != '#') expected.push_back(line);
  for (const std::string& line : crvcat::GoldenTable())
    if (line[0] != '#') actual.push_back(line);

  int mismatches = 0;
  const size_t n = expected.size() > actual.size() ? expected.size() : actual.size();
  for (size_t i = 0; i < n; ++i) {
    const std::string& want = i < expected.size() ? expected[i] : "(no line)";
    const std::string& got = i < actual.size() ? actual[i] : "(no line)";
    if (want != got && ++mismatches <= 10)
      std::printf("call %zu differs:\n  golden: %s\n  build:  %s\n", i, want.c_str(), got.c_str());
  }
  if (mismatches > 0) {
    std::printf("golden_check: %d of %zu calls differ from %s\n", mismatches, n, argv[1]);
    return 1;
  }
  std::printf("golden_check: %zu calls reproduced bit for bit on both paths\n", actual.size());
  return 0;
}
