// Command-line splitting by the rules of the Windows C runtime, so that a
// command line means the same arguments on both platforms.
#include "platform/process.h"

namespace platform {

namespace {
bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }
}  // namespace

std::vector<std::wstring> SplitCommandLine(const std::wstring& line) {
  std::vector<std::wstring> arguments;
  size_t i = 0;
  const size_t n = line.size();

  // The program token: quotes group, backslashes are plain characters.
  {
    std::wstring program;
    bool quoted = false;
    while (i < n && (quoted || !IsBlank(line[i]))) {
      if (line[i] == L'"') {
        quoted = !quoted;
      } else {
        program.push_back(line[i]);
      }
      ++i;
    }
    arguments.push_back(program);
  }

  for (;;) {
    while (i < n && IsBlank(line[i])) ++i;
    if (i >= n) break;
    std::wstring argument;
    bool quoted = false;
    while (i < n && (quoted || !IsBlank(line[i]))) {
      if (line[i] == L'\\') {
        size_t slashes = 0;
        while (i < n && line[i] == L'\\') {
          ++slashes;
          ++i;
        }
        if (i < n && line[i] == L'"') {
          // 2n backslashes and a quote: n backslashes and a delimiter;
          // 2n+1: n backslashes and a literal quote.
          argument.append(slashes / 2, L'\\');
          if (slashes % 2 == 1) {
            argument.push_back(L'"');
            ++i;
          }
        } else {
          argument.append(slashes, L'\\');
        }
        continue;
      }
      if (line[i] == L'"') {
        // Inside quotes, "" is one literal quote and the quotes go on.
        if (quoted && i + 1 < n && line[i + 1] == L'"') {
          argument.push_back(L'"');
          i += 2;
          continue;
        }
        quoted = !quoted;
        ++i;
        continue;
      }
      argument.push_back(line[i]);
      ++i;
    }
    arguments.push_back(argument);
  }
  return arguments;
}

std::wstring JoinCommandLine(const std::vector<std::wstring>& arguments) {
  std::wstring line;
  for (size_t a = 0; a < arguments.size(); ++a) {
    const std::wstring& argument = arguments[a];
    if (a > 0) line.push_back(L' ');
    if (a == 0) {
      // The program token takes no escapes; quote it whole.
      const bool needs = argument.empty() || argument.find_first_of(L" \t") != std::wstring::npos;
      line += needs ? L"\"" + argument + L"\"" : argument;
      continue;
    }
    if (!argument.empty() && argument.find_first_of(L" \t\"") == std::wstring::npos) {
      line += argument;
      continue;
    }
    line.push_back(L'"');
    size_t slashes = 0;
    for (wchar_t c : argument) {
      if (c == L'\\') {
        ++slashes;
        continue;
      }
      if (c == L'"') {
        line.append(slashes * 2 + 1, L'\\');
      } else {
        line.append(slashes, L'\\');
      }
      slashes = 0;
      line.push_back(c);
    }
    line.append(slashes * 2, L'\\');
    line.push_back(L'"');
  }
  return line;
}

}  // namespace platform
