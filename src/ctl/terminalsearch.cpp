#include "terminalsearch.h"

#include "ctlinterrupt.h"
#include "datafunctions7310.h"
#include "textids.h"

void TerminalSearch::progress(int slave, std::int32_t speed, std::int16_t stops)
{
    if (!m_line.onTerminal())
        return;
    using DataFunctions7310::GetText;
    const QString where = QStringLiteral("%1 %2, %3 %4, %5 %6")
                              .arg(GetText(TextId::SearchSlave))
                              .arg(slave)
                              .arg(GetText(TextId::SearchSpeed))
                              .arg(speed)
                              .arg(GetText(TextId::SearchStops))
                              .arg(stops);
    m_line.show(DataFunctions7310::Captioned(GetText(CommFunctions::SearchOrigin), where));
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
    m_line.clear();
}
