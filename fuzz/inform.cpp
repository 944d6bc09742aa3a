// The protocol's own functions are private to their file, so that file is part of this target,
// under names that leave the daemon's alone.
#define vesk_inform_init fuzzed_inform_init
#define vesk_inform_fn_add fuzzed_inform_fn_add
#define vesk_inform_get_value fuzzed_inform_get_value
#include "query/inform.cpp"

#include "fuzz/model.h"
#include "fuzz/target.h"

// The parameters of an inform message: each value is found under its name while it is handled.

namespace {

int look_at_parameters()
{
    const char *object = vesk_inform_get_value("object");
    vesk::fuzz::require(object && std::strcmp(object, "fuzz") == 0, "the object is known");
    return vesk_inform_get_value("fail") ? 1 : 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    vesk::fuzz::prepare_model();
    vesk_inform_fn_add("fuzz", look_at_parameters);
    std::string text{vesk::fuzz::text_of(data, size)};
    {
        const inform_request request{text.data()};
        vesk::fuzz::require(std::strlen(dispatch()) > 0, "there is an answer");
    }
    vesk::fuzz::require(!vesk_inform_get_value("object"), "the parameters are gone");
    return 0;
}
