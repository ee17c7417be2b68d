#include "helphook.h"

#include <utility>

namespace HelpHook {

namespace {
Handler& installed()
{
    static Handler handler;
    return handler;
}
} // namespace

Handler Set(Handler handler)
{
    return std::exchange(installed(), std::move(handler));
}

bool Show(QWidget* caller, int contextId)
{
    const Handler& handler = installed();
    if (!handler)
        return false;
    handler(caller, contextId);
    return true;
}

} // namespace HelpHook
