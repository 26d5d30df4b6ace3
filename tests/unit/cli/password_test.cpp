#include "cli/password.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "cli_test_support.h"
#include "tests/unit/param_names.h"

namespace {

// --- Standard input that is not a terminal --------------------------------

struct LineCase {
    const char* name;
    const char* input;
    const char* first;
    const char* second;  // what a second read gets
};

const LineCase kLineCases[] = {
    {"lf", "secret\n", "secret", ""},
    {"crlf", "secret\r\nnext\r\n", "secret", "next"},
    {"eof_without_newline", "secret", "secret", ""},
    {"empty_input", "", "", ""},
    {"empty_line", "\nnext", "", "next"},
    {"inner_cr_kept", "a\rb\n", "a\rb", ""},
    {"cr_at_eof_kept", "ab\r", "ab\r", ""},
    {"only_one_cr_dropped", "ab\r\r\n", "ab\r", ""},
    {"blanks_kept", " a b \n", " a b ", ""},
};

void PrintTo(const LineCase& c, std::ostream* os) { *os << c.name; }

class LineInput : public testing::TestWithParam<LineCase> {};

TEST_P(LineInput, ReadsOneLineWithoutPrompt) {
    const LineCase& c = GetParam();
    StdinFrom input(std::string(c.input));
    std::string first, second;
    const Captured out = Capture([&] {
        first = getmypasswd("Enter ESXi Server PassWord: ");
        second = getmypasswd("again: ");
    });
    EXPECT_EQ(first, c.first);
    EXPECT_EQ(second, c.second);
    EXPECT_EQ(out.out, "");
    EXPECT_EQ(out.err, "");
}

INSTANTIATE_TEST_SUITE_P(Pipe, LineInput, testing::ValuesIn(kLineCases),
                         paramname::ByName());

TEST(LineInputBinary, KeepsEveryByteOfALongLine) {
    std::string text(5000, 'x');
    text[10] = '\0';
    text[20] = '\xff';
    StdinFrom input(text + "\n");
    EXPECT_EQ(getmypasswd("p"), text);
}

// --- A terminal -------------------------------------------------------------

struct TerminalRun {
    std::string password;
    std::string screen;  // everything the terminal received
    bool echoAfter = false;
    int status = -1;
};

bool ReadSome(int fd, std::string& into, int timeoutMs) {
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, timeoutMs) <= 0) return true;
    char buffer[512];
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n <= 0) return false;  // EIO: the child side has closed
    into.append(buffer, static_cast<std::size_t>(n));
    return true;
}

// Calls getmypasswd in a child whose standard input and output are a fresh
// pseudo-terminal, types `keys` once the prompt is on screen, and collects
// the screen and the result.
TerminalRun TypeOnTerminal(const char* term, const std::string& prompt, const std::string& keys) {
    int results[2];
    if (pipe(results) != 0) throw std::runtime_error("pipe");
    winsize size{24, 80, 0, 0};
    int master = -1;
    const pid_t pid = forkpty(&master, nullptr, nullptr, &size);
    if (pid < 0) throw std::runtime_error("forkpty");
    if (pid == 0) {
        close(results[0]);
        if (term != nullptr) setenv("TERM", term, 1);
        else unsetenv("TERM");
        const std::string password = getmypasswd(prompt);
        termios mode{};
        const char echo = tcgetattr(STDIN_FILENO, &mode) == 0 && (mode.c_lflag & ECHO) ? '1' : '0';
        if (write(results[1], &echo, 1) != 1) _exit(2);
        if (write(results[1], password.data(), password.size()) < 0) _exit(2);
        _exit(0);
    }
    close(results[1]);

    TerminalRun run;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (run.screen.find(prompt) == std::string::npos &&
           std::chrono::steady_clock::now() < deadline) {
        if (!ReadSome(master, run.screen, 50)) break;
    }
    if (write(master, keys.data(), keys.size()) != static_cast<ssize_t>(keys.size())) {
        ADD_FAILURE() << "typing failed";
    }
    bool open = true;
    while (std::chrono::steady_clock::now() < deadline) {
        if (open) open = ReadSome(master, run.screen, 50);
        else poll(nullptr, 0, 10);
        int status = 0;
        if (waitpid(pid, &status, WNOHANG) == pid) {
            run.status = status;
            while (open && run.screen.size() < (1u << 20)) open = ReadSome(master, run.screen, 0);
            break;
        }
    }
    if (run.status == -1) {
        kill(pid, SIGKILL);
        waitpid(pid, &run.status, 0);
        ADD_FAILURE() << "password entry did not end; screen: " << run.screen;
    }
    close(master);

    std::string reply;
    char buffer[256];
    ssize_t n;
    while ((n = read(results[0], buffer, sizeof buffer)) > 0) reply.append(buffer, n);
    close(results[0]);
    if (!reply.empty()) {
        run.echoAfter = reply[0] == '1';
        run.password = reply.substr(1);
    }
    return run;
}

std::size_t Count(const std::string& text, const std::string& piece) {
    std::size_t count = 0;
    for (std::size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) {
        ++count;
    }
    return count;
}

struct KeyCase {
    const char* name;
    const char* keys;  // as an xterm sends them
    const char* password;
    std::size_t stars;
    std::size_t erasures;
};

