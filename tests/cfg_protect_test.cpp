// SPDX-License-Identifier: MIT
// Protected passwords in files.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include "tests/cfg_fixture.hpp"
#include "tests/files.hpp"

using namespace std::string_literals;

namespace {

bool reads_fail = false;

// "secret", and the alphabet over and over to 300 letters, in blobs of salt 0..11, nonce 12..23; ciphertext and tag
// worked out by the format's definition.
constexpr const char* sealed_secret = "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXS11bSk1cPj4iIiYmIiI";
constexpr const char* sealed_letters =
    "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXWVpbXE1OT0BBQkNEIS8tMyU3NTM9Pz0zNTcvLTM1NzVfUFFSQ0RFRkdYWVofNTc1Az0/PSkrKS8pKyk"
    "nOTs5P1VWV0hZWltcXV5fUHU7IyF3ISMhLyEjISchIyE/ISMhS0xNTl9QUVJJSktMSSclK10vLSslJyU7PT89OyUnJStBQllaS0xNTk9AQUKnLS"
    "8tuzU3NTs9Pz07NTc1MTMxN11eX1BBQkNERUZHWJ0zMTeBMzE/MTMrKS8pKyk3OTs5U1RVVkdYWVpbXF1e+zk7OfUnJSMtLy0jJSclIz0/PSNJS"
    "ktMXV5fUFFSSUrPJScl0y0vLSMlJyUjPT89IyUnJU9AQUJJSktMTU5PQCUqKS85Kik3OTs5Pzk7OTcpKzMxW1xdXk9AQUJDREVGRUdfXUNFR0U";

// The line of a configuration's only entry as save_cfg() writes it.
std::string saved(const Config& cfg) {
  const TempDir dir;
  EXPECT_EQ(save_cfg(cfg.get(), (dir / "cfg").c_str()), 0);
  return read_text(dir / "cfg");
}

bool is_sealed(const std::string& line) { return line.compare(0, 6, "~META~") == 0; }

}  // namespace

// In front of the C library's: a disk that goes bad behind the first line.
extern "C" __attribute__((visibility("default"))) size_t fread(void* bytes, size_t size, size_t count, FILE* stream) {
  if (!reads_fail) return ::fread_unlocked(bytes, size, count, stream);
  (void)::fputc('x', stream);  // an error on a stream for reading
  return ::fread_unlocked(bytes, size, 24, stream);
}

TEST(CfgProtect, OpensAKnownLine) {
  const Config cfg = config("~META~dXNlcnMuMS5wYXNzd29yZA=="s + "=" + sealed_secret + "\r\n");
  EXPECT_EQ(shown(cfg), "users.1.password=secret");
  std::string letters;
  for (int i = 0; i < 300; ++i) letters += static_cast<char>('a' + i % 26);
  EXPECT_EQ(shown(config("~META~eA="s + sealed_letters)), "x=" + letters);
  cfg_entry late{::strdup("~META~eA"), ::strdup(sealed_secret), nullptr, nullptr};
  EXPECT_EQ(esc_value(&late), late.value);
  adv_vento_cfg_decrypt_entry(&late);
  EXPECT_STREQ(esc_value(&late), "secret") << "not the value that was freed";
  ::free(late.key);
  ::free(late.value);
}

TEST(CfgProtect, PasswordsComeBack) {
  for (const char* text :
       {"users.1.password=secret", "users.1.password=", "users.password=x", "users.a b.c.password= \"blanks\" "}) {
    const std::string line = saved(config(text));
    EXPECT_TRUE(is_sealed(line)) << text;
    EXPECT_EQ(shown(config(line)), text);
  }
  for (const char* text : {"users.1.name=a\n", "users.password.x=a\n", "Users.1.password=a\n", "users.1.Password=a\n"})
    EXPECT_EQ(saved(config(text)), text);
  const Config cleared = config("users.1.password=x");
  update_value(cleared.get(), nullptr, "users.1.password");
  EXPECT_EQ(shown(config(saved(cleared))), "users.1.password=");
}

