#include <gtest/gtest.h>

#include <cstdio>

#include "platform/common/regf.h"
#include "platform/files.h"
#include "platform/text.h"
#include "support/hive_fixture.h"

namespace testsupport {
namespace {

// Wine's quoting: backslash and quote escaped, anything outside printable
// ASCII (and the ] that ends a key path) as \x and four hex digits.
std::string Quote(const std::wstring& text) {
  std::string out;
  for (wchar_t c : text) {
    if (c == L'\\' || c == L'"') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c > 0x7E || c == L']') {
      char buffer[8];
      std::snprintf(buffer, sizeof buffer, "\\x%04x", static_cast<unsigned>(c));
      out += buffer;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

void WriteKey(const platform::regf::TreeKey& key, const std::string& path, std::string& text) {
  text += "\n[" + path + "] 0\n";
  for (const auto& value : key.values) {
    text += value.name.empty() ? "@" : "\"" + Quote(value.name) + "\"";
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "=hex(%x):", static_cast<unsigned>(value.type));
    text += buffer;
    for (size_t i = 0; i < value.data.size(); ++i) {
      std::snprintf(buffer, sizeof buffer, i ? ",%02x" : "%02x",
                    static_cast<unsigned char>(value.data[i]));
      text += buffer;
    }
    text += "\n";
  }
  for (const auto& child : key.children) WriteKey(child, path + "\\\\" + Quote(child.name), text);
}

}  // namespace

void WriteHiveFixture(const std::wstring& path, const std::wstring& mountKeyName,
                      const std::string& regText) {
  platform::regf::TreeKey root;
  ASSERT_NO_FATAL_FAILURE(BuildHiveTree(regText, root));
  ASSERT_TRUE(root.values.empty()) << "values of the hive's root key are not written";
  // The first key path names the load's own key, so Wine reads every path
  // relative to it.
  std::string text = "WINE REGISTRY Version 2\n";
  for (const auto& child : root.children)
    WriteKey(child, Quote(mountKeyName) + "\\\\" + Quote(child.name), text);
  ASSERT_EQ(0u, platform::WriteWholeFile(path, text)) << platform::ToUtf8(path);
}

}  // namespace testsupport
