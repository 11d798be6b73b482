// Eight threads run the whole catalogue at once, each with its own outputs and lists, and every
// thread must reproduce the golden table bit for bit on both capability paths. Built with
// ThreadSanitizer in a job of its own, where any write to shared state (in the library or in what
// it asks of the host) shows up as a race.
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "catalogue/catalogue.h"

namespace {

constexpr int kThreads = 8;

// Every thread's lines on the capability path `paired`, switched once before the threads start.
std::vector<std::vector<std::string>> RunThreads(int32_t paired) {
  const crvcat::CapabilityPath path(paired);
  std::vector<std::vector<std::string>> lines(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&lines, i] { lines[i] = crvcat::RunPath(); });
  for (std::thread& t : threads) t.join();
  return lines;
}

TEST(Concurrency, EveryThreadReproducesTheGoldenTable) {
  ASSERT_TRUE(crvcat::HasPairedPath());
  std::ifstream file(CRV_GOLDEN_FILE);
  ASSERT_TRUE(file) << CRV_GOLDEN_FILE;
  std::vector<std::string> golden;
  for (std::string line; std::getline(file, line);)
    if (!line.empty() && line[0] != '#') golden.push_back(line);

  const auto scalar = RunThreads(0), paired = RunThreads(1);
  for (int i = 0; i < kThreads; ++i) {
    std::vector<std::string> table;
    for (const std::string& line : crvcat::MergePaths(scalar[i], paired[i]))
      if (line[0] != '#') table.push_back(line);
    ASSERT_EQ(table.size(), golden.size());
    for (size_t k = 0; k < golden.size(); ++k)
      ASSERT_EQ(table[k], golden[k]) << "thread " << i << ", call " << k;
  }
}

}  // namespace
