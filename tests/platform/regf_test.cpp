// The empty hive the project writes itself, and the key tree hives are
// built from.
#include <gtest/gtest.h>

#include "platform/common/regf.h"

#include "platform/common/little_endian.h"
#include "platform/common/regfile.h"
#include "platform/text.h"

namespace regf = platform::regf;

namespace {

// The hive's cells are read back by hivex in the hive tests; here the base
// block's fields, which a reader may take on trust.
TEST(EmptyHive, BaseBlock) {
  const std::string hive = regf::EmptyHive("ROOT");
  ASSERT_EQ(8192u, hive.size());
  EXPECT_EQ("regf", hive.substr(0, 4));
  EXPECT_EQ(platform::le::Get32(hive, 4), platform::le::Get32(hive, 8)) << "sequence numbers agree: no half-written hive";
  EXPECT_EQ(4096u, platform::le::Get32(hive, 0x28)) << "one bin of hive data";
  EXPECT_EQ(32u, platform::le::Get32(hive, 0x24)) << "the root key is the bin's first cell";
  EXPECT_EQ(regf::BaseBlockChecksum(hive.substr(0, 4096)), platform::le::Get32(hive, 0x1FC));
  EXPECT_EQ("hbin", hive.substr(4096, 4));
}

TEST(EmptyHive, ChecksumAvoidsTheTwoReservedValues) {
  std::string block(4096, '\0');
  EXPECT_EQ(1u, regf::BaseBlockChecksum(block));
  block[0] = block[1] = block[2] = block[3] = '\xFF';
  EXPECT_EQ(0xFFFFFFFEu, regf::BaseBlockChecksum(block));
  block[4] = '\x10';
  block[508] = '\x55';  // the checksum's own place does not count
  EXPECT_EQ(0xFFFFFFEFu, regf::BaseBlockChecksum(block));
}

bool Build(const std::string& text, regf::TreeKey& root, platform::regfile::ParseError& error) {
  std::vector<platform::regfile::Operation> operations;
  return platform::regfile::Parse(text, operations, error) &&
         regf::BuildTree(operations, root, error);
}

TEST(HiveTree, KeysSortedValuesInOrderDeletionsCarriedOut) {
  regf::TreeKey root;
  platform::regfile::ParseError error;
  ASSERT_TRUE(Build("Windows Registry Editor Version 5.00\n"
                    "[MACHINE\\b]\n"
                    "\"z\"=\"1\"\n"
                    "\"a\"=\"2\"\n"
                    "[MACHINE\\A_]\n"
                    "[MACHINE\\ab\\gone]\n"
                    "[machine\\B]\n"
                    "\"Z\"=dword:00000005\n"
                    "\"a\"=-\n"
                    "[-MACHINE\\ab\\gone]\n"
                    "[-MACHINE\\never\\there]\n",
                    root, error))
      << platform::ToUtf8(error.message);
  ASSERT_EQ(1u, root.children.size());
  const auto& machine = root.children[0];
  EXPECT_EQ(L"MACHINE", machine.name) << "the first spelling stays";
  ASSERT_EQ(3u, machine.children.size());
  EXPECT_EQ(L"ab", machine.children[0].name) << "AB before A_, as the registry orders";
  EXPECT_TRUE(machine.children[0].children.empty());
  EXPECT_EQ(L"A_", machine.children[1].name);
  const auto& b = machine.children[2];
  ASSERT_EQ(1u, b.values.size());
  EXPECT_EQ(L"z", b.values[0].name) << "a value set again keeps its name and place";
  EXPECT_EQ(platform::registry::kDword, b.values[0].type);
}

TEST(HiveTree, NamesTheLineOfANameTheRegistryRefuses) {
  const std::tuple<std::string, size_t, const wchar_t*> kRows[] = {
      {"[MACHINE\\" + std::string(256, 'k') + "]\n", 2, L"longer than 255"},
  };
  for (const auto& [tail, line, says] : kRows) {
    regf::TreeKey root;
    platform::regfile::ParseError error;
    EXPECT_FALSE(Build("Windows Registry Editor Version 5.00\n" + tail, root, error));
    EXPECT_EQ(line, error.line);
    EXPECT_NE(std::wstring::npos, error.message.find(says)) << platform::ToUtf8(error.message);
  }
}

}  // namespace
