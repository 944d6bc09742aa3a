#include "query/operation.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include "base/text.h"
#include "base/xml.h"

namespace vesk {
namespace {

bool is_writable(const vesk_property &property, setting kind)
{
    return property.writable || (kind == setting::new_instance && property.required_on_insert);
}

} // namespace

void evaluation::error(size_t length, const char *format, ...)
{
    // One character more than is kept, so that a cut can be made between characters.
    char buffer[message_length + 4];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    std::string message = buffer;
    cut_text(message, length);
    out->error(message);
    ++errors;
}

void collect_where(evaluation &request)
{
    if (request.where)
        collect_properties(request.where, request.class_name, request.instance_name,
                           *request.refresh);
}

bool set_from_element(evaluation &request, vesk_instance &instance, const xmlNode &element,
                      setting kind)
{
    const char *name = name_of(&element);
    const char *class_name = instance.cls->name.c_str();
    const char *text = content_of(&element);
    const char *value = text ? text : "";
    const vesk_property *property = find_property(*instance.cls, name);
    if (!property) {
        request.error(message_length, "Property \"%s\" is not valid for class \"%s\".", name,
                      class_name);
        return false;
    }
    if (!request.passive && !is_writable(*property, kind)) {
        request.error(message_length, "Property \"%s\" of class \"%s\" is not writable.", name,
                      class_name);
        return false;
    }
    // Recorded first: a change that the providers are not told of must not be made. Of an instance
    // that was inserted under this change set they are told as it is.
    if (kind == setting::existing_instance &&
        vesk_changes_get_instance_before(request.changes, &instance) &&
        vesk_changes_add_property(request.changes, &instance, name) != 0)
        throw std::bad_alloc{};
    if (!set_value(instance, name, value)) {
        request.error(message_length,
                      "Value \"%s\" is not valid for property \"%s\" of class \"%s\".", value, name,
                      class_name);
        return false;
    }
    return true;
}

} // namespace vesk
