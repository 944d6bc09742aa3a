#include "core/unwritable.h"

#include "base/name_map.h"
#include "base/never_destroyed.h"
#include "core/log.h"

namespace vesk {

void report_unwritable(const std::string &class_name, const char *property)
{
    static never_destroyed<name_set> names{8U};
    name_set &reported = *names;
    const std::string which = class_name + " " + property;
    if (reported.contains(which.c_str())) return;
    reported.insert(which.c_str());
    vesk_debug_eprintf("A value of property \"%s\" of class \"%s\" holds bytes that XML cannot; "
                       "written as U+FFFD.\n",
                       property, class_name.c_str());
}

} // namespace vesk