TEST(CfgProtect, HasLimits) {
  for (const auto& [length, sealed] : {std::pair{478, true}, {479, false}, {480, false}, {481, false}}) {
    const std::string text = "users.1.password=" + std::string(static_cast<size_t>(length), 'v');
    const std::string line = saved(config(text));
    EXPECT_EQ(is_sealed(line), sealed) << length;
    EXPECT_EQ(shown(config(line)), text);
  }
  for (const auto& [length, sealed, opened] :
       {std::tuple{505, true, true}, {506, true, false}, {513, true, false}, {514, false, true}}) {
    const std::string text = "users." + std::string(static_cast<size_t>(length - 15), 'k') + ".password=v";
    const std::string line = saved(config(text));
    EXPECT_EQ(is_sealed(line), sealed) << length;
    EXPECT_EQ(shown(config(line)) == text, opened) << length;
  }
}

TEST(CfgProtect, DrawsRandomBytesForRefusedLinesToo) {
  const std::string refused(479, 'v');
  const char* key = "users.1.password";
  const char* value = refused.c_str();
  ::srand(1);
  adv_vento_cfg_encrypt(&key, &value);
  EXPECT_EQ(value, refused.c_str());
  const int next = ::rand();
  ::srand(1);
  for (int i = 0; i < 24; ++i) (void)::rand();
  EXPECT_EQ(next, ::rand());
  const char* none = nullptr;
  adv_vento_cfg_encrypt(&none, &value);
  adv_vento_cfg_encrypt(&key, &none);
  adv_vento_cfg_encrypt(nullptr, nullptr);
}

TEST(CfgProtect, AnAlteredLineStaysAsRead) {
  const std::string line = saved(config("users.1.password=" + std::string(60, 's')));
  const size_t value = line.find('=') + 1;
  const auto opens = [&](size_t at) {
    std::string altered = line;
    altered[value + at] = altered[value + at] == 'A' ? 'B' : 'A';
    return shown(config(altered)).compare(0, 6, "users.") == 0;
  };
  EXPECT_TRUE(opens(0)) << "the salt";
  EXPECT_FALSE(opens(17 * 4 / 3 + 1)) << "the nonce's last bytes";
  EXPECT_TRUE(opens(30 * 4 / 3));
  EXPECT_FALSE(opens(50 * 4 / 3)) << "ciphertext under the tag";
  EXPECT_TRUE(opens(70 * 4 / 3)) << "beyond it";
  EXPECT_FALSE(opens(line.size() - value - 4)) << "the tag";
  for (const std::string& text : {line.substr(0, line.size() - 3), "~META~="s + std::string(41, 'A'),
                                  "~META~x=" + std::string(681, 'A'), "~META~=" + line.substr(value, 30) + "\n"})
    EXPECT_EQ(shown(config(text)).compare(0, 6, "~META~"), 0) << text;
  const Config cfg = config("~META~x=" + line.substr(value));
  EXPECT_EQ(shown(cfg), "=" + std::string(60, 's')) << "one base64 digit is no byte";
  adv_vento_cfg_decrypt_entry(nullptr);
}

TEST(CfgProtect, OfFiles) {
  const TempDir dir;
  const std::string plain = dir / "plain", sealed = dir / "sealed", opened = dir / "opened";
  write_text(plain, "a=1\nusers.1.password=secret\nusers.2.password=other\n");
  EXPECT_EQ(crypt_cfg(plain.c_str(), sealed.c_str(), 1), 0);
  EXPECT_EQ(read_text(sealed).find("secret"), std::string::npos);
  EXPECT_EQ(crypt_cfg(sealed.c_str(), opened.c_str(), 0), 0);
  EXPECT_EQ(read_text(opened), "a=1\nusers.1.password=secret\nusers.2.password=other\n");
  write_text(plain, "# nothing\n");
  EXPECT_EQ(crypt_cfg(plain.c_str(), (dir / "none").c_str(), 1), -1);
  EXPECT_FALSE(std::filesystem::exists(dir / "none"));
  EXPECT_EQ(crypt_cfg(sealed.c_str(), (dir / "no/folder").c_str(), 1), -1);
  EXPECT_EQ(crypt_cfg(nullptr, nullptr, 1), -1);
  const std::string all = read_text(opened);
  reads_fail = true;
  EXPECT_EQ(crypt_cfg(opened.c_str(), opened.c_str(), 1), -1) << "a part must not replace the whole";
  EXPECT_EQ(shown(Config(parse(opened.c_str()))), "a=1") << "half a line is none";
  reads_fail = false;
  EXPECT_EQ(read_text(opened), all);
}
