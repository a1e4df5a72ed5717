// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/live/screen.h"

// Functions in place of macros such as "timeout" and "move".
#define NCURSES_NOMACROS
#include <curses.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>
// After the others: it defines names such as "lines".
#include <term.h>
#undef columns
#undef lines

#include <cstdlib>
#include <utility>

#include "uwbctl/client/keyboard.h"

namespace uwbctl {
namespace {

// How long an escape may be the beginning of a longer key.
constexpr int kEscapeMilliseconds = 25;

enum ColourPair : short { kGoodPair = 1, kDoubtfulPair, kBadPair };

bool CanMoveCursor() {
    int error = 0;
    if (setupterm(nullptr, STDOUT_FILENO, &error) != OK) return false;
    const bool can = cursor_address != nullptr && clear_screen != nullptr;
    del_curterm(cur_term);
    return can;
}

bool WantsColour() {
    const char* value = getenv("NO_COLOR");
    return (value == nullptr || *value == '\0') && has_colors();
}

attr_t Attributes(Style style) {
    const auto coloured = [](ColourPair pair, attr_t without) {
        return WantsColour() ? static_cast<attr_t>(COLOR_PAIR(pair)) : without;
    };
    switch (style) {
        case Style::kBold:
            return A_BOLD;
        case Style::kDim:
            return A_DIM;
        case Style::kGood:
            return coloured(kGoodPair, A_NORMAL);
        case Style::kDoubtful:
            return coloured(kDoubtfulPair, A_NORMAL);
        case Style::kBad:
            return coloured(kBadPair, A_BOLD);
        case Style::kPlain:
            break;
    }
    return A_NORMAL;
}

int ToKey(int code) {
    switch (code) {
        case KEY_UP:
            return kKeyUp;
        case KEY_DOWN:
            return kKeyDown;
        case KEY_PPAGE:
            return kKeyPageUp;
        case KEY_NPAGE:
            return kKeyPageDown;
        case KEY_HOME:
            return kKeyHome;
        case KEY_END:
            return kKeyEnd;
        case KEY_ENTER:
            return '\n';
        case KEY_BACKSPACE:
            return '\b';
        default:
            return code;
    }
}

}  // namespace

bool IsInForeground() {
    const pid_t group = tcgetpgrp(STDOUT_FILENO);
    // A terminal that controls nobody has no background.
    return group == -1 || group == getpgrp();
}

bool Screen::IsPossible() {
    return isatty(STDOUT_FILENO) && IsInForeground() && CanMoveCursor();
}

std::unique_ptr<Screen> Screen::Open() {
    if (!IsPossible()) return nullptr;
    set_escdelay(kEscapeMilliseconds);
    if (newterm(nullptr, stdout, stdin) == nullptr) return nullptr;
    if (WantsColour()) {
        start_color();
        use_default_colors();
        init_pair(kGoodPair, COLOR_GREEN, -1);
        init_pair(kDoubtfulPair, COLOR_YELLOW, -1);
        init_pair(kBadPair, COLOR_RED, -1);
    }
    cbreak();
    noecho();
    curs_set(0);
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    return std::unique_ptr<Screen>(new Screen());
}

void Screen::GiveBack() {
    if (!isendwin() && IsInForeground()) endwin();
}

FrameSize Screen::size() const {
    return {.rows = static_cast<size_t>(LINES), .columns = static_cast<size_t>(COLS)};
}

void Screen::Show(const std::vector<FrameLine>& lines) {
    if (!IsInForeground()) return;
    // Others may have drawn and resized while this was away.
    if (isendwin()) Resize();
    erase();
    int row = 0;
    for (const FrameLine& line : lines) {
        move(row++, 0);
        for (const Span& span : line) {
            attrset(static_cast<int>(Attributes(span.style)));
            addstr(span.text.c_str());
        }
    }
    attrset(A_NORMAL);
    refresh();
}

int Screen::ReadKey() {
    const int code = IsInForeground() ? getch() : ERR;
    return code == ERR ? kNoKey : ToKey(code);
}

void Screen::Resize() {
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0) {
        resizeterm(size.ws_row, size.ws_col);
    }
    clear();
}

void Screen::Suspend() {
    if (!isendwin()) endwin();
    kill(getpid(), SIGSTOP);
}

}  // namespace uwbctl