// xterm: backspace sends DEL (kbs), left arrow ESC O D (kcub1, keypad mode),
// delete ESC [ 3 ~ (kdch1), keypad Enter ESC O M (kent).
const KeyCase kKeyCases[] = {
    {"plain", "qzX9\r", "qzX9", 4, 0},
    {"line_feed_ends", "qz\n", "qz", 2, 0},
    {"keypad_enter_ends", "qz\033OM", "qz", 2, 0},
    {"enter_at_once", "\r", "", 0, 0},
    {"backspace_key", "qzy\177w\r", "qzw", 4, 1},
    {"control_h", "qzy\bw\r", "qzw", 4, 1},
    {"left_arrow", "qzy\033ODw\r", "qzw", 4, 1},
    {"delete_key", "qzy\033[3~w\r", "qzw", 4, 1},
    {"erase_on_empty_does_nothing", "\177\b\033ODqz\r", "qz", 2, 0},
    {"erase_everything", "qz\177\177\177\r", "", 2, 2},
    {"control_character_kept", "q\001z\r", "q\001z", 3, 0},
    {"function_key_low_byte", "q\033OPz\r", "q\x09z", 3, 0},  // KEY_F(1) is 0411
};

void PrintTo(const KeyCase& c, std::ostream* os) { *os << c.name; }

class TerminalInput : public testing::TestWithParam<KeyCase> {};

TEST_P(TerminalInput, EchoesStarsAndErases) {
    const KeyCase& c = GetParam();
    const TerminalRun run = TypeOnTerminal("xterm", "Enter ESXi Server PassWord: ", c.keys);
    ASSERT_TRUE(WIFEXITED(run.status) && WEXITSTATUS(run.status) == 0) << run.status;
    EXPECT_EQ(run.password, c.password);
    const std::string afterPrompt = run.screen.substr(run.screen.find("PassWord: "));
    EXPECT_EQ(Count(afterPrompt, "*"), c.stars);
    EXPECT_EQ(Count(afterPrompt, "\b \b"), c.erasures);
    EXPECT_EQ(afterPrompt.find("qz"), std::string::npos) << "typed text was echoed";
    EXPECT_TRUE(run.echoAfter) << "terminal left without echo";
}

INSTANTIATE_TEST_SUITE_P(Curses, TerminalInput, testing::ValuesIn(kKeyCases),
                         paramname::ByName());

TEST(TerminalInputSessions, TwoPromptsInOneProcess) {
    // Each read opens and closes its own session.
    int results[2];
    ASSERT_EQ(pipe(results), 0);
    winsize size{24, 80, 0, 0};
    int master = -1;
    const pid_t pid = forkpty(&master, nullptr, nullptr, &size);
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        setenv("TERM", "xterm", 1);
        const std::string a = getmypasswd("First:");
        const std::string b = getmypasswd("Second:");
        const std::string both = a + "|" + b;
        if (write(results[1], both.data(), both.size()) < 0) _exit(2);
        _exit(0);
    }
    close(results[1]);
    std::string screen;
    for (const char* step : {"First:", "Second:"}) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (screen.find(step) == std::string::npos && std::chrono::steady_clock::now() < deadline) {
            if (!ReadSome(master, screen, 50)) break;
        }
        ASSERT_NE(screen.find(step), std::string::npos) << screen;
        const std::string keys = std::string(step) == "First:" ? "qz1\r" : "qz2\r";
        ASSERT_EQ(write(master, keys.data(), keys.size()), 4);
    }
    int status = 0;
    bool open = true;
    while (waitpid(pid, &status, WNOHANG) == 0) {
        if (open) open = ReadSome(master, screen, 50);
        else poll(nullptr, 0, 10);
    }
    close(master);
    char buffer[64];
    const ssize_t n = read(results[0], buffer, sizeof buffer);
    close(results[0]);
    ASSERT_GT(n, 0);
    EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(n)), "qz1|qz2");
}

struct FallbackCase {
    const char* name;
    const char* term;  // null: TERM unset
};

void PrintTo(const FallbackCase& c, std::ostream* os) { *os << c.name; }

class UnknownTerminal : public testing::TestWithParam<FallbackCase> {};

TEST_P(UnknownTerminal, ReadsTheLineWithoutEcho) {
    const TerminalRun run = TypeOnTerminal(GetParam().term, "Enter ESXi Server PassWord: ", "qzs3cr\r");
    ASSERT_TRUE(WIFEXITED(run.status) && WEXITSTATUS(run.status) == 0) << run.status;
    EXPECT_EQ(run.password, "qzs3cr");
    EXPECT_NE(run.screen.find("Enter ESXi Server PassWord: "), std::string::npos);
    EXPECT_EQ(run.screen.find("qzs3cr"), std::string::npos) << "typed text was echoed";
    EXPECT_TRUE(run.echoAfter) << "echo not restored";
}

INSTANTIATE_TEST_SUITE_P(Fallback, UnknownTerminal,
                         testing::Values(FallbackCase{"no_such_type", "rbz-no-such-terminal"},
                                         FallbackCase{"term_unset", nullptr}),
                         paramname::ByName());

}  // namespace
