#include "query/serve.h"

#include <cstring>

#include "base/text.h"
#include "core/log.h"
#include "query/evaluate.h"
#include "query/limits.h"

namespace vesk {

void answer(connection &c, const std::string &request, std::string_view ending)
{
    const c_string text{evaluate_text(request.c_str(), false)};
    if (!text) return;
    std::string whole = text.get();
    whole += ending;
    c.send(whole, whole.size());
}

void report_too_long(size_t length)
{
    vesk_debug_eprintf("Request of %zu bytes is too long: closing its connection.\n", length);
}

uint32_t number_at(connection &c, size_t offset)
{
    uint32_t number;
    std::memcpy(&number, c.input().data() + offset, sizeof number);
    return number;
}

body look_at_body(connection &c, size_t header, uint32_t length)
{
    if (length > max_request) {
        report_too_long(length);
        return body::refused;
    }
    if (c.input().size() - header >= length) {
        c.input().resize(header + length);
        return body::complete;
    }
    return c.at_end() ? body::complete : body::incomplete;
}

} // namespace vesk
