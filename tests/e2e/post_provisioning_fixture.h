// -postProv on copies of real VHD disks made by qemu-img, with a metadata.json
// that names the identity to stamp.
#pragma once

#include <gtest/gtest.h>

#include "e2e/kestrel_fixture.h"
#include "platform/guid.h"
#include "support/scratch.h"
#include "support/vhd_images.h"

// The document's disk identity, and how an independent big-endian reader of
// the footer (vhdiinfo) shows the same sixteen bytes.
inline constexpr wchar_t kDocumentUniqueId[] = L"{6B29FC40-CA47-1067-B31D-00DD010662DA}";
inline constexpr char kBigEndianIdentifier[] = "40fc296b-47ca-6710-b31d-00dd010662da";

class PostProvisioning : public KestrelCommandLine {
 protected:
  // A copy of a qemu-img fixture in the scratch folder.
  std::wstring Disk(const std::wstring& fixture, const std::wstring& name) {
    const std::wstring path = scratch_ / name;
    EXPECT_EQ(platform::CopyFileTo(testsupport::vhd::QemuFixture(fixture), path, false), 0u)
        << platform::ToUtf8(fixture);
    return path;
  }
  // metadata.json as the capture writes it: byte-order mark, CR LF, aligned keys.
  std::wstring Metadata(const std::wstring& uniqueId) {
    const std::string text =
        "\xEF\xBB\xBF{\r\n"
        "  \"program\" : {\r\n"
        "                \"orvcapture\" : \"4.16.1.1564\", \r\n"
        "                  \"Merovane\" : \"\"\r\n"
        "              }, \r\n"
        "     \"disk\" : {\r\n"
        "                    \"uniqueId\" : \"" +
        platform::ToUtf8(uniqueId) +
        "\", \r\n"
        "                \"creationTime\" : \"Saturday, 14 November 2026 17:52:10 UTC\", \r\n"
        "                      \"source\" : \"template\"\r\n"
        "              }\r\n"
        "}";
    const std::wstring path = scratch_ / L"metadata.json";
    testsupport::WriteFile(path, text);
    return path;
  }
  int PostProv(const std::wstring& disk, const std::wstring& metadata) {
    const RunResult r = Kestrel({L"-postProv", disk, metadata});
    for (int code : {0, -7, -13, -20}) {
      if (r.exitCode == platform::ExitCodeAsSeen(code)) return code;
    }
    return 1000 + static_cast<int>(r.exitCode);
  }
  // The log's entries without stamps and without "function@line: ".
  std::vector<std::wstring> LoggedEntries() {
    std::vector<std::wstring> entries;
    for (const auto& entry : testsupport::LogEntries(LogPath())) entries.push_back(testsupport::WithoutSource(entry));
    return entries;
  }

  // The disk after a successful run against its bytes before: the identity
  // in the footer (both copies for a dynamic disk), the footer's other fields
  // kept, the boot sector's four signature bytes renewed at signatureAt (0:
  // none) and no other byte of the data area touched.
  void ExpectStamped(const std::string& before, const std::string& after, bool dynamic, uint64_t signatureAt) {
    namespace vhd = testsupport::vhd;
    ASSERT_EQ(after.size(), before.size());
    const size_t end = after.size() - 512;
    const std::string footer = after.substr(end);
    if (dynamic) {
      EXPECT_TRUE(after.substr(0, 512) == footer) << "the two footer copies differ";
    }
    EXPECT_TRUE(vhd::ChecksumVerifies(footer));
    Guid expected;
    ASSERT_TRUE(ParseGuid(kDocumentUniqueId, expected));
    const auto id = GuidToBytes(expected);
    EXPECT_EQ(footer.substr(68, 16), std::string(id.begin(), id.end()));
    EXPECT_EQ(footer.substr(28, 8), std::string("TXCP\x04\x10\x00\x1C", 8));
    const std::string old = before.substr(end);
    EXPECT_EQ(footer.substr(0, 24), old.substr(0, 24));
    EXPECT_EQ(footer.substr(36, 28), old.substr(36, 28));
    EXPECT_EQ(footer.substr(84), old.substr(84));

    const size_t dataStart = dynamic ? 512 : 0;
    size_t differing = 0;
    for (size_t i = dataStart; i < end; ++i) {
      const bool inSignature = signatureAt != 0 && i >= signatureAt && i < signatureAt + 4;
      if (before[i] != after[i]) {
        ++differing;
        EXPECT_TRUE(inSignature) << "byte " << i << " of the data area changed";
      }
    }
    if (signatureAt != 0) {
      EXPECT_NE(after.substr(signatureAt, 4), before.substr(signatureAt, 4));
      EXPECT_GE(differing, 1u);
    }
  }
};
