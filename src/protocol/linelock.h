#pragma once

#include "comctrl.h"

// Takes the line for the length of a block when nobody holds it, and gives it back at the end
// of the block. A lock that finds the line busy holds nothing: the caller checks acquired()
// and starts no transaction.
class LineLock
{
public:
    explicit LineLock(ComCtrl& line)
        : m_line(line)
        , m_acquired(!line.busy())
    {
        if (m_acquired)
            m_line.setBusy(true);
    }
    ~LineLock()
    {
        if (m_acquired)
            m_line.setBusy(false);
    }
    LineLock(const LineLock&) = delete;
    LineLock& operator=(const LineLock&) = delete;

    bool acquired() const { return m_acquired; }

private:
    ComCtrl& m_line;
    bool m_acquired;
};
