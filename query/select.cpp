#include "query/operation.h"

#include <cstring>
#include <new>
#include <string_view>
#include <vector>

#include "base/xml.h"
#include "model/classes.h"

namespace vesk {
namespace {

bool wants_all(const evaluation &request)
{
    return request.properties && std::strcmp(request.properties, "all") == 0;
}

void must(int status)
{
    if (status != 0) throw std::bad_alloc{};
}

void collect(evaluation &request)
{
    const char *cls = request.class_name;
    const char *name = request.instance_name;
    if (wants_all(request)) {
        must(vesk_refresh_info_add_all_properties(request.refresh, cls, name));
    } else {
        for (const xmlNode *p = request.first_property; p; p = p->next)
            must(vesk_refresh_info_add_property(request.refresh, cls, name, name_of(p)));
    }
    collect_where(request);
}

/** One property of the instances of a class, as it is to be written. */
struct column {
    std::string_view name;
    unsigned slot;  // no_slot: there is nothing to see
    unsigned place; // of the value in the instance before, or a guess
};

/** Writes instances; what it takes from the class is made anew only when that changes. */
class row_writer {
  public:
    explicit row_writer(evaluation &request)
        : request_{request}, all_{wants_all(request)}, class_name_{request.class_name}
    {
    }

    /** Whether the request says properly which properties it wants. */
    bool is_proper() const { return !request_.properties || all_; }

    void write(const vesk_instance &instance)
    {
        if (instance.cls != cls_ && is_proper()) make_columns(*instance.cls);
        ++request_.touched;
        request_.out->begin_instance(class_name_, instance.name);
        for (column &c : columns_)
            request_.out->property(instance.cls->name, c.name,
                                   instance.value_near(c.slot, c.place));
        request_.out->end_instance(class_name_);
    }

  private:
    void make_columns(const vesk_class &cls)
    {
        cls_ = &cls;
        columns_.clear();
        if (all_) {
            columns_.reserve(count_properties(cls));
            for_each_property(cls, [&](const vesk_property &property) {
                // What a class declares anew hides its superclass's.
                add_column(property.name,
                           cls.superclass ? find_property(cls, property.name.c_str()) : &property);
            });
            return;
        }
        for (const xmlNode *p = request_.first_property; p; p = p->next)
            if (p->name) add_column(name_of(p), find_property(cls, name_of(p)));
    }

    /** A client gets to see nothing of a property that it may not read. */
    void add_column(std::string_view name, const vesk_property *property)
    {
        const bool is_visible = property && (property->readable || request_.passive);
        columns_.push_back({name, is_visible ? slot_of(*cls_, *property) : no_slot,
                            static_cast<unsigned>(columns_.size())});
    }

    evaluation &request_;
    bool all_;
    std::string_view class_name_;
    const vesk_class *cls_ = nullptr;
    std::vector<column> columns_;
};

/** False when the request does not say properly which properties it wants. */
bool write_matches(evaluation &request)
{
    if (!can_match(request)) return true;
    row_writer writer{request};
    where_expression where{request.where};
    bool known = true;
    look_at(*request.target, *request.cls, request.instance_name,
            [&](const vesk_instance &instance) {
                if (!where.accepts(instance)) return true;
                writer.write(instance);
                return known = writer.is_proper();
            });
    return known;
}

} // namespace

bool evaluate_select(evaluation &request)
{
    request.out->begin_dataset();
    bool known = true;
    if (request.cls && request.is_collecting())
        collect(request);
    else if (request.cls)
        known = write_matches(request);
    request.out->end_dataset();
    if (!known)
        request.error(short_message_length, "Invalid properties=\"%s\".", request.properties);
    return !request.is_collecting();
}

} // namespace vesk
