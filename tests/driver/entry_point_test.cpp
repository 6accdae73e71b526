// The entry point's parsing helpers at their edges. Switches in any case,
// what each command line reaches, a second instance and an escaping
// exception (-13) are the end-to-end command line's and post-provisioning's.
#include <gtest/gtest.h>

#include <climits>

#include "driver/entry_point.h"
#include "platform/text.h"
#include "support/scratch.h"

namespace {

TEST(EntryPointParts, MessageTypesAndVolumePaths) {
  // The message type reads like the C runtime's.
  for (const auto& [text, value] : {std::pair{L"2", 2}, {L"  -3x", -3}, {L"+7", 7}, {L"x", 0}, {L"", 0},
                                    {L"99999999999", INT_MAX}, {L"-99999999999", INT_MIN}})
    EXPECT_EQ(ParseDecimal(text), value) << platform::ToUtf8(text);
  testsupport::ScratchFolder dir;
  testsupport::WriteFile(dir / L"file", "x");
  for (const auto& [path, valid] :
       {std::pair{std::wstring(L"E:"), true}, {L"z:", true}, {L"1:", false}, {L"", false}, {L"*", false},
        {L"?:", false}, {L".\\vol", false}, {dir.path(), true}, {dir / L"missing", false}, {dir / L"file", false}})
    EXPECT_EQ(IsValidVolumePath(path), valid) << platform::ToUtf8(path);
}

}  // namespace
