#ifndef VESK_MODEL_PROPERTY_H
#define VESK_MODEL_PROPERTY_H

#include <string>

#include "vesk/property.h"

struct vesk_property {
    std::string name;
    int readable = 1;
    int writable = 1;
    int required_on_insert = 0;
    int subclass_identifier = 0; // set by vesk_class_set_subclass_identifier() only
    vesk_property_is_valid_fn is_valid = nullptr;
    vesk_property_is_instance_valid_fn is_instance_valid = nullptr;
    int persistence = -1;        // -1: takes the class's when that is resolved
    unsigned short position = 0; // among the properties of the class that owns it
};

#endif
