// k7310sim: one K7310 annunciator panel on a serial line (a pseudo-terminal by default).
#include "options.h"
#include "simulator.h"

int main(int argc, char** argv)
{
    k7310sim::Simulator sim(k7310sim::parseOptions(argc, argv));
    return sim.run();
}
