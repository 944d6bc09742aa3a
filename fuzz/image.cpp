#include "config/image.h"
#include "fuzz/model.h"
#include "fuzz/target.h"

// The header of a default image: what is accepted is within the image and holds a digest.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    vesk::fuzz::prepare_model();
    const std::string_view image = vesk::fuzz::text_of(data, size);
    vesk::image_header header;
    const int result = vesk::read_image_header(image, header);
    vesk::fuzz::require(result >= 0 && result <= 13, "the code is one of those that are known");
    vesk::fuzz::require(header.size <= size, "the header is within the image");
    if (result != 0) return 0;
    vesk::fuzz::require(image.substr(0, header.size).ends_with("\n\n") || image[0] == '\n',
                        "the header ends in an empty line");
    vesk::fuzz::require(header.digest.size() == 32, "the digest has its length");
    return 0;
}
