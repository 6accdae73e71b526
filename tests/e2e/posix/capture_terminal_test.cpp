// Phase one answered by a packager at a terminal: the program runs on a
// pseudo-terminal and reads the answers typed into it.
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "e2e/capture_fixture.h"

namespace {

// Runs the program on a new pseudo-terminal with input typed ahead; gives
// its exit status and everything it wrote.
int RunOnTerminal(const std::string& program, const std::vector<std::string>& arguments, const std::string& input,
                  std::string& output) {
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child < 0) return -1;
  if (child == 0) {
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const auto& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  if (write(terminal, input.data(), input.size()) != static_cast<ssize_t>(input.size())) return -1;
  // A program that waits for an answer never given (a refused second
  // instance asks for Enter) must fail the test, not hang the suite.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  char buffer[4096];
  for (;;) {
    pollfd ready{terminal, POLLIN, 0};
    if (poll(&ready, 1, 1000) == 0) {
      if (std::chrono::steady_clock::now() < deadline) continue;
      kill(child, SIGKILL);
      output += "\n[no end after 60 s: killed]";
      break;
    }
    const ssize_t n = read(terminal, buffer, sizeof buffer);
    if (n <= 0) break;
    output.append(buffer, static_cast<size_t>(n));
  }
  close(terminal);
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The answers file fills the dialog in; Enter keeps what it gave.
TEST_F(PhaseOne, PackagerAnswersAtTheTerminal) {
  testsupport::WriteFile(Marker(L"tarnhold.answers"), "Packager=jsmith\nNotes=from the file\n");
  const std::string answers =
      "c\n"          // Cancel the installation prompt,
      "n\n"          // do not cancel the packaging,
      "o\n"          // the installation is done
      "y\n"          // and complete.
      "Editor\n"     // Name
      "2.1 beta\n"   // a version that is none,
      "2.1.0\n"      // then one
      "Text editor\n"
      "\n"          // Packager as given
      "first line\nsecond line\n\n"
      "\n";          // the restart message
  std::string output;
  const int status = RunOnTerminal(platform::ToUtf8(Slashed(program_)), {"<phaseone>"}, answers, output);
  EXPECT_EQ(status, 237) << output;  // -19 in 8 bits
  for (const char* shown : {"Please install the application.", "Cancel Packaging?", "Installation complete?",
                            "Finalize Package", "The version must be two to four numbers",
                            "Packager [jsmith]", "[from the file]", "Restart required"})
    EXPECT_NE(output.find(shown), std::string::npos) << shown << "\n" << output;
  // The analysis spins under its form; the line is cleared before the questions.
  EXPECT_NE(output.find("please wait.\r\n\r\x1b[K| 0 s"), std::string::npos) << output;
  EXPECT_NE(output.find("\r\x1b[KFinalize Package"), std::string::npos) << output;

  EXPECT_EQ(Messages(), Lines{L"User has canceled the provisioning!"});
  EXPECT_EQ(testsupport::ReadFile(volume_ + L"\\notes.txt"),
            "\xFF\xFE" + Utf16(L"first line\r\nsecond line"));
  const std::wstring state = platform::FromUtf16Le(testsupport::ReadFile(volume_ + L"\\kestrel.state"));
  EXPECT_EQ(state.rfind(L"/state:1]::[Editor]::[Text editor]::[jsmith]::[", 0), 0u) << platform::ToUtf8(state);
  EXPECT_NE(state.find(L"]::[auto]::[2.1.0]::["), std::wstring::npos) << platform::ToUtf8(state);
  EXPECT_EQ(AgentArguments(), (std::vector<std::vector<std::wstring>>{Recording(L"recordon"), Recording(L"recordoff")}));
}

// The progress form of -message 0 spins on a terminal long enough to be
// read, then clears its line; elsewhere it returns at once (message tests).
TEST_F(PhaseOne, ProgressFormSpinsOnATerminal) {
  std::string output;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(RunOnTerminal(platform::ToUtf8(Slashed(program_)), {"-message", "0"}, "", output), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2900));
  EXPECT_NE(output.find("Finalizing package...\r\n\r\x1b[K| 0 s"), std::string::npos) << output;
  EXPECT_NE(output.find("/ 1 s"), std::string::npos) << output;
  EXPECT_EQ(output.substr(output.size() - 4), "\r\x1b[K") << output;
}

// On a terminal the silent wait's marker and time ride on the spinner line
// instead of a line per poll.
TEST_F(PhaseOne, SilentWaitShowsTheMarkerOnTheSpinnerLine) {
  Silent(false);
  testsupport::WriteFile(Marker(L"tarnhold.answers"), "Name=Editor\nVersion=2.1\n");
  std::thread installer([this] {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    testsupport::WriteFile(Marker(L"tarnhold.p1"), "");
  });
  std::string output;
  const int status = RunOnTerminal(platform::ToUtf8(Slashed(program_)), {"<phaseone>"}, "", output);
  installer.join();
  EXPECT_EQ(status, 237) << output;
  const std::string waited = "[Silent mode] waiting for \"" + platform::ToUtf8(Marker(L"tarnhold.p1")) + "\": 5 s";
  EXPECT_NE(output.find(" s  " + waited), std::string::npos) << output;
  EXPECT_EQ(output.find(waited + "\r\n"), std::string::npos) << output;
}

}  // namespace
