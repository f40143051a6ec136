// SPDX-License-Identifier: MIT
// shared_file FILE: adds 1 to the number in a file that several processes write. FILE.lock protects the file.
#include <cstdio>
#include <kvrn/kvrn.hpp>
#include <string>

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const std::string lock_path = std::string(argv[1]) + ".lock";
  // Tries ten times for one second. A lock file older than two seconds is removed, because its holder is probably dead.
  const kvrnpp::Lock lock(lock_path.c_str(), 1);
  if (!lock) {
    std::fprintf(stderr, "%s: somebody holds it\n", lock_path.c_str());
    return 1;
  }
  const std::uint32_t number = read_from_file(argv[1]) + 1;  // a missing file counts as 0
  std::FILE* file = std::fopen(argv[1], "w");
  if (file == nullptr) {
    std::perror(argv[1]);
    return 1;
  }
  std::fprintf(file, "%u\n", number);
  std::printf("%u\n", number);
  return std::fclose(file) == 0 ? 0 : 1;
}
