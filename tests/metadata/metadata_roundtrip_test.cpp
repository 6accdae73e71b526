// The tree's text read back by cJSON gives the tree again, over many seeded
// random trees (the fuzz target metadata_roundtrip runs the same check).
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tests/metadata/tree_roundtrip.h"

namespace {

TEST(MetadataRoundTrip, SeededTreesParseBackToWhatWasBuilt) {
  std::mt19937 random(20261122);
  std::vector<uint8_t> bytes;
  // How far the trees reached: a check over trivial trees proves nothing.
  size_t textBytes = 0, deepTrees = 0, rawControlBytes = 0, nestedArrays = 0;
  std::string text;
  for (int tree = 0; tree < 3000; ++tree) {
    bytes.resize(64 + random() % 2048);
    for (auto& byte : bytes) byte = static_cast<uint8_t>(random());
    const std::string problem = roundtrip::Check(bytes.data(), bytes.size(), &text);
    ASSERT_EQ(problem, "") << "tree " << tree;
    textBytes += text.size();
    if (text.find("\r\n" + std::string(40, ' ')) != std::string::npos) ++deepTrees;
    if (text.find('\x01') != std::string::npos) ++rawControlBytes;
    if (text.find("[\r\n") != std::string::npos) ++nestedArrays;
  }
  EXPECT_GT(textBytes, 500000u);
  EXPECT_GT(deepTrees, 200u);
  EXPECT_GT(rawControlBytes, 200u);
  EXPECT_GT(nestedArrays, 200u);
}

}  // namespace
