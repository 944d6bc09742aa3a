#ifndef VESK_CORE_UNWRITABLE_H
#define VESK_CORE_UNWRITABLE_H

#include <string>

namespace vesk {

/** Logs, once for each property, that a value holds bytes that no XML document can. */
void report_unwritable(const std::string &class_name, const char *property);

} // namespace vesk

#endif
