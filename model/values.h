#ifndef VESK_MODEL_VALUES_H
#define VESK_MODEL_VALUES_H

#include "model/property.h"

namespace vesk {

/**
 * The values of one instance, in the order in which they were last set. Each is one block that
 * holds its text, so a text stays where it is until that very value is replaced, and setting one
 * either happens or changes nothing. An instance has about ten values: a walk finds one as fast as
 * a hash table would, at a quarter of the memory.
 */
class value_list {
  public:
    struct value {
        value *next;
        const vesk_property *property;
        const char *text() const { return reinterpret_cast<const char *>(this + 1); }
    };

    class iterator {
      public:
        explicit iterator(const value *at) : at_{at} {}
        const value &operator*() const { return *at_; }
        iterator &operator++()
        {
            at_ = at_->next;
            return *this;
        }
        bool operator!=(const iterator &other) const { return at_ != other.at_; }

      private:
        const value *at_;
    };

    value_list() = default;
    value_list(const value_list &other);
    value_list &operator=(const value_list &) = delete;
    ~value_list();

    /** The text of a property's value, or null. */
    const char *get(const char *property) const;

    /** Copies text, which may be the old value, and puts it last. */
    void set(const vesk_property &property, const char *text);

    iterator begin() const { return iterator{first_}; }
    iterator end() const { return iterator{nullptr}; }

  private:
    void append(value *fresh);

    value *first_ = nullptr;
    value *last_ = nullptr;
};

} // namespace vesk

#endif
