#include "query/operation.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include "base/text.h"
#include "base/xml.h"
#include "core/log.h"
#include "model/classes.h"

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

void evaluation::finish()
{
    out->finish();
    if (copy) copy->reset(malloc_copy(out->text()));
}

void collect_where(evaluation &request)
{
    if (request.where)
        collect_properties(request.where, request.class_name, request.instance_name,
                           *request.refresh);
}

bool can_match(const evaluation &request)
{
    const vesk_class *cls = request.cls;
    if (!request.target || !cls) return false;
    if (!request.instance_name || cls->type == VESK_CLASS_UNIQUE_NAMED ||
        cls->type == VESK_CLASS_GROUP_NAMED)
        return true;
    fail("Group iterators can only be used on named classes.\n");
    return false;
}

void named_properties::restart(const vesk_class &cls)
{
    if (cls_ != &cls) entries_.clear();
    cls_ = &cls;
    at_ = 0;
}

const vesk_property *named_properties::next(const xmlNode &element)
{
    if (at_ < entries_.size() && element.name && entries_[at_].name == element.name)
        return entries_[at_++].property;
    entries_.resize(at_);
    entries_.push_back({element.name, find_property(*cls_, name_of(&element))});
    return entries_[at_++].property;
}

bool set_from_element(evaluation &request, vesk_instance &instance, const xmlNode &element,
                      const vesk_property *property, setting kind)
{
    const char *name = name_of(&element);
    const char *class_name = instance.cls->name.c_str();
    const char *text = content_of(&element);
    const char *value = text ? text : "";
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
    if (!set_found_value(instance, *property, name, value)) {
        request.error(message_length,
                      "Value \"%s\" is not valid for property \"%s\" of class \"%s\".", value, name,
                      class_name);
        return false;
    }
    return true;
}

} // namespace vesk
