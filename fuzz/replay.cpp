// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target over the files named as arguments, where there is no fuzzer to drive it.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* count, char*** words);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** words) {
  LLVMFuzzerInitialize(&count, &words);
  for (int word = 1; word < count; ++word) {
    std::ifstream file(words[word], std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file.good() || bytes.empty()) {
      std::fprintf(stderr, "%s: cannot be read, or is empty\n", words[word]);
      return 1;
    }
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%d inputs\n", count - 1);
  return count > 1 ? 0 : 1;
}
