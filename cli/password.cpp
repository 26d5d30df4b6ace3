#include "cli/password.h"

#include <curses.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <string_view>

#include "cim/wipe.h"

namespace {

// The session started by initial(); each read opens and closes its own.
SCREEN* session = nullptr;

PasswordSource passwordSource = nullptr;

// Ends the session on every way out of a curses read.
class CursesSession {
public:
    CursesSession() = default;
    CursesSession(const CursesSession&) = delete;
    CursesSession& operator=(const CursesSession&) = delete;
    ~CursesSession() {
        if (session == nullptr) return;
        if (!isendwin()) endwin();
        delscreen(session);
        session = nullptr;
    }
};

constexpr int kEndKeys[] = {10, 13, KEY_ENTER};
constexpr int kEraseKeys[] = {8, KEY_BACKSPACE, KEY_DC, KEY_LEFT};

template <std::size_t N>
bool IsOneOf(int key, const int (&keys)[N]) {
    for (int k : keys) {
        if (k == key) return true;
    }
    return false;
}

void FlushOutput() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
}

std::string ReadWithCurses(const std::string& prompt) {
    CursesSession guard;
    std::string result;
    waddnstr(stdscr, prompt.c_str(), -1);
    for (;;) {
        const int key = wgetch(stdscr);
        if (key == ERR || IsOneOf(key, kEndKeys)) break;  // ERR: the terminal is gone
        if (IsOneOf(key, kEraseKeys)) {
            if (!result.empty()) {
                result.pop_back();
                std::cout << "\b \b" << std::flush;
                wrefresh(stdscr);
            }
            continue;
        }
        const char typed = static_cast<char>(key & 0xFF);
        appendSecret(result, std::string_view(&typed, 1));
        waddch(stdscr, '*');
    }
    endwin();
    // Drawn after the session has ended, as the client always did.
    waddch(stdscr, '\n');
    waddch(stdscr, '\r');
    return result;
}

// One line from `fd`, byte by byte so that nothing after the line feed is
// consumed: the next read (a second prompt) gets the next line.
std::string ReadLine(int fd) {
    std::string line;
    char c = 0;
    for (;;) {
        const ssize_t n = read(fd, &c, 1);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return line;  // end of input: whatever was read
        if (c == '\n') break;
        appendSecret(line, std::string_view(&c, 1));
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

// Turns the terminal's echo off for its lifetime.
class EchoOff {
public:
    explicit EchoOff(int fd) : fd_(fd) {
        if (tcgetattr(fd_, &saved_) != 0) return;
        termios quiet = saved_;
        quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
        active_ = tcsetattr(fd_, TCSANOW, &quiet) == 0;
    }
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;
    ~EchoOff() {
        if (active_) tcsetattr(fd_, TCSANOW, &saved_);
    }

private:
    int fd_;
    termios saved_{};
    bool active_ = false;
};

std::string ReadWithoutEcho(const std::string& prompt) {
    // Keep the prompt off a redirected standard output.
    std::ostream& out = isatty(STDOUT_FILENO) ? std::cout : std::cerr;
    std::string result;
    {
        EchoOff quiet(STDIN_FILENO);  // before the prompt: keys typed after it stay hidden
        out << prompt << std::flush;
        result = ReadLine(STDIN_FILENO);
    }
    out << '\n' << std::flush;
    return result;
}

}  // namespace

bool initial() {
    // newterm rather than initscr: initscr ends the process when the terminal
    // type is unknown.
    session = newterm(nullptr, stdout, stdin);
    if (session == nullptr) return false;
    cbreak();
    noecho();
    intrflush(stdscr, FALSE);
    keypad(stdscr, TRUE);
    refresh();
    return true;
}

void SetPasswordSource(PasswordSource source) { passwordSource = source; }

std::string getmypasswd(std::string prompt) {
    if (passwordSource != nullptr) return passwordSource(prompt);
    if (!isatty(STDIN_FILENO)) return ReadLine(STDIN_FILENO);
    FlushOutput();  // what was printed so far comes before the prompt
    if (isatty(STDOUT_FILENO) && initial()) return ReadWithCurses(prompt);
    return ReadWithoutEcho(prompt);
}
