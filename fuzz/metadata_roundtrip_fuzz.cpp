// Trees built from fuzzed bytes: their text must parse back with cJSON to
// the tree that was built (see tests/metadata/tree_roundtrip.h for what is
// promised, and how raw control bytes are taken).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "tests/metadata/tree_roundtrip.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string problem = roundtrip::Check(data, size);
  if (!problem.empty()) {
    std::fprintf(stderr, "round trip: %s\n", problem.c_str());
    std::abort();
  }
  return 0;
}
