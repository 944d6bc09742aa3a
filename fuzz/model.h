#ifndef VESK_FUZZ_MODEL_H
#define VESK_FUZZ_MODEL_H

#include "model/classes.h"
#include "model/instances.h"

namespace vesk::fuzz {

/** Makes the classes of a small device, of every type, once; the log goes nowhere. */
void prepare_model();

/** A collection with an instance of each class. */
full_instances_ptr make_configuration();

} // namespace vesk::fuzz

#endif
