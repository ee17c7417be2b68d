#pragma once

#include "detectk9120.h"
#include "statusline.h"

// The slave search without dialogs: progress on standard error when it is a terminal, a find
// taken as confirmed, Ctrl-C as the cancel button.
class TerminalSearch : public SearchObserver
{
public:
    void show() override {}
    void progress(int slave, std::int32_t speed, std::int16_t stops) override;
    bool keepGoing() override;
    bool found(int slave) override;
    void close() override;

private:
    StatusLine m_line;
};
