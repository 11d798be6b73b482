// libcrv.so exports exactly the intended names: hosts bind to them, and anything more is an
// accident (a leaked internal, a standard-library instantiation) that a later build could lose.
#include <cstdio>
#include <fstream>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

std::set<std::string> ExportedSymbols() {
  const std::string command =
      std::string(CRV_NM) + " -D --defined-only -C '" + CRV_SHARED_LIBRARY + "'";
  std::set<std::string> names;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return names;
  char line[4096];
  while (std::fgets(line, sizeof line, pipe) != nullptr) {
    std::string text(line);
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    // "<address> <type> <name>": the name may contain spaces.
    const size_t first = text.find(' ');
    const size_t second = first == std::string::npos ? first : text.find(' ', first + 1);
    if (second != std::string::npos) names.insert(text.substr(second + 1));
  }
  pclose(pipe);
  return names;
}

std::set<std::string> ExpectedSymbols() {
  std::set<std::string> names;
  std::ifstream in(CRV_EXPECTED_SYMBOLS);
  std::string line;
  while (std::getline(in, line))
    if (!line.empty() && line[0] != '#') names.insert(line);
  return names;
}

TEST(ExportedSymbols, AreExactlyTheInterface) {
  const std::set<std::string> expected = ExpectedSymbols();
  const std::set<std::string> actual = ExportedSymbols();
  ASSERT_FALSE(expected.empty());
  ASSERT_FALSE(actual.empty()) << "could not read the symbols of " << CRV_SHARED_LIBRARY;
  for (const std::string& name : expected) EXPECT_TRUE(actual.count(name)) << "missing: " << name;
  for (const std::string& name : actual) EXPECT_TRUE(expected.count(name)) << "unexpected: " << name;
}

}  // namespace
