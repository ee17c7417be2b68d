#include "ctlinterrupt.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t requested = 0;

extern "C" void onSignal(int)
{
    requested = 1;
}

} // namespace

namespace CtlInterrupt {

void Install()
{
    struct sigaction action = {};
    action.sa_handler = onSignal;
    // The default comes back after the first signal: a second Ctrl-C ends the program.
    action.sa_flags = SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool Requested()
{
    return requested != 0;
}

} // namespace CtlInterrupt
