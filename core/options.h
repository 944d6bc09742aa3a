#ifndef VESK_CORE_OPTIONS_H
#define VESK_CORE_OPTIONS_H

namespace vesk {

struct options {
    bool foreground = false;
};

/** Takes the command line over; prints the usage and ends with status 1 where that is wrong. */
options parse_options(int argc, char *argv[]);

} // namespace vesk

#endif
