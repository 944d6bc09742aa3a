#include "query/serve.h"

#include <algorithm>
#include <cstring>

#include "core/log.h"
#include "query/evaluate.h"
#include "query/limits.h"

namespace vesk {
namespace {

/** Answers that are not longer, which is most of them, are written without moving them. */
constexpr size_t usual_answer = 500;

} // namespace

// The one place where clients meet the evaluator. Nobody else touches this input and output
// meanwhile: what a plug-in sends during an evaluation goes to connections of another service.
void answer(connection &c, const char *request, std::string_view ending)
{
    c.output().reserve(c.output().size() + usual_answer);
    // The evaluator leaves room for the ending: an answer to what was done must not be lost.
    if (evaluate_to(c.output(), request, false)) c.output() += ending;
}

void report_too_long(size_t length)
{
    vesk_debug_eprintf("Request of %zu bytes is too long: closing its connection.\n", length);
}

uint32_t number_at(const connection &c, size_t offset)
{
    uint32_t number;
    std::memcpy(&number, c.input().data() + offset, sizeof number);
    return number;
}

progress serve_body(connection &c, size_t header, uint32_t length, request_function serve)
{
    if (length == 0) return progress::close;
    if (length > max_request) {
        report_too_long(length);
        return progress::abort;
    }
    const size_t there = std::min<size_t>(length, c.input().size() - header);
    if (there < length && !c.at_end()) return progress::wait;
    serve(c, c.text(header, there));
    c.consume(header + there);
    return progress::close;
}

} // namespace vesk
