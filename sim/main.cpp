// k7310sim: K7310 annunciator panels on a serial line (a pseudo-terminal by default), one
// or a line of several sharing the bus.
#include "options.h"
#include "simulator.h"

int main(int argc, char** argv)
{
    k7310sim::Simulator sim(k7310sim::parseOptions(argc, argv));
    return sim.run();
}
