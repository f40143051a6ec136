// SPDX-License-Identifier: MIT
// change_setting KEY VALUE [FILE]: shows a setting, changes it, and shows what has changed in the file.
#include <cstdio>
#include <kvrn/kvrn.hpp>

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: change_setting KEY VALUE [FILE]\n");
    return 2;
  }
  const char* path = argc > 3 ? argv[3] : "/tmp/system.cfg";
  const auto before = kvrnpp::Configuration::read(path);
  auto settings = kvrnpp::Configuration::read(path);
  const std::string_view value = settings.value(argv[1]).value_or("not set");
  std::printf("%s was %.*s\n", argv[1], static_cast<int>(value.size()), value.data());

  // set() returns false for a file without any setting: nothing can be added to an empty configuration.
  if (!settings.set(argv[1], argv[2])) return 1;
  for (const kvrnpp::Entry entry : settings.changes(before))
    std::printf("%s=%s\n", entry.get()->key, entry.value() ? entry.get()->value : "");
  if (settings.save(path)) return 0;
  std::perror(path);
  return 1;
}
