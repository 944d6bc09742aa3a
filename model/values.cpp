#include "model/values.h"

#include <cstring>
#include <new>

namespace vesk {
namespace {

value_list::value *make_value(const vesk_property &property, const char *text)
{
    const size_t size = std::strlen(text) + 1;
    void *block = ::operator new(sizeof(value_list::value) + size);
    auto *fresh = new (block) value_list::value{nullptr, &property};
    std::memcpy(fresh + 1, text, size);
    return fresh;
}

void free_values(value_list::value *first)
{
    while (first) {
        value_list::value *next = first->next;
        ::operator delete(first);
        first = next;
    }
}

} // namespace

value_list::value_list(const value_list &other)
{
    try {
        for (const value &v : other)
            append(make_value(*v.property, v.text()));
    } catch (...) {
        free_values(first_);
        throw;
    }
}

value_list::~value_list()
{
    free_values(first_);
}

const char *value_list::get(const char *property) const
{
    for (const value &v : *this)
        if (std::strcmp(v.property->name.c_str(), property) == 0) return v.text();
    return nullptr;
}

void value_list::set(const vesk_property &property, const char *text)
{
    value *fresh = make_value(property, text);
    value *before = nullptr;
    for (value *v = first_; v; before = v, v = v->next) {
        if (v->property != &property) continue;
        (before ? before->next : first_) = v->next;
        if (last_ == v) last_ = before;
        ::operator delete(v);
        break;
    }
    append(fresh);
}

void value_list::append(value *fresh)
{
    (last_ ? last_->next : first_) = fresh;
    last_ = fresh;
}

} // namespace vesk
