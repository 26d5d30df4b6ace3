// Password entry on a terminal: stars and erasing keys under curses, or the
// echo switched off where curses cannot start; the terminal's echo back on
// afterwards. One line from a pipe (CR LF, a CR kept, no line feed at the
// end, blanks) is played end to end (tests/e2e/cases/bad_cmdline.json); the
// bytes of such a line, NUL included, in driver_test.
#include "cli/password.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

struct TerminalRun {
    std::string passwords;   // the reads' results, each followed by "|"
    std::string screen;      // everything the terminal received
    bool echoAfter = false;
};

bool ReadSome(int fd, std::string& into, int timeoutMs) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, timeoutMs) <= 0) return true;
    char buffer[512];
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n <= 0) return false;   // EIO: the child side has closed
    into.append(buffer, static_cast<std::size_t>(n));
    return true;
}

// Reads one password per prompt in a child whose standard input and output
// are a fresh pseudo-terminal, typing each prompt's keys once it is on screen.
TerminalRun TypeOnTerminal(const char* term, const std::vector<std::pair<std::string, std::string>>& prompts) {
    int results[2];
    if (pipe(results) != 0) throw std::runtime_error("pipe");
    winsize size{24, 80, 0, 0};
    int master = -1;
    const pid_t pid = forkpty(&master, nullptr, nullptr, &size);
    if (pid < 0) throw std::runtime_error("forkpty");
    if (pid == 0) {
        if (term != nullptr) setenv("TERM", term, 1);
        else unsetenv("TERM");
        std::string all;
        for (const auto& p : prompts) all += getmypasswd(p.first) + "|";
        termios mode{};
        all.insert(0, 1, tcgetattr(STDIN_FILENO, &mode) == 0 && (mode.c_lflag & ECHO) ? '1' : '0');
        _exit(write(results[1], all.data(), all.size()) == static_cast<ssize_t>(all.size()) ? 0 : 2);
    }
    close(results[1]);
    TerminalRun run;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    bool open = true;
    for (const auto& p : prompts) {
        while (open && run.screen.find(p.first) == std::string::npos && std::chrono::steady_clock::now() < deadline)
            open = ReadSome(master, run.screen, 50);
        EXPECT_EQ(write(master, p.second.data(), p.second.size()), static_cast<ssize_t>(p.second.size()));
    }
    int status = -1;
    while (waitpid(pid, &status, WNOHANG) != pid) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            ADD_FAILURE() << "password entry did not end; screen: " << run.screen;
            break;
        }
        if (open) open = ReadSome(master, run.screen, 50);
        else poll(nullptr, 0, 10);
    }
    while (open && run.screen.size() < (1u << 20)) open = ReadSome(master, run.screen, 0);
    close(master);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    char buffer[256];
    ssize_t n;
    while ((n = read(results[0], buffer, sizeof buffer)) > 0) run.passwords.append(buffer, n);
    close(results[0]);
    if (!run.passwords.empty()) {
        run.echoAfter = run.passwords[0] == '1';
        run.passwords.erase(0, 1);
    }
    return run;
}

std::size_t Count(const std::string& text, const std::string& piece) {
    std::size_t count = 0;
    for (std::size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++count;
    return count;
}

struct KeyCase {
    const char* name;
    const char* term;   // null: TERM unset
    const char* keys;   // as an xterm sends them
    const char* password;
    std::size_t stars, erasures;
};
void PrintTo(const KeyCase& c, std::ostream* os) { *os << c.name; }

class TerminalInput : public testing::TestWithParam<KeyCase> {};

TEST_P(TerminalInput, NeverEchoesTheKeys) {
    const KeyCase& c = GetParam();
    const TerminalRun run = TypeOnTerminal(c.term, {{"Enter ESXi Server PassWord: ", c.keys}});
    EXPECT_EQ(run.passwords, std::string(c.password) + "|");
    const std::size_t prompt = run.screen.find("PassWord: ");
    ASSERT_NE(prompt, std::string::npos) << run.screen;
    const std::string afterPrompt = run.screen.substr(prompt);
    EXPECT_EQ(Count(afterPrompt, "*"), c.stars);
    EXPECT_EQ(Count(afterPrompt, "\b \b"), c.erasures);
    EXPECT_EQ(afterPrompt.find("qz"), std::string::npos) << "typed text was echoed";
    EXPECT_TRUE(run.echoAfter) << "terminal left without echo";
}

// xterm: backspace sends DEL (kbs), left arrow ESC O D (kcub1, keypad mode),
// delete ESC [ 3 ~ (kdch1), keypad Enter ESC O M (kent). A terminal type
// curses does not know, or none, falls back to a line read without echo.
INSTANTIATE_TEST_SUITE_P(Keys, TerminalInput, testing::Values(
    KeyCase{"plain", "xterm", "qzX9\r", "qzX9", 4, 0}, KeyCase{"line_feed_ends", "xterm", "qz\n", "qz", 2, 0},
    KeyCase{"keypad_enter_ends", "xterm", "qz\033OM", "qz", 2, 0}, KeyCase{"enter_at_once", "xterm", "\r", "", 0, 0},
    KeyCase{"backspace_key", "xterm", "qzy\177w\r", "qzw", 4, 1}, KeyCase{"control_h", "xterm", "qzy\bw\r", "qzw", 4, 1},
    KeyCase{"left_arrow", "xterm", "qzy\033ODw\r", "qzw", 4, 1},
    KeyCase{"delete_key", "xterm", "qzy\033[3~w\r", "qzw", 4, 1},
    KeyCase{"erase_on_empty_does_nothing", "xterm", "\177\b\033ODqz\r", "qz", 2, 0},
    KeyCase{"erase_everything", "xterm", "qz\177\177\177\r", "", 2, 2},
    KeyCase{"control_character_kept", "xterm", "q\001z\r", "q\001z", 3, 0},
    KeyCase{"function_key_low_byte", "xterm", "q\033OPz\r", "q\x09z", 3, 0},   // KEY_F(1) is 0411
    KeyCase{"unknown_terminal_type", "rbz-no-such-terminal", "qzs3cr\r", "qzs3cr", 0, 0},
    KeyCase{"term_unset", nullptr, "qzs3cr\r", "qzs3cr", 0, 0}),
    [](const testing::TestParamInfo<KeyCase>& info) { return std::string(info.param.name); });

// Each read opens and closes its own curses session.
TEST(TerminalInputSessions, TwoPromptsInOneProcess) {
    const TerminalRun run = TypeOnTerminal("xterm", {{"First:", "qz1\r"}, {"Second:", "qz2\r"}});
    EXPECT_EQ(run.passwords, "qz1|qz2|");
    EXPECT_TRUE(run.echoAfter);
}

}  // namespace
