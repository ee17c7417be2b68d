#include "terminalsearch.h"

#include "ctlinterrupt.h"
#include "datafunctions7310.h"
#include "textids.h"

#include <cstdio>

#include <unistd.h>

TerminalSearch::TerminalSearch()
    : m_terminal(::isatty(STDERR_FILENO) == 1)
{}

void TerminalSearch::progress(int slave, std::int32_t speed, std::int16_t stops)
{
    if (!m_terminal)
        return;
    using DataFunctions7310::GetText;
    const QString text =
        QStringLiteral("%1: %2 %3, %4 %5, %6 %7")
            .arg(GetText(CommFunctions::SearchOrigin), GetText(TextId::SearchSlave))
            .arg(slave)
            .arg(GetText(TextId::SearchSpeed))
            .arg(speed)
            .arg(GetText(TextId::SearchStops))
            .arg(stops);
    // One line, rewritten in place.
    std::fprintf(stderr, "\r\033[K%s", qPrintable(text));
    std::fflush(stderr);
    m_shown = true;
}

bool TerminalSearch::keepGoing()
{
    return !CtlInterrupt::Requested();
}

bool TerminalSearch::found(int)
{
    return true;
}

void TerminalSearch::close()
{
    if (m_shown)
        std::fputs("\r\033[K", stderr);
    m_shown = false;
}
