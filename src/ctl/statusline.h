#pragma once

#include <QString>

#include <cstdio>

#include <unistd.h>

// One line of progress on standard error, rewritten in place, when standard error is a
// terminal; nothing otherwise, so that a script's log stays clean. Cleared when done.
class StatusLine
{
public:
    StatusLine() = default;
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;
    ~StatusLine() { clear(); }

    bool onTerminal() const { return m_terminal; }
    void show(const QString& text)
    {
        if (!m_terminal)
            return;
        std::fprintf(stderr, "\r\033[K%s", qPrintable(text));
        std::fflush(stderr);
        m_shown = true;
    }
    void clear()
    {
        if (m_shown)
            std::fputs("\r\033[K", stderr);
        m_shown = false;
    }

private:
    bool m_terminal = ::isatty(STDERR_FILENO) == 1;
    bool m_shown = false;
};
