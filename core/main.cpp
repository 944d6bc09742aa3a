#include "core/startup.h"
#include "eloop/eloop.h"

int main(int argc, char *argv[])
{
    vesk::start_up(argc, argv);
    eloop_run();
    vesk::wind_up();
    return 1; // the loop is not meant to end: init starts the daemon again
}
